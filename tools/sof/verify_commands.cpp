// Commands that verify signatures.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_file.h"
#include "progress.h"

namespace {

Report valid() { return Report{{"valid", true}}; }

/** A raw signature, the signed data and the signer's certificate. */
struct Verification {
  CertificateSource signer;
  std::string signature;
  std::string input = "-";

  void add_options(CLI::App& command) {
    signer.add_options(command);
    add_required_file(command, "--signature", signature, "file with the signature");
    add_input(command, input, "data that was signed");
  }
};

struct VerifyData : Verification {
  Report run() const {
    const Bytes value = read_all(signature, "the signature");
    const Bytes data = read_all(input, "the data");
    signer.read().verify(data, value);
    return valid();
  }
};

struct VerifyHash : Verification {
  bool hexadecimal = false;

  void add_options(CLI::App& command) {
    Verification::add_options(command);
    command.add_flag("--hex", hexadecimal, "the hash value is hexadecimal text");
  }
  Report run() const {
    const Bytes value = read_all(signature, "the signature");
    Bytes hash = read_all(input, "the hash value");
    if (hexadecimal) hash = bytes_of_hex(text_of(hash));
    signer.read().verify_hash(hash, value);
    return valid();
  }
};

struct VerifyFile : Verification {
  Report run() const {
    const Bytes value = read_all(signature, "the signature");
    const InputFile file(input, "the file");
    const sof::Certificate certificate = signer.read();
    watched(file.size(), [&] { certificate.verify_file(file.name(), value); });
    return valid();
  }
};

/** A signed message, attached or detached. */
struct MessageVerification {
  std::string message;
  std::string input;

  void add_options(CLI::App& command) {
    add_required_file(command, "--message", message, "file with the signed message; - is standard input");
    add_input(command, input, "content of a detached message");
  }
};

struct VerifyMessage : MessageVerification {
  Report run() const {
    const Bytes signed_message = read_all(message, "the message");
    if (input.empty()) {
      sof::verify_message(signed_message);
    } else {
      sof::verify_message(signed_message, read_all(input, "the content"));
    }
    return valid();
  }
};

struct VerifyPkcs7 : MessageVerification {
  Report run() const {
    const Bytes signed_message = read_all(message, "the message");
    if (input.empty()) {
      watched(signed_message.size(), [&] { sof::verify_file_message(signed_message); });
    } else {
      const InputFile content(input, "the content");
      watched(std::max<uint64_t>(content.size(), signed_message.size()),
              [&] { sof::verify_file_message(signed_message, content.name()); });
    }
    return valid();
  }
};

struct VerifyXml {
  std::string input = "-";

  void add_options(CLI::App& command) { add_input(command, input, "signed XML"); }
  Report run() const {
    sof::verify_xml(read_all(input, "the XML"));
    return valid();
  }
};

}  // namespace

void add_verify_commands(CLI::App& program) {
  CLI::App& verify = add_group(program, "verify", "verify signatures");
  add_command<VerifyData>(verify, "data", "raw signature over data, by the local service");
  add_command<VerifyMessage>(verify, "message", "signed message over data, by the local service");
  add_command<VerifyHash>(verify, "hash", "raw signature over a hash value, in process");
  add_command<VerifyFile>(verify, "file", "raw signature over a file, in process");
  add_command<VerifyPkcs7>(verify, "pkcs7", "signed message over a file, in process");
  add_command<VerifyXml>(verify, "xml", "signed XML, in process");
}
