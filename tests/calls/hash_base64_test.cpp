#include "calls/provider_calls.h"
#include "support/guarded_buffer.h"

namespace velm::test {
namespace {

constexpr uint8_t kData[] = "abc";
constexpr uint8_t kPublicKey[] = "key";
constexpr uint8_t kSignerId[] = "1234567812345678";

class HashBase64Test : public ProviderTest {
 protected:
  // The provider gets a separate length with the caller's value. It is copied back only on success.
  template <class... Arguments, class Provider>
  void expect_own_length(const Call<Arguments...>& call, Provider& provider, const char* logged_name) {
    uint32_t went_in = 0;
    uint32_t* given = nullptr;
    uint32_t result = 0;
    provider.plays([&](auto... values) {
      given = std::get<sizeof...(values) - 1>(std::tuple(values...));
      went_in = *given;
      *given = 17;
      return result;
    });
    EXPECT_EQ(call.run(), SOR_OK);
    EXPECT_NE(given, &length);
    EXPECT_EQ(went_in, 64u);
    EXPECT_EQ(length, 17u);
    EXPECT_EQ(new_lines(), call.entry_lines(call.arguments));

    length = 64;
    result = 0x02000302;
    EXPECT_EQ(call.run(), 0x0B000302u);
    EXPECT_EQ(length, 64u);
    EXPECT_TRUE(output.untouched());
    new_lines();

    expect_mapped(call, provider, logged_name);
    EXPECT_EQ(length, 64u);
    expect_balance(call);
    provider.returns(0x02000302);
    expect_balance(call);
    provider.returns(0);
  }

