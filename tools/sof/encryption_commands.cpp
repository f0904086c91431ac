// Commands that encrypt data and files into digital envelopes and decrypt them.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_file.h"
#include "progress.h"

namespace {

struct DataEncryption {
  CertificateSource recipient{KeyUse::encryption};
  std::string input = "-";
  DataOutput output;

  void add_options(CLI::App& command) {
    recipient.add_options(command);
    add_input(command, input, "data to encrypt");
    output.add_options(command);
  }
  Report run() const {
    const Bytes data = read_all(input, "the data");
    return Report().deliver(recipient.read().encrypt(data), output);
  }
};

struct DataDecryption {
  std::string name;
  std::string input = "-";
  DataOutput output;

  void add_options(CLI::App& command) {
    add_container(command, name);
    add_input(command, input, "digital envelope to decrypt");
    output.add_options(command);
  }
  Report run() const {
    const Bytes envelope = read_all(input, "the digital envelope");
    return Report{{"container", name}}.deliver(sof::Container(name).decrypt(envelope), output);
  }
};

/** File-to-file conversion. */
struct Conversion {
  std::string input = "-";
  DataOutput output;

  /** `call` receives the names of the input file and the output file. */
  template <class Call>
  Report convert(Report report, const char* what, Call call) const {
    const InputFile source(input, what);
    OutputFile target(output.path);
    watched(source.size(), [&] { call(source.name(), target.name()); });
    if (target.is_standard_output()) return report.deliver(target.content(), output);
    report.add("size", target.size()).add("out", output.path);
    if (output.base64) target.replace(bytes_of(sof::base64_encode(target.content()) + "\n"));
    target.commit();
    return report;
  }
};

struct FileEncryption : Conversion {
  CertificateSource recipient{KeyUse::encryption};
  bool by_service = false;
  int32_t method = 0;

  void add_options(CLI::App& command) {
    recipient.add_options(command);
    add_input(command, input, "file to encrypt");
    output.add_options(command);
    CLI::Option* service =
        command.add_flag("--service", by_service, "encrypt in memory by the local service, not in process");
    command
        .add_option("--method", method,
                    "content cipher of GM/T 0006 for RSA recipients, such as 0x402 (SM4-CBC); for SM2 "
                    "recipients always SM4-CBC")
        ->excludes(service);
  }
  Report run() const {
    const sof::Certificate certificate = recipient.read();
    sof::set_envelope_type(by_service ? sof::EnvelopeType::service : sof::EnvelopeType::provider);
    if (method != 0) sof::set_encrypt_method(method);
    return convert({}, "the file", [&](const std::string& from, const std::string& to) {
      certificate.encrypt_file(from, to);
    });
  }
};

struct FileDecryption : Conversion {
  std::string name;

  void add_options(CLI::App& command) {
    add_container(command, name);
    add_input(command, input, "digital envelope to decrypt");
    output.add_options(command);
  }
  Report run() const {
    return convert(
        Report{{"container", name}}, "the digital envelope",
        [&](const std::string& from, const std::string& to) { sof::Container(name).decrypt_file(from, to); });
  }
};

}  // namespace

void add_encryption_commands(CLI::App& program) {
  CLI::App& encrypt = add_group(program, "encrypt", "encrypt into a digital envelope (CMS EnvelopedData)");
  add_command<DataEncryption>(encrypt, "data", "digital envelope of data, by the local service");
  add_command<FileEncryption>(encrypt, "file", "digital envelope of a file, in process and in pieces");
  CLI::App& decrypt = add_group(program, "decrypt",
                                "decrypt a digital envelope with the key of a container; requires a login");
  add_command<DataDecryption>(decrypt, "data", "digital envelope of data, by the local service");
  add_command<FileDecryption>(decrypt, "file", "digital envelope of a file, in process and in pieces");
}
