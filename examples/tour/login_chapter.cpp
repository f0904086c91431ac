#include "chapters.h"
#include "demo_container.h"
#include "velm_sof_client.h"

void login_chapter(Narrator& narrator) {
  narrator.chapter("Who is there, and logging in");
  Bytes users;
  const uint32_t listed = with_size_query(users, [](uint8_t* list, uint32_t* length) {
    return SOF_GetUserList(reinterpret_cast<char*>(list), length);
  });
  if (narrator.call("Ask for the containers", listed)) {
    const std::string list = text_of(users);
    narrator.detail(from_gbk(list.substr(0, list.find('\0'))));
  }

  const char* name = kDemoContainers[0];
  Bytes signature(1024);
  uint32_t length = length_of(signature);
  narrator.call("Sign before logging in", SOF_SignData(name, signature.data(), 3, signature.data(), &length),
                SOR_NOTLOGINERR);
  narrator.call("Log in with a wrong PIN", SOF_Login(name, "87654321"), SOR_PINERR);
  uint32_t left = 0;
  narrator.call("Ask how many tries are left", SOF_GetPinRetryCount(name, &left));
  narrator.detail(std::to_string(left) + " tries");
  for (const char* container : kDemoContainers) {
    narrator.call(std::string("Log in to ") + container, SOF_Login(container, kDemoPin));
  }
  narrator.call("Ask whether it is logged in", SOF_Ext_isLogin(name, 0));
}
