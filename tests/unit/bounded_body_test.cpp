#include "basekit/basic/bounded_body.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "random_cases.h"

using namespace velm::test;
using velm::xhttp::BoundedBody;

namespace {

constexpr size_t kMebibyte = 1'048'576;

// What a body leaves in a response buffer of exactly `capacity` bytes.
class Receiver {
 public:
  explicit Receiver(size_t capacity)
      : capacity_(capacity),
        response_(std::make_unique<char[]>(capacity)),
        body_(response_.get(), static_cast<uint32_t>(capacity)) {}

  // Writes a piece as WinHTTP does: it is told a size and may use less of it.
  void receive(const std::string& piece, size_t told) {
    char* room = body_.room(static_cast<uint32_t>(told));
    std::fill_n(room, told, '?');
    piece.copy(room, piece.size());
    body_.received(static_cast<uint32_t>(piece.size()));
    sent_ += piece;
  }

  void expect_prefix_and_length() const {
    const size_t stored = std::min(capacity_, sent_.size());
    EXPECT_EQ(body_.length(), sent_.size());
    EXPECT_TRUE(std::equal(response_.get(), response_.get() + stored, sent_.begin()));
    EXPECT_TRUE(
        std::all_of(response_.get() + stored, response_.get() + capacity_, [](char c) { return c == 0; }));
  }

 private:
  size_t capacity_;
  std::unique_ptr<char[]> response_;  // of its exact size, for the address sanitizer
  BoundedBody body_;
  std::string sent_;
};

TEST(BoundedBody, PieceMayExceedTheFirstChunk) {
  for (const size_t size : {kMebibyte - 1, kMebibyte, kMebibyte + 1, kMebibyte * 3 / 2, 2 * kMebibyte - 1,
                            2 * kMebibyte, 2 * kMebibyte + 1, 3 * kMebibyte}) {
    Receiver receiver(16);
    receiver.receive("head", size);
    receiver.receive(std::string(size, 'x'), size);
    receiver.expect_prefix_and_length();
  }
}

TEST(BoundedBody, PiecesMayGrowAndShrink) {
  Receiver receiver(16);
  for (const size_t half_mebibytes : {1, 3, 1, 4, 5, 2, 7}) {
    const size_t size = half_mebibytes * kMebibyte / 2;
    receiver.receive(std::string(size, 'x'), size);
  }
  receiver.expect_prefix_and_length();
}

TEST(BoundedBody, StoresAPrefixOfThePiecesAndCountsThemAll) {
  for_random_cases(300, [](RandomSource& random) {
    Receiver receiver(random.below(64));
    for (size_t pieces = random.below(6); pieces > 0; --pieces) {
      const size_t told = 1 + random.below(32);
      receiver.receive(random.bytes(1 + random.below(told)), told);
    }
    receiver.expect_prefix_and_length();
  });
}

TEST(BoundedBody, WithoutABufferBytesAreOnlyCounted) {
  BoundedBody body(nullptr, 100);
  body.room(50)[49] = 'x';
  body.received(50);
  EXPECT_EQ(body.length(), 50u);
}

// Counts from WinHTTP alone: nothing is copied when the buffer is full.
TEST(BoundedBody, TheLengthDoesNotWrapAt4GiB) {
  char response[4];
  BoundedBody body(response, sizeof response);
  std::fill_n(body.room(4), 4, 'x');
  body.received(4);
  body.received(UINT32_MAX - 4);
  EXPECT_EQ(body.length(), UINT32_MAX);
  for (const uint32_t more : {1u, 3u, UINT32_MAX}) {
    body.received(more);
    EXPECT_EQ(body.length(), UINT32_MAX) << more;
  }
}

}  // namespace
