#include "chapters.h"
#include "demo_container.h"

void lock_chapter(Narrator& narrator) {
  constexpr const char* kNewPin = "another-pin";
  const sof::Container container(kLockedContainer);
  narrator.step("Change the PIN of " + container.name(), [&] { container.change_pin(kDemoPin, kNewPin); });
  narrator.step("Log in with the new PIN, and log out", [&] { (void)container.login(kNewPin); });
  const uint32_t left =
      narrator.step("Read the PIN retry counter", [&] { return container.pin_retry_count(); });
  narrator.detail(std::to_string(left) + " attempts left");
  for (uint32_t i = 0; i < left; ++i) {
    narrator.refused_step("Log in with a wrong PIN", SOR_PINERR, [&] { (void)container.login(kDemoPin); });
  }
  narrator.refused_step("Log in with the right PIN to the locked container", SOR_PINLOCKEDERR,
                        [&] { (void)container.login(kNewPin); });
}
