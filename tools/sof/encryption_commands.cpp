// Commands that encrypt data and files into digital envelopes and decrypt them.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_call.h"
#include "library_file.h"
#include "progress.h"

namespace {

struct EncryptData {
  CertificateSource recipient{true};
  std::string input = "-";
  DataOutput output;

  void add_options(CLI::App& command) {
    recipient.add_options(command);
    add_input(command, input, "what to encrypt");
    output.add_options(command);
  }
  Report run() const {
    const Bytes data = read_all(input, "the data");
    const Bytes certificate = recipient.read();
    const auto call = [&](uint8_t* out, uint32_t* length) {
      return SOF_EncryptData(certificate.data(), size_of(certificate), data_of(data), size_of(data), out,
                             length);
    };
    return Report().deliver(fetch("SOF_EncryptData", call), output);
  }
};

struct DecryptData {
  std::string name;
  std::string input = "-";
  DataOutput output;

  void add_options(CLI::App& command) {
    add_container(command, name);
    add_input(command, input, "the envelope");
    output.add_options(command);
  }
  Report run() const {
    const Bytes envelope = read_all(input, "the envelope");
    const auto call = [&](uint8_t* out, uint32_t* length) {
      return SOF_DecryptData(name.c_str(), data_of(envelope), size_of(envelope), out, length);
    };
    return Report{{"container", name}}.deliver(fetch("SOF_DecryptData", call), output);
  }
};

/** File-to-file conversion. */
struct Conversion {
  std::string input = "-";
  DataOutput output;

  /** `call` receives the names of the input file and the output file. */
  template <class Call>
  Report convert(const char* function, Report report, const char* what, Call call) const {
    const InputFile source(input, what);
    OutputFile target(output.path);
    check(function, watched(source.size(), [&] { return call(source.name(), target.name()); }));
    if (target.is_standard_output()) return report.deliver(target.content(), output);
    report.add("size", target.size()).add("out", output.path);
    if (output.base64) target.replace(bytes_of(base64_of(target.content()) + "\n"));
    target.commit();
    return report;
  }
};

struct EncryptFile : Conversion {
  CertificateSource recipient{true};
  bool by_service = false;
  int32_t method = 0;

  void add_options(CLI::App& command) {
    recipient.add_options(command);
    add_input(command, input, "the file to encrypt");
    output.add_options(command);
    CLI::Option* service = command.add_flag(
        "--service", by_service, "have the service do it, in memory, instead of in process piece by piece");
    command
        .add_option("--method", method,
                    "content cipher of GM/T 0006 for RSA recipients, such as 0x402 (SM4-CBC); SM2 always "
                    "takes SM4-CBC")
        ->excludes(service);
  }
  Report run() const {
    constexpr uint32_t kByProvider = 1;
    constexpr uint32_t kByService = 2;
    const Bytes certificate = recipient.read();
    check("SOF_Ext_SetEnvelopType", SOF_Ext_SetEnvelopType(by_service ? kByService : kByProvider));
    if (method != 0) check("SOF_SetEncryptMethod", SOF_SetEncryptMethod(method));
    return convert("SOF_EncryptFile", {}, "the file", [&](const char* from, const char* to) {
      return SOF_EncryptFile(certificate.data(), size_of(certificate), from, to);
    });
  }
};

struct DecryptFile : Conversion {
  std::string name;

  void add_options(CLI::App& command) {
    add_container(command, name);
    add_input(command, input, "the envelope file");
    output.add_options(command);
  }
  Report run() const {
    return convert("SOF_DecryptFile", Report{{"container", name}}, "the envelope",
                   [&](const char* from, const char* to) { return SOF_DecryptFile(name.c_str(), from, to); });
  }
};

}  // namespace

void add_encryption_commands(CLI::App& sof) {
  CLI::App& encrypt = add_group(sof, "encrypt", "encrypt for the owner of a certificate");
  add_command<EncryptData>(encrypt, "data", "data, by the service");
  add_command<EncryptFile>(encrypt, "file", "a file of any size");
  CLI::App& decrypt =
      add_group(sof, "decrypt", "decrypt with a container's key; the container has to be logged in");
  add_command<DecryptData>(decrypt, "data", "data, by the service");
  add_command<DecryptFile>(decrypt, "file", "a file of any size, in process");
}
