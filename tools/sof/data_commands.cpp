// Commands for hashes, base64 and random bytes.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_call.h"
#include "library_file.h"
#include "progress.h"
#include "protocol/identifiers.h"

namespace {

struct Hash {
  uint32_t algorithm = velm::protocol::kSm3;
  std::string input = "-";
  CertificateSource signer;
  std::string signer_id{velm::protocol::kDefaultUserId};
  const CLI::Option* id_option = nullptr;
  DataOutput output;

  void add_options(CLI::App& command) {
    add_digest(command, algorithm);
    add_input(command, input, "what to hash");
    signer.add_options(command, true);
    id_option = command.add_option("--id", signer_id, "signer ID that goes with the certificate")
                    ->capture_default_str();
    output.add_options(command);
  }
  Report run() const {
    if (!id_option->empty() && !signer.is_given()) throw usage_failure("--id needs a certificate");
    const Bytes key = signer.is_given() ? signer.read() : Bytes();
    const Bytes id = signer.is_given() ? bytes_of(signer_id) : Bytes();
    return Report().deliver(input == "-" ? of_data(key, id) : of_file(key, id), output,
                            DataForm::hexadecimal);
  }

 private:
  Bytes of_data(const Bytes& key, const Bytes& id) const {
    const Bytes data = read_all(input, "the data");
    return fetch("SOF_Ext_HashData", [&](uint8_t* out, uint32_t* length) {
      return SOF_Ext_HashData(algorithm, data_of(data), size_of(data), key.data(), size_of(key), id.data(),
                              size_of(id), out, length);
    });
  }

  // Integers among the first four arguments are passed as pointer-sized values.
  static const void* as_pointer(uint32_t number) { return reinterpret_cast<const void*>(uintptr_t{number}); }

  Bytes of_file(const Bytes& key, const Bytes& id) const {
    constexpr uint64_t kLongestHash = 64;
    const InputFile file(input, "the file");
    return fetch_within("SOF_Ext_HashFile", kLongestHash, [&](uint8_t* out, uint32_t* length) {
      return watched(file.size(), [&] {
        return SOF_Ext_HashFile(as_pointer(algorithm), key.data(), as_pointer(size_of(key)), id.data(),
                                size_of(id), file.name(), out, length);
      });
    });
  }
};

struct Base64 {
  bool decode = false;
  std::string input = "-";
  std::string output = "-";

  void add_options(CLI::App& command) {
    command.add_flag("-d,--decode", decode, "from base64 to bytes");
    add_input(command, input, "what to convert");
    command.add_option("-o,--out", output, "file to write; - is standard output")->capture_default_str();
  }
  Report run() const {
    const Bytes content = read_all(input, "the data");
    if (decode) return Report().deliver(bytes_of_base64(text_of(content)), {.path = output});
    return Report().deliver(bytes_of(base64_of(content)), {.path = output}, DataForm::text);
  }
};

struct Random {
  uint32_t count = 0;
  bool hexadecimal = false;
  DataOutput output;

  void add_options(CLI::App& command) {
    command.add_option("count", count, "number of bytes")->required()->check(CLI::PositiveNumber);
    command.add_flag("--hex", hexadecimal, "print them in hexadecimal");
    output.add_options(command);
  }
  Report run() const {
    Bytes bytes(count);
    check("SOF_GenRandom", SOF_GenRandom(count, bytes.data()));
    return Report().deliver(bytes, output, hexadecimal ? DataForm::hexadecimal : DataForm::binary);
  }
};

}  // namespace

void add_data_commands(CLI::App& sof) {
  add_command<Hash>(sof, "hash",
                    "hash data or a file; with a certificate, SM3 with the preprocessing of GM/T 0009");
  add_command<Base64>(sof, "base64", "to base64 and back");
  add_command<Random>(sof, "random", "random bytes from the service");
}
