// Commands for hashes, base64 and random bytes.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_file.h"
#include "progress.h"
#include "protocol/identifiers.h"

namespace {

struct Hash {
  sof::Digest digest = sof::Digest::sm3;
  std::string input = "-";
  CertificateSource signer;
  std::string user_id{velm::protocol::kDefaultUserId};
  const CLI::Option* id_option = nullptr;
  DataOutput output;

  void add_options(CLI::App& command) {
    add_digest(command, digest);
    add_input(command, input, "data to hash");
    signer.add_options(command, true);
    id_option = command.add_option("--id", user_id, "user ID (GM/T 0009); requires a certificate")
                    ->capture_default_str();
    output.add_options(command);
  }
  Report run() const {
    if (!id_option->empty() && !signer.is_given()) throw usage_failure("--id requires a certificate");
    const Bytes key = signer.is_given() ? signer.read().der() : Bytes();
    const Bytes id = signer.is_given() ? bytes_of(user_id) : Bytes();
    return Report().deliver(hash_value(key, id), output, DataForm::hexadecimal);
  }

 private:
  Bytes hash_value(const Bytes& key, const Bytes& id) const {
    if (input == "-") return sof::hash(digest, read_all(input, "the data"), key, id);
    const InputFile file(input, "the file");
    return watched(file.size(), [&] { return sof::hash_file(digest, file.name(), key, id); });
  }
};

struct Base64 {
  bool decode = false;
  std::string input = "-";
  std::string output = "-";

  void add_options(CLI::App& command) {
    command.add_flag("-d,--decode", decode, "decode base64");
    add_input(command, input, "data to encode or decode");
    command.add_option("-o,--out", output, "file to write; - is standard output")->capture_default_str();
  }
  Report run() const {
    const Bytes content = read_all(input, "the data");
    if (decode) return Report().deliver(bytes_of_base64(text_of(content)), {.path = output});
    return Report().deliver(bytes_of(sof::base64_encode(content)), {.path = output}, DataForm::text);
  }
};

struct Random {
  uint32_t count = 0;
  bool hexadecimal = false;
  DataOutput output;

  void add_options(CLI::App& command) {
    command.add_option("count", count, "number of bytes")->required()->check(CLI::PositiveNumber);
    command.add_flag("--hex", hexadecimal, "print in hexadecimal");
    output.add_options(command);
  }
  Report run() const {
    return Report().deliver(sof::random(count), output,
                            hexadecimal ? DataForm::hexadecimal : DataForm::binary);
  }
};

}  // namespace

void add_data_commands(CLI::App& program) {
  add_command<Hash>(program, "hash",
                    "hash data or a file; with a certificate, SM3 with the preprocessing of GM/T 0009");
  add_command<Base64>(program, "base64", "encode base64; with -d decode it");
  add_command<Random>(program, "random", "fetch random bytes from the local service");
}
