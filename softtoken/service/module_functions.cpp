#include "softtoken/service/module_functions.h"

#include <charconv>

#include "protocol/function_number.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/service/function_families.h"
#include "softtoken/service/json_fields.h"
#include "softtoken/store/device_files.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/store/user_data.h"

namespace velm::token {
namespace {

using protocol::ModuleFunction;

constexpr const char* kIdleLogoutControl = "IDLE_LOGOUT";

DeviceFiles files_of(Token& token, const Json& request) {
  return {token, token.container_id(name_field(request, "container"))};
}

std::string file_name(const Json& request) { return as_text(base64_field(request, "name")); }

Json read_label(Token& token, const Json& request) {
  const std::string name = utf8_of(file_name(request));
  if (name == kTimeStampAuthorityLabel || name == kSm2TimeStampAuthorityLabel)
    prepare_time_stamp_authority(token.store());
  return base64_encode(label(token.store(), name, number_field(request, "type")));
}

Json list_files(Token& token, const Json& request) {
  Json names = Json::array();
  for (const std::string& name : files_of(token, request).names())
    names.push_back(base64_encode(as_bytes(name)));
  return names;
}

Json create_file(Token& token, const Json& request) {
  const std::string name = file_name(request);
  const DeviceFileAttributes attributes{.size = number_field(request, "size"),
                                        .read_rights = number_field(request, "readRights"),
                                        .write_rights = number_field(request, "writeRights")};
  files_of(token, request).create(name, attributes);
  return nullptr;
}

Json delete_file(Token& token, const Json& request) {
  const std::string name = file_name(request);
  files_of(token, request).remove(name);
  return nullptr;
}

Json read_file(Token& token, const Json& request) {
  const std::string name = file_name(request);
  const uint32_t offset = number_field(request, "offset");
  const uint32_t length = number_field(request, "length");
  return base64_encode(files_of(token, request).read(name, offset, length));
}

Json write_file(Token& token, const Json& request) {
  const std::string name = file_name(request);
  const uint32_t offset = number_field(request, "offset");
  const Bytes data = base64_field(request, "data");
  files_of(token, request).write(name, offset, data);
  return nullptr;
}

Json file_attributes(Token& token, const Json& request) {
  const std::string name = file_name(request);
  const DeviceFileAttributes attributes = files_of(token, request).attributes(name);
  return {{"size", attributes.size},
          {"readRights", attributes.read_rights},
          {"writeRights", attributes.write_rights}};
}

// The only control: minutes after which an unused session is closed, 0 for never.
Json control(Token& token, const Json& request) {
  if (text_field(request, "control") != kIdleLogoutControl) throw TokenError(kNotSupported);
  const std::string command = text_field(request, "command");
  uint32_t minutes = 0;
  const auto [at, error] = std::from_chars(command.data(), command.data() + command.size(), minutes);
  if (error != std::errc() || at != command.data() + command.size()) throw TokenError(kBadInput);
  token.set_idle_limit(std::chrono::minutes(minutes));
  return nullptr;
}

Json list_devices(Token&, const Json&) { return Json::array({kDeviceName}); }

constexpr JsonFunction kModuleFunctions[] = {
    {number_of(ModuleFunction::read_label), "module ReadLabel", read_label},
    {number_of(ModuleFunction::list_files), "module EnumFile", list_files},
    {number_of(ModuleFunction::create_file), "module CreateFile", create_file},
    {number_of(ModuleFunction::delete_file), "module DeleteFile", delete_file},
    {number_of(ModuleFunction::read_file), "module ReadFile", read_file},
    {number_of(ModuleFunction::write_file), "module WriteFile", write_file},
    {number_of(ModuleFunction::file_attributes), "module GetFileAttribute", file_attributes},
    {number_of(ModuleFunction::control), "module Control", control},
    {number_of(ModuleFunction::list_devices), "module EnumDevice", list_devices},
};

}  // namespace

std::span<const JsonFunction> module_functions() { return kModuleFunctions; }

}  // namespace velm::token
