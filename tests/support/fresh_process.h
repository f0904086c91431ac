// Runs a part of a test in a process of its own: the test program starts itself again with a child's name.
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
  uint32_t exit_code;  // the child's result; 0xC0000005 when it ended by an access violation
  std::string output;  // what it wrote to standard output
};

// Fails the test and gives exit code 0xFFFFFFFF when the child cannot be started.
ChildResult run_child(const std::string& name, const Arguments& arguments = {});

struct ChildProcess {
  using Body = int (*)(const Arguments& arguments);
  ChildProcess(const char* name, Body body);
};

// Main's part: whether this process is a child; then `exit_code` is its result.
bool ran_as_child(int argument_count, char** arguments, int& exit_code);

}  // namespace velm::test

#define CHILD_PROCESS(name)                                                                    \
  static int child_process_##name([[maybe_unused]] const ::velm::test::Arguments& arguments);  \
  static const ::velm::test::ChildProcess register_child_##name{#name, &child_process_##name}; \
  static int child_process_##name([[maybe_unused]] const ::velm::test::Arguments& arguments)
