// Runs part of a test in a separate process: the test program starts itself with the name of a child.
//
//   CHILD_PROCESS(exits_loaded) {                 // at namespace scope; `arguments` are run_child's
//     ClientLibrary* library = new ClientLibrary;
//     return library->SOF_Initialize() == 0 ? 0 : 1;
//   }
//   TEST(Unload, AtProcessExit) { EXPECT_EQ(run_child("exits_loaded").exit_code, 0u); }
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velm::test {

using Arguments = std::vector<std::string>;

struct ChildResult {
  uint32_t exit_code;  // return value of the body; 0xC0000005 after an access violation
  std::string output;  // what the child wrote to standard output
};

// Fails the test and returns exit code 0xFFFFFFFF if the child cannot be started.
ChildResult run_child(const std::string& name, const Arguments& arguments = {});

struct ChildProcess {
  using Body = int (*)(const Arguments& arguments);
  ChildProcess(const char* name, Body body);
};

// Called by main(). Returns true if this process is a child; `exit_code` is then its result.
bool ran_as_child(int argument_count, char** arguments, int& exit_code);

}  // namespace velm::test

#define CHILD_PROCESS(name)                                                                    \
  static int child_process_##name([[maybe_unused]] const ::velm::test::Arguments& arguments);  \
  static const ::velm::test::ChildProcess register_child_##name{#name, &child_process_##name}; \
  static int child_process_##name([[maybe_unused]] const ::velm::test::Arguments& arguments)
