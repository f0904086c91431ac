// Tests the reader of request frames with random fields, every truncation of them, and random bytes.
#include "softtoken/service/frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

constexpr int kTurns = 300;

enum class Kind { number, bytes, name };

struct Field {
  Kind kind;
  Bytes encoded;  // with its length, unless it is a number
};

Bytes little_endian(size_t number) {
  return {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number >> 16),
          static_cast<uint8_t>(number >> 24)};
}

Bytes with_length(const Bytes& content) {
  Bytes encoded = little_endian(content.size());
  encoded.insert(encoded.end(), content.begin(), content.end());
  return encoded;
}

class FrameReaderTest : public testing::Test {
 protected:
  size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(dice); }

  Bytes random_content(size_t size) {
    Bytes content(size);
    for (uint8_t& byte : content) byte = static_cast<uint8_t>(below(256));
    return content;
  }

  Field random_field() {
    const auto kind = static_cast<Kind>(below(3));
    if (kind == Kind::number) return {kind, random_content(4)};
    if (kind == Kind::bytes) return {kind, with_length(random_content(below(20)))};
    Bytes text = random_content(below(20));
    // ASCII, which is no other text in another encoding.
    for (uint8_t& byte : text) byte = static_cast<uint8_t>(byte % 127 + 1);
    text.push_back(0);
    const Bytes ignored = random_content(below(3));
    text.insert(text.end(), ignored.begin(), ignored.end());
    return {kind, with_length(text)};
  }

  std::mt19937 dice{20260101};
};

// What was read, in the encoded form.
Bytes read(FrameReader& reader, const Field& field) {
  if (field.kind == Kind::number) return little_endian(reader.number());
  if (field.kind == Kind::bytes) return with_length(copy_of(reader.bytes()));
  const std::string name = reader.name().utf8;
  const char* sent = reinterpret_cast<const char*>(field.encoded.data()) + 4;
  return name == sent ? field.encoded : Bytes();
}

TEST_F(FrameReaderTest, ReadsEveryFieldAndDetectsEveryTruncation) {
  for (int turn = 0; turn < kTurns; ++turn) {
    std::vector<Field> fields(1 + below(5));
    Bytes frame;
    for (Field& field : fields) {
      field = random_field();
      frame.insert(frame.end(), field.encoded.begin(), field.encoded.end());
    }
    for (size_t size = 0; size <= frame.size(); ++size) {
      const Bytes cut(frame.begin(), frame.begin() + static_cast<ptrdiff_t>(size));
      FrameReader reader(cut);
      size_t end = 0;
      for (const Field& field : fields) {
        end += field.encoded.size();
        Bytes found;
        const ErrorCode code = code_of([&] { found = read(reader, field); });
        ASSERT_EQ(code, end <= size ? kSuccess : kBadLength) << "turn " << turn << ", size " << size;
        if (code != kSuccess) break;
        ASSERT_EQ(found, field.encoded) << "turn " << turn << ", size " << size;
      }
    }
    FrameReader reader(frame);
    for (const Field& field : fields) {
      ASSERT_EQ(code_of([&] { reader.expect_end(); }), kBadLength);
      read(reader, field);
    }
    ASSERT_EQ(code_of([&] { reader.expect_end(); }), kSuccess);
  }
}

TEST_F(FrameReaderTest, ALengthIsComparedWithWhatIsLeft) {
  for (int turn = 0; turn < kTurns; ++turn) {
    const Bytes content = random_content(below(8));
    const size_t lengths[] = {below(10), UINT32_MAX, UINT32_MAX - below(10), size_t{INT32_MAX} + below(3)};
    for (const size_t length : lengths) {
      Bytes frame = little_endian(length);
      frame.insert(frame.end(), content.begin(), content.end());
      FrameReader reader(frame);
      ByteView found;
      const ErrorCode code = code_of([&] { found = reader.bytes(); });
      ASSERT_EQ(code, length <= content.size() ? kSuccess : kBadLength) << length << " of " << content.size();
      ASSERT_EQ(found.size(), code == kSuccess ? length : 0);
      ASSERT_TRUE(std::ranges::equal(found, ByteView(content).first(found.size())));
    }
  }
}

TEST_F(FrameReaderTest, ANameHasATerminatingZero) {
  for (size_t size = 0; size < 5; ++size) {
    const Bytes frame = with_length(Bytes(size, 'x'));
    FrameReader reader(frame);
    EXPECT_EQ(code_of([&] { reader.name(); }), kBadInput) << size;
  }
}

}  // namespace
}  // namespace velm::token
