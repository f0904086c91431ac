// Loads, uses and unloads the library many times in one process, and checks that nothing leaks.
#include <windows.h>

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "inc/velm_sof_client.h"
#include "robustness/loaded_library.h"
#include "support/latch.h"
#include "support/process_usage.h"
#include "support/standins.h"

using namespace velm::test;

namespace {

// A call that fails at its first check: it logs a line and throws inside the library.
uint32_t failing_call(const LoadedLibrary& library) {
  return library.function<decltype(SOF_GenRandom)>("SOF_GenRandom")(1, nullptr);
}

void use_on_this_thread() {
  const LoadedLibrary library;
  EXPECT_EQ(failing_call(library), SOR_NULLPOINTERERR);
}

void use_on_a_thread_that_ends_before() {
  const LoadedLibrary library;
  std::thread([&] { EXPECT_EQ(failing_call(library), SOR_NULLPOINTERERR); }).join();
}

// Unloading must free the storage of a thread that is still running.
void use_on_a_thread_that_lives_on() {
  Latch used(1), unloaded(1);
  std::thread user;
  {
    const LoadedLibrary library;
    user = std::thread([&] {
      EXPECT_EQ(failing_call(library), SOR_NULLPOINTERERR);
      used.count_down();
      unloaded.wait();
    });
    used.wait();
  }
  unloaded.count_down();
  user.join();
}

// More threads than processors have their first failure at the same time.
void use_on_many_threads_at_once() {
  constexpr int kThreads = 32;
  const LoadedLibrary library;
  Latch together(kThreads);
  std::vector<std::jthread> users;
  for (int i = 0; i < kThreads; ++i) {
    users.emplace_back([&] {
      together.arrive_and_wait();
      EXPECT_EQ(failing_call(library), SOR_NULLPOINTERERR);
    });
  }
}

struct Row {
  const char* name;
  void (*use)();
  int cycles;
};

class LoadUnload : public testing::TestWithParam<Row> {
 protected:
  // Keep winhttp.dll loaded: Wine's leaks two blocks each time it is unloaded.
  LoadUnload() { LoadLibraryW(L"winhttp.dll"); }

  Standins standins;
};

TEST_P(LoadUnload, LeaksNothing) {
  for (int i = 0; i < 20; ++i) GetParam().use();
  const ProcessUsage before = ProcessUsage::now();
  for (int i = 0; i < GetParam().cycles; ++i) GetParam().use();
  const ProcessUsage after = ProcessUsage::now();
  std::printf("%d cycles\n  before: %s\n  after:  %s\n", GetParam().cycles, before.text().c_str(),
              after.text().c_str());
  EXPECT_EQ(after.growth_since(before, {.handles = 4, .blocks = 10, .private_bytes = 256 << 10}), "");
  EXPECT_EQ(GetModuleHandleW(L"velm_sof_client.dll"), nullptr);
}

constexpr Row kRows[] = {{"OnThisThread", use_on_this_thread, 1000},
                         {"OnAThreadThatEndsBefore", use_on_a_thread_that_ends_before, 100},
                         {"OnAThreadThatLivesOn", use_on_a_thread_that_lives_on, 100},
                         {"OnManyThreadsAtOnce", use_on_many_threads_at_once, 10}};

INSTANTIATE_TEST_SUITE_P(Used, LoadUnload, testing::ValuesIn(kRows),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
