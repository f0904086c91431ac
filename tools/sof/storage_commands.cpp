// Commands for files and labels on the device, and for user data files of the local service.
#include <map>

#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "containers.h"
#include "input_output.h"
#include "library_call.h"
#include "pin.h"
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
    const Bytes list = fetch("SOF_Ext_EnumFile", [&](uint8_t* names, uint32_t* length) {
      return SOF_Ext_EnumFile(name.c_str(), reinterpret_cast<char*>(names), length);
    });
    const std::vector<std::string> names = names_in(list);
    return Report{{"files", names}}.say(lines_text(names));
  }
};

/** A file on the device. */
struct DeviceFile {
  struct Attributes {
    uint32_t size = 0;
    uint32_t read_rights = 0;
    uint32_t write_rights = 0;
  };

  std::string name;
  std::string file;

  void add_options(CLI::App& command) {
    add_container(command, name);
    command.add_option("file", file, "the file's name on the device")->required();
  }
  Attributes attributes() const {
    Attributes found;
    check("SOF_Ext_GetFileAttribute", SOF_Ext_GetFileAttribute(name.c_str(), file.c_str(), &found.size,
                                                               &found.read_rights, &found.write_rights));
    return found;
  }
  Report done() const { return Report{{"container", name}, {"file", file}}; }
};

struct FilesCreate : DeviceFile {
  Attributes wanted{0, kRights.at("user"), kRights.at("user")};

  void add_options(CLI::App& command) {
    DeviceFile::add_options(command);
    command.add_option("--size", wanted.size, "its size in bytes, which does not change")->required();
    for (const auto& [option, rights] :
         {std::pair("--read", &wanted.read_rights), {"--write", &wanted.write_rights}}) {
      command.add_option(option, *rights, "who may: nobody, user (who is logged in; the default), anyone")
          ->transform(CLI::CheckedTransformer(kRights).description(""));
    }
  }
  Report run() const {
    check("SOF_Ext_CreateFile", SOF_Ext_CreateFile(name.c_str(), file.c_str(), wanted.size,
                                                   wanted.read_rights, wanted.write_rights));
    return done();
  }
};

struct FilesRead : DeviceFile {
  uint32_t offset = 0;
  std::optional<uint32_t> length;
  DataOutput output;

  void add_options(CLI::App& command) {
    DeviceFile::add_options(command);
    command.add_option("--offset", offset, "where to start, in bytes")->capture_default_str();
    command.add_option("--length", length, "bytes to read; without it, all that follow");
    output.add_options(command);
  }
  Report run() const {
    const uint32_t wanted = length ? *length : bytes_after(offset, attributes().size);
    const auto call = [&](uint8_t* out, uint32_t* out_length) {
      return SOF_Ext_ReadFile(name.c_str(), file.c_str(), offset, wanted, out, out_length);
    };
    return done().deliver(fetch_within("SOF_Ext_ReadFile", wanted, call), output);
  }

 private:
  static uint32_t bytes_after(uint32_t start, uint32_t size) { return size - std::min(start, size); }
};

struct FilesWrite : DeviceFile {
  uint32_t offset = 0;
  std::string input = "-";

  void add_options(CLI::App& command) {
    DeviceFile::add_options(command);
    command.add_option("--offset", offset, "where to start, in bytes")->capture_default_str();
    add_input(command, input, "what to write");
  }
  Report run() const {
    const Bytes data = read_all(input, "the data");
    check("SOF_Ext_WriteFile",
          SOF_Ext_WriteFile(name.c_str(), file.c_str(), offset, data_of(data), size_of(data)));
    return done().add("written", data.size());
  }
};

struct FilesDelete : DeviceFile {
  Report run() const {
    check("SOF_Ext_DeleteFile", SOF_Ext_DeleteFile(name.c_str(), file.c_str()));
    return done();
  }
};

struct FilesInfo : DeviceFile {
  Report run() const {
    const Attributes found = attributes();
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
    command.add_option("label", label, "the label's name")->required();
    command.add_option("--type", type, "the label's type; 7 is a certificate")->required();
    output.add_options(command);
  }
  Report run() const {
    const auto call = [&](uint8_t* out, uint32_t* length) {
      return SOF_Ext_ReadLabel(name.c_str(), label.c_str(), static_cast<uint32_t>(label.size()), type, out,
                               length);
    };
    return Report{{"label", label}}.deliver(fetch("SOF_Ext_ReadLabel", call), output);
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
    command.add_option("--type", type, "the file's type")->required();
    command.add_option("--index", index, "the file's number")->required();
    command.add_option("--offset", offset, "where to start, in bytes")->capture_default_str();
  }
};

struct UserDataRead : UserDataFile {
  uint32_t length = 0;
  DataOutput output;

  void add_options(CLI::App& command) {
    UserDataFile::add_options(command);
    command.add_option("--length", length, "bytes to read at most")->required()->check(CLI::PositiveNumber);
    output.add_options(command);
  }
  // The call does not return how many bytes it read. The buffer is filled with different values for two
  // reads; bytes that are equal afterwards were read.
  Report run() const {
    Bytes data = read_over(0x00);
    const Bytes again = read_over(0xFF);
    data.erase(std::ranges::mismatch(data, again).in1, data.end());
    return Report{{"container", name}}.deliver(data, output);
  }

 private:
  Bytes read_over(uint8_t ground) const {
    Bytes data(length, ground);
    check("SOF_Ext_ReadUsrDataFile",
          SOF_Ext_ReadUsrDataFile(name.c_str(), type, index, offset, length, data.data()));
    return data;
  }
};

struct UserDataWrite : UserDataFile {
  std::string input = "-";
  PinSource pins;

  void add_options(CLI::App& command) {
    UserDataFile::add_options(command);
    add_input(command, input, "what to write");
    pins.add_options(command);
  }
  Report run() {
    const Bytes data = read_all(input, "the data");
    const Secret pin = pins.ask("PIN of " + name);
    check("SOF_Ext_WriteUsrDataFile",
          SOF_Ext_WriteUsrDataFile(name.c_str(), reinterpret_cast<const uint8_t*>(pin.text()), pin.size(),
                                   type, index, offset, size_of(data), data_of(data)));
    return Report{{"container", name}, {"written", data.size()}};
  }
};

}  // namespace

void add_storage_commands(CLI::App& sof) {
  CLI::App& files = add_group(sof, "files", "files on the device");
  add_command<FilesList>(files, "list", "list a container's files");
  add_command<FilesCreate>(files, "create", "make a file");
  add_command<FilesRead>(files, "read", "read a file");
  add_command<FilesWrite>(files, "write", "write into a file");
  add_command<FilesDelete>(files, "delete", "delete a file");
  add_command<FilesInfo>(files, "info", "tell a file's size and rights");
  add_command<Label>(sof, "label", "read a label from the device");
  CLI::App& user_data = add_group(sof, "userdata", "data files that the service keeps for a container");
  add_command<UserDataRead>(user_data, "read", "read from a user data file");
  add_command<UserDataWrite>(user_data, "write", "write to a user data file; needs the PIN");
}
