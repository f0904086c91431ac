#include "permissions/private_file.h"

#include <gtest/gtest.h>

#include "permissions/access.h"
#include "softtoken/store/store.h"
#include "softtoken/tests/store/temporary_folder.h"

namespace velm::token {
namespace {

void create_file(const std::filesystem::path& file, const wchar_t* text) {
  const permissions::LocalMemory descriptor = permissions::descriptor_of_text(text);
  ASSERT_TRUE(descriptor);
  SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
  const HANDLE created =
      CreateFileW(file.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(created, INVALID_HANDLE_VALUE);
  CloseHandle(created);
}

TEST(PrivateFile, IsForTheUserAlone) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / L"\u8BC1\u4E66" / "store.db";
  permissions::create_private_file(file);
  permissions::require_private_file(file);
  permissions::create_private_file(file);
  EXPECT_EQ(std::filesystem::file_size(file), 0u);
}

TEST(PrivateFile, IsRefusedIfEveryoneMayUseIt) {
  const TemporaryFolder folder;
  for (const wchar_t* text : {L"D:P(A;;FA;;;WD)", L"D:P(A;;GRGW;;;WD)"}) {
    const std::filesystem::path file = folder.path() / "store.db";
    create_file(file, text);
    EXPECT_THROW(permissions::require_private_file(file), std::runtime_error);
    EXPECT_THROW(Store::create(file), std::runtime_error);
    EXPECT_THROW(Store::exists(file), std::runtime_error);
    std::filesystem::remove(file);
  }
}

}  // namespace
}  // namespace velm::token
