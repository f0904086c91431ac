#include <nlohmann/json.hpp>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/providers/saf/application.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/token_client.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

using Json = nlohmann::json;

Json ask(void* application, ModuleFunction function, Json arguments) {
  return TokenClient(configuration_of(application)).module_function(function, std::move(arguments));
}

// Names of files and labels are bytes to the token.
std::string name_value(const std::string& name) { return base64_encode(as_bytes(name)); }

Json file_arguments(const char* container, const char* file_name) {
  return {{"container", utf8_of(required_text(container))}, {"name", name_value(required_text(file_name))}};
}

void append_name(Bytes& list, ByteView name) {
  list.insert(list.end(), name.begin(), name.end());
  list.push_back(0);
}

}  // namespace

// Each name ends in zero, and the list in another.
uint32_t SAF_Ext_EnumFile(void* application, const char* container, char* names, uint32_t* names_length) {
  return saf_call([&] {
    Bytes list;
    for (const Json& name :
         ask(application, ModuleFunction::list_files, {{"container", utf8_of(required_text(container))}})) {
      append_name(list, base64_value(name));
    }
    list.push_back(0);
    deliver(list, names, names_length);
  });
}

uint32_t SAF_Ext_CreateFile(
    void* application, const char* container, const char* file_name, uint32_t size, uint32_t read_rights,
    uint32_t write_rights) {
  return saf_call([&] {
    Json arguments = file_arguments(container, file_name);
    arguments.update({{"size", size}, {"readRights", read_rights}, {"writeRights", write_rights}});
    ask(application, ModuleFunction::create_file, std::move(arguments));
  });
}

uint32_t SAF_Ext_DeleteFile(void* application, const char* container, const char* file_name) {
  return saf_call(
      [&] { ask(application, ModuleFunction::delete_file, file_arguments(container, file_name)); });
}

uint32_t SAF_Ext_ReadFile(
    void* application, const char* container, const char* file_name, uint32_t offset, uint32_t read_length,
    uint8_t* data, uint32_t* data_length) {
  return saf_call([&] {
    Json arguments = file_arguments(container, file_name);
    arguments.update({{"offset", offset}, {"length", read_length}});
    deliver(base64_value(ask(application, ModuleFunction::read_file, std::move(arguments))), data,
            data_length);
  });
}

uint32_t SAF_Ext_WriteFile(
    void* application, const char* container, const char* file_name, uint32_t offset, const uint8_t* data,
    uint32_t data_length) {
  return saf_call([&] {
    Json arguments = file_arguments(container, file_name);
    arguments.update({{"offset", offset}, {"data", base64_encode(input_bytes(data, data_length))}});
    ask(application, ModuleFunction::write_file, std::move(arguments));
  });
}

uint32_t SAF_Ext_GetFileAttribute(
    void* application, const char* container, const char* file_name, uint32_t* size, uint32_t* read_rights,
    uint32_t* write_rights) {
  return saf_call([&] {
    const Json found =
        ask(application, ModuleFunction::file_attributes, file_arguments(container, file_name));
    const std::pair<uint32_t*, uint32_t> outputs[] = {{size, number_member(found, "size")},
                                                      {read_rights, number_member(found, "readRights")},
                                                      {write_rights, number_member(found, "writeRights")}};
    for (const auto& [output, value] : outputs) {
      if (output != nullptr) *output = value;
    }
  });
}

uint32_t SAF_Ext_Control(void* application, const char*, uint32_t, const char* control,
                         uint32_t control_length, const char* command, uint32_t command_length) {
  return saf_call([&] {
    ask(application, ModuleFunction::control, {{"control", utf8_of(required_text(control, control_length))},
                                               {"command", utf8_of(required_text(command, command_length))}});
  });
}

// In the same form as the list of files.
uint32_t SAF_Ext_EnumDevice(void* application, uint8_t* devices, uint32_t* devices_length) {
  return saf_call([&] {
    Bytes list;
    for (const Json& name : ask(application, ModuleFunction::list_devices, Json::object())) {
      require_saf(name.is_string(), kSafJsonFailed);
      append_name(list, as_bytes(name.get_ref<const std::string&>()));
    }
    list.push_back(0);
    deliver(list, devices, devices_length);
  });
}

// Labels belong to the token and not to one of its containers.
uint32_t SAF_Ext_ReadLabel(
    void* application, const char*, uint32_t, const char* label, uint32_t label_length, uint32_t label_type,
    uint8_t* data, uint32_t* data_length) {
  return saf_call([&] {
    const Json found = ask(application, ModuleFunction::read_label,
                           {{"name", name_value(required_text(label, label_length))}, {"type", label_type}});
    deliver(base64_value(found), data, data_length);
  });
}

uint32_t SAF_Ext_GetProductVersion(void*, char* version, uint32_t version_size, void*) {
  return saf_call([&] {
    constexpr std::string_view kVersion = "VELM Software Token " VELM_TOKEN_VERSION;
    require_saf(version != nullptr, kSafBadInput);
    require_saf(version_size > kVersion.size(), kSafBadLength);
    version[kVersion.copy(version, kVersion.size())] = '\0';
  });
}
