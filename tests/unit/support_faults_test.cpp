// Guarded memory, patched imports, failing allocations and child processes.
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <cstdio>
#include <string>

#include "support/allocation_faults.h"
#include "support/client_library.h"
#include "support/fresh_process.h"
#include "support/guarded_buffer.h"
#include "support/handle_count.h"
#include "support/import_patch.h"
#include "support/log_reader.h"
#include "support/settled_memory.h"
#include "support/standins.h"

namespace {

using namespace velm::test;
using testing::Contains;
using testing::IsEmpty;

constexpr uint32_t kAccessViolation = 0xC0000005;

// Reads or writes one byte at `offset` from the end of the guarded memory.
CHILD_PROCESS(touches) {
  const std::string what = arguments[0];
  const long offset = std::stol(arguments[1]);
  if (what == "buffer") {
    GuardedBuffer buffer(10);
    *const_cast<volatile uint8_t*>(buffer.data() + buffer.size() + offset) = 1;
  } else if (what == "empty") {
    GuardedBuffer buffer(0);
    *const_cast<volatile uint8_t*>(buffer.data() + offset) = 1;
  } else if (what == "page") {
    GuardedBuffer buffer(4096);
    *const_cast<volatile uint8_t*>(buffer.data() + buffer.size() + offset) = 1;
  } else {
    GuardedText text("four");
    const char* pointer = text;
    return *const_cast<volatile const char*>(pointer + 5 + offset) == '\0' ? 0 : 1;
  }
  return 0;
}

TEST(GuardedMemory, TheByteAfterTheLastFaults) {
  for (const char* what : {"buffer", "empty", "page", "text"}) {
    EXPECT_EQ(run_child("touches", {what, "-1"}).exit_code, 0u) << what;
    EXPECT_EQ(run_child("touches", {what, "0"}).exit_code, kAccessViolation) << what;
  }
}

TEST(GuardedMemory, ReportsWrites) {
  GuardedBuffer buffer(4);
  EXPECT_TRUE(buffer.untouched());
  buffer.data()[1] = 0;
  EXPECT_FALSE(buffer.untouched());
  EXPECT_FALSE(buffer.untouched(1));
  EXPECT_TRUE(buffer.untouched(2));
  EXPECT_EQ(buffer.bytes(), std::string("\xAA\0\xAA\xAA", 4));
  EXPECT_EQ(buffer.bytes(2), std::string("\xAA\0", 2));
}

TEST(GuardedMemory, ReportsAWriteBeforeTheBuffer) {
  GuardedBuffer buffer(4);
  *(buffer.data() - 1) = 0;
  EXPECT_FALSE(buffer.untouched());
}

TEST(GuardedMemory, GuardsInputs) {
  GuardedText text("four");
  EXPECT_STREQ(text, "four");
  GuardedBytes bytes(std::string("a\0b", 3));
  EXPECT_EQ(bytes.size(), 3u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data()), 3), std::string("a\0b", 3));
  EXPECT_EQ(GuardedBytes("").size(), 0u);
}

// A block of the library's heap, which is guarded.
struct LibraryBlock {
  explicit LibraryBlock(size_t size)
      : bytes(library.function<volatile uint8_t*(size_t)>("cJSON_malloc")(size)) {}
  void free() { library.function<void(volatile uint8_t*)>("cJSON_free")(bytes); }

  const Standins standins;
  const ClientLibrary library;
  volatile uint8_t* bytes;
};

// Writes one byte at an offset of a block of the library; the third argument tells whether it was freed
// before.
CHILD_PROCESS(writes_to_the_heap) {
  LibraryBlock block(std::stoul(arguments[0]));
  if (arguments[2] == "freed") block.free();
  block.bytes[std::stoul(arguments[1])] = 1;
  TerminateProcess(GetCurrentProcess(), 0);
  return 1;
}

