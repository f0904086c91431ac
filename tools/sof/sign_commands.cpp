// Commands that sign with a container's key.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_file.h"
#include "progress.h"

namespace {

/** Arguments of every signing command. */
struct Signing {
  std::string name;
  std::string input = "-";
  DataOutput output;

  void add_options(CLI::App& command) {
    add_container(command, name);
    add_input(command, input, "data to sign");
    output.add_options(command);
  }
  sof::Container container() const { return sof::Container(name); }
  Report deliver(const Bytes& result) const { return Report{{"container", name}}.deliver(result, output); }
};

struct SignData : Signing {
  Report run() const { return deliver(container().sign(read_all(input, "the data"))); }
};

struct SignMessage : Signing {
  bool detached = false;

  void add_options(CLI::App& command) {
    Signing::add_options(command);
    command.add_flag("--detached", detached, "create a message that does not contain the data");
  }
  Report run() const {
    const sof::Content content = detached ? sof::Content::detached : sof::Content::attached;
    return deliver(container().sign_message(read_all(input, "the data"), content));
  }
};

struct SignHash : Signing {
  sof::Digest digest = sof::Digest::sm3;
  bool hexadecimal = false;

  void add_options(CLI::App& command) {
    Signing::add_options(command);
    add_digest(command, digest);
    command.add_flag("--hex", hexadecimal, "the input is hexadecimal text");
  }
  Report run() const {
    Bytes hash = read_all(input, "the hash value");
    if (hexadecimal) hash = bytes_of_hex(text_of(hash));
    return deliver(container().sign_hash(digest, hash));
  }
};

struct SignFile : Signing {
  Report run() const {
    const InputFile file(input, "the file");
    return deliver(watched(file.size(), [&] { return container().sign_file(file.name()); }));
  }
};

struct SignPkcs7 : Signing {
  bool detached = false;
  bool hash = false;

  void add_options(CLI::App& command) {
    Signing::add_options(command);
    CLI::Option* detached_flag =
        command.add_flag("--detached", detached, "create a message that does not contain the file");
    command.add_flag("--hash", hash, "the file contains a hash value of the content (RSA only)")
        ->excludes(detached_flag);
  }
  Report run() const {
    const InputFile file(input, "the file");
    return deliver(watched(file.size(), [&] { return message_over(file.name()); }));
  }

 private:
  Bytes message_over(const std::string& file) const {
    if (hash) return container().sign_hash_file_message(file);
    return container().sign_file_message(file, detached ? sof::Content::detached : sof::Content::attached);
  }
};

struct SignXml : Signing {
  Report run() const { return deliver(container().sign_xml(read_all(input, "the XML"))); }
};

}  // namespace

void add_sign_commands(CLI::App& program) {
  CLI::App& sign = add_group(program, "sign", "sign with the key of a container; requires a login");
  add_command<SignData>(sign, "data", "raw signature over data, by the local service");
  add_command<SignMessage>(sign, "message",
                           "signed message (PKCS#7 or GM/T 0010) over data, by the local service");
  add_command<SignHash>(sign, "hash", "raw signature over a hash value, by the local service");
  add_command<SignFile>(sign, "file", "raw signature over a file, in process");
  add_command<SignPkcs7>(sign, "pkcs7",
                         "signed message over a file, in process; only for names with SCAN_CONTAINER");
  add_command<SignXml>(sign, "xml", "signed XML; not supported by the library");
}
