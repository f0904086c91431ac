#include "calls/provider_calls.h"
#include "support/guarded_buffer.h"

namespace velm::test {
namespace {

constexpr uint8_t kData[] = "data";
constexpr uint8_t kStamp[] = "stamp";
constexpr uint8_t kCertificate[] = "certificate";

class TimeStampTest : public ProviderTest {
 protected:
  GuardedBuffer output{64};
  uint32_t length = 64;
};

// None of these calls writes an entry line.
constexpr auto kNoEntry = nullptr;

TEST_F(TimeStampTest, GetTime) {
  expect_pass_through_unopened(
      call_of(library.SOF_Ext_TspGetTime, kNoEntry, {nullptr, "pulTimeLen"}, {output.data(), &length}),
      STANDIN(SAF_Ext_TspGetTime), "SAF_Ext_TspGetTime",
      [](uint8_t* time, uint32_t* time_length) { return std::tuple(time, time_length); });
  EXPECT_TRUE(output.untouched());
  EXPECT_EQ(length, 64u);
}

TEST_F(TimeStampTest, GetStamp) {
  const auto call = call_of(library.SOF_Ext_TspGetStamp, kNoEntry,
                            {"pszContainerName", "pucInData", nullptr, nullptr, "pulStampRespLen"},
                            {"A", kData, 4u, output.data(), &length});
  const auto handed = [this](const char* name, const uint8_t* data, uint32_t data_length, uint8_t* stamp,
                             uint32_t* stamp_length) {
    return std::tuple(handle, name, 1u, data, data_length, stamp, stamp_length);
  };
  expect_pass_through_unopened(call, STANDIN(SAF_Ext_TspGetStamp), "SAF_Ext_TspGetStamp", handed);
}

TEST_F(TimeStampTest, GetFileStamp) {
  const auto call = call_of(library.SOF_Ext_TspGetFileStamp, kNoEntry,
                            {"pszContainerName", "pucInFile", nullptr, nullptr, "pulStampRespLen"},
                            {"Container", kData, 4u, output.data(), &length});
  const auto handed = [this](const char* name, const uint8_t* file, uint32_t file_length, uint8_t* stamp,
                             uint32_t* stamp_length) {
    return std::tuple(handle, name, 9u, file, file_length, stamp, stamp_length);
  };
  expect_pass_through_unopened(call, STANDIN(SAF_Ext_TspGetFileStamp), "SAF_Ext_TspGetFileStamp", handed);
}

// The application handle is never passed, whether open or not.
const auto kUnchanged = [](const uint8_t* input, uint32_t input_length, const uint8_t* stamp,
                           uint32_t stamp_length, const uint8_t* certificate, uint32_t certificate_length,
                           uint8_t* info, uint32_t* info_length) {
  return std::tuple(input, input_length, stamp, stamp_length, certificate, certificate_length, info,
                    info_length);
};

TEST_F(TimeStampTest, VerifyStamp) {
  const auto call =
      call_of(library.SOF_Ext_TspVerifyStamp, kNoEntry,
              {"pucInData", nullptr, "pucStamp", nullptr, "pucTsaCert", nullptr, nullptr, "pulTimeInfoLen"},
              {kData, 4u, kStamp, 5u, kCertificate, 11u, output.data(), &length});
  expect_pass_through_unopened(call, STANDIN(SAF_Ext_TspVerifyStamp), "SAF_Ext_TspVerifyStamp", kUnchanged);
}

TEST_F(TimeStampTest, VerifyFileStamp) {
  const auto call =
      call_of(library.SOF_Ext_TspVerifyFileStamp, kNoEntry,
              {"pucInFile", nullptr, "pucStamp", nullptr, "pucTsaCert", nullptr, nullptr, "pulTimeInfoLen"},
              {kData, 4u, kStamp, 5u, kCertificate, 11u, output.data(), &length});
  expect_pass_through_unopened(call, STANDIN(SAF_Ext_TspVerifyFileStamp), "SAF_Ext_TspVerifyFileStamp",
                               kUnchanged);
}

TEST_F(TimeStampTest, ProviderWritesTheOutputsDirectly) {
  STANDIN(SAF_Ext_TspGetTime).plays([](uint8_t* time, uint32_t* time_length) {
    return give("now", time, time_length);
  });
  EXPECT_EQ(library.SOF_Ext_TspGetTime(nullptr, &length), SOR_OK);
  EXPECT_EQ(length, 3u);
  length = 2;
  EXPECT_EQ(library.SOF_Ext_TspGetTime(output.data(), &length), SOR_INDATALENERR);
  EXPECT_TRUE(output.untouched());
  length = 64;
  EXPECT_EQ(library.SOF_Ext_TspGetTime(output.data(), &length), SOR_OK);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(output.bytes(3), "now");
  EXPECT_TRUE(output.untouched(3));
}

// Calls that open the application handle.
class OpeningTimeStampTest : public TimeStampTest {
 protected:
  // Sic: a call that cannot open the handle returns SOR_OK although nothing was done. All other checks are
  // made with the handle open.
  template <class... Arguments, class Provider, class Handed>
  void expect_opening_call(const Call<Arguments...>& call, Provider& provider, const char* provider_name,
                           Handed handed) {
    expect_success_while_closed(call, provider);
    expect_null_checks_come_first(call);
    expect_opening(call, provider, provider_name);
    expect_pass_through(call, provider, provider_name, handed);
    EXPECT_EQ(STANDIN(SAF_Initialize).count(), 0u);
  }