TEST(GuardedHeap, AnAccessOutsideABlockFaults) {
  const auto result = [](const char* size, const char* offset, const char* state) {
    return run_child("writes_to_the_heap", {size, offset, state}).exit_code;
  };
  EXPECT_EQ(result("16", "15", "allocated"), 0u);
  EXPECT_EQ(result("16", "16", "allocated"), kAccessViolation);
  EXPECT_EQ(result("4096", "4096", "allocated"), kAccessViolation);
  EXPECT_EQ(result("1000001", "1000016", "allocated"), kAccessViolation);
  EXPECT_EQ(result("0", "0", "allocated"), kAccessViolation);
  EXPECT_EQ(result("16", "0", "freed"), kAccessViolation);
}

TEST(GuardedHeap, AWriteNextToABlockIsReported) {
  for (const ptrdiff_t offset : {-1, 10, 15}) {
    LibraryBlock block(10);
    block.bytes[offset] = 1;
    EXPECT_NONFATAL_FAILURE(block.free(), "write outside a block of 10 bytes");
  }
}

TEST(GuardedHeap, ReallocatedBlocksKeepTheirContent) {
  const Standins standins;
  const ClientLibrary library;
  const auto parse = library.function<void*(const char*)>("cJSON_Parse");
  const auto print = library.function<char*(const void*)>("cJSON_PrintUnformatted");
  const auto remove = library.function<void(void*)>("cJSON_Delete");
  const auto release = library.function<void(void*)>("cJSON_free");
  const std::string text = R"({"a":")" + std::string(10'000, 'x') + R"("})";
  void* document = parse(text.c_str());
  char* printed = print(document);
  EXPECT_EQ(printed, text);
  release(printed);
  remove(document);
}

TEST(GuardedHeap, NewBlocksAreNotZeroed) {
  LibraryBlock block(10);
  EXPECT_NE(block.bytes[0], 0);
  block.free();
}

TEST(GuardedHeap, BlocksLeftAfterTheUnloadAreReported) {
  EXPECT_NONFATAL_FAILURE(LibraryBlock(10), "a block of 10 bytes is left");
}

// Not inlined: within one function the compiler treats an import as a constant.
[[gnu::noinline]] DWORD process_id() { return GetCurrentProcessId(); }

TEST(ImportPatch, ReplacesAndRestoresAFunctionOfOneModule) {
  const HMODULE program = GetModuleHandleW(nullptr);
  const DWORD before = process_id();
  {
    const ImportPatch patch(
        program, "KERNEL32.DLL", "GetCurrentProcessId", +[] { return DWORD{7}; });
    EXPECT_EQ(process_id(), 7u);
    EXPECT_EQ(patch.original<DWORD (*)()>()(), before);
  }
  EXPECT_EQ(process_id(), before);
}

TEST(ImportPatch, RefusesAFunctionThatIsNotImported) {
  const HMODULE program = GetModuleHandleW(nullptr);
  EXPECT_FALSE(ImportPatch::is_imported(program, "kernel32.dll", "NoSuchFunction"));
  EXPECT_FALSE(ImportPatch::is_imported(program, "nosuch.dll", "GetCurrentProcessId"));
  EXPECT_THROW(ImportPatch(
                   program, "kernel32.dll", "NoSuchFunction", +[] {}),
               std::runtime_error);
}

TEST(ImportPatch, SimulatesAFailingSystemCall) {
  const Standins standins;
  const ClientLibrary library;
  const ImportPatch patch(
      library.module(), "winhttp.dll", "WinHttpOpen", +[](LPCWSTR, DWORD, LPCWSTR, LPCWSTR, DWORD) -> void* {
        SetLastError(1234);
        return nullptr;
      });
  EXPECT_EQ(library.SOF_Initialize(), SOR_COMMUNICATIONERR);
  EXPECT_THAT(LogReader::errors(), Contains("xhttp_request_w->WinHttpOpen 1234"));
}

