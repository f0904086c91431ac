// Commands for electronic seals.
#include <map>

#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "library_call.h"
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

Bytes seal_item(const std::string& container, uint32_t index, uint32_t item) {
  constexpr uint64_t kLongest = 49152;
  return fetch_within("SOF_Ext_GetSeaInfo", kLongest, [&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_GetSeaInfo(container.c_str(), index, item, out, length);
  });
}

struct SealList {
  std::string name;

  void add_options(CLI::App& command) { add_container(command, name); }
  Report run() const {
    uint32_t count = 0;
    check("SOF_Ext_EnumSeal", SOF_Ext_EnumSeal(name.c_str(), &count));
    Json seals = Json::array();
    for (uint32_t index = 0; index < count; ++index) {
      Json seal{{"index", index}};
      for (const char* item : {"identifier", "name", "maker", "valid-until"}) {
        const auto* found = std::ranges::find(kSealItems, std::string_view(item), &SealItem::name);
        seal[item] = readable(text_of(seal_item(name, index, found->number)));
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
    command.add_option("index", index, "the seal's number, from 0")->required();
    command.add_option("item", item, "what to fetch")->required()->check(CLI::IsMember(names));
    output.add_options(command);
  }
  Report run() const {
    const auto* wanted = std::ranges::find(kSealItems, std::string_view(item), &SealItem::name);
    const Bytes value = required("SOF_Ext_GetSeaInfo", seal_item(name, index, wanted->number), "such item");
    return Report{{"item", item}}.deliver(value, output, wanted->form);
  }
};

}  // namespace

void add_seal_commands(CLI::App& sof) {
  CLI::App& seal = add_group(sof, "seal", "electronic seals");
  add_command<SealList>(seal, "list", "list a container's seals");
  add_command<SealGet>(seal, "get", "fetch one item of a seal");
}
