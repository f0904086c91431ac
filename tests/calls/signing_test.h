// Shared by the tests of in-process signing and verification: calls checked for leaks, failing allocations,
// the open application handle, and test files.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "calls/provider_calls.h"
#include "support/guarded_buffer.h"
#include "support/settled_memory.h"

namespace velm::test {

constexpr char kSignerId[] = "1234567812345678";

// A file that exists for the lifetime of the object. The path may contain any bytes.
class TestFile {
 public:
  TestFile(std::string path, const std::string& content) : path_(std::move(path)) { write(content); }
  ~TestFile() { DeleteFileA(path_.c_str()); }
  TestFile(const TestFile&) = delete;
  TestFile& operator=(const TestFile&) = delete;

  void write(const std::string& content) {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path_;
    std::fwrite(content.data(), 1, content.size(), file);
    std::fclose(file);
  }

  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

class SigningTest : public ProviderTest {
 protected:
  SigningTest() {
    settle_memory(library);
    new_lines();
  }

  // Lets SAF_Initialize open a handle.
  static void let_handle_open() {
    STANDIN(SAF_Initialize).plays([](void** application, const char*) {
      *application = open_application();
      return 0u;
    });
  }

  // Runs the call, checks that it frees what it allocates, and records the sizes of its allocations.
  template <class Run>
  uint32_t balanced(Run run) {
    AllocationFaults memory(library.module());
    const uint32_t result = run();
    EXPECT_EQ(memory.outstanding(), 0u);
    allocated = memory.sizes();
    return result;
  }

  // Runs the call with its first allocation of `size` bytes failing.
  template <class Run>
  uint32_t without_allocation_of(size_t size, Run run) {
    balanced(run);
    const auto found = std::find(allocated.begin(), allocated.end(), size);
    if (found == allocated.end()) {
      ADD_FAILURE() << "the call does not allocate " << size << " bytes";
      return 0;
    }
    new_lines();
    AllocationFaults memory(library.module());
    memory.fail_at(static_cast<size_t>(found - allocated.begin()) + 1);
    const uint32_t result = run();
    EXPECT_TRUE(memory.has_failed());
    EXPECT_EQ(memory.outstanding(), 0u);
    return result;
  }

  // Fails each allocation of the call once, in turn. Nothing may leak. The result must be 0x0B000100 (no
  // memory), 0x0B000003 (a path was not converted for lack of memory), or the usual result if only the memory
  // for reporting a failure or for its log line was missing.
  template <class Run>
  void expect_survives_allocation_faults(Run run) {
    const uint32_t expected = balanced(run);
    for (size_t nth = 1; nth <= allocated.size(); ++nth) {
      SCOPED_TRACE(print("allocation %u fails", static_cast<unsigned>(nth)));
      AllocationFaults memory(library.module());
      memory.fail_at(nth);
      EXPECT_THAT(run(), testing::AnyOf(0x0B000100u, 0x0B000003u, expected));
      EXPECT_TRUE(memory.has_failed());
      EXPECT_EQ(memory.outstanding(), 0u);
    }
    new_lines();
  }

  bool has_allocated(size_t size) const {
    return std::find(allocated.begin(), allocated.end(), size) != allocated.end();
  }

  std::vector<size_t> allocated;  // by the last call of balanced()
};

}  // namespace velm::test
