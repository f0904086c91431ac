#include "softtoken/crypto/base64.h"

#include <gtest/gtest.h>

namespace velm::token {
namespace {

TEST(Base64, EncodesThePublishedVectors) {
  const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                         {"f", "Zg=="},
                                                         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},
                                                         {"foob", "Zm9vYg=="},
                                                         {"fooba", "Zm9vYmE="},
                                                         {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, text] : vectors) {
    EXPECT_EQ(base64_encode(as_bytes(plain)), text);
    EXPECT_EQ(base64_decode(text), copy_of(as_bytes(plain)));
  }
}

TEST(Base64, DecodesEveryByteValueAcrossLines) {
  Bytes all(256);
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<uint8_t>(i);
  std::string text = base64_encode(all);
  text.insert(64, "\r\n");
  text += "\n";
  EXPECT_EQ(base64_decode(text), all);
}

TEST(Base64, RefusesWhatIsNotBase64) {
  for (const char* text :
       {"Zg", "Zg=", "Zg===", "=", "====", "Z===", "Zm9v=", "Zg==Zg==", "Zg==\nZ", "Zm9*", "Zm 9", "Zg=v"}) {
    EXPECT_EQ(base64_decode(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace velm::token
