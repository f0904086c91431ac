// Whom a security descriptor gives access. The descriptors are in memory, because Wine keeps of a file's only
// what a Unix file mode can express.
#include "permissions/access.h"

#include <gmock/gmock.h>

#include <string>

using testing::ElementsAre;
using testing::IsEmpty;

namespace velm::permissions {
namespace {

constexpr wchar_t kOtherText[] = L"S-1-5-21-1-2-3-1001";

/** The accounts, except trusted ones, that may read or write a file with these permissions. */
std::vector<Sid> others(const std::wstring& permissions, AccountTest is_trusted = controls_the_machine) {
  const LocalMemory descriptor = descriptor_of_text(permissions.c_str());
  EXPECT_TRUE(descriptor) << "not a security descriptor";
  return others_allowed(kUse, descriptor.get(), is_trusted);
}

class Others : public testing::Test {
 protected:
  const Sid other_ = sid_of_text(kOtherText);
  const Sid everyone_ = sid_of_text(L"S-1-1-0");
  const std::wstring user_text_ = text_of_sid(current_user());
  const std::wstring for_other_ = std::wstring(L";;;") + kOtherText + L")";
};

TEST_F(Others, HaveAnEntryThatAllows) {
  for (const wchar_t* rights : {L"FA", L"FR", L"FW", L"GA", L"GR", L"GW", L"WD", L"WO", L"0x1", L"0x4"}) {
    EXPECT_THAT(others(std::wstring(L"D:P(A;;") + rights + for_other_), ElementsAre(other_)) << rights;
  }
  for (const wchar_t* rights : {L"FX", L"GX", L"RC", L"SD", L"0x80"}) {
    EXPECT_THAT(others(std::wstring(L"D:P(A;;") + rights + for_other_), IsEmpty()) << rights;
  }
  EXPECT_THAT(others(L"D:P(D;;FA" + for_other_), IsEmpty());
}

TEST_F(Others, HaveAConditionalEntryThatAllows) {
  const LocalMemory descriptor = descriptor_of_text((L"D:P(A;;FA" + for_other_).c_str());
  PACL list = nullptr;
  BOOL is_default = FALSE, is_present = FALSE;
  ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor.get(), &is_present, &list, &is_default));
  void* entry = nullptr;
  ASSERT_TRUE(GetAce(list, 0, &entry));
  static_cast<ACE_HEADER*>(entry)->AceType = ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
  EXPECT_THAT(others_allowed(kUse, descriptor.get(), controls_the_machine), ElementsAre(other_));
}

TEST_F(Others, HaveNoEntryThatOnlyFilesInAFolderInherit) {
  EXPECT_THAT(others(L"D:P(A;OICIIO;FA" + for_other_), IsEmpty());
  EXPECT_THAT(others(L"D:P(A;OICI;FA" + for_other_), ElementsAre(other_));
}

TEST_F(Others, OwnTheFile) {
  EXPECT_THAT(others(std::wstring(L"O:") + kOtherText + L"D:P"), ElementsAre(other_));
  EXPECT_THAT(others(L"O:" + user_text_ + L"D:P"), IsEmpty());
  EXPECT_THAT(others(L"O:BAD:P"), IsEmpty());
}

TEST_F(Others, AreListedOnce) {
  EXPECT_THAT(others(std::wstring(L"O:") + kOtherText + L"D:P(A;;FA;;;WD)(A;;FR;;;WD)(A;;FA" + for_other_),
              ElementsAre(other_, everyone_));
}

TEST_F(Others, AreEveryoneWithoutAnAccessList) {
  SECURITY_DESCRIPTOR descriptor{};
  ASSERT_TRUE(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
  EXPECT_THAT(others_allowed(kUse, &descriptor, controls_the_machine), ElementsAre(everyone_));
  ASSERT_TRUE(SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE));
  EXPECT_THAT(others_allowed(kUse, &descriptor, controls_the_machine), ElementsAre(everyone_));
}

TEST_F(Others, AreNeitherTheUserNorTrusted) {
  const std::wstring own =
      L"D:P(A;;FA;;;" + user_text_ + L")(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;CO)(A;;FA;;;OW)";
  for (const AccountTest is_trusted : {can_take_any_file, controls_the_machine}) {
    EXPECT_THAT(others(own, is_trusted), IsEmpty());
  }
}

TEST_F(Others, IncludeServicesOfWindowsForFilesOfTheUser) {
  const std::wstring services = L"D:P(A;;FA;;;LS)(A;;FA;;;NS)";
  EXPECT_THAT(others(services, controls_the_machine), IsEmpty());
  EXPECT_THAT(others(services, can_take_any_file),
              ElementsAre(sid_of_text(L"S-1-5-19"), sid_of_text(L"S-1-5-20")));
}

}  // namespace
}  // namespace velm::permissions
