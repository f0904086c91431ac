// Generated frames: what is written is read, and no answer is read beyond what was received.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "protocol/byte_frame.h"
#include "random_cases.h"

using namespace velm::protocol;
using namespace velm::test;

namespace {

// A copy of exactly this size, so that a sanitizer detects any overrun.
class Block {
 public:
  explicit Block(const std::string& bytes)
      : bytes_(std::make_unique<uint8_t[]>(bytes.size())), size_(bytes.size()) {
    std::memcpy(bytes_.get(), bytes.data(), size_);
  }
  FrameView view() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<uint8_t[]> bytes_;
  size_t size_;
};

std::string text_of(FrameView bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

uint64_t number_at(const std::string& bytes, size_t at) {
  uint64_t number = 0;
  for (size_t i = 4; i-- > 0;) number = number * 256 + static_cast<uint8_t>(bytes.at(at + i));
  return number;
}

std::string number_bytes(uint32_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i, number /= 256) bytes += static_cast<char>(number % 256);
  return bytes;
}

// Lengths around `real`, where mistakes are likely.
uint32_t length_near(RandomSource& random, size_t real) {
  const auto exact = static_cast<uint32_t>(real);
  const uint32_t lengths[] = {exact, exact - 1,   exact + 1,      exact + 4, exact + 8,
                              0,     0x80000000u, UINT32_MAX - 7, UINT32_MAX};
  return random.one_in(2) ? exact : random.one_of(lengths);
}

std::string answer_bytes(RandomSource& random) {
  const std::string data = random.bytes(random.below(24));
  const uint32_t codes[] = {0, 0, 0, 1, 0x100, 0x01000000, 0x0B000403, UINT32_MAX};
  std::string answer =
      number_bytes(random.one_of(codes)) + number_bytes(length_near(random, data.size())) + data;
  if (random.one_in(3)) answer.resize(random.below(answer.size() + 1));
  return answer;
}

TEST(AnswerProperty, IsReadAsTheFormatSays) {
  for_random_cases(20'000, [](RandomSource& random) {
    const std::string bytes = answer_bytes(random);
    const Block stored(bytes);
    const uint64_t received =
        random.one_in(8) ? bytes.size() + 1 + random.below(3) : random.below(bytes.size() + 1);
    const bool has_data = random.one_in(2);
    const FrameAnswer answer = read_answer(stored.view(), received,
                                           has_data ? FrameContent::code_and_data : FrameContent::code_only);

    const bool has_code = received >= 4 && received <= bytes.size();
    const uint64_t code = has_code ? number_at(bytes, 0) : 0;
    const bool needs_data = has_code && code == 0 && has_data;
    const bool has_length = needs_data && received >= 8;
    const uint64_t length = has_length ? number_at(bytes, 4) : 0;
    const bool refused = !has_code || (needs_data && (!has_length || length > received - 8));

    ASSERT_EQ(answer.refused, refused);
    if (refused) return;
    EXPECT_EQ(answer.code, code);
    EXPECT_EQ(text_of(answer.data), needs_data ? bytes.substr(8, length) : "");
  });
}

// A field as the reader should return it.
struct Field {
  bool is_number;
  uint32_t number;
  std::string bytes;
};

struct WrittenRequest {
  std::string frame;
  std::vector<Field> fields;
};

// Three fields of random kinds: numbers, byte strings and texts.
WrittenRequest written_request(RandomSource& random) {
  WrittenRequest request;
  std::vector<FrameField> written;
  std::string contents[3];  // alive until the request is written
  for (std::string& content : contents) {
    content = random.bytes(random.below(20));
    std::replace(content.begin(), content.end(), '\0', 'x');
    const auto number = static_cast<uint32_t>(random.number());
    switch (random.below(3)) {
      case 0:
        written.emplace_back(number);
        request.fields.push_back({true, number, {}});
        break;
      case 1:
        written.emplace_back(FrameBytes(content.data(), content.size()));
        request.fields.push_back({false, 0, content});
        break;
      default:
        written.emplace_back(content.c_str());
        request.fields.push_back({false, 0, content + '\0'});
    }
  }
  const std::initializer_list<FrameField> fields{written[0], written[1], written[2]};
  append_request(request.frame, FunctionNumber::Config, fields);
  EXPECT_EQ(request_size(fields), request.frame.size());
  return request;
}

// Reads the fields until one is missing, and returns how many there were.
size_t fields_read(FrameView frame, const std::vector<Field>& expected) {
  const auto request = read_request(frame);
  if (!request) return 0;
  FieldReader reader(request->fields);
  size_t count = 0;
  for (const Field& field : expected) {
    if (field.is_number) {
      const auto number = reader.number();
      if (!number) return count;
      EXPECT_EQ(*number, field.number);
    } else {
      const auto bytes = reader.bytes();
      if (!bytes) return count;
      EXPECT_EQ(text_of(*bytes), field.bytes);
    }
    ++count;
  }
  EXPECT_TRUE(reader.at_end());
  return count;
}

TEST(RequestProperty, FieldsAreReadAsTheyWereWritten) {
  for_random_cases(2'000, [](RandomSource& random) {
    const WrittenRequest request = written_request(random);
    EXPECT_EQ(fields_read(Block(request.frame).view(), request.fields), request.fields.size());
  });
}

TEST(RequestProperty, ATruncatedFrameHasFewerFields) {
  for_random_cases(300, [](RandomSource& random) {
    const WrittenRequest request = written_request(random);
    for (size_t size = 0; size < request.frame.size(); ++size) {
      const Block truncated(request.frame.substr(0, size));
      ASSERT_LT(fields_read(truncated.view(), request.fields), request.fields.size()) << size;
    }
  });
}

TEST(FieldProperty, ReadersStayWithinTheFrame) {
  for_random_cases(20'000, [](RandomSource& random) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
      bytes += number_bytes(length_near(random, random.below(8))) + random.bytes(random.below(8));
    const Block block(bytes);
    FieldReader reader(block.view());
    size_t at = 0;
    for (int reads = 0; reads < 6; ++reads) {
      const bool has_number = bytes.size() - at >= 4;
      if (random.one_in(2)) {
        const auto number = reader.number();
        ASSERT_EQ(number.has_value(), has_number);
        if (!number) break;
        EXPECT_EQ(*number, number_at(bytes, at));
        at += 4;
      } else {
        const uint64_t length = has_number ? number_at(bytes, at) : UINT64_MAX;
        const auto field = reader.bytes();
        ASSERT_EQ(field.has_value(), has_number && length <= bytes.size() - at - 4);
        if (!field) break;
        EXPECT_EQ(text_of(*field), bytes.substr(at + 4, length));
        at += 4 + length;
      }
      EXPECT_EQ(reader.at_end(), at == bytes.size());
    }
  });
}

}  // namespace
