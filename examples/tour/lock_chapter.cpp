#include "chapters.h"
#include "demo_container.h"
#include "velm_sof_client.h"

void lock_chapter(Narrator& narrator) {
  narrator.chapter("Changing a PIN, and locking it");
  const char* name = kLockedContainer;
  narrator.call("Change the PIN", SOF_ChangePassWd(name, kDemoPin, "another-pin"));
  narrator.call("Log in with the new one", SOF_Login(name, "another-pin"));
  narrator.call("Log out", SOF_Ext_Logout(name, 0));
  uint32_t left = 0;
  narrator.call("Ask how many tries are left", SOF_GetPinRetryCount(name, &left));
  for (; left > 0; --left) narrator.call("Log in with a wrong PIN", SOF_Login(name, kDemoPin), SOR_PINERR);
  narrator.call("Log in with the right PIN, after all tries are gone", SOF_Login(name, "another-pin"),
                SOR_PINLOCKEDERR);
}
