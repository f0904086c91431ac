#include "chapters.h"
#include "demo_container.h"

namespace {

void store_user_data(Narrator& narrator, const sof::Container& container) {
  constexpr uint32_t kType = 1;
  constexpr uint32_t kIndex = 1;
  const std::string note = "a note";
  narrator.step("Write a user data file",
                [&] { container.write_user_data(kDemoPin, kType, kIndex, 0, note); });
  const auto length = static_cast<uint32_t>(note.size());
  const sof::Bytes found =
      narrator.step("Read it", [&] { return container.read_user_data(kType, kIndex, 0, length); });
  narrator.check("The data equals the original", text_of(found) == note);
}

void list_seals(Narrator& narrator, const sof::Container& container) {
  constexpr uint32_t kNameItem = 2;
  const uint32_t count =
      narrator.step("Count the seals of " + container.name(), [&] { return container.seal_count(); });
  narrator.detail(std::to_string(count) + " seals");
  for (uint32_t index = 0; index < count; ++index) {
    narrator.detail(text_of(narrator.step("Read the name of seal " + std::to_string(index),
                                          [&] { return container.seal_item(index, kNameItem); })));
  }
}

}  // namespace

void storage_chapter(Narrator& narrator) {
  store_user_data(narrator, sof::Container(kDemoContainers[0]));
  list_seals(narrator, sof::Container(kSealContainer));
}
