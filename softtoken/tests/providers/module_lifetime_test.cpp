#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_openssl_api.h"
#include "support/process_usage.h"

using velm::test::ProcessUsage;

namespace {

constexpr const char* kEnveloped = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";

// A copy with another name can be unloaded even if this program imports the original.
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
  // A failing call throws an exception inside the module.
  EXPECT_NE(
      module.function<decltype(SAF_Hash)>("SAF_Hash")(9, data, 3, nullptr, 0, nullptr, 0, hash, &length), 0u);
}

// Parses signed XML without verifying it, which initialises everything that the XML libraries use.
void read_xml_once(const Module& module) {
  const std::string xml =
      "<root><Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><SignedInfo><CanonicalizationMethod "
      "Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/><SignatureMethod Algorithm=\"unknown\"/>"
      "<Reference URI=\"\"><Transforms><Transform Algorithm=\"" +
      std::string(kEnveloped) +
      "\"/></Transforms><DigestMethod Algorithm=\"unknown\"/><DigestValue>AAAA</DigestValue></Reference>"
      "</SignedInfo><SignatureValue>AAAA</SignatureValue><KeyInfo><X509Certificate>AAAA</X509Certificate>"
      "</KeyInfo></Signature></root>";
  uint32_t lengths[6] = {};
  EXPECT_EQ(module.function<decltype(SAF_Ext_XMLParse)>("SAF_Ext_XMLParse")(
                nullptr, 0, reinterpret_cast<const uint8_t*>(xml.data()), static_cast<uint32_t>(xml.size()),
                nullptr, &lengths[0], nullptr, &lengths[1], nullptr, &lengths[2], nullptr, &lengths[3],
                nullptr, &lengths[4], nullptr, &lengths[5]),
            0u);
  EXPECT_EQ(lengths[0], std::string("<root></root>").size());
}

void encrypt_once(const Module& module) {
  const uint8_t key[16] = {};
  uint8_t output[32];
  uint32_t length = 0;
  void* context = nullptr;
  EXPECT_EQ(module.function<decltype(VELM_Openssl_SymmAcquireContext)>("VELM_Openssl_SymmAcquireContext")(
                &context, 108, 1, key, 16, key, 2),
            0);
  EXPECT_EQ(module.function<decltype(VELM_Openssl_Encrypt)>("VELM_Openssl_Encrypt")(context, key, 16, output,
                                                                                    &length),
            0);
  EXPECT_EQ(module.function<decltype(VELM_Openssl_SymmReleaseCtx)>("VELM_Openssl_SymmReleaseCtx")(context),
            0);
  EXPECT_NE(module.function<decltype(VELM_Openssl_SymmAcquireContext)>("VELM_Openssl_SymmAcquireContext")(
                &context, 99, 1, key, 16, key, 2),
            0);
}

void use_nothing(const Module&) {}

// Loads a module, uses it on this thread and on one that ends, and unloads it.
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
  expect_no_growth("velm_client_saf.dll", "lifetime_saf.dll", [](const Module& module) {
    hash_once(module);
    read_xml_once(module);
  });
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
