#include "calls/provider_calls.h"
#include "support/guarded_buffer.h"

namespace velm::test {
namespace {

constexpr uint8_t kKey[] = "0123456789abcdef";
constexpr uint8_t kIv[] = "fedcba9876543210";
constexpr uint8_t kData[] = "data";

// What differs between the two calls for data.
struct Direction {
  const char* function;
  const char* operation;
  uint32_t flag;
};

void PrintTo(const Direction& direction, std::ostream* out) { *out << direction.function; }

class SymmetricTest : public ProviderTest, public testing::WithParamInterface<Direction> {
 protected:
  using Function = decltype(library.SOF_Ext_SymmEncrypt);

  bool encrypts() const { return GetParam().flag == 1; }
  const Function& function() const {
    return encrypts() ? library.SOF_Ext_SymmEncrypt : library.SOF_Ext_SymmDecrypt;
  }

  // The stand-in of the operation. Both directions have the same signature but different types.
  template <class Visit>
  auto operation(Visit visit) const {
    return encrypts() ? visit(STANDIN(VELM_Openssl_Encrypt)) : visit(STANDIN(VELM_Openssl_Decrypt));
  }

  auto call() {
    const char* name = GetParam().function;
    return call_of(
        function(),
        [name](uint32_t algorithm, uint32_t padding, auto, auto, uint32_t key_length, auto,
               uint32_t data_length, auto, auto) {
          return print("%s uSymmAlg=0x%08X uPaddingMode=%u uSymmKeyLen=%u uInDataLen=%u", name, algorithm,
                       padding, key_length, data_length);
        },
        {nullptr, nullptr, nullptr, "pbSymmKey", nullptr, "pbInData", nullptr, "pbOutData", "puOutDataLen"},
        {0x402u, 5u, kIv, kKey, 16u, kData, 4u, output.data(), &length});
  }

  std::string entry() const {
    return entry_line(
        print("%s uSymmAlg=0x00000402 uPaddingMode=5 uSymmKeyLen=16 uInDataLen=4", GetParam().function));
  }

  // The module returns a context, and the operation writes "result".
  void play_success() {
    STANDIN(VELM_Openssl_SymmAcquireContext).plays([](void** context, auto...) {
      *context = kContext;
      return 0;
    });
    STANDIN(VELM_Openssl_SymmReleaseCtx).returns(0);
    operation([](auto& standin) {
      standin.plays([](void*, const uint8_t*, uint32_t, uint8_t* out, uint32_t* out_length) {
        std::copy_n("result", 6, out);
        *out_length = 6;
        return 0;
      });
    });
  }

