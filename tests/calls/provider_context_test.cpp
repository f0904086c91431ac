// The provider context as applications see it: when its handle is opened and closed, and how provider codes
// are mapped.
#include <map>

#include "calls/signing_test.h"
#include "support/fresh_process.h"

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ProviderContext : public SigningTest {
 protected:
  uint32_t use() { return library.SOF_VerifySignedDataXML(reinterpret_cast<const uint8_t*>("<xml/>"), 6); }

  // The handle that the library passed in its last call.
  static void* passed_handle() { return std::get<0>(STANDIN(SAF_Ext_XMLVerify).calls().back()); }

  ProviderContext() { STANDIN(SAF_Ext_XMLVerify).returns(0); }
};

TEST_F(ProviderContext, TheHandleIsOpenedOnce) {
  std::string path;
  STANDIN(SAF_Initialize).plays([&](void** application, const char* config_path) {
    EXPECT_EQ(*application, nullptr);
    *application = open_application();
    path = config_path;
    return 0u;
  });
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(use(), 0u);
    EXPECT_EQ(passed_handle(), open_application());
  }
  EXPECT_EQ(path, "saf_config.dat");
  EXPECT_EQ(STANDIN(SAF_Initialize).count(), 1u);
  EXPECT_THAT(new_lines(), IsEmpty());
}

TEST_F(ProviderContext, FailedOpenIsRetried) {
  STANDIN(SAF_Initialize).plays([](void** application, const char*) {
    *application = open_application();
    return 0x02000005u;
  });
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(use(), 0u);
    EXPECT_EQ(passed_handle(), nullptr);
    EXPECT_THAT(new_lines(), ElementsAre("SI_Initialize -> SAF_Initialize, saf_rv = 0x02000005 "));
    EXPECT_EQ(log.entries().back().source, "sof_impl");
    EXPECT_EQ(log.entries().back().level, Level::kError);
  }
  let_handle_open();
  EXPECT_EQ(use(), 0u);
  EXPECT_EQ(passed_handle(), open_application());
}

// The complete table of mapped codes.
const std::map<uint32_t, uint32_t> kMapped{
    {0x02000002, 0x0B000002}, {0x02000003, 0x0B000003}, {0x02000004, 0x0B000004}, {0x02000005, 0x0B000005},
    {0x02000006, 0x0B000006}, {0x02000007, 0x0B000007}, {0x02000008, 0x0B000008}, {0x02000009, 0x0B000009},
    {0x02000010, 0x0B000010}, {0x02000011, 0x0B000011}, {0x02000012, 0x0B000012}, {0x02000100, 0x0B000100},
    {0x02000101, 0x0B000101}, {0x02000200, 0x0B000200}, {0x02000201, 0x0B000201}, {0x02000300, 0x0B000300},
    {0x02000302, 0x0B000302}, {0x02000303, 0x0B000303}, {0x02000304, 0x0B000304}, {0x02000306, 0x0B000306},
    {0x02000307, 0x0B000307}, {0x02000308, 0x0B000308}, {0x02000309, 0x0B000309}, {0x02000310, 0x0B000310},
    {0x02000311, 0x0B000311}, {0x02000316, 0xFFFFFFFD}, {0x02000317, 0xFFFFFFFB}, {0x02000318, 0xFFFFFFFE},
    {0x02000319, 0xFFFFFFFF}, {0x02000320, 0x0B000405}, {0x02000400, 0x0B000400}, {0x02000401, 0x0B000401},
    {0x02000402, 0x0B000402}, {0x02000403, 0x0B000438}, {0x02000501, 0x0B000427}, {0x02000507, 0x0B000428},
    {0x0200050A, 0x0B000429}, {0x0200050B, 0x0B000500}, {0x0200050C, 0xFFFFFFFC}, {0x02000514, 0x0B000411},
    {0x02000515, 0x0B000432}, {0x02000516, 0x0B000433}, {0x02000517, 0x0B000434}, {0x02000518, 0x0B000435},
    {0x02000519, 0x0B000436}, {0x02000520, 0x0B000412}, {0x02000521, 0x0B000425}, {0x02000523, 0x0B000440},
    {0x02000524, 0x0B000441}, {0x02000525, 0x0B000426}, {0x02000526, 0x0B000442}, {0x02000527, 0x0B000443},
    {0x02000528, 0x0B000444}, {0x02000529, 0x0B000447}, {0x0200052A, 0x0B000448}, {0x0200052C, 0x0B010012},
    {0x02000603, 0x0B000430}, {0x02000604, 0x0B000431}, {0x0200060A, 0x0B010007}, {0x0200060B, 0x0B010008},
    {0x0200060C, 0x0B010009}, {0x0200060D, 0x0B01000A}, {0x0200060E, 0x0B01000C}, {0x0200060F, 0x0B01000D},
    {0x02000610, 0x0B01000E}, {0x02000611, 0x0B01000F}, {0x02000612, 0x0B010010}, {0x02000613, 0x0B010011},
    {0x02001001, 0x0B000503}, {0x02001002, 0x0B000504},
};

