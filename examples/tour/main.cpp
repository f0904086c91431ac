#include <windows.h>

#include <cstdio>

#include "chapters.h"
#include "velm_sof_client.h"

// Exhausted memory ends the tour.
int main() {  // NOLINT(bugprone-exception-escape)
  SetConsoleOutputCP(CP_UTF8);
  Narrator narrator;

  narrator.chapter("Hello");
  if (!narrator.call("Announce this application to the service", SOF_Initialize())) return 1;
  environment_chapter(narrator);
  login_chapter(narrator);
  certificate_chapter(narrator);
  signing_chapter(narrator);
  encryption_chapter(narrator);
  storage_chapter(narrator);
  lock_chapter(narrator);
  file_chapter(narrator);
  narrator.chapter("Goodbye");
  narrator.call("Take leave of the service", SOF_Finalize());

  std::printf("\n%d calls; %s\n", narrator.calls(),
              narrator.all_went_well() ? "everything went as it should" : "SOMETHING WENT WRONG");
  return narrator.all_went_well() ? 0 : 1;
}