  template <class... Arguments, class Provider>
  void expect_success_while_closed(const Call<Arguments...>& call, Provider& provider) {
    STANDIN(SAF_Initialize).plays([](void** application, const char*) {
      *application = open_application();
      return 0x02000003u;
    });
    for (size_t attempt = 1; attempt <= 2; ++attempt) {
      EXPECT_EQ(call.run(), SOR_OK);
      EXPECT_EQ(STANDIN(SAF_Initialize).count(), attempt);
      EXPECT_EQ(new_lines(), (Lines{"SI_Initialize -> SAF_Initialize, saf_rv = 0x02000003 ",
                                    "SOF_Ext_GM_Tsp_GetTime -> SI_Initialize, rv = 184549377 "}));
    }
    EXPECT_EQ(provider.count(), 0u);
    EXPECT_TRUE(output.untouched());
    EXPECT_EQ(length, 64u);
    expect_balance(call);
  }

  template <class... Arguments>
  void expect_null_checks_come_first(const Call<Arguments...>& call) {
    standins.reset();
    auto values = call.arguments;
    for_each_pointer(call.arguments, [&](auto position) { std::get<position>(values) = nullptr; });
    EXPECT_EQ(call.run(values), SOR_NULLPOINTERERR);
    EXPECT_EQ(STANDIN(SAF_Initialize).count(), 0u);
    new_lines();
  }

  // The call opens the handle and passes it to the provider.
  template <class... Arguments, class Provider>
  void expect_opening(const Call<Arguments...>& call, Provider& provider, const char* provider_name) {
    STANDIN(SAF_Initialize).plays([](void** application, const char* path) {
      EXPECT_EQ(text(path), "saf_config.dat");
      *application = open_application();
      return 0u;
    });
    EXPECT_EQ(call.run(), SOR_OK);
    EXPECT_THAT(standins.call_log(), testing::ElementsAre("SAF_Initialize", provider_name));
    EXPECT_EQ(std::get<0>(provider.calls().at(0)), open_application());
    EXPECT_EQ(new_lines(), Lines{});
    handle = open_application();
    standins.reset();
  }
};

TEST_F(OpeningTimeStampTest, GetTime) {
  expect_opening_call(
      call_of(library.SOF_Ext_GM_Tsp_GetTime, kNoEntry, {nullptr, "pulTimeLen"}, {output.data(), &length}),
      STANDIN(SAF_Ext_GM_Tsp_GetTime), "SAF_Ext_GM_Tsp_GetTime",
      [this](uint8_t* time, uint32_t* time_length) { return std::tuple(handle, time, time_length); });
}

TEST_F(OpeningTimeStampTest, SealTimeStamp) {
  expect_opening_call(call_of(library.SOF_Ext_GM_Tsp_SealTimeStamp, kNoEntry,
                              {nullptr, "pucInData", nullptr, nullptr, "pulStampRespLen"},
                              {3u, kData, 4u, output.data(), &length}),
                      STANDIN(SAF_Ext_GM_Tsp_SealTimeStamp), "SAF_Ext_GM_Tsp_SealTimeStamp",
                      [this](uint32_t selector, const uint8_t* data, uint32_t data_length, uint8_t* stamp,
                             uint32_t* stamp_length) {
                        return std::tuple(handle, selector, data, data_length, stamp, stamp_length);
                      });
}

TEST_F(OpeningTimeStampTest, VerifyTimeStamp) {
  expect_opening_call(
      call_of(library.SOF_Ext_GM_Tsp_VerifyTimeStamp, kNoEntry,
              {"pucInData", nullptr, "pucStamp", nullptr, "pucTsaCert", nullptr, nullptr, "pulTimeInfoLen"},
              {kData, 4u, kStamp, 5u, kCertificate, 11u, output.data(), &length}),
      STANDIN(SAF_Ext_GM_Tsp_VerifyTimeStamp), "SAF_Ext_GM_Tsp_VerifyTimeStamp",
      [this](auto... values) { return std::tuple_cat(std::tuple(handle), kUnchanged(values...)); });
}

}  // namespace
}  // namespace velm::test
