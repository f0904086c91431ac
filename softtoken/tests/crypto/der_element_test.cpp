#include "softtoken/crypto/der_element.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <openssl/asn1.h>

namespace velm::token {
namespace {

// All lengths round each change of the length of the length.
std::vector<uint64_t> lengths_of_every_form() {
  std::vector<uint64_t> lengths{0, 1, 2, UINT64_MAX - 1, UINT64_MAX};
  for (uint64_t limit = 0x80; limit != 0; limit = limit == 0x80 ? 0x100 : limit << 8) {
    for (uint64_t length = limit - 3; length != limit + 3; ++length) lengths.push_back(length);
  }
  return lengths;
}

struct Read {
  std::optional<DerHeader> header;
  size_t used = 0;
};

Read read(ByteView bytes) {
  Read result;
  result.header = read_der_header([&]() -> std::optional<uint8_t> {
    if (result.used == bytes.size()) return std::nullopt;
    return bytes[result.used++];
  });
  return result;
}

TEST(DerElement, HeadersAreThoseOfOpenSsl) {
  for (const uint64_t length : lengths_of_every_form()) {
    if (length > 0x7FFFFFF0) continue;  // a negative number is returned for a longer element
    Bytes expected(16);
    uint8_t* end = expected.data();
    ASN1_put_object(&end, 1, static_cast<int>(length), V_ASN1_SEQUENCE, V_ASN1_UNIVERSAL);
    expected.resize(static_cast<size_t>(end - expected.data()));
    EXPECT_EQ(der_header({kDerSequence, length}), expected) << length;
  }
}

TEST(DerElement, HeadersOfEveryLengthAreReadBack) {
  for (const uint64_t length : lengths_of_every_form()) {
    const Bytes bytes = der_header({kDerContext0, length});
    const Read found = read(bytes);
    ASSERT_TRUE(found.header) << length;
    EXPECT_EQ(found.header->tag, kDerContext0);
    EXPECT_EQ(found.header->length, length);
    EXPECT_EQ(found.used, bytes.size()) << length;
    Bytes longer = bytes;
    longer.push_back(0xFF);
    EXPECT_EQ(read(longer).used, bytes.size()) << length;
    for (size_t size = 0; size < bytes.size(); ++size)
      EXPECT_FALSE(read(ByteView(bytes).first(size)).header) << length << " cut to " << size;
  }
}

// A length with leading zero bytes is BER: eight bytes at most, and never more than a number holds.
TEST(DerElement, LongerFormsOfALengthAreRead) {
  for (const uint64_t length : lengths_of_every_form()) {
    for (size_t count = 1; count <= 10; ++count) {
      Bytes bytes{kDerInteger, static_cast<uint8_t>(0x80 | count)};
      for (size_t i = count; i-- > 0;)
        bytes.push_back(i < 8 ? static_cast<uint8_t>(length >> (8 * i)) : uint8_t{0});
      const Read found = read(bytes);
      if (count > 8) {
        EXPECT_FALSE(found.header) << count;
      } else if (count == 8 || length >> (8 * count) == 0) {
        ASSERT_TRUE(found.header) << length << " in " << count;
        EXPECT_EQ(found.header->length, length) << count;
        EXPECT_EQ(found.used, bytes.size());
      }
    }
  }
}

TEST(DerElement, OtherHeadersAreNotRead) {
  EXPECT_FALSE(read(Bytes{0x30, 0x80, 0, 0}).header) << "an indefinite length";
  EXPECT_FALSE(read(Bytes{0x30, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0}).header) << "a reserved length";
  for (const uint8_t tag : Bytes{0x1F, 0x3F, 0x9F, 0xBF, 0xDF, 0xFF})
    EXPECT_FALSE(read(Bytes{tag, 0x01, 0x00}).header) << "a tag of several bytes: " << unsigned{tag};
}

TEST(DerElement, ElementsAreThoseOfOpenSsl) {
  for (const size_t size : {0u, 1u, 126u, 127u, 128u, 129u, 254u, 255u, 256u, 257u, 65534u, 65535u, 65536u}) {
    const Bytes content(size, 'c');
    const Bytes element = der_element(kDerSequence, content);
    const uint8_t* at = element.data();
    long length = 0;
    int tag = 0;
    int type = 0;
    EXPECT_EQ(ASN1_get_object(&at, &length, &tag, &type, static_cast<long>(element.size())),
              V_ASN1_CONSTRUCTED)
        << size;
    EXPECT_EQ(tag, V_ASN1_SEQUENCE);
    EXPECT_EQ(static_cast<size_t>(length), size);
    EXPECT_TRUE(std::equal(at, element.data() + element.size(), content.begin(), content.end())) << size;
  }
}

}  // namespace
}  // namespace velm::token
