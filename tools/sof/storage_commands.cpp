// Commands for files and labels on the device, and for user data files of the local service.
#include <map>

#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "pin.h"
#include "result_code.h"
#include "text.h"

namespace {

const std::map<std::string, uint32_t> kRights{{"nobody", 0x00}, {"user", 0x10}, {"anyone", 0xFF}};

std::string rights_text(uint32_t rights) {
  for (const auto& [name, number] : kRights) {
    if (number == rights) return name;
  }
  return code_text(rights);
}

struct FilesList {
  std::string name;

  void add_options(CLI::App& command) { add_container(command, name); }
  Report run() const {
    const std::vector<std::string> names = readable_texts(sof::Container(name).files());
    return Report{{"files", names}}.say(lines_text(names));
  }
};

/** A file on the device. */
struct DeviceFile {
  std::string name;
  std::string file;

  void add_options(CLI::App& command) {
    add_container(command, name);
    command.add_option("file", file, "name of the file on the device")->required();
  }
  sof::Container container() const { return sof::Container(name); }
  Report done() const { return Report{{"container", name}, {"file", file}}; }
};

struct FilesCreate : DeviceFile {
  sof::FileAttributes wanted{0, kRights.at("user"), kRights.at("user")};

  void add_options(CLI::App& command) {
    DeviceFile::add_options(command);
    command.add_option("--size", wanted.size, "size in bytes; it cannot be changed later")->required();
    for (const auto& [option, rights] :
         {std::pair("--read", &wanted.read_rights), {"--write", &wanted.write_rights}}) {
      command
          .add_option(option, *rights, "who may do it: nobody, user (while logged in; the default) or anyone")
          ->transform(CLI::CheckedTransformer(kRights).description(""));
    }
  }
  Report run() const {
    container().create_file(file, wanted);
    return done();
  }
};

struct FilesRead : DeviceFile {
  uint32_t offset = 0;
  std::optional<uint32_t> length;
  DataOutput output;

  void add_options(CLI::App& command) {
    DeviceFile::add_options(command);
    command.add_option("--offset", offset, "offset of the first byte")->capture_default_str();
    command.add_option("--length", length, "number of bytes; by default up to the end of the file");
    output.add_options(command);
  }
  Report run() const {
    const uint32_t wanted = length ? *length : bytes_after(offset, container().file_attributes(file).size);
    return done().deliver(container().read_file(file, offset, wanted), output);
  }

 private:
  static uint32_t bytes_after(uint32_t start, uint32_t size) { return size - std::min(start, size); }
};

struct FilesWrite : DeviceFile {
  uint32_t offset = 0;
  std::string input = "-";

  void add_options(CLI::App& command) {
    DeviceFile::add_options(command);
    command.add_option("--offset", offset, "offset of the first byte")->capture_default_str();
    add_input(command, input, "data to write");
  }
  Report run() const {
    const Bytes data = read_all(input, "the data");
    container().write_file(file, offset, data);
    return done().add("written", data.size());
  }
};

struct FilesDelete : DeviceFile {
  Report run() const {
    container().delete_file(file);
    return done();
  }
};

struct FilesInfo : DeviceFile {
  Report run() const {
    const sof::FileAttributes found = container().file_attributes(file);
    return done()
        .add("size", found.size)
        .add("read", rights_text(found.read_rights))
        .add("write", rights_text(found.write_rights));
  }
};

struct Label {
  std::string name;
  std::string label;
  uint32_t type = 0;
  DataOutput output;

  void add_options(CLI::App& command) {
    add_container(command, name);
    command.add_option("label", label, "name of the label")->required();
    command.add_option("--type", type, "type of the label; 7 is a certificate")->required();
    output.add_options(command);
  }
  Report run() const {
    return Report{{"label", label}}.deliver(sof::Container(name).label(label, type), output);
  }
};

/** A user data file of the local service. */
struct UserDataFile {
  std::string name;
  uint32_t type = 0;
  uint32_t index = 0;
  uint32_t offset = 0;

  void add_options(CLI::App& command) {
    add_container(command, name);
    command.add_option("--type", type, "type of the file")->required();
    command.add_option("--index", index, "index of the file")->required();
    command.add_option("--offset", offset, "offset of the first byte")->capture_default_str();
  }
};

struct UserDataRead : UserDataFile {
  uint32_t length = 0;
  DataOutput output;

  void add_options(CLI::App& command) {
    UserDataFile::add_options(command);
    command.add_option("--length", length, "maximum number of bytes")->required()->check(CLI::PositiveNumber);
    output.add_options(command);
  }
  Report run() const {
    const Bytes data = sof::Container(name).read_user_data(type, index, offset, length);
    return Report{{"container", name}}.deliver(data, output);
  }
};

struct UserDataWrite : UserDataFile {
  std::string input = "-";
  PinSource pins;

  void add_options(CLI::App& command) {
    UserDataFile::add_options(command);
    add_input(command, input, "data to write");
    pins.add_options(command);
  }
  Report run() {
    const Bytes data = read_all(input, "the data");
    sof::Container(name).write_user_data(pins.ask("PIN of " + name), type, index, offset, data);
    return Report{{"container", name}, {"written", data.size()}};
  }
};

}  // namespace

void add_storage_commands(CLI::App& program) {
  CLI::App& files = add_group(program, "files", "files on the device");
  add_command<FilesList>(files, "list", "list the files of a container");
  add_command<FilesCreate>(files, "create", "create a file");
  add_command<FilesRead>(files, "read", "read a file");
  add_command<FilesWrite>(files, "write", "write to a file");
  add_command<FilesDelete>(files, "delete", "delete a file");
  add_command<FilesInfo>(files, "info", "show the attributes of a file");
  add_command<Label>(program, "label", "read a label from the device");
  CLI::App& user_data = add_group(program, "userdata", "user data files of the local service");
  add_command<UserDataRead>(user_data, "read", "read from a user data file");
  add_command<UserDataWrite>(user_data, "write", "write to a user data file; requires the PIN");
}
