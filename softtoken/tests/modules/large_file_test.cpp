#include <windows.h>
#include <psapi.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

#include "softtoken/tests/modules/running_service.h"

namespace velm::token {
namespace {

constexpr size_t kMebibyte = 1024 * 1024;
constexpr size_t kFileSize = 300 * kMebibyte;
constexpr size_t kMemoryLimit = 64 * kMebibyte;

size_t peak_memory() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PeakWorkingSetSize;
}

void write_large_file(const char* path) {
  std::ofstream file(path, std::ios::binary);
  Bytes piece(kMebibyte);
  for (size_t i = 0; i < kFileSize / piece.size(); ++i) {
    std::fill(piece.begin(), piece.end(), static_cast<uint8_t>(i));
    file.write(reinterpret_cast<const char*>(piece.data()), static_cast<std::streamsize>(piece.size()));
  }
}

Bytes hash_of(const char* path) {
  Bytes value(32);
  uint32_t length = 32;
  EXPECT_EQ(SAF_Ext_HashFile(reinterpret_cast<const void*>(1), nullptr, nullptr, nullptr, 0, path,
                             value.data(), &length),
            0u);
  return value;
}

template <typename Call>
void timed(const char* what, Call&& call) {
  const auto started = std::chrono::steady_clock::now();
  call();
  const auto taken =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
  std::printf("%s: %lld ms\n", what, static_cast<long long>(taken.count()));
}

TEST(LargeFile, IsEnvelopedAndOpenedInLittleMemory) {
  Application application("large_file_test");
  ASSERT_EQ(application.opened(), 0u);
  write_large_file("large.in");
  const Bytes certificate = application.exchange_certificate("SM2_TEST");
  timed("enveloped", [&] {
    ASSERT_EQ(SAF_Ext_EncodeEnvelopedFile(application.handle(), "large.in", 8, certificate.data(),
                                          size_of(certificate), 0x402, 1, "large.out", 9),
              0u);
  });
  timed("opened", [&] {
    ASSERT_EQ(SAF_Ext_DecodeEnvelopedFile(application.handle(), "SM2_TEST", 8, 1, 1, "large.out", 9,
                                          "large.back", 10),
              0u);
  });
  timed("hashed twice", [&] { EXPECT_EQ(hash_of("large.in"), hash_of("large.back")); });
  std::printf("peak memory: %zu KiB\n", peak_memory() / 1024);
  EXPECT_LT(peak_memory(), kMemoryLimit);
  for (const char* path : {"large.in", "large.out", "large.back"}) std::remove(path);
}

}  // namespace
}  // namespace velm::token
