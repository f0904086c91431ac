#include "basekit/basic/file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/import_patch.h"

using namespace velm;

namespace {

constexpr char kMissing[] = "file_test.missing\\file";

// A fixture with a file that is removed after the test.
class File : public testing::Test {
 protected:
  ~File() override { std::remove(path); }

  void write(const std::string& content) {
    ASSERT_EQ(xfile_write(path, content.data(), static_cast<uint32_t>(content.size())), 0);
  }

  std::string content() {
    uint64_t length = 0;
    EXPECT_EQ(xfile_read_bin(path, nullptr, 0, &length), 0);
    std::string bytes(length, '\0');
    EXPECT_EQ(xfile_read_bin(path, bytes.data(), bytes.size(), &length), 0);
    EXPECT_EQ(length, bytes.size());
    return bytes;
  }

  const char* path = "file_test.tmp";
};

TEST_F(File, ReadsBackWhatWasWritten) {
  std::string every_byte;
  for (int value = 0; value < 256; ++value) every_byte += static_cast<char>(value);
  for (const std::string& bytes :
       {std::string("a"), std::string("\r\n\x1A\0end", 7), every_byte, std::string(100'000, '\n')}) {
    write(bytes);
    EXPECT_EQ(xfile_get_size(path), static_cast<int32_t>(bytes.size()));
    EXPECT_EQ(content(), bytes);
  }
}

TEST_F(File, ReplacesLongerContent) {
  write("a longer content");
  write("short");
  EXPECT_EQ(content(), "short");
}

TEST_F(File, WritesAnEmptyFile) {
  write("");
  EXPECT_EQ(xfile_get_size(path), 0);
  EXPECT_EQ(content(), "");
}

TEST_F(File, AMissingFileCannotBeOpened) {
  char bytes[4] = {'x', 'x', 'x', 'x'};
  uint64_t length = 7;
  EXPECT_EQ(xfile_get_size(kMissing), -23);
  EXPECT_EQ(xfile_read_bin(kMissing, bytes, sizeof bytes, &length), -23);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(std::string(bytes, 4), "xxxx");
  EXPECT_EQ(xfile_read_bin(kMissing, bytes, sizeof bytes, nullptr), -23);
  EXPECT_EQ(xfile_write(kMissing, "a", 1), -23);
}

TEST_F(File, ANullPathCannotBeOpened) {
  uint64_t length = 7;
  EXPECT_EQ(xfile_get_size(nullptr), -23);
  EXPECT_EQ(xfile_read_bin(nullptr, nullptr, 0, &length), -23);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(xfile_write(nullptr, "a", 1), -23);
}

TEST_F(File, ANullBlockIsNotWritten) {
  write("kept");
  EXPECT_EQ(xfile_write(path, nullptr, 0), -29);
  EXPECT_EQ(xfile_write(path, nullptr, 5), -29);
  EXPECT_EQ(content(), "kept");
}

TEST_F(File, LengthIsOptional) {
  write("abc");
  char bytes[3];
  EXPECT_EQ(xfile_read_bin(path, bytes, sizeof bytes, nullptr), 0);
  EXPECT_EQ(std::string(bytes, 3), "abc");
  EXPECT_EQ(xfile_read_bin(path, nullptr, 0, nullptr), 0);
}

TEST_F(File, ReadsNoMoreThanTheCapacity) {
  write("abcdef");
  char bytes[4] = {'x', 'x', 'x', 'x'};
  uint64_t length = 0;
  EXPECT_EQ(xfile_read_bin(path, bytes, 3, &length), 0);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(std::string(bytes, 4), "abcx");
}

bool write_was_refused = false;

size_t __cdecl refuse_write(const void*, size_t, size_t, FILE*) {
  write_was_refused = true;
  return 0;
}

TEST_F(File, ShortWriteIsNotReported) {
  write("replaced");
  {
    const test::ImportPatch guard(GetModuleHandleW(nullptr), "msvcrt.dll", "fwrite", refuse_write);
    EXPECT_EQ(xfile_write(path, "abc", 3), 0);
  }
  EXPECT_TRUE(write_was_refused);
  EXPECT_EQ(content(), "");
}

// Sets the length of a file without writing its content.
void set_length(const char* path, int64_t length) {
  const OwnedFile file = open_file(path, "wb");
  ASSERT_TRUE(file);
  ASSERT_EQ(_chsize_s(_fileno(file.get()), length), 0);
}

TEST_F(File, AFileAbove2GiBCannotBeOpened) {
  set_length(path, int64_t{1} << 31);
  uint64_t length = 7;
  EXPECT_EQ(xfile_get_size(path), -23);
  EXPECT_EQ(xfile_read_bin(path, nullptr, 0, &length), -23);
  EXPECT_EQ(length, 0u);
  set_length(path, (int64_t{1} << 31) - 1);
  EXPECT_EQ(xfile_get_size(path), INT32_MAX);
}

}  // namespace
