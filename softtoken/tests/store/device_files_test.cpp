#include "softtoken/store/device_files.h"

#include <gtest/gtest.h>

#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

const Bytes kPin(8, 'p');

class DeviceFilesTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"A", "B"}) {
      token.add_container({.name = name}, kPin);
      token.login(name, kPin);
    }
  }

  TemporaryStore store;
  Token token{store.file()};
  DeviceFiles files{token, 1};
  DeviceFiles others{token, 2};
};

TEST_F(DeviceFilesTest, AContainerHasAsManyAsTheLimitAndNoMore) {
  for (size_t i = 0; i < kMaxDeviceFiles; ++i) files.create(std::to_string(i), {1, kUser, kUser});
  EXPECT_EQ(code_of([&] { files.create("one more", {1, kUser, kUser}); }), kTooManyFiles);
  EXPECT_EQ(files.names().size(), kMaxDeviceFiles);
  EXPECT_EQ(code_of([&] { files.create("0", {1, kUser, kUser}); }), kFileExists);
  files.remove("0");
  files.create("one more", {1, kUser, kUser});
  others.create("0", {1, kUser, kUser});
}

TEST_F(DeviceFilesTest, AFileHasTheSizeItWasCreatedWith) {
  EXPECT_EQ(code_of([&] { files.create("large", {kMaxDeviceFile + 1, kUser, kUser}); }), kNoSpace);
  files.create("large", {kMaxDeviceFile, kUser, kUser});
  EXPECT_EQ(files.attributes("large").size, kMaxDeviceFile);
  files.create("f", {4, kUser, kUser});
  EXPECT_EQ(files.read("f", 0, 100), Bytes(4, 0));
  files.write("f", 1, as_bytes("abc"));
  EXPECT_EQ(as_text(files.read("f", 1, 100)), "abc");
  EXPECT_EQ(as_text(files.read("f", 1, 2)), "ab");
  EXPECT_TRUE(files.read("f", 4, 1).empty());
  EXPECT_EQ(code_of([&] { files.read("f", 5, 0); }), kBadLength);
  for (const uint32_t offset : {2u, 4u, 0xFFFFFFFFu})
    EXPECT_EQ(code_of([&] { files.write("f", offset, as_bytes("abc")); }), kNoSpace) << offset;
  EXPECT_EQ(as_text(files.read("f", 0, 4)), std::string("\0abc", 4));
}

TEST_F(DeviceFilesTest, EachRightIsThatOfItsOwnOperation) {
  for (const uint32_t read : {kNobody, kUser, kAnyone}) {
    for (const uint32_t write : {kNobody, kUser, kAnyone}) {
      const std::string name = std::to_string(read) + " " + std::to_string(write);
      files.create(name, {1, read, write});
      EXPECT_EQ(files.attributes(name).read_rights, read);
      EXPECT_EQ(files.attributes(name).write_rights, write);
      const auto code = [](uint32_t right, bool logged_in) {
        if (right == kAnyone) return kSuccess;
        if (!logged_in) return kNotLoggedIn;
        return right == kUser ? kSuccess : kNotSupported;
      };
      for (const bool logged_in : {true, false}) {
        if (!logged_in) token.logout("A");
        EXPECT_EQ(code_of([&] { files.read(name, 0, 1); }), code(read, logged_in)) << name;
        EXPECT_EQ(code_of([&] { files.write(name, 0, as_bytes("x")); }), code(write, logged_in)) << name;
      }
      EXPECT_EQ(code_of([&] { files.remove(name); }), kNotLoggedIn) << name;
      EXPECT_EQ(code_of([&] { files.create("new", {1, read, write}); }), kNotLoggedIn) << name;
      token.login("A", kPin);
      files.remove(name);
      EXPECT_EQ(code_of([&] { files.attributes(name); }), kFileNotFound);
    }
  }
}

TEST_F(DeviceFilesTest, ContainersDoNotShareFiles) {
  files.create("f", {3, kUser, kUser});
  others.create("f", {3, kUser, kUser});
  files.write("f", 0, as_bytes("abc"));
  EXPECT_EQ(others.read("f", 0, 3), Bytes(3, 0));
  others.remove("f");
  EXPECT_EQ(as_text(files.read("f", 0, 3)), "abc");
  EXPECT_EQ(code_of([&] { others.write("f", 0, as_bytes("x")); }), kFileNotFound);
}

}  // namespace
}  // namespace velm::token
