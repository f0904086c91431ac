#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/providers/saf/application.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/token_client.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

Json ask(void* application, ModuleFunction function, JsonObject arguments) {
  return TokenClient(configuration_of(application)).module_function(function, std::move(arguments));
}

// The token treats names of files as bytes.
std::string name_value(const std::string& name) { return base64_encode(as_bytes(name)); }

JsonObject container_argument(const char* container) {
  JsonObject arguments;
  arguments.add("container", utf8_of(required_text(container)));
  return arguments;
}

JsonObject file_arguments(const char* container, const char* file_name) {
  JsonObject arguments = container_argument(container);
  arguments.add("name", name_value(required_text(file_name)));
  return arguments;
}

void append_name(Bytes& list, ByteView name) {
  list.insert(list.end(), name.begin(), name.end());
  list.push_back(0);
}

}  // namespace

// Returns a double-NUL-terminated list.
uint32_t SAF_Ext_EnumFile(void* application, const char* container, char* names, uint32_t* names_length) {
  return saf_call([&] {
    const Json files = ask(application, ModuleFunction::list_files, container_argument(container));
    Bytes list;
    for (const cJSON* name = first_element(files.get()); name != nullptr; name = name->next) {
      append_name(list, json_base64(name));
    }
    list.push_back(0);
    deliver(list, names, names_length);
  });
}

uint32_t SAF_Ext_CreateFile(void* application, const char* container, const char* file_name, uint32_t size,
                            uint32_t read_rights, uint32_t write_rights) {
  return saf_call([&] {
    JsonObject arguments = file_arguments(container, file_name);
    arguments.add("size", size).add("readRights", read_rights).add("writeRights", write_rights);
    ask(application, ModuleFunction::create_file, std::move(arguments));
  });
}

uint32_t SAF_Ext_DeleteFile(void* application, const char* container, const char* file_name) {
  return saf_call(
      [&] { ask(application, ModuleFunction::delete_file, file_arguments(container, file_name)); });
}

uint32_t SAF_Ext_ReadFile(void* application, const char* container, const char* file_name, uint32_t offset,
                          uint32_t read_length, uint8_t* data, uint32_t* data_length) {
  return saf_call([&] {
    JsonObject arguments = file_arguments(container, file_name);
    arguments.add("offset", offset).add("length", read_length);
    const Json content = ask(application, ModuleFunction::read_file, std::move(arguments));
    deliver(json_base64(content.get()), data, data_length);
  });
}

uint32_t SAF_Ext_WriteFile(void* application, const char* container, const char* file_name, uint32_t offset,
                           const uint8_t* data, uint32_t data_length) {
  return saf_call([&] {
    JsonObject arguments = file_arguments(container, file_name);
    arguments.add("offset", offset).add("data", base64_encode(input_bytes(data, data_length)));
    ask(application, ModuleFunction::write_file, std::move(arguments));
  });
}

uint32_t SAF_Ext_GetFileAttribute(void* application, const char* container, const char* file_name,
                                  uint32_t* size, uint32_t* read_rights, uint32_t* write_rights) {
  return saf_call([&] {
    const Json found =
        ask(application, ModuleFunction::file_attributes, file_arguments(container, file_name));
    const auto number = [&](const char* name) { return json_number(json_member(found.get(), name)); };
    const std::pair<uint32_t*, uint32_t> outputs[] = {
        {size, number("size")}, {read_rights, number("readRights")}, {write_rights, number("writeRights")}};
    for (const auto& [output, value] : outputs) {
      if (output != nullptr) *output = value;
    }
  });
}

uint32_t SAF_Ext_Control(void* application, const char*, uint32_t, const char* control,
                         uint32_t control_length, const char* command, uint32_t command_length) {
  return saf_call([&] {
    JsonObject arguments;
    arguments.add("control", utf8_of(required_text(control, control_length)))
        .add("command", utf8_of(required_text(command, command_length)));
    ask(application, ModuleFunction::control, std::move(arguments));
  });
}

// Returns a double-NUL-terminated list, as SAF_Ext_EnumFile() does.
uint32_t SAF_Ext_EnumDevice(void* application, uint8_t* devices, uint32_t* devices_length) {
  return saf_call([&] {
    const Json found = ask(application, ModuleFunction::list_devices, JsonObject());
    Bytes list;
    for (const cJSON* name = first_element(found.get()); name != nullptr; name = name->next) {
      append_name(list, as_bytes(json_text(name)));
    }
    list.push_back(0);
    deliver(list, devices, devices_length);
  });
}

// Labels belong to the token, not to a container.
uint32_t SAF_Ext_ReadLabel(void* application, const char*, uint32_t, const char* label, uint32_t label_length,
                           uint32_t label_type, uint8_t* data, uint32_t* data_length) {
  return saf_call([&] {
    const std::string name = required_text(label, label_length);
    deliver(TokenClient(configuration_of(application)).label(name, label_type), data, data_length);
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
