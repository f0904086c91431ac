#include "chapters.h"
#include "velm_sof_client.h"

void environment_chapter(Narrator& narrator) {
  narrator.chapter("The service");
  char version[128] = "";
  if (narrator.call("Ask the service for its version", SOF_GetVersion(version))) {
    narrator.detail(std::string("version ") + version);
  }

  std::vector<uint8_t> first(32);
  std::vector<uint8_t> second(32);
  const auto length = static_cast<uint32_t>(first.size());
  if (narrator.call("Ask for 32 random bytes", SOF_GenRandom(length, first.data())))
    narrator.detail(hex(first, 32));
  narrator.call("Ask for 32 more", SOF_GenRandom(length, second.data()));
  narrator.check("they differ", first != second);

  char text[64] = "";
  SOF_Ext_GetErrInfo(SOR_COMMUNICATIONERR, text);
  narrator.detail("the text of a result code, here that of a service that cannot be reached: " +
                  from_gbk(text));
}
