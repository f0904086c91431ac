// Commands for containers: listing, login, PINs, and information about the device.
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "containers.h"
#include "library_call.h"
#include "pin.h"
#include "text.h"

namespace {

/** Arguments of a command that requires a PIN. */
struct ContainerWithPin {
  std::string name;
  PinSource pins;

  void add_options(CLI::App& command) {
    add_container(command, name);
    pins.add_options(command);
  }
};

struct Login : ContainerWithPin {
  Report run() {
    check("SOF_Login", SOF_Login(name.c_str(), pins.ask("PIN of " + name).text()));
    return Report{{"container", name}, {"logged_in", true}};
  }
};

struct Logout {
  std::string name;

  void add_options(CLI::App& command) { add_container(command, name); }
  Report run() const {
    check("SOF_Ext_Logout", SOF_Ext_Logout(name.c_str(), 0));
    return Report{{"container", name}, {"logged_in", false}};
  }
};

uint32_t tries_left(const std::string& name) {
  uint32_t count = 0;
  check("SOF_GetPinRetryCount", SOF_GetPinRetryCount(name.c_str(), &count));
  return count;
}

struct Users {
  bool state = false;

  void add_options(CLI::App& command) {
    command.add_flag("--state", state, "with login state and tries left of each PIN");
  }
  Report run() const {
    const std::vector<std::string> names = container_names();
    if (!state) return Report{{"users", names}}.say(lines_text(names));
    Json rows = Json::array();
    for (const std::string& name : names) {
      rows.push_back({{"name", name}, {"logged_in", is_logged_in(name)}, {"tries_left", tries_left(name)}});
    }
    return Report{{"users", rows}}.say(table_text(rows));
  }

 private:
  static bool is_logged_in(const std::string& name) {
    const uint32_t code = SOF_Ext_isLogin(name.c_str(), 0);
    if (code != SOR_NOTLOGINERR) check("SOF_Ext_isLogin", code);
    return code == SOR_OK;
  }
};

struct PinRetry {
  std::string name;

  void add_options(CLI::App& command) { add_container(command, name); }
  Report run() const { return Report{{"container", name}, {"tries_left", tries_left(name)}}; }
};

struct PinChange : ContainerWithPin {
  Report run() {
    const Secret old_pin = pins.ask("present PIN of " + name);
    const Secret new_pin = pins.ask("new PIN");
    if (!(pins.ask("new PIN again") == new_pin)) throw usage_failure("the two new PINs differ");
    check("SOF_ChangePassWd", SOF_ChangePassWd(name.c_str(), old_pin.text(), new_pin.text()));
    return Report{{"container", name}, {"changed", true}};
  }
};

// Device information items of GM/T 0006.
constexpr NamedNumber kDeviceItems[] = {
    {"sort", 0x201},
    {"type", 0x202},
    {"name", 0x203},
    {"maker", 0x204},
    {"hardware_version", 0x205},
    {"software_version", 0x206},
    {"standard", 0x207},
    {"serial_number", 0x208},
    {"asymmetric_algorithms", 0x209},
    {"symmetric_algorithms", 0x20A},
    {"hash_algorithms", 0x20B},
    {"total_space", 0x20C},
    {"free_space", 0x20D},
    {"location", 0x210},
    {"description", 0x211},
};

struct Device {
  std::string name;

  void add_options(CLI::App& command) {
    command.add_option("name", name,
                       "container whose device to describe; without one, all devices are listed");
  }
  Report run() const { return name.empty() ? all_devices() : one_device(); }

 private:
  static Report all_devices() {
    const Bytes list = fetch("SOF_Ext_EnumDevice", SOF_Ext_EnumDevice);
    constexpr uint32_t kVersionSize = 256;
    char version[kVersionSize] = "";
    check("SOF_Ext_GetProductVersion", SOF_Ext_GetProductVersion(nullptr, version, kVersionSize, nullptr));
    Report report;
    report.add("devices", names_in(list)).add("product", readable(version));
    uint32_t type = 0;
    check("SOF_Ext_GetDeviceType", SOF_Ext_GetDeviceType(&type));
    if (type != UINT32_MAX) report.add("type", type);
    return report;
  }

  Report one_device() const {
    constexpr uint64_t kItemSize = 256;
    Report report;
    for (const NamedNumber& item : kDeviceItems) {
      const auto call = [&](uint8_t* out, uint32_t* length) {
        return SOF_GetDeviceInfo(name.c_str(), static_cast<int32_t>(item.number), out, length);
      };
      const auto value = fetch_if_any("SOF_GetDeviceInfo", kItemSize, {SOR_PARAMETERNOTSUPPORTERR}, call);
      if (value) report.add(item.name, readable(text_of(*value)));
    }
    return report;
  }
};

}  // namespace

void add_container_commands(CLI::App& sof) {
  add_command<Login>(sof, "login",
                     "log in to a container; the login holds in the service, for later commands too");
  add_command<Logout>(sof, "logout", "end the login to a container");
  add_command<Users>(sof, "users", "list the containers");
  add_command<Device>(sof, "device", "describe the devices, or the one that holds a container");
  CLI::App& pin = add_group(sof, "pin", "PINs of containers");
  add_command<PinRetry>(pin, "retry", "tell how many tries at the PIN are left");
  add_command<PinChange>(pin, "change", "change the PIN: the present one, the new one, the new one again");
}
