#include "chapters.h"
#include "demo_container.h"
#include "velm_sof_client.h"

void storage_chapter(Narrator& narrator) {
  narrator.chapter("What a container keeps");
  const char* name = kDemoContainers[0];
  const Bytes pin = bytes_of(kDemoPin);
  const Bytes note = bytes_of("a note");
  constexpr uint32_t kType = 1;
  constexpr uint32_t kIndex = 1;
  narrator.call("Write a user data file", SOF_Ext_WriteUsrDataFile(name, pin.data(), length_of(pin), kType,
                                                                   kIndex, 0, length_of(note), note.data()));
  Bytes found(note.size());
  narrator.call("Read it back",
                SOF_Ext_ReadUsrDataFile(name, kType, kIndex, 0, length_of(found), found.data()));
  narrator.check("it is the same", found == note);

  uint32_t seals = 0;
  narrator.call("Count the seals", SOF_Ext_EnumSeal(kSealContainer, &seals));
  constexpr uint32_t kNameItem = 2;
  for (uint32_t index = 0; index < seals; ++index) {
    Bytes title(49152);
    uint32_t length = length_of(title);
    if (!narrator.call("Ask for a seal's name",
                       SOF_Ext_GetSeaInfo(kSealContainer, index, kNameItem, title.data(), &length)))
      continue;
    title.resize(length);
    narrator.detail(text_of(title));
  }
}