  static inline void* const kContext = reinterpret_cast<void*>(uintptr_t{0xC0DE});
  GuardedBuffer output{20};
  uint32_t length = 0xAAAAAAAA;
};

INSTANTIATE_TEST_SUITE_P(BothDirections, SymmetricTest,
                         testing::Values(Direction{"SOF_Ext_SymmEncrypt", "VELM_Openssl_Encrypt", 1},
                                         Direction{"SOF_Ext_SymmDecrypt", "VELM_Openssl_Decrypt", 0}),
                         [](const auto& row) { return row.param.flag ? "Encrypt" : "Decrypt"; });

TEST_P(SymmetricTest, PassesItsArguments) {
  play_success();
  EXPECT_EQ(call().run(), SOR_OK);

  EXPECT_THAT(standins.call_log(), testing::ElementsAre("VELM_Openssl_SymmAcquireContext",
                                                        GetParam().operation, "VELM_Openssl_SymmReleaseCtx"));
  const auto acquired = STANDIN(VELM_Openssl_SymmAcquireContext).calls().at(0);
  EXPECT_NE(std::get<0>(acquired), nullptr);
  EXPECT_EQ(acquired, std::tuple(std::get<0>(acquired), 108u, GetParam().flag, kKey, 16u, kIv, 2u));
  const auto operated = operation([](auto& standin) { return standin.calls().at(0); });
  EXPECT_NE(std::get<4>(operated), &length);
  EXPECT_EQ(operated, std::tuple(kContext, kData, 4u, output.data(), std::get<4>(operated)));
  EXPECT_EQ(STANDIN(VELM_Openssl_SymmReleaseCtx).calls().at(0), std::tuple(kContext));

  EXPECT_EQ(output.bytes(6), "result");
  EXPECT_TRUE(output.untouched(6));
  EXPECT_EQ(length, 6u);
  EXPECT_EQ(new_lines(), Lines{entry()});
}

TEST_P(SymmetricTest, OutputLengthIsPassedAsZero) {
  play_success();
  uint32_t went_in = 1;
  operation([&](auto& standin) {
    standin.plays([&went_in](auto, auto, auto, auto, uint32_t* out_length) {
      went_in = *out_length;
      return 0;
    });
  });
  EXPECT_EQ(call().run(), SOR_OK);
  EXPECT_EQ(went_in, 0u);
  EXPECT_EQ(length, 0u);
}

TEST_P(SymmetricTest, NullPointers) {
  play_success();
  expect_null_checks(call());
}

TEST_P(SymmetricTest, NoSizeQuery) {
  EXPECT_EQ(function()(0x402, 0, kIv, kKey, 16, kData, 4, nullptr, &length), SOR_NULLPOINTERERR);
  EXPECT_EQ(length, 0xAAAAAAAA);
}

TEST_P(SymmetricTest, ANullIvReachesTheModule) {
  play_success();
  EXPECT_EQ(function()(0x401, 0, nullptr, kKey, 16, kData, 4, output.data(), &length), SOR_OK);
  EXPECT_EQ(std::get<5>(STANDIN(VELM_Openssl_SymmAcquireContext).calls().at(0)), nullptr);
}

TEST_P(SymmetricTest, CipherAndModeNumbers) {
  play_success();
  struct Row {
    uint32_t algorithm, cipher, mode;
  };
  constexpr Row kRows[] = {{0x402, 108, 2},   {0x408, 108, 4},     {0x410, 108, 0},  {0xC001, 0, 1},
                           {0x404, 108, 3},   {0x2001, 101, 1},    {0x4002, 107, 2}, {0x8002, 107, 2},
                           {0x10002, 107, 2}, {0x403, 108, 0},     {0x400, 108, 0},  {0, 0, 0},
                           {0x500, 0, 0},     {0xFFF00402, 108, 2}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(print("0x%X", row.algorithm));
    EXPECT_EQ(function()(row.algorithm, 0, kIv, kKey, 16, kData, 4, output.data(), &length), SOR_OK);
    const auto acquired = STANDIN(VELM_Openssl_SymmAcquireContext).calls().back();
    EXPECT_EQ(std::get<1>(acquired), row.cipher);
    EXPECT_EQ(std::get<6>(acquired), row.mode);
  }
}

TEST_P(SymmetricTest, NoContext) {
  // A context that the module returns together with a failure must be ignored.
  STANDIN(VELM_Openssl_SymmAcquireContext).plays([](void** context, auto...) {
    *context = kContext;
    return -7;
  });
  EXPECT_EQ(call().run(), 0x0B000201u);
  EXPECT_THAT(standins.call_log(), testing::ElementsAre("VELM_Openssl_SymmAcquireContext"));
  EXPECT_EQ(new_lines(),
            (Lines{entry(), print("%s->VELM_Openssl_SymmAcquireContext goa_rv=-7 uSymmAlg=0x00000402 "
                                  "uPaddingMode=5 pIV=0x%08X uSymmKeyLen=16 uInDataLen=4",
                                  GetParam().function, low_half(kIv))}));
  EXPECT_TRUE(output.untouched());
  EXPECT_EQ(length, 0xAAAAAAAA);
  expect_balance(call());
}

TEST_P(SymmetricTest, TheOperationFails) {
  play_success();
  operation([](auto& standin) {
    standin.plays([](auto, auto, auto, auto, uint32_t* out_length) {
      *out_length = 99;
      return 0x7FFFFFFF;
    });
  });
  EXPECT_EQ(call().run(), 0x0B000001u);
  EXPECT_EQ(STANDIN(VELM_Openssl_SymmReleaseCtx).calls(), std::vector{std::tuple(kContext)});
  EXPECT_EQ(new_lines(), (Lines{entry(), print("%s->%s goa_rv=2147483647 uSymmAlg=0x00000402 uPaddingMode=5 "
                                               "uSymmKeyLen=16 uInDataLen=4",
                                               GetParam().function, GetParam().operation)}));
  EXPECT_EQ(length, 0xAAAAAAAA);
  expect_balance(call());
}

TEST_P(SymmetricTest, ANullContextIsNotReleased) {
  EXPECT_EQ(call().run(), SOR_OK);
  EXPECT_THAT(standins.call_log(),
              testing::ElementsAre("VELM_Openssl_SymmAcquireContext", GetParam().operation));
}

TEST_P(SymmetricTest, LeaksNothing) {
  play_success();
  expect_balance(call());
}

// Sic: the log format of the two calls for files prints `ulIVLen` twice.
class SymmetricFileTest : public ProviderTest {
 protected:
  template <class Function, class Provider>
  void expect_file_call(const Function& function, const char* name, Provider& provider,
                        const char* provider_name) {
    const auto call = call_of(
        function,
        [name](uint32_t algorithm, auto, uint32_t iv_length, auto, uint32_t key_length, const char* in,
               const char* out) {
          return print("%s ulSymmAlg=0x%08X ulIVLen=%u ulIVLen=%u pszInFilePath=[%s] pszOutFilePath=[%s]",
                       name, algorithm, iv_length, key_length, or_NULL(in).c_str(), or_NULL(out).c_str());
        },
        {nullptr, nullptr, nullptr, "pbSymmKey", nullptr, "pszInFilePath", "pszOutFilePath"},
        {0x402u, kIv, 16u, kKey, 32u, "c:\\in.txt", "c:\\out.txt"});
    const auto handed = [](auto... values) { return std::tuple(values...); };
    expect_pass_through_unopened(call, provider, provider_name, handed);
    EXPECT_THAT(standins.call_log("SAF_Ext_Symm"), testing::Each(provider_name));
  }
};

TEST_F(SymmetricFileTest, Encrypt) {
  expect_file_call(library.SOF_Ext_SymmEncryptFile, "SOF_Ext_SymmEncryptFile",
                   STANDIN(SAF_Ext_SymmEncryptFile), "SAF_Ext_SymmEncryptFile");
}

TEST_F(SymmetricFileTest, Decrypt) {
  expect_file_call(library.SOF_Ext_SymmDecryptFile, "SOF_Ext_SymmDecryptFile",
                   STANDIN(SAF_Ext_SymmDecryptFile), "SAF_Ext_SymmDecryptFile");
}

TEST_F(SymmetricFileTest, PathsAreNotConverted) {
  const std::string chinese = "c:\\\xE6\x96\x87\xE4\xBB\xB6.txt";  // UTF-8, which is not converted
  const std::string deep(20000, 'p');
  STANDIN(SAF_Ext_SymmEncryptFile).plays([&](auto, auto, auto, auto, auto, const char* in, const char* out) {
    EXPECT_EQ(text(in), chinese);
    EXPECT_EQ(text(out), deep);
    return 0u;
  });
  EXPECT_EQ(library.SOF_Ext_SymmEncryptFile(0x402, kIv, 16, kKey, 16, chinese.c_str(), deep.c_str()), SOR_OK);
  EXPECT_EQ(STANDIN(SAF_Ext_SymmEncryptFile).count(), 1u);
}

}  // namespace
}  // namespace velm::test
