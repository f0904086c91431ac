// Commands for electronic seals.
#include <map>

#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "text.h"

namespace {

struct SealItem {
  const char* name;
  uint32_t number;
  DataForm form;
};

constexpr SealItem kSealItems[] = {{"identifier", 1, DataForm::text},   {"name", 2, DataForm::text},
                                   {"maker", 3, DataForm::text},        {"certificate", 4, DataForm::binary},
                                   {"valid-from", 5, DataForm::text},   {"valid-until", 6, DataForm::text},
                                   {"picture-type", 7, DataForm::text}, {"picture", 8, DataForm::binary},
                                   {"width", 9, DataForm::text},        {"height", 10, DataForm::text}};

struct SealList {
  std::string name;

  void add_options(CLI::App& command) { add_container(command, name); }
  Report run() const {
    const sof::Container container(name);
    const uint32_t count = container.seal_count();
    Json seals = Json::array();
    for (uint32_t index = 0; index < count; ++index) {
      Json seal{{"index", index}};
      for (const char* item : {"identifier", "name", "maker", "valid-until"}) {
        const auto* found = std::ranges::find(kSealItems, std::string_view(item), &SealItem::name);
        seal[item] = readable(text_of(container.seal_item(index, found->number)));
      }
      seals.push_back(seal);
    }
    return Report{{"seals", seals}}.say(table_text(seals));
  }
};

struct SealGet {
  std::string name;
  uint32_t index = 0;
  std::string item;
  DataOutput output;

  void add_options(CLI::App& command) {
    std::vector<std::string> names;
    for (const SealItem& known : kSealItems) names.emplace_back(known.name);
    add_container(command, name);
    command.add_option("index", index, "number of the seal, from 0")->required();
    command.add_option("item", item, "item to read")->required()->check(CLI::IsMember(names));
    output.add_options(command);
  }
  Report run() const {
    const auto* wanted = std::ranges::find(kSealItems, std::string_view(item), &SealItem::name);
    const Bytes value = sof::Container(name).seal_item(index, wanted->number);
    if (value.empty()) throw sof::FalseSuccess("SOF_Ext_GetSeaInfo");
    return Report{{"item", item}}.deliver(value, output, wanted->form);
  }
};

}  // namespace

void add_seal_commands(CLI::App& program) {
  CLI::App& seal = add_group(program, "seal", "electronic seals");
  add_command<SealList>(seal, "list", "list the seals of a container");
  add_command<SealGet>(seal, "get", "read one item of a seal");
}