  GuardedBuffer output{64};
  uint32_t length = 64;
};

TEST_F(HashBase64Test, HashData) {
  const auto call = call_of(
      library.SOF_Ext_HashData,
      [](uint32_t algorithm, auto, uint32_t data_length, auto, uint32_t key_length, auto, uint32_t id_length,
         auto, auto) {
        return print(
            "SOF_Ext_HashData uiAlgorithmType=0x%08X ulInDataLen=%u ulPublicKeyLen=%u ulPublicKeyLen=%u",
            algorithm, data_length, key_length, id_length);
      },
      {nullptr, "pucInData", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, "pulOutDataLen"},
      {1u, kData, 3u, kPublicKey, 4u, kSignerId, 16u, output.data(), &length});
  expect_null_checks(call);
  expect_own_length(call, STANDIN(SAF_Hash), "SAF_Hash");

  const auto handed = STANDIN(SAF_Hash).calls().back();
  EXPECT_EQ(handed,
            std::tuple(1u, kData, 3u, kPublicKey, 4u, kSignerId, 16u, output.data(), std::get<8>(handed)));
}

TEST_F(HashBase64Test, HashDataPassesUncheckedNullPointers) {
  STANDIN(SAF_Hash).returns(0);
  EXPECT_EQ(library.SOF_Ext_HashData(2, kData, 3, nullptr, 0, nullptr, 0, nullptr, &length), SOR_OK);
  const auto handed = STANDIN(SAF_Hash).calls().back();
  const std::tuple<uint32_t, const uint8_t*, uint32_t, const uint8_t*, uint32_t, const uint8_t*, uint32_t,
                   uint8_t*, uint32_t*>
      expected{2, kData, 3, nullptr, 0, nullptr, 0, nullptr, std::get<8>(handed)};
  EXPECT_EQ(handed, expected);
}

TEST_F(HashBase64Test, HashFile) {
  int first = 0, second = 0, third = 0, fourth = 0;
  const auto call =
      call_of(library.SOF_Ext_HashFile, nullptr,
              {nullptr, nullptr, nullptr, nullptr, nullptr, "pszInFilePath", nullptr, "pulOutDataLen"},
              {&first, &second, &third, &fourth, 5u, "c:\\in.txt", output.data(), &length});
  expect_pass_through(call, STANDIN(SAF_Ext_HashFile), "SAF_Ext_HashFile",
                      [](auto... values) { return std::tuple(values...); });
  EXPECT_TRUE(output.untouched());
  EXPECT_EQ(length, 64u);
}

TEST_F(HashBase64Test, HashFilePassesIntegersInPointerWidth) {
  const auto wide = [](uint64_t number) { return reinterpret_cast<const void*>(number); };
  STANDIN(SAF_Ext_HashFile).returns(0);
  EXPECT_EQ(library.SOF_Ext_HashFile(wide(1), wide(0xFFFFFFFFFFFFFFFF), wide(0x123456789), wide(0),
                                     0xFFFFFFFF, "f", nullptr, &length),
            SOR_OK);
  const auto handed = STANDIN(SAF_Ext_HashFile).calls().back();
  EXPECT_EQ(std::get<0>(handed), wide(1));
  EXPECT_EQ(std::get<1>(handed), wide(0xFFFFFFFFFFFFFFFF));
  EXPECT_EQ(std::get<2>(handed), wide(0x123456789));
  EXPECT_EQ(std::get<3>(handed), nullptr);
  EXPECT_EQ(std::get<4>(handed), 0xFFFFFFFF);
}

TEST_F(HashBase64Test, HashFilePassesTheCallersLength) {
  STANDIN(SAF_Ext_HashFile)
      .plays([](auto, auto, auto, auto, auto, auto, uint8_t* hash, uint32_t* hash_length) {
        return give(std::string(65, 'h'), hash, hash_length);
      });
  EXPECT_EQ(library.SOF_Ext_HashFile(nullptr, nullptr, nullptr, nullptr, 1, "f", nullptr, &length), SOR_OK);
  EXPECT_EQ(length, 65u);
}

TEST_F(HashBase64Test, ProviderEncode) {
  const auto call = call_of(library.SOF_Ext_Base64Encode, nullptr, {"pucInData", nullptr, nullptr, nullptr},
                            {kData, 3u, output.data(), &length});
  STANDIN(SAF_Base64_Encode).returns(0);
  expect_null_checks(call);
  expect_own_length(call, STANDIN(SAF_Base64_Encode), "SOF_Ext_Base64Encode");
  const auto handed = STANDIN(SAF_Base64_Encode).calls().back();
  EXPECT_EQ(handed, std::tuple(kData, 3u, output.data(), std::get<3>(handed)));
}

TEST_F(HashBase64Test, ProviderDecode) {
  const auto call = call_of(library.SOF_Ext_Base64Decode, nullptr, {"pucInData", nullptr, nullptr, nullptr},
                            {kData, 3u, output.data(), &length});
  STANDIN(SAF_Base64_Decode).returns(0);
  expect_null_checks(call);
  expect_own_length(call, STANDIN(SAF_Base64_Decode), "SOF_Ext_Base64Decode");
  const auto handed = STANDIN(SAF_Base64_Decode).calls().back();
  EXPECT_EQ(handed, std::tuple(kData, 3u, output.data(), std::get<3>(handed)));
}

TEST_F(HashBase64Test, ProviderRoundTrip) {
  EXPECT_EQ(library.SOF_Ext_Base64Encode(kData, 3, nullptr, &length), SOR_OK);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(library.SOF_Ext_Base64Encode(kData, 3, output.data(), &length), SOR_OK);
  EXPECT_EQ(output.bytes(4), "YWJj");
  EXPECT_TRUE(output.untouched(4));

  GuardedBuffer decoded(3);
  uint32_t decoded_length = 2;
  EXPECT_EQ(library.SOF_Ext_Base64Decode(output.data(), 4, decoded.data(), &decoded_length),
            SOR_INDATALENERR);
  EXPECT_TRUE(decoded.untouched());
  EXPECT_EQ(decoded_length, 2u);
  decoded_length = 3;
  EXPECT_EQ(library.SOF_Ext_Base64Decode(output.data(), 4, decoded.data(), &decoded_length), SOR_OK);
  EXPECT_EQ(decoded.bytes(), "abc");
}

TEST_F(HashBase64Test, NullLengthIsPassedAsZero) {
  uint32_t went_in = 1;
  STANDIN(SAF_Base64_Decode).plays([&](auto, auto, auto, uint32_t* out_length) {
    went_in = *out_length;
    *out_length = 3;
    return 0u;
  });
  EXPECT_EQ(library.SOF_Ext_Base64Decode(kData, 3, output.data(), nullptr), SOR_OK);
  EXPECT_EQ(went_in, 0u);
}

TEST_F(HashBase64Test, NullInputKeepsTheLength) {
  EXPECT_EQ(library.SOF_Ext_Base64Decode(nullptr, 3, output.data(), &length), SOR_NULLPOINTERERR);
  EXPECT_EQ(library.SOF_Ext_Base64Encode(nullptr, 3, output.data(), &length), SOR_NULLPOINTERERR);
  EXPECT_EQ(length, 64u);
  EXPECT_EQ(new_lines(), (Lines{"pucInData is null!", "pucInData is null!"}));
}

// What differs between the two base64 functions of the crypto module. The checks are the same for both.
struct ModuleCall {
  const char* function;
  const char* first;  // argument names as logged
  const char* first_length;
  const char* output;
  const char* output_length;
  const char* provider;
  uint32_t failure;
};

class ModuleBase64Test : public HashBase64Test {
 protected:
  template <class Function, class Provider>
  void expect_module_call(const Function& function, Provider& provider, const ModuleCall& own) {
    const auto call =
        call_of(function,
                [own](const uint8_t* data, uint32_t data_length, uint8_t* out, uint32_t* out_length) {
                  return print("%s %s=0x%08X %s=%u %s=0x%08X %s=0x%08X", own.function, own.first,
                               low_half(data), own.first_length, data_length, own.output, low_half(out),
                               own.output_length, low_half(out_length));
                },
                {own.first, nullptr, nullptr, own.output_length}, {kData, 3u, output.data(), &length});
    expect_null_checks(call);
    length = 64;

    uint32_t went_in = 1;
    int32_t result = 0;
    provider.plays([&](const uint8_t* data, uint32_t data_length, uint8_t* out, uint32_t* out_length) {
      EXPECT_EQ(std::tuple(data, data_length, out), std::tuple(kData, 3u, output.data()));
      EXPECT_NE(out_length, &length);
      went_in = *out_length;
      *out_length = 0xFFFFFFFF;
      return result;
    });
    EXPECT_EQ(call.run(), SOR_OK);
    EXPECT_EQ(went_in, 0u);
    EXPECT_EQ(length, 0xFFFFFFFF);
    EXPECT_EQ(new_lines(), call.entry_lines(call.arguments));
    expect_balance(call);

    length = 64;
    for (const int32_t code : {-1, 1, INT32_MIN}) {
      result = code;
      EXPECT_EQ(call.run(), own.failure);
      Lines expected = call.entry_lines(call.arguments);
      expected.push_back(print("%s->%s rv=%d", own.function, own.provider, code));
      EXPECT_EQ(new_lines(), expected);
    }
    EXPECT_EQ(length, 64u);
    EXPECT_TRUE(output.untouched());
    expect_balance(call);
  }
};

TEST_F(ModuleBase64Test, Encode) {
  expect_module_call(library.SOF_Base64Encode, STANDIN(VELM_Openssl_Base64Encode),
                     {"SOF_Base64Encode", "pOrignalData", "uOrignalDataLen", "pEncodeData", "pEncodeDataLen",
                      "VELM_Openssl_Base64Encode", 0x0B010004});
}

TEST_F(ModuleBase64Test, Decode) {
  expect_module_call(library.SOF_Base64Decode, STANDIN(VELM_Openssl_Base64Decode),
                     {"SOF_Base64Decode", "pEncodeData", "uEncodeDataLen", "pDecodeData", "pDecodeDataLen",
                      "VELM_Openssl_Base64Decode", 0x0B010005});
}

TEST_F(ModuleBase64Test, SizeQueries) {
  const auto encoded_size = [&](uint32_t data_length) {
    EXPECT_EQ(library.SOF_Base64Encode(kData, data_length, nullptr, &length), SOR_OK);
    return length;
  };
  EXPECT_EQ(encoded_size(0), 16u);
  EXPECT_EQ(encoded_size(3), 22u);
  EXPECT_EQ(encoded_size(0x7FFFFFF7), 0xFFFFFFFEu);

  for (const uint32_t size : {0u, 8u, 0xFFFFFFFFu}) {
    EXPECT_EQ(library.SOF_Base64Decode(kData, size, nullptr, &length), SOR_OK);
    EXPECT_EQ(length, size);
  }
  EXPECT_EQ(standins.call_log(), Lines{});
}

TEST_F(ModuleBase64Test, SizeAbove32BitsIsRefused) {
  for (const uint32_t size : {0x7FFFFFF8u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(library.SOF_Base64Encode(kData, size, nullptr, &length), SOR_MEMORYERR);
  }
  EXPECT_EQ(length, 64u);
}

TEST_F(ModuleBase64Test, TextAbove32BitsIsRefused) {
  STANDIN(VELM_Openssl_Base64Encode).returns(0);
  STANDIN(SAF_Base64_Encode).returns(0);
  for (const uint32_t size : {0xBFFFFFFEu, 0xFFFFFFFFu}) {
    EXPECT_EQ(library.SOF_Base64Encode(kData, size, output.data(), &length), SOR_MEMORYERR);
    EXPECT_EQ(library.SOF_Ext_Base64Encode(kData, size, output.data(), &length), SOR_MEMORYERR);
    EXPECT_EQ(library.SOF_Ext_Base64Encode(kData, size, nullptr, &length), SOR_MEMORYERR);
  }
  EXPECT_EQ(length, 64u);
  EXPECT_EQ(standins.call_log(), Lines{});

  EXPECT_EQ(library.SOF_Ext_Base64Encode(kData, 0xBFFFFFFD, output.data(), &length), SOR_OK);
  EXPECT_EQ(library.SOF_Base64Encode(kData, 0xBFFFFFFD, output.data(), &length), SOR_OK);
  EXPECT_EQ(standins.call_log(), (Lines{"SAF_Base64_Encode", "VELM_Openssl_Base64Encode"}));
}

TEST_F(ModuleBase64Test, RoundTrip) {
  EXPECT_EQ(library.SOF_Base64Encode(kData, 3, output.data(), &length), SOR_OK);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(output.bytes(4), "YWJj");
  EXPECT_TRUE(output.untouched(4));
  GuardedBuffer decoded(3);
  EXPECT_EQ(library.SOF_Base64Decode(output.data(), 4, decoded.data(), &length), SOR_OK);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(decoded.bytes(), "abc");
  EXPECT_EQ(library.SOF_Base64Decode(output.data() + 4, 4, decoded.data(), &length), SOR_BASE64DECODEERR);
  EXPECT_EQ(length, 3u);
}

}  // namespace
}  // namespace velm::test
