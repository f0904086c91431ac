#include "softtoken/service/module_functions.h"

#include <charconv>

#include "protocol/function_number.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/service/function_families.h"
#include "softtoken/store/device_files.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/store/user_data.h"

namespace velm::token {
namespace {

using protocol::ModuleFunction;

constexpr const char* kIdleLogoutControl = "IDLE_LOGOUT";

DeviceFiles files_of(Token& token, JsonRequest& request) {
  return {token, token.container_id(request.container_name("container"))};
}

std::string file_name(JsonRequest& request) { return as_text(request.bytes("name")); }

SecretText read_label(Token& token, JsonRequest& request) {
  const std::string name = utf8_of(file_name(request));
  if (name == kTimeStampAuthorityLabel || name == kSm2TimeStampAuthorityLabel)
    prepare_time_stamp_authority(token.store());
  return json_success_base64(label(token.store(), name, request.number("type")));
}

SecretText list_files(Token& token, JsonRequest& request) {
  Json names = Json::array();
  for (const std::string& name : files_of(token, request).names())
    names.push_back(base64_encode(as_bytes(name)));
  return json_success(names);
}

SecretText create_file(Token& token, JsonRequest& request) {
  const std::string name = file_name(request);
  const DeviceFileAttributes attributes{.size = request.number("size"),
                                        .read_rights = request.number("readRights"),
                                        .write_rights = request.number("writeRights")};
  files_of(token, request).create(name, attributes);
  return json_success();
}

SecretText delete_file(Token& token, JsonRequest& request) {
  const std::string name = file_name(request);
  files_of(token, request).remove(name);
  return json_success();
}

SecretText read_file(Token& token, JsonRequest& request) {
  const std::string name = file_name(request);
  const uint32_t offset = request.number("offset");
  const uint32_t length = request.number("length");
  return json_success_base64(files_of(token, request).read(name, offset, length));
}

SecretText write_file(Token& token, JsonRequest& request) {
  const std::string name = file_name(request);
  const uint32_t offset = request.number("offset");
  const ByteView data = request.bytes("data");
  files_of(token, request).write(name, offset, data);
  return json_success();
}

SecretText file_attributes(Token& token, JsonRequest& request) {
  const std::string name = file_name(request);
  const DeviceFileAttributes attributes = files_of(token, request).attributes(name);
  return json_success({{"size", attributes.size},
                       {"readRights", attributes.read_rights},
                       {"writeRights", attributes.write_rights}});
}

// The only control: minutes after which an unused session is closed, 0 for as late as the operator allows.
SecretText control(Token& token, JsonRequest& request) {
  if (request.text("control") != kIdleLogoutControl) throw TokenError(kNotSupported);
  const std::string_view command = request.text("command");
  uint32_t minutes = 0;
  const auto [at, error] = std::from_chars(command.data(), command.data() + command.size(), minutes);
  if (error != std::errc() || at != command.data() + command.size()) throw TokenError(kBadInput);
  token.set_idle_limit(std::chrono::minutes(minutes));
  return json_success();
}

SecretText list_devices(Token&, JsonRequest&) { return json_success(Json::array({kDeviceName})); }

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
