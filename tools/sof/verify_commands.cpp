// Commands that verify signatures.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_call.h"
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
    add_input(command, input, "what was signed");
  }
};

struct VerifyData : Verification {
  Report run() const {
    const Bytes value = read_all(signature, "the signature");
    const Bytes data = read_all(input, "the data");
    const Bytes certificate = signer.read();
    check_verdict("SOF_VerifySignedData",
                  SOF_VerifySignedData(certificate.data(), size_of(certificate), data_of(data), size_of(data),
                                       data_of(value), size_of(value)));
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
    const Bytes certificate = signer.read();
    check_verdict("SOF_Ext_VerifySignedHash",
                  SOF_Ext_VerifySignedHash(certificate.data(), size_of(certificate), data_of(hash),
                                           size_of(hash), data_of(value), size_of(value)));
    return valid();
  }
};

struct VerifyFile : Verification {
  Report run() const {
    const Bytes value = read_all(signature, "the signature");
    const InputFile file(input, "the file");
    const Bytes certificate = signer.read();
    check_verdict("SOF_VerifySignedFile", watched(file.size(), [&] {
                    return SOF_VerifySignedFile(certificate.data(), size_of(certificate), file.name(),
                                                data_of(value), size_of(value));
                  }));
    return valid();
  }
};

/** A signed message, attached or detached. */
struct MessageVerification {
  std::string message;
  std::string input;

  void add_options(CLI::App& command) {
    add_required_file(command, "--message", message, "file with the signed message; - is standard input");
    add_input(command, input, "the content, of a message that does not carry it");
  }
};

struct VerifyMessage : MessageVerification {
  Report run() const {
    const Bytes signed_message = read_all(message, "the message");
    const Bytes content = input.empty() ? Bytes() : read_all(input, "the content");
    check_verdict("SOF_VerifySignedMessage",
                  SOF_VerifySignedMessage(data_of(signed_message), size_of(signed_message),
                                          input.empty() ? nullptr : data_of(content), size_of(content)));
    return valid();
  }
};

struct VerifyPkcs7 : MessageVerification {
  Report run() const {
    const Bytes signed_message = read_all(message, "the message");
    if (input.empty()) return verify(signed_message, kAttached, "none", 0);
    const InputFile content(input, "the content");
    return verify(signed_message, kDetached, content.name(), content.size());
  }

 private:
  static constexpr uint32_t kAttached = 0;
  static constexpr uint32_t kDetached = 1;

  static Report verify(const Bytes& signed_message, uint32_t flag, const char* file, uint64_t file_size) {
    check_verdict(
        "SOF_Ext_PKCS7_VerifySignedFile", watched(std::max<uint64_t>(file_size, signed_message.size()), [&] {
          return SOF_Ext_PKCS7_VerifySignedFile(flag, data_of(signed_message), size_of(signed_message), file);
        }));
    return valid();
  }
};

struct VerifyXml {
  std::string input = "-";

  void add_options(CLI::App& command) { add_input(command, input, "the signed XML"); }
  Report run() const {
    const Bytes xml = read_all(input, "the XML");
    check_verdict("SOF_VerifySignedDataXML", SOF_VerifySignedDataXML(data_of(xml), size_of(xml)));
    return valid();
  }
};

}  // namespace

void add_verify_commands(CLI::App& sof) {
  CLI::App& verify = add_group(sof, "verify", "verify signatures");
  add_command<VerifyData>(verify, "data", "raw signature over data, by the service");
  add_command<VerifyMessage>(verify, "message", "signed message over data, by the service");
  add_command<VerifyHash>(verify, "hash", "raw signature over a hash value, in process");
  add_command<VerifyFile>(verify, "file", "raw signature over a file, in process");
  add_command<VerifyPkcs7>(verify, "pkcs7", "signed message over a file, in process");
  add_command<VerifyXml>(verify, "xml", "signed XML, in process");
}
