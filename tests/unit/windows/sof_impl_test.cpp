// The provider context alone: the table of user certificates, which no exported function fills, and the
// buffer sizes.
#include "sof_impl.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include "provider_abi/velm_client_saf.h"

// The unit imports these functions from the provider; this test never calls them.
extern "C" uint32_t SAF_Initialize(void**, const char*) { std::abort(); }
extern "C" uint32_t SAF_Ext_ReadLabel(void*, const char*, uint32_t, const char*, uint32_t, uint32_t, uint8_t*,
                                      uint32_t*) {
  std::abort();
}

namespace {

constexpr uint32_t kNotFound = 0x0B000310;

class UserCertificates : public testing::Test {
 protected:
  ~UserCertificates() override { velm::g_userCertTable = {}; }

  static void add(const std::string& name, const std::string& certificate, uint32_t type = 2) {
    velm::UserCertTable& table = velm::g_userCertTable;
    const uint32_t at = table.count++;
    table.certificate[at] = reinterpret_cast<const uint8_t*>(certificate.data());
    table.certificate_length[at] = static_cast<uint32_t>(certificate.size());
    table.container_name[at] = name.data();
    table.container_name_length[at] = static_cast<uint32_t>(name.size());
    table.certificate_type[at] = type;
  }

  // Returns the certificate found, or an empty string if none is found, which must leave the outputs
  // unchanged.
  static std::string find(const char* name) {
    std::string buffer(velm::kUserCertificateCapacity, '\xAA');
    uint32_t length = 7;
    const uint32_t result = velm::SI_ExportUserCert(name, reinterpret_cast<uint8_t*>(buffer.data()), length);
    if (result == 0) return buffer.substr(0, length);
    EXPECT_EQ(result, kNotFound);
    EXPECT_EQ(length, 7u);
    EXPECT_EQ(buffer, std::string(velm::kUserCertificateCapacity, '\xAA'));
    return "";
  }

  const std::string key = "key", key1 = "key1", first = "first", second = "second", empty;
};

TEST_F(UserCertificates, AnEmptyTableFindsNothing) {
  EXPECT_EQ(find("key"), "");
  EXPECT_EQ(find(""), "");
}

TEST_F(UserCertificates, ANameThatBeginsWithTheStoredOneMatches) {
  add(key, first);
  EXPECT_EQ(find("key"), "first");
  EXPECT_EQ(find("key1"), "first");
  EXPECT_EQ(find("ke"), "");
  EXPECT_EQ(find(""), "");
  EXPECT_EQ(find("Key"), "");
  EXPECT_EQ(find("my key"), "");
}

TEST_F(UserCertificates, TheFirstMatchWins) {
  add(key1, first);
  add(key, second);
  EXPECT_EQ(find("key1"), "first");
  EXPECT_EQ(find("key2"), "second");
}

TEST_F(UserCertificates, OnlyNonEmptySigningCertificatesMatch) {
  add(key, first, 1);
  add(key, first, 3);
  add(key, empty);
  EXPECT_EQ(find("key"), "");
  add(key, second);
  EXPECT_EQ(find("key"), "second");
}

TEST_F(UserCertificates, CertificateThatDoesNotFitIsNotFound) {
  const std::string fitting(4096, 'f'), too_long(4097, 't');
  add(key1, too_long);
  EXPECT_EQ(find("key1"), "");
  add(key, fitting);
  EXPECT_EQ(find("key1"), fitting);
}

TEST_F(UserCertificates, AllEntriesAreSearchedAndNoMore) {
  for (uint32_t i = 0; i < 63; ++i) add(key1, first);
  add(key, second);
  velm::g_userCertTable.count = 1000;
  EXPECT_EQ(find("key"), "second");
  EXPECT_EQ(find("kex"), "");
}

TEST(ProviderMemory, IncreasesTheCapacityForTheNextCall) {
  uint32_t length = 100;
  void* memory = velm::SI_Malloc(length);
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(length, 2148u);
  std::memset(memory, 0, 3172);
  std::free(memory);
}

TEST(ProviderMemory, LengthAbove32BitsIsRefused) {
  uint32_t length = 0xFFFFFFFF - 2047;
  EXPECT_EQ(velm::SI_Malloc(length), nullptr);
}

}  // namespace
