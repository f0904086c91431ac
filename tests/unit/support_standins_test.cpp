// The stand-in modules, called through their export tables as the library does.
#include <windows.h>

#include <gmock/gmock.h>

#include <string>
#include <tuple>

#include "support/guarded_buffer.h"
#include "support/standins.h"

namespace {

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

template <class Function>
Function* exported(const char* module, const char* name) {
  return reinterpret_cast<Function*>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA(module), name)));
}

#define EXPORTED(module, function) exported<decltype(::function)>(module, #function)

const uint8_t* octets(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

TEST(Standins, AnUnscriptedFunctionReturnsZeroAndIsLogged) {
  const Standins standins;
  EXPECT_EQ(EXPORTED("velm_dev_enum.dll", vde_get_last_device_config)(), nullptr);
  EXPECT_EQ(EXPORTED("velm_client_saf.dll", SAF_Ext_EnumDevice)(nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(EXPORTED("velm_common.dll", vc_input_pin)(1, 2, nullptr), 0);
  EXPECT_THAT(standins.call_log(),
              ElementsAre("vde_get_last_device_config", "SAF_Ext_EnumDevice", "vc_input_pin"));
  EXPECT_THAT(standins.call_log("SAF_"), ElementsAre("SAF_Ext_EnumDevice"));
}

TEST(Standins, EveryArgumentIsPassed) {
  const Standins standins;
  STANDIN(SAF_Hash).returns(0x02000302);
  uint8_t hash[32];
  uint32_t hash_length = sizeof hash;
  const uint32_t result = EXPORTED("velm_client_saf.dll", SAF_Hash)(1, octets("data"), 4, octets("key"), 3,
                                                                    octets("id"), 2, hash, &hash_length);
  EXPECT_EQ(result, 0x02000302u);
  ASSERT_EQ(STANDIN(SAF_Hash).count(), 1u);
  const auto [algorithm, data, data_length, key, key_length, id, id_length, output, output_length] =
      STANDIN(SAF_Hash).calls()[0];
  EXPECT_EQ(algorithm, 1u);
  EXPECT_EQ(bytes(data, data_length), "data");
  EXPECT_EQ(bytes(key, key_length), "key");
  EXPECT_EQ(bytes(id, id_length), "id");
  EXPECT_EQ(output, hash);
  EXPECT_EQ(output_length, &hash_length);
}

TEST(Standins, ScriptReadsInputsAndWritesOutputs) {
  const Standins standins;
  std::string container;
  STANDIN(SAF_Ext_EnumFile).plays([&](void*, const char* name, char* names, uint32_t* length) {
    container = text(name);
    return give("a;b", names, length);
  });
  const auto enum_file = EXPORTED("velm_client_saf.dll", SAF_Ext_EnumFile);
  uint32_t length = 0;
  EXPECT_EQ(enum_file(nullptr, "box", nullptr, &length), 0u);
  EXPECT_EQ(length, 3u);
  GuardedBuffer names(3);
  length = 2;
  EXPECT_EQ(enum_file(nullptr, "box", names.text(), &length), 0x02000200u);
  EXPECT_TRUE(names.untouched());
  length = 3;
  EXPECT_EQ(enum_file(nullptr, "box", names.text(), &length), 0u);
  EXPECT_EQ(names.bytes(), "a;b");
  EXPECT_EQ(container, "box");
}

TEST(Standins, ResultsInTurn) {
  const Standins standins;
  STANDIN(SAF_Finalize).returns_in_turn({5, 6});
  const auto finalize = EXPORTED("velm_client_saf.dll", SAF_Finalize);
  EXPECT_EQ(finalize(nullptr), 5u);
  EXPECT_EQ(finalize(nullptr), 6u);
  EXPECT_EQ(finalize(nullptr), 6u);
}

TEST(Standins, ScriptsAndCallsAreClearedBetweenTests) {
  {
    const Standins standins;
    STANDIN(SAF_Finalize).returns(9);
    STANDIN(VELM_Openssl_Base64Encode).returns(-1);
    EXPORTED("velm_client_saf.dll", SAF_Finalize)(nullptr);
  }
  const Standins standins;
  EXPECT_THAT(standins.call_log(), IsEmpty());
  EXPECT_EQ(STANDIN(SAF_Finalize).count(), 0u);
  EXPECT_EQ(EXPORTED("velm_client_saf.dll", SAF_Finalize)(nullptr), 0u);
  uint32_t length = 0;
  EXPECT_EQ(EXPORTED("velm_openssl_api.dll", VELM_Openssl_Base64Encode)(octets(""), 0, nullptr, &length), 0);
}

class Base64Vector : public testing::TestWithParam<std::tuple<const char*, const char*>> {};

TEST_P(Base64Vector, IsCodedByDefault) {
  const Standins standins;
  const auto& [plain_text, encoded_text] = GetParam();
  const std::string plain = plain_text, encoded = encoded_text;
  const auto size = [](const std::string& content) { return static_cast<uint32_t>(content.size()); };
  const auto expect = [&](auto* function, const std::string& input, const std::string& expected) {
    GuardedBuffer output(expected.size());
    uint32_t length = size(expected);
    EXPECT_TRUE(function(octets(input.c_str()), size(input), output.data(), &length) == 0);
    EXPECT_EQ(length, expected.size());
    EXPECT_EQ(output.bytes(), expected);
  };
  expect(EXPORTED("velm_openssl_api.dll", VELM_Openssl_Base64Encode), plain, encoded);
  expect(EXPORTED("velm_openssl_api.dll", VELM_Openssl_Base64Decode), encoded, plain);
  expect(EXPORTED("velm_client_saf.dll", SAF_Base64_Encode), plain, encoded);
  expect(EXPORTED("velm_client_saf.dll", SAF_Base64_Decode), encoded, plain);
}

// The test vectors of RFC 4648.
INSTANTIATE_TEST_SUITE_P(Standins, Base64Vector,
                         testing::Values(std::tuple("", ""), std::tuple("f", "Zg=="),
                                         std::tuple("fo", "Zm8="), std::tuple("foo", "Zm9v"),
                                         std::tuple("foob", "Zm9vYg=="), std::tuple("fooba", "Zm9vYmE="),
                                         std::tuple("foobar", "Zm9vYmFy")));

TEST(Standins, InvalidBase64IsRefused) {
  const Standins standins;
  for (const char* wrong : {"A", "AB", "ABC", "AB*=", "A===", "=AAA", "AA=A", "AAAA\n"}) {
    uint32_t length = 77;
    const auto decode = EXPORTED("velm_openssl_api.dll", VELM_Openssl_Base64Decode);
    EXPECT_NE(decode(octets(wrong), static_cast<uint32_t>(strlen(wrong)), nullptr, &length), 0) << wrong;
    EXPECT_EQ(length, 77u);
  }
}

}  // namespace
