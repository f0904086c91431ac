// Commands that configure the local service and explain result codes.
#include <charconv>
#include <map>

#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "result_code.h"

namespace {

struct Config {
  uint32_t setting = 0;
  uint32_t number = 0;
  std::string input;

  void add_options(CLI::App& command) {
    static const std::map<std::string, uint32_t> kSettings{{"idle-logout", 1}};
    command.add_option("setting", setting, "idle-logout (minutes until an unused login ends), or a number")
        ->required()
        ->transform(CLI::Transformer(kSettings).description(""));
    CLI::Option_group* value = command.add_option_group("value");
    value->add_option("value", number, "value as a 32-bit number");
    value->add_option("-i,--in", input, "file that contains the value; - is standard input");
    value->require_option(1);
  }
  Report run() const {
    const Bytes value = input.empty() ? little_endian(number) : read_all(input, "the value");
    sof::configure(setting, value);
    return Report{{"setting", setting}, {"done", true}};
  }

 private:
  static Bytes little_endian(uint32_t number) {
    Bytes bytes;
    for (unsigned shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<uint8_t>(number >> shift));
    return bytes;
  }
};

struct Error {
  std::string code;

  void add_options(CLI::App& command) {
    command.add_option("code", code, "result code in hexadecimal, with or without 0x")->required();
  }
  Report run() const {
    const uint32_t number = parsed();
    const std::string text = meaning_of(number);
    Report report({{"code", code_text(number)}, {"text", text}});
    if (text.empty())
      return report.say(code_text(number) + " has no text\n").end_with(ExitStatus::call_failed);
    return report.say(code_text(number) + " " + text + "\n");
  }

 private:
  uint32_t parsed() const {
    const bool prefixed = code.starts_with("0x") || code.starts_with("0X");
    const char* end = code.data() + code.size();
    uint32_t number = 0;
    const auto [stop, error] = std::from_chars(code.data() + (prefixed ? 2 : 0), end, number, 16);
    if (error != std::errc() || stop != end)
      throw usage_failure(code + " is not a 32-bit hexadecimal number");
    return number;
  }
};

}  // namespace

void add_service_commands(CLI::App& program) {
  add_command<Config>(program, "config", "send a setting to the local service");
  add_command<Error>(program, "error",
                     "show the text of a result code of the library or the signature provider");
}