// An object with one member takes two nodes of 64 bytes, a name and a text.
TEST(AllocationFaults, CountsAllocationsAndFrees) {
  const Standins standins;
  const ClientLibrary library;
  const auto parse = library.function<void*(const char*)>("cJSON_Parse");
  const auto remove = library.function<void(void*)>("cJSON_Delete");
  AllocationFaults memory(library.module());
  void* document = parse(R"({"a":"text"})");
  ASSERT_NE(document, nullptr);
  EXPECT_EQ(memory.allocations(), 4u);
  EXPECT_EQ(memory.outstanding(), 4u);
  EXPECT_THAT(memory.sizes(), Contains(64u).Times(2));
  EXPECT_EQ(memory.peak_bytes(), memory.outstanding_bytes());
  remove(document);
  EXPECT_EQ(memory.outstanding(), 0u);
  EXPECT_EQ(memory.outstanding_bytes(), 0u);
  EXPECT_GT(memory.peak_bytes(), 0u);
  memory.restart();
  EXPECT_EQ(memory.allocations(), 0u);
  EXPECT_EQ(memory.peak_bytes(), 0u);
}

TEST(AllocationFaults, FailsEachAllocationOnce) {
  const Standins standins;
  const ClientLibrary library;
  const auto parse = library.function<void*(const char*)>("cJSON_Parse");
  const auto remove = library.function<void(void*)>("cJSON_Delete");
  AllocationFaults memory(library.module());
  size_t failures = 0;
  for (size_t nth = 1;; ++nth) {
    memory.fail_at(nth);
    void* document = parse(R"({"a":"text"})");
    if (!memory.has_failed()) {
      remove(document);
      break;
    }
    ++failures;
    EXPECT_EQ(document, nullptr);
    EXPECT_EQ(memory.outstanding(), 0u);
  }
  EXPECT_GE(failures, 3u);
}

TEST(AllocationFaults, CountsOperatorNewOfTheLibrary) {
  const Standins standins;
  const ClientLibrary library;
  settle_memory(library);
  AllocationFaults memory(library.module());
  memory.fail_at(1);
  EXPECT_EQ(library.SOF_Initialize(), SOR_MEMORYERR);
  EXPECT_TRUE(memory.has_failed());
  EXPECT_EQ(memory.outstanding(), 0u);
}

TEST(HandleCount, CountsEachOpenHandle) {
  const size_t before = open_handles();
  EXPECT_GT(before, 0u);
  HANDLE events[3];
  for (HANDLE& event : events) event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  EXPECT_EQ(open_handles(), before + 3);
  for (HANDLE event : events) CloseHandle(event);
  EXPECT_EQ(open_handles(), before);
}

CHILD_PROCESS(echoes) {
  for (const std::string& argument : arguments) std::printf("<%s>", argument.c_str());
  return static_cast<int>(arguments.size());
}

TEST(FreshProcess, ReturnsTheChildsResultAndOutput) {
  const ChildResult result = run_child("echoes", {"", "a b", R"(q"uote)", R"(back\slash\)", R"(\")"});
  EXPECT_EQ(result.exit_code, 5u);
  EXPECT_EQ(result.output, R"(<><a b><q"uote><back\slash\><\">)");
}

TEST(FreshProcess, AnUnknownChildFails) { EXPECT_EQ(run_child("nobody").exit_code, 0xFFFFFFFFu); }

CHILD_PROCESS(ends_with_the_library_loaded) {
  new ClientLibrary(Marker::kPresent);
  STANDIN(SAF_Finalize).returns(3);
  return 0;
}

TEST(FreshProcess, TheLibraryLogsTheProcessEnd) {
  EXPECT_EQ(run_child("ends_with_the_library_loaded").exit_code, 0u);
  EXPECT_THAT(LogReader::messages(), Contains("DllMain->Process detach."));
  RemoveDirectoryW(L"c:\\velm_log");
}

}  // namespace
