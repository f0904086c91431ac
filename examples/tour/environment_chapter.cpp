#include "chapters.h"

void environment_chapter(Narrator& narrator) {
  constexpr uint32_t kCount = 32;
  narrator.detail("version " +
                  narrator.step("Read the version of the local service", [] { return sof::version(); }));

  const sof::Bytes first = narrator.step("Fetch 32 random bytes", [] { return sof::random(kCount); });
  narrator.detail(hex(first, kCount));
  const sof::Bytes second = narrator.step("Fetch 32 more", [] { return sof::random(kCount); });
  narrator.check("The two differ", first != second);

  narrator.detail("Every result code has a text. If the local service cannot be reached: " +
                  sof::error_text(SOR_COMMUNICATIONERR));
}
