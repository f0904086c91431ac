// Commands for containers: listing, login, PINs, and information about the device.
#include "arguments.h"
#include "command.h"
#include "commands.h"
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
    sof::Container(name).login(pins.ask("PIN of " + name)).keep();
    return Report{{"container", name}, {"logged_in", true}};
  }
};

struct Logout {
  std::string name;

  void add_options(CLI::App& command) { add_container(command, name); }
  Report run() const {
    sof::Container(name).logout();
    return Report{{"container", name}, {"logged_in", false}};
  }
};

struct Users {
  bool state = false;

  void add_options(CLI::App& command) {
    command.add_flag("--state", state, "also show the login state and PIN retry counter");
  }
  Report run() const {
    const std::vector<std::string> names = sof::users();
    if (!state) return Report{{"users", names}}.say(lines_text(names));
    Json rows = Json::array();
    for (const std::string& name : names) {
      const sof::Container container(name);
      rows.push_back({{"name", name},
                      {"logged_in", container.is_logged_in()},
                      {"retries_left", container.pin_retry_count()}});
    }
    return Report{{"users", rows}}.say(table_text(rows));
  }
};

struct PinRetry {
  std::string name;

  void add_options(CLI::App& command) { add_container(command, name); }
  Report run() const {
    return Report{{"container", name}, {"retries_left", sof::Container(name).pin_retry_count()}};
  }
};

struct PinChange : ContainerWithPin {
  Report run() {
    const sof::Pin old_pin = pins.ask("current PIN of " + name);
    const sof::Pin new_pin = pins.ask("new PIN");
    if (pins.ask("new PIN again") != new_pin) throw usage_failure("the two new PINs differ");
    sof::Container(name).change_pin(old_pin, new_pin);
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
    command.add_option("name", name, "describe the device of this container; without it, list all devices");
  }
  Report run() const { return name.empty() ? all_devices() : one_device(); }

 private:
  static Report all_devices() {
    Report report;
    report.add("devices", readable_texts(sof::devices())).add("product", readable(sof::product_version()));
    if (const auto type = sof::device_type()) report.add("type", *type);
    return report;
  }

  Report one_device() const {
    const sof::Container container(name);
    Report report;
    for (const NamedNumber& item : kDeviceItems) {
      const auto value = container.find_device_item(static_cast<int32_t>(item.number));
      if (value) report.add(item.name, readable(*value));
    }
    return report;
  }
};

}  // namespace

void add_container_commands(CLI::App& program) {
  add_command<Login>(program, "login",
                     "log in to a container; the login also applies to later commands and other programs");
  add_command<Logout>(program, "logout", "log out of a container");
  add_command<Users>(program, "users", "list the containers");
  add_command<Device>(program, "device", "list all devices, or describe the device of a container");
  CLI::App& pin = add_group(program, "pin", "PINs of containers");
  add_command<PinRetry>(pin, "retry", "show the PIN retry counter");
  add_command<PinChange>(pin, "change",
                         "change the PIN; reads the current PIN, the new PIN and the new PIN again");
}
