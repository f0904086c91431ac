#include "softtoken/service/request_body.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace velm::token {
namespace {

std::string_view text_of(RequestBody& body) { return {body.text().data(), body.text().size()}; }

void expect_spare_bytes(RequestBody& body) {
  ASSERT_GE(body.capacity(), body.text().size() + RequestBody::kSpareBytes);
  EXPECT_EQ(std::count(body.text().data() + body.text().size(),
                       body.text().data() + body.text().size() + RequestBody::kSpareBytes, '\0'),
            static_cast<ptrdiff_t>(RequestBody::kSpareBytes));
}

TEST(RequestBody, CollectsWhatArrives) {
  RequestBody body;
  EXPECT_EQ(body.text().size(), 0u);
  EXPECT_EQ(body.room().size(), 0u);
  body.make_room(10);
  EXPECT_EQ(body.room().size(), 10u);
  for (const std::string_view part : {"abc", "defg", "hij"}) {
    part.copy(body.room().data(), part.size());
    body.received(part.size());
    expect_spare_bytes(body);
  }
  EXPECT_EQ(text_of(body), "abcdefghij");
  EXPECT_EQ(body.room().size(), 0u);
}

TEST(RequestBody, KeepsItsTextWhenItGrows) {
  RequestBody body("abc");
  body.make_room(100000);
  EXPECT_EQ(text_of(body), "abc");
  EXPECT_EQ(body.room().size(), 99997u);
  expect_spare_bytes(body);
  body.make_room(1);
  EXPECT_EQ(body.room().size(), 99997u);
}

TEST(RequestBody, MayBeEmpty) {
  RequestBody body("");
  EXPECT_EQ(text_of(body), "");
  expect_spare_bytes(body);
  body.clear();
  EXPECT_EQ(body.capacity(), 0u);
}

TEST(RequestBody, MayBeChangedInPlace) {
  RequestBody body("abc");
  body.text()[1] = 'x';
  EXPECT_EQ(text_of(body), "axc");
}

}  // namespace
}  // namespace velm::token
