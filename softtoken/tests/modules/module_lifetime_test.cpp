#include <windows.h>

#include <gtest/gtest.h>

#include <thread>

#include "modules/velm_client_saf.h"
#include "modules/velm_openssl_api.h"
#include "support/process_usage.h"

using velm::test::ProcessUsage;

namespace {

// A copy under another name, so that it can be unloaded whatever this program has imported.
class Module {
 public:
  explicit Module(const char* path) : handle_(LoadLibraryA(path)) {}
  Module(const Module&) = delete;
  ~Module() { FreeLibrary(handle_); }

  template <typename Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(handle_, name)));
  }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  HMODULE handle_;
};

void hash_once(const Module& module) {
  const uint8_t data[3] = {'a', 'b', 'c'};
  uint8_t hash[32];
  uint32_t length = sizeof hash;
  EXPECT_EQ(
      module.function<decltype(SAF_Hash)>("SAF_Hash")(1, data, 3, nullptr, 0, nullptr, 0, hash, &length), 0u);
  // One that fails throws within the module.
  EXPECT_NE(
      module.function<decltype(SAF_Hash)>("SAF_Hash")(99, data, 3, nullptr, 0, nullptr, 0, hash, &length), 0u);
}

void encrypt_once(const Module& module) {
  const uint8_t key[16] = {};
  uint8_t output[32];
  uint32_t length = 0;
  void* context = nullptr;
  EXPECT_EQ(module.function<decltype(VELM_Openssl_SymmAcquireContext)>("VELM_Openssl_SymmAcquireContext")(
                &context, 108, 1, key, 16, key, 2), 0);
  EXPECT_EQ(module.function<decltype(VELM_Openssl_Encrypt)>("VELM_Openssl_Encrypt")(context, key, 16, output,
                                                                                    &length),
            0);
  EXPECT_EQ(module.function<decltype(VELM_Openssl_SymmReleaseCtx)>("VELM_Openssl_SymmReleaseCtx")(context),
            0);
  EXPECT_NE(module.function<decltype(VELM_Openssl_SymmAcquireContext)>("VELM_Openssl_SymmAcquireContext")(
                &context, 99, 1, key, 16, key, 2), 0);
}

void use_nothing(const Module&) {}

// Loaded, used on this thread and on one that ends, and unloaded.
void cycle(const char* path, void (*use)(const Module&)) {
  {
    const Module module(path);
    ASSERT_TRUE(module);
    use(module);
    std::thread([&] { use(module); }).join();
  }
  ASSERT_EQ(GetModuleHandleA(path), nullptr);
}

constexpr ProcessUsage::Allowance kAllowance{.handles = 4, .blocks = 10, .private_bytes = 256 << 10};

void expect_no_growth(const char* original, const char* path, void (*use)(const Module&)) {
  constexpr int kCycles = 1000;
  ASSERT_TRUE(CopyFileA(original, path, FALSE));
  for (int i = 0; i < 50; ++i) cycle(path, use);
  const ProcessUsage before = ProcessUsage::now();
  for (int i = 0; i < kCycles; ++i) cycle(path, use);
  EXPECT_EQ(ProcessUsage::now().growth_since(before, kAllowance), "");
  DeleteFileA(path);
}

TEST(ModuleLifetime, ThousandLoadsOfTheSignatureProviderLeaveNothing) {
  expect_no_growth("velm_client_saf.dll", "lifetime_saf.dll", hash_once);
}

TEST(ModuleLifetime, ThousandLoadsOfTheCryptoModuleLeaveNothing) {
  expect_no_growth("velm_openssl_api.dll", "lifetime_api.dll", encrypt_once);
}

TEST(ModuleLifetime, ThousandLoadsOfThePromptLeaveNothing) {
  expect_no_growth("velm_common.dll", "lifetime_common.dll", use_nothing);
}

TEST(ModuleLifetime, ThreadsThatEndLeaveNothing) {
  const auto run = [](int count) {
    for (int i = 0; i < count; ++i) {
      std::thread([] {
        const uint8_t data[3] = {'a', 'b', 'c'};
        uint8_t hash[32];
        uint32_t length = sizeof hash;
        EXPECT_EQ(SAF_Hash(1, data, 3, nullptr, 0, nullptr, 0, hash, &length), 0u);
      }).join();
    }
  };
  run(200);
  const ProcessUsage before = ProcessUsage::now();
  run(2000);
  EXPECT_EQ(ProcessUsage::now().growth_since(before, kAllowance), "");
}

}  // namespace
