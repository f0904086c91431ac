// Missing memory: every exported function on a new thread with all log lines enabled, and the load of the
// library itself. The process survives, the call reports it, and its outputs are unchanged.
#include <windows.h>
#include <gmock/gmock.h>

#include <fstream>
#include <set>
#include <thread>

#include "robustness/every_function.h"
#include "robustness/loader_notification.h"
#include "support/allocation_faults.h"
#include "support/fresh_process.h"
#include "support/log_reader.h"
#include "support/program_folder.h"
#include "support/service_double.h"
#include "support/standins.h"

using namespace velm::test;

namespace {

// Functions that neither log nor allocate, so they succeed without memory.
const std::set<std::string> kNeedNoMemory{"SOF_GetSignMethod",         "SOF_SetEncryptMethod",
                                          "SOF_GetEncryptMethod",      "SOF_Ext_GetErrInfo",
                                          "SOF_Ext_GetSealInfoEPoint", "SOF_Ext_ParseSealInfo"};

// A success answer for every function of the service.
Answer success(const Request& request) {
  if (request.header("Content-Type").starts_with("application/octet")) return frame(0, "data");
  const bool user_list = request.body.starts_with(R"({"funcid":5,)");
  return json(user_list ? R"({"ErrorCode":"0","Result":["a"]})" : R"({"ErrorCode":"0","Result":{}})");
}

// Missing memory may also be reported as unparsable JSON or as an unconvertible path, with their codes.
bool tells_of_memory(uint32_t code) {
  return code == SOR_MEMORYERR || code == SOR_JSONPARSEERR || code == SOR_FILEERR;
}

class MemoryExhausted : public testing::TestWithParam<EveryFunction> {
 protected:
  MemoryExhausted() {
    std::ofstream(kEveryText) << "content";
    STANDIN(VELM_Openssl_ParseCertInfo).plays([](auto, auto, auto, auto, void* record) {
      static_cast<CertificateRecord*>(record)->public_key_type = 2;
      return 0;
    });
    service.responds(success);
  }
  ~MemoryExhausted() override { DeleteFileA(kEveryText); }

  // Makes the call on a new thread.
  uint32_t call_on_new_thread(EveryOutput& output) {
    uint32_t result = 0;
    std::thread([&] { result = GetParam().call(library, output); }).join();
    return result;
  }

  Standins standins;
  ServiceDouble service;
  ClientLibrary library{Marker::kPresent};
};

TEST_P(MemoryExhausted, FromEachAllocationOn) {
  const bool needs_no_memory = kNeedNoMemory.contains(GetParam().name);
  const bool clears_its_length = GetParam().name == std::string("SOF_GetUserList");
  AllocationFaults memory(library.module());
  size_t nth = 1;
  for (;; ++nth) {
    SCOPED_TRACE("from allocation " + std::to_string(nth) + " on");
    memory.restart();
    memory.fail_from(nth);
    EveryOutput output;
    const uint32_t result = call_on_new_thread(output);
    const bool has_failed = memory.has_failed();
    EXPECT_EQ(memory.outstanding(), 0u);
    if (!has_failed) {
      EXPECT_FALSE(tells_of_memory(result));
      break;
    }
    ASSERT_FALSE(needs_no_memory);
    EXPECT_TRUE(nth > 1 || result == SOR_MEMORYERR);
    if (!tells_of_memory(result)) continue;  // only a log line was dropped
    EXPECT_TRUE(output.untouched());
    EXPECT_TRUE(output.lengths_untouched() || clears_its_length);
    ASSERT_LT(nth, 1000u);
  }
  EXPECT_EQ(nth == 1, needs_no_memory);
}

// A call without memory for the thread's storage has no side effects.
TEST_P(MemoryExhausted, NoSideEffectsWithoutThreadStorage) {
  if (kNeedNoMemory.contains(GetParam().name)) return;
  const size_t lines = LogReader::lines().size();
  {
    AllocationFaults memory(library.module());
    memory.fail_from(1);
    EveryOutput output;
    EXPECT_EQ(call_on_new_thread(output), SOR_MEMORYERR);
    EXPECT_TRUE(output.untouched() && output.lengths_untouched());
  }
  EXPECT_EQ(LogReader::lines().size(), lines);
  EXPECT_THAT(standins.call_log(), testing::IsEmpty());
  EXPECT_THAT(service.requests(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Every, MemoryExhausted, testing::ValuesIn(every_function()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(EveryFunctionList, IsComplete) { EXPECT_EQ(every_function().size(), 88u); }

// Loads the library with all allocations from the nth on failing, for each n. It must work afterwards.
CHILD_PROCESS(loads_without_memory) {
  const MarkerPath marker(Marker::kPresent);
  Standins standins;
  for (size_t nth = 1;; ++nth) {
    std::unique_ptr<AllocationFaults> memory;
    const LoaderNotification notification(L"velm_sof_client.dll", [&](HMODULE module) {
      memory = std::make_unique<AllocationFaults>(module);
      memory->fail_from(nth);
    });
    const HMODULE module = LoadLibraryW((program_folder() + L"velm_sof_client.dll").c_str());
    if (!memory || !module) return 1;
    const bool has_failed = memory->has_failed();
    memory.reset();
    const auto generate = reinterpret_cast<decltype(&SOF_GenRandom)>(
        reinterpret_cast<void (*)()>(GetProcAddress(module, "SOF_GenRandom")));
    if (generate(1, nullptr) != SOR_NULLPOINTERERR) return 2;
    FreeLibrary(module);
    std::printf("%u ", static_cast<unsigned>(nth));
    if (!has_failed) return nth > 1 ? 0 : 3;
    if (nth == 1000) return 4;
  }
}

TEST(LoadWithoutMemory, Succeeds) {
  const ChildResult child = run_child("loads_without_memory");
  EXPECT_EQ(child.exit_code, 0u) << child.output;
}

// Allocates all FLS slots of the process, then loads the library and calls every function.
CHILD_PROCESS(loads_without_slots) {
  Standins standins;
  LoadLibraryW(L"winhttp.dll");
  while (FlsAlloc(nullptr) != FLS_OUT_OF_INDEXES) {
  }
  int wrong = 0;
  {
    const ClientLibrary library{Marker::kPresent};
    for (const EveryFunction& function : every_function()) {
      EveryOutput output;
      const uint32_t result = function.call(library, output);
      const bool as_expected =
          kNeedNoMemory.contains(function.name) ? result != SOR_MEMORYERR : result == SOR_MEMORYERR;
      if (as_expected) continue;
      std::printf("%s: 0x%08X\n", function.name, result);
      ++wrong;
    }
  }
  return wrong;
}

TEST(LoadWithoutSlot, SucceedsAndCallsReturnMemoryError) {
  const ChildResult child = run_child("loads_without_slots");
  EXPECT_EQ(child.exit_code, 0u) << child.output;
}

}  // namespace
