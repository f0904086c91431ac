// Shows for every exported function of the four modules, on a new thread, that exhausted memory does not end
// the process: the function returns its out-of-memory code and leaves its outputs unchanged.
#include <windows.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_common.h"
#include "provider_abi/velm_dev_enum.h"
#include "robustness/loader_notification.h"
#include "softtoken/tests/providers/every_module_call.h"
#include "softtoken/tests/providers/samples.h"
#include "support/allocation_faults.h"

namespace velm::token {
namespace {

using test::AllocationFaults;

constexpr uint32_t kSafMemoryCode = 0x02000100;
constexpr auto kApiMemoryCode = static_cast<uint32_t>(-3);

uint32_t call_on_new_thread(const ModuleCall& call, ModuleOutputs& outputs) {
  uint32_t result = 0;
  std::thread([&] { result = call.call(outputs); }).join();
  return result;
}

// Checks the result of a call whose allocations fail from the nth on.
testing::AssertionResult says_so(const ModuleCall& call, const ModuleOutputs& outputs, uint32_t result,
                                 const ModuleOutputs& expected, uint32_t memory_code) {
  if (result == call.code) {
    // The call does not depend on that allocation.
    if (call.repeatable && outputs != expected)
      return testing::AssertionFailure() << "success, other outputs";
    return testing::AssertionSuccess();
  }
  if (result != memory_code) return testing::AssertionFailure() << "code " << std::hex << result;
  if (outputs != ModuleOutputs()) return testing::AssertionFailure() << "outputs were written";
  if (file_exists(kModuleOutputFile)) return testing::AssertionFailure() << "a file was left";
  return testing::AssertionSuccess();
}

void expect_memory_code(const char* dll, const ModuleCall& call, uint32_t memory_code) {
  SCOPED_TRACE(call.name);
  ModuleOutputs expected;
  ASSERT_EQ(call_on_new_thread(call, expected), call.code);
  undo(call, expected);

  AllocationFaults memory(GetModuleHandleA(dll));
  bool has_failed = true;
  for (size_t nth = 1; has_failed; ++nth) {
    SCOPED_TRACE("from allocation " + std::to_string(nth) + " on");
    memory.restart();
    memory.fail_from(nth);
    ModuleOutputs outputs;
    const uint32_t result = call_on_new_thread(call, outputs);
    has_failed = memory.has_failed();
    memory.fail_at(0);
    ASSERT_TRUE(nth > 1 || result == memory_code) << std::hex << result;
    ASSERT_TRUE(has_failed || result == call.code) << std::hex << result;
    ASSERT_TRUE(says_so(call, outputs, result, expected, memory_code));
    undo(call, outputs);
    // libxml2 leaks some blocks when an allocation fails.
    ASSERT_TRUE(memory.outstanding() == 0 || std::string_view(call.name).starts_with("SAF_Ext_XML"));
    ASSERT_LT(nth, 20000u);
  }
}

TEST(ModulesWithoutMemory, EveryFunctionOfTheSignatureProviderSaysSo) {
  const std::vector<ModuleCall> calls = every_saf_call();
  EXPECT_EQ(calls.size(), 45u);
  for (const ModuleCall& call : calls) expect_memory_code("velm_client_saf.dll", call, kSafMemoryCode);
}

TEST(ModulesWithoutMemory, EveryFunctionOfTheCryptoModuleSaysSo) {
  const std::vector<ModuleCall> calls = every_openssl_api_call();
  EXPECT_EQ(calls.size(), 7u);
  for (const ModuleCall& call : calls) expect_memory_code("velm_openssl_api.dll", call, kApiMemoryCode);
}

// Shows that the PIN prompt reports a failure instead of a cancellation.
TEST(ModulesWithoutMemory, ThePromptFails) {
  constexpr int32_t kFailed = 2;
  AllocationFaults memory(GetModuleHandleA("velm_common.dll"));
  for (size_t nth = 1; nth <= 2; ++nth) {  // the thread's storage, the dialog
    memory.restart();
    memory.fail_from(nth);
    char pin[32] = "untouched";
    int32_t result = 0;
    std::thread([&] { result = vc_input_pin(1, 0, pin); }).join();

    EXPECT_TRUE(memory.has_failed());
    EXPECT_EQ(result, kFailed);
    EXPECT_STREQ(pin, "untouched");
    EXPECT_EQ(memory.outstanding(), 0u);
  }
}

TEST(ModulesWithoutMemory, TheDeviceRecordNeedsNone) {
  AllocationFaults memory(GetModuleHandleA("velm_dev_enum.dll"));
  memory.fail_from(1);
  std::thread([] { EXPECT_NE(vde_get_last_device_config(), nullptr); }).join();
  EXPECT_FALSE(memory.has_failed());
}

// A copy of the signature provider whose libraries have not been initialised.
class FreshModule {
 public:
  FreshModule() {
    CopyFileA("velm_client_saf.dll", kFile, FALSE);
    module_ = LoadLibraryA(kFile);
  }
  ~FreshModule() {
    FreeLibrary(module_);
    DeleteFileA(kFile);
  }
  FreshModule(const FreshModule&) = delete;
  FreshModule& operator=(const FreshModule&) = delete;

  HMODULE handle() const { return module_; }

  uint32_t hash_on_new_thread() const {
    const auto function = reinterpret_cast<decltype(&SAF_Hash)>(
        reinterpret_cast<void (*)()>(GetProcAddress(module_, "SAF_Hash")));
    uint32_t result = 0;
    std::thread([&] {
      uint8_t value[32];
      uint32_t length = sizeof value;
      result = function(1, as_bytes("abc").data(), 3, nullptr, 0, nullptr, 0, value, &length);
    }).join();
    return result;
  }

  static constexpr const char* kFile = "fresh_module.dll";

 private:
  HMODULE module_;
};

// Fails from every one of the first allocations, then from ever fewer of the thousands that follow.
TEST(ModulesWithoutMemory, TheFirstCallAfterTheLoadSaysSo) {
  bool has_failed = true;
  for (size_t nth = 1; has_failed; nth += 1 + nth / 8) {
    SCOPED_TRACE("from allocation " + std::to_string(nth) + " on");
    const FreshModule module;
    ASSERT_NE(module.handle(), nullptr);
    AllocationFaults memory(module.handle());
    memory.fail_from(nth);
    const uint32_t result = module.hash_on_new_thread();
    has_failed = memory.has_failed();
    ASSERT_TRUE(result == kSafMemoryCode || result == 0) << std::hex << result;
  }
}

TEST(ModulesWithoutMemory, TheLoadNeedsNone) {
  std::unique_ptr<AllocationFaults> memory;
  const test::LoaderNotification notification(L"fresh_module.dll", [&](HMODULE module) {
    memory = std::make_unique<AllocationFaults>(module);
    memory->fail_from(1);
  });
  const FreshModule module;
  ASSERT_NE(module.handle(), nullptr);
  ASSERT_NE(memory, nullptr);
  EXPECT_TRUE(memory->has_failed());
  EXPECT_EQ(module.hash_on_new_thread(), kSafMemoryCode);
  memory.reset();
  EXPECT_EQ(module.hash_on_new_thread(), 0u);
}

}  // namespace
}  // namespace velm::token
