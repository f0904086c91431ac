// The store where its limits are reached, where a write fails, and where several processes write.
#include "softtoken/store/store.h"

#include <gtest/gtest.h>

#include <thread>

#include "softtoken/crypto/certificate.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

ContainerRow row_of(const std::string& name) {
  const Bytes bytes(16, 1);
  return {0, name, 10, bytes, bytes, bytes, bytes, bytes};
}

class StoreTest : public testing::Test {
 protected:
  TemporaryStore folder;
  Store store{folder.file()};
  const int64_t container = store.add_container(row_of("A"));

  ErrorCode write(uint64_t offset, size_t size) {
    const Bytes data(size, 'd');
    return code_of([&] { write_user_file(store, container, 1, 1, static_cast<uint32_t>(offset), data); });
  }
};

TEST_F(StoreTest, AUserFileMayBeAsLargeAsTheLimit) {
  EXPECT_EQ(write(kMaxUserFile - 1, 2), kNoSpace);
  EXPECT_EQ(write(kMaxUserFile, 1), kNoSpace);
  EXPECT_EQ(write(0, kMaxUserFile + 1), kNoSpace);
  EXPECT_EQ(write(UINT32_MAX, 0), kNoSpace);
  for (const uint64_t wraps : {uint64_t{UINT32_MAX}, uint64_t{UINT32_MAX} - 14})
    EXPECT_EQ(write(wraps, 16), kNoSpace) << wraps;
  EXPECT_EQ(write(kMaxUserFile - 1, 1), kSuccess);
  EXPECT_EQ(write(0, kMaxUserFile), kSuccess);
  EXPECT_EQ(read_user_file(store, container, 1, 1, 0, UINT32_MAX).size(), kMaxUserFile);
}

TEST_F(StoreTest, AfterAFailedWriteOthersSucceed) {
  EXPECT_EQ(code_of([&] { write_user_file(store, 99, 1, 1, 0, as_bytes("x")); }), kNoSuchContainer);
  EXPECT_EQ(write(0, 4), kSuccess);
  EXPECT_EQ(code_of([&] { store.add_container(row_of("A")); }), kContainerExists);
  store.add_container(row_of("B"));
  EXPECT_EQ(store.container_names(), (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(code_of([&] { read_user_file(store, 99, 1, 1, 0, 1); }), kFileNotFound);
}

// Connections of their own are like processes. Each writes its part of one file, which it reads before.
TEST_F(StoreTest, ProcessesThatWriteAtTheSameTimeLoseNothing) {
  constexpr uint32_t kProcesses = 4;
  constexpr uint32_t kWrites = 50;
  std::vector<std::string> failures(kProcesses);
  std::vector<std::thread> threads;
  for (uint32_t process = 0; process < kProcesses; ++process) {
    threads.emplace_back([&, process] {
      try {
        Store own(folder.file());
        for (uint32_t i = 0; i < kWrites; ++i)
          write_user_file(own, container, 1, 2, i * kProcesses + process, Bytes(1, 'x'));
      } catch (const std::exception& error) {
        failures[process] = error.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& failure : failures) EXPECT_EQ(failure, "");
  EXPECT_EQ(read_user_file(store, container, 1, 2, 0, UINT32_MAX), Bytes(kProcesses * kWrites, 'x'));
}

TEST_F(StoreTest, ARevocationIsThatOfIssuerAndSerialNumber) {
  const Key key = generate_sm2_key();
  const time_t now = std::time(nullptr);
  const CertificateOrder order{"X", Usage::signing, now - kDay, now + kDay};
  const Certificate revoked = issue_certificate(store.authority(KeyKind::sm2), key.get(), order);
  const Certificate other = issue_certificate(store.authority(KeyKind::sm2), key.get(), order);
  const Certificate elsewhere = issue_certificate(store.authority(KeyKind::rsa), key.get(), order);
  EXPECT_EQ(X509_set_serialNumber(elsewhere.get(), X509_get_serialNumber(revoked.get())), 1);
  store.revoke(revoked.get());
  EXPECT_TRUE(store.is_revoked(revoked.get()));
  EXPECT_FALSE(store.is_revoked(other.get()));
  EXPECT_FALSE(store.is_revoked(elsewhere.get()));
}

}  // namespace
}  // namespace velm::token
