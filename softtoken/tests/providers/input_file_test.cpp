// Shows that a file that changes or cannot be read while a function reads it is never a success, and that
// nothing is left of the output.
#include <cstdio>
#include <functional>

#include <gtest/gtest.h>

#include "protocol/result_codes.h"
#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/folder_state.h"
#include "softtoken/tests/store/temporary_folder.h"

namespace {

// Called before each read of the module. Not while the test itself reads.
std::function<void()> before_read;

}  // namespace

// The linker redirects the calls of the module to this function.
extern "C" size_t __real_fread(void* bytes, size_t size, size_t count, std::FILE* file);
extern "C" size_t __wrap_fread(void* bytes, size_t size, size_t count, std::FILE* file) {
  if (before_read) before_read();
  return __real_fread(bytes, size, count, file);
}

namespace velm::token {
namespace {

using namespace protocol;

constexpr uint32_t kSm4Cbc = 0x402;
constexpr uint32_t kSm3 = 1;
constexpr size_t kSize = 200'000;
const Bytes kKey(16, 1);

uint32_t length_of(const std::string& text) { return static_cast<uint32_t>(text.size()); }

class InputFiles : public testing::Test {
 protected:
  void SetUp() override { write_file(input_, Bytes(kSize, 3)); }
  void TearDown() override { before_read = nullptr; }

  uint32_t make_envelope() {
    static const Signer recipient(KeyKind::sm2, generate_sm2_key(), Usage::encryption);
    return SAF_Ext_EncodeEnvelopedFile(nullptr, input_.c_str(), length_of(input_),
                                       recipient.certificate.data(), recipient.certificate_length(), kSm4Cbc,
                                       0, output_.c_str(), length_of(output_));
  }

  std::string file(const std::string& name) const { return (folder_.path() / name).string(); }
  FolderState state() const { return folder_state(folder_.path()); }

  const TemporaryFolder folder_;
  const std::string input_ = file("input");
  const std::string output_ = file("output");
};

// The length of the content is written before the content.
TEST_F(InputFiles, ThatChangeTheirSizeAreNotEncrypted) {
  ASSERT_EQ(make_envelope(), kSafSuccess);
  std::remove(output_.c_str());
  for (const size_t changed_at : {1, 2, 3, 4}) {
    for (const size_t size : {size_t{0}, kSize / 2, kSize - 1, kSize + 1, 2 * kSize}) {
      write_file(input_, Bytes(kSize, 3));
      size_t reads = 0;
      before_read = [&] {
        if (++reads == changed_at) std::filesystem::resize_file(input_, size);
      };
      const uint32_t code = make_envelope();
      before_read = nullptr;
      EXPECT_EQ(code, kSafFileRead) << size << " at read " << changed_at;
      EXPECT_EQ(state().size(), 1u) << size << " at read " << changed_at;
    }
  }
}

// A folder can be opened like a file, but not read.
TEST_F(InputFiles, ThatCannotBeReadFailTheCall) {
  const std::string folder = ".";
  const FolderState before = state();
  const Signer& signer = sm2_signer();
  uint8_t value[128];
  uint32_t length = sizeof value;
  EXPECT_EQ(SAF_Ext_HashFile(reinterpret_cast<const void*>(uintptr_t{kSm3}), nullptr, nullptr, nullptr, 0,
                             folder.c_str(), value, &length),
            kSafFileRead);
  EXPECT_EQ(SAF_Ext_VerifySignFileByCert(kSm3, signer.certificate.data(), signer.certificate_length(),
                                         nullptr, 0, folder.c_str(), value, length),
            kSafFileRead);
  for (const auto function : {SAF_Ext_SymmEncryptFile, SAF_Ext_SymmDecryptFile}) {
    EXPECT_EQ(function(kSm4Cbc, kKey.data(), size_of(kKey), kKey.data(), size_of(kKey), folder.c_str(),
                       output_.c_str()),
              kSafFileRead);
  }
  EXPECT_EQ(state(), before);
}

}  // namespace
}  // namespace velm::token
