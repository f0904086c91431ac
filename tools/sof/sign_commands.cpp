// Commands that sign with a container's key.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_call.h"
#include "library_file.h"
#include "progress.h"
#include "protocol/identifiers.h"

namespace {

constexpr uint64_t kLongestSignature = 1536;

/** Arguments of every signing command. */
struct Signing {
  std::string name;
  std::string input = "-";
  DataOutput output;

  void add_options(CLI::App& command) {
    add_container(command, name);
    add_input(command, input, "what to sign");
    output.add_options(command);
  }
  Report deliver(const char* function, const Bytes& result) const {
    return Report{{"container", name}}.deliver(required(function, result, "signature"), output);
  }
};

struct SignData : Signing {
  Report run() const {
    const Bytes data = read_all(input, "the data");
    const char* function = "SOF_SignData";
    const auto call = [&](uint8_t* out, uint32_t* length) {
      return SOF_SignData(name.c_str(), data_of(data), size_of(data), out, length);
    };
    return deliver(function, fetch(function, call, kLongestSignature));
  }
};

struct SignMessage : Signing {
  bool detached = false;

  void add_options(CLI::App& command) {
    Signing::add_options(command);
    command.add_flag("--detached", detached, "leave the data out of the message");
  }
  Report run() const {
    const Bytes data = read_all(input, "the data");
    const char* function = "SOF_SignMessage";
    const auto call = [&](uint8_t* out, uint32_t* length) {
      return SOF_SignMessage(detached ? 1 : 0, name.c_str(), data_of(data), size_of(data), out, length);
    };
    return deliver(function, fetch(function, call, 6144 + uint64_t{size_of(data)} * 5 / 4));
  }
};

struct SignHash : Signing {
  uint32_t algorithm = velm::protocol::kSm3;
  bool hexadecimal = false;

  void add_options(CLI::App& command) {
    Signing::add_options(command);
    add_digest(command, algorithm);
    command.add_flag("--hex", hexadecimal, "the input is hexadecimal text");
  }
  Report run() const {
    Bytes hash = read_all(input, "the hash value");
    if (hexadecimal) hash = bytes_of_hex(text_of(hash));
    constexpr uint32_t kFinishedHash = 1;
    const char* function = "SOF_Ext_SignHash";
    const auto call = [&](uint8_t* out, uint32_t* length) {
      return SOF_Ext_SignHash(name.c_str(), algorithm, kFinishedHash, data_of(hash), size_of(hash), out,
                              length);
    };
    return deliver(function, fetch(function, call, kLongestSignature));
  }
};

struct SignFile : Signing {
  Report run() const {
    const InputFile file(input, "the file");
    const char* function = "SOF_SignFile";
    uint32_t length = 0;
    check(function, SOF_SignFile(name.c_str(), file.name(), nullptr, &length));
    if (length == 0) {
      throw missing_result(function,
                           "nothing was signed: the container's name holds none of RSA_1024, RSA_2048, "
                           "SCAN_ and SM2, by which the digest is chosen");
    }
    return deliver(function, fetch_within(function, length, [&](uint8_t* out, uint32_t* out_length) {
                     return watched(file.size(),
                                    [&] { return SOF_SignFile(name.c_str(), file.name(), out, out_length); });
                   }));
  }
};

struct SignPkcs7 : Signing {
  bool detached = false;
  bool hash = false;

  void add_options(CLI::App& command) {
    Signing::add_options(command);
    CLI::Option* detached_flag =
        command.add_flag("--detached", detached, "leave the content out of the message");
    command.add_flag("--hash", hash, "the file is a hash value of the content (RSA only)")
        ->excludes(detached_flag);
  }
  Report run() const {
    const InputFile file(input, "the file");
    const uint32_t flag = hash ? 2 : detached ? 1 : 0;
    const char* function = "SOF_Ext_PKCS7_SignFile";
    const auto sign = [&](uint8_t* out, uint32_t* length) {
      return watched(file.size(),
                     [&] { return SOF_Ext_PKCS7_SignFile(flag, name.c_str(), file.name(), out, length); });
    };
    return deliver(function, fetch(function, sign));
  }
};

struct SignXml : Signing {
  Report run() const {
    const Bytes data = read_all(input, "the XML");
    const char* function = "SOF_SignDataXML";
    return deliver(function, fetch(function, [&](uint8_t* out, uint32_t* length) {
                     return SOF_SignDataXML(name.c_str(), data_of(data), size_of(data), out, length);
                   }));
  }
};

}  // namespace

void add_sign_commands(CLI::App& sof) {
  CLI::App& sign = add_group(sof, "sign", "sign with a container's key; the container has to be logged in");
  add_command<SignData>(sign, "data", "raw signature over data, by the service");
  add_command<SignMessage>(sign, "message",
                           "signed message (PKCS#7, or GM/T 0010) over data, by the service");
  add_command<SignHash>(sign, "hash", "raw signature over a hash value, by the service");
  add_command<SignFile>(sign, "file", "raw signature over a file, in process");
  add_command<SignPkcs7>(sign, "pkcs7",
                         "signed message over a file, in process; for SCAN_CONTAINER containers");
  add_command<SignXml>(sign, "xml", "signed XML; the library does not support it");
}
