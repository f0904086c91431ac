#include "chapters.h"
#include "demo_container.h"

void login_chapter(Narrator& narrator) {
  for (const std::string& name : narrator.step("List the containers", [] { return sof::users(); })) {
    narrator.detail(name);
  }

  const sof::Container first(kDemoContainers[0]);
  narrator.refused_step("Sign without a login", SOR_NOTLOGINERR, [&] { first.sign("data"); });
  narrator.refused_step("Log in with a wrong PIN", SOR_PINERR, [&] { (void)first.login("87654321"); });
  const uint32_t left = narrator.step("Read the PIN retry counter", [&] { return first.pin_retry_count(); });
  narrator.detail(std::to_string(left) + " attempts left");
  for (const char* name : kDemoContainers) {
    narrator.step(std::string("Log in to ") + name, [&] { sof::Container(name).login(kDemoPin).keep(); });
  }
  narrator.check("The login state is \"logged in\"", first.is_logged_in());
}
