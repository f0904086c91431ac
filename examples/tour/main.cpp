#include <cstdio>
#include <exception>

#include "chapters.h"

namespace {

struct Chapter {
  const char* title;
  void (*run)(Narrator& narrator);
};

constexpr Chapter kChapters[] = {
    {"Local service", environment_chapter},
    {"Containers and login", login_chapter},
    {"Certificates", certificate_chapter},
    {"Signatures", signing_chapter},
    {"Digital envelopes (CMS EnvelopedData)", encryption_chapter},
    {"User data and seals", storage_chapter},
    {"PIN change and PIN lock", lock_chapter},
    {"Files: signature, digital envelope, time-stamp token", file_chapter},
    {"Logout", logout_chapter},
};

void run(Narrator& narrator, const Chapter& chapter) {
  narrator.chapter(chapter.title);
  try {
    chapter.run(narrator);
  } catch (const sof::Error&) {
    narrator.detail("The rest of this chapter is skipped.");
  }
}

}  // namespace

int main() try {
  SetConsoleOutputCP(CP_UTF8);
  const sof::Session session;
  Narrator narrator;
  for (const Chapter& chapter : kChapters) run(narrator, chapter);
  std::printf("\n%d steps, %d with an unexpected result\n", narrator.steps(), narrator.failures());
  return narrator.failures() == 0 ? 0 : 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
