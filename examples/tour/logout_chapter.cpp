#include "chapters.h"
#include "demo_container.h"

void logout_chapter(Narrator& narrator) {
  for (const char* name : kDemoContainers) {
    narrator.step(std::string("Log out of ") + name, [&] { sof::Container(name).logout(); });
  }
}