TEST_F(ProviderContext, EveryCodeOfTheProviderIsMapped) {
  constexpr uint32_t kUnknown = 0x0B000001;
  let_handle_open();
  const auto expect_mapped_to = [&](uint32_t code, uint32_t mapped) {
    STANDIN(SAF_Ext_XMLVerify).returns(code);
    EXPECT_EQ(use(), mapped) << print("0x%08X", code);
  };
  for (uint32_t code = 0x02000000; code <= 0x02001100; ++code) {
    const auto found = kMapped.find(code);
    expect_mapped_to(code, found == kMapped.end() ? kUnknown : found->second);
  }
  for (const uint32_t code :
       {1u, 0x01FFFFFFu, 0x0B000002u, 0x0A000002u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    expect_mapped_to(code, kUnknown);
  }
  expect_mapped_to(0, 0);
}

// Closing the handle.

Lines lines_of_detach() {
  const Lines all = LogReader::messages();
  const auto begin = std::find(all.begin(), all.end(), "DllMain->Process detach.");
  return {begin, all.end()};
}

TEST_F(ProviderContext, UnloadingClosesTheHandleOnce) {
  let_handle_open();
  use();
  std::vector<void*> closed;
  STANDIN(SAF_Finalize).plays([&](void* application) {
    closed.push_back(application);
    return 0u;
  });
  library.unload();
  EXPECT_THAT(closed, ElementsAre(open_application()));
  EXPECT_THAT(lines_of_detach(), ElementsAre("DllMain->Process detach."));
}

TEST_F(ProviderContext, AFailingCloseIsLogged) {
  let_handle_open();
  use();
  STANDIN(SAF_Finalize).returns(0x02000011);
  library.unload();
  EXPECT_THAT(lines_of_detach(),
              ElementsAre("DllMain->Process detach.", "DllMain -> SAF_Finalize, saf_rv = 0x02000011 "));
  EXPECT_EQ(LogReader::entries().back().source, "dllmain");
  EXPECT_EQ(LogReader::entries().back().level, Level::kError);
}

TEST_F(ProviderContext, UnloadingWithoutHandleClosesNothing) {
  STANDIN(SAF_Initialize).returns(0x02000005);
  use();
  library.unload();
  EXPECT_THAT(standins.call_log("SAF_Finalize"), IsEmpty());
}

TEST_F(ProviderContext, ReloadedLibraryOpensAHandleAgain) {
  let_handle_open();
  use();
  library.unload();
  ClientLibrary again;
  EXPECT_EQ(again.SOF_VerifySignedDataXML(reinterpret_cast<const uint8_t*>("<xml/>"), 6), 0u);
  EXPECT_EQ(STANDIN(SAF_Initialize).count(), 2u);
  EXPECT_EQ(STANDIN(SAF_Finalize).count(), 1u);
}

constexpr char kTrace[] = "provider_context.trace";

// Exits with the library loaded, and with the handle open if the argument is "open". Each SAF_Finalize call
// appends a line to the trace file.
CHILD_PROCESS(ends_with_the_library_loaded) {
  static ClientLibrary& library = *new ClientLibrary{Marker::kPresent};
  STANDIN(SAF_Initialize).plays([](void** application, const char*) {
    *application = reinterpret_cast<void*>(uintptr_t{0x1234});
    return 0u;
  });
  STANDIN(SAF_Finalize).plays([](void* application) {
    std::FILE* trace = std::fopen(kTrace, "a");
    std::fprintf(trace, "closed %u\n", static_cast<unsigned>(reinterpret_cast<uintptr_t>(application)));
    std::fclose(trace);
    return 0x02000005u;
  });
  if (arguments.at(0) == "open")
    library.SOF_VerifySignedDataXML(reinterpret_cast<const uint8_t*>("<xml/>"), 6);
  return 0;
}

std::string trace_of_child(const std::string& argument) {
  DeleteFileA(kTrace);
  EXPECT_EQ(run_child("ends_with_the_library_loaded", {argument}).exit_code, 0u);
  std::ifstream trace(kTrace);
  const std::string text{std::istreambuf_iterator<char>(trace), {}};
  trace.close();
  DeleteFileA(kTrace);
  return text;
}

TEST(ProcessEnd, ClosesTheHandleOnceBeforeTheProviderIsUnloaded) {
  EXPECT_EQ(trace_of_child("open"), "closed 4660\n");
  EXPECT_THAT(lines_of_detach(),
              ElementsAre("DllMain->Process detach.", "DllMain -> SAF_Finalize, saf_rv = 0x02000005 "));
}

TEST(ProcessEnd, WithoutHandleClosesNothing) {
  EXPECT_EQ(trace_of_child("do not open"), "");
  EXPECT_THAT(lines_of_detach(), ElementsAre("DllMain->Process detach."));
}

}  // namespace
