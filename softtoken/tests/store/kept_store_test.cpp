// A store with two containers that an earlier program made: it must open with its PINs. kept/envelope.der is
// a digital envelope for OLD_SM2. Kept files are never made again: a change that needs that loses users'
// keys.
#include <gtest/gtest.h>

#include <fstream>

#include "permissions/private_file.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

const std::filesystem::path kKept = KEPT_FILES;
const Bytes kSm2Pin = copy_of(as_bytes("kept PIN 1"));
const Bytes kRsaPin = copy_of(as_bytes("kept PIN 2"));
const Bytes kOtherPin = copy_of(as_bytes("another PIN"));

Bytes content_of(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string content(std::istreambuf_iterator<char>(stream), {});
  EXPECT_FALSE(content.empty()) << file;
  return copy_of(as_bytes(content));
}

/** A copy of the kept store, because tests change it. */
class KeptStore : public testing::Test {
 protected:
  void SetUp() override {
    permissions::create_private_file(file());
    std::ofstream(file(), std::ios::binary) << as_text(content_of(kKept / "store.db"));
  }
  std::filesystem::path file() const { return folder_.path() / "store.db"; }

 private:
  TemporaryFolder folder_;
};

TEST_F(KeptStore, OpensWithItsPins) {
  Token token(file());
  for (const auto& [name, pin] : {std::pair("OLD_SM2", kSm2Pin), std::pair("OLD_RSA", kRsaPin)}) {
    EXPECT_EQ(code_of([&] { token.login(name, kOtherPin); }), kWrongPin) << name;
    token.login(name, pin);
    const auto session = token.session(name);
    const DigestId digest = digest_for(session->signing_key.get());
    const Bytes signature = sign_data(session->signing_key.get(), digest, as_bytes("data"));
    const Key certified(X509_get_pubkey(session->signing_certificate.get()));
    verify_data(certified.get(), digest, as_bytes("data"), signature);
    EXPECT_EQ(X509_check_private_key(session->encryption_certificate.get(), session->encryption_key.get()),
              1);
    EXPECT_NE(EVP_PKEY_eq(session->signing_key.get(), session->encryption_key.get()), 1);
  }
}

TEST_F(KeptStore, KeepsItsContents) {
  Token token(file());
  EXPECT_EQ(token.container_names(), (std::vector<std::string>{"OLD_SM2", "OLD_RSA"}));
  EXPECT_EQ(token.pin_retries("OLD_SM2"), 10u);
  EXPECT_EQ(token.pin_retries("OLD_RSA"), 8u);
  const Bytes content = read_user_file(token.store(), token.container_id("OLD_SM2"), 1, 2, 0, 100);
  EXPECT_EQ(as_text(content), std::string("\0\0\0kept data", 12));
  token.login("OLD_SM2", kSm2Pin);
  const auto session = token.session("OLD_SM2");
  const Opener openers[] = {{session->encryption_certificate.get(), session->encryption_key.get()}};
  EXPECT_EQ(as_text(open_envelope(openers, content_of(kKept / "envelope.der"))), "kept content");
}

TEST_F(KeptStore, IsChangedLikeANewStore) {
  Token token(file());
  token.change_pin("OLD_SM2", kSm2Pin, kOtherPin);
  token.login("OLD_SM2", kOtherPin);
  token.add_container({.name = "NEW"}, kOtherPin);
  EXPECT_EQ(token.store().roots().size(), 2u);
  token.delete_container("OLD_RSA");
  EXPECT_EQ(token.container_names(), (std::vector<std::string>{"OLD_SM2", "NEW"}));
}

}  // namespace
}  // namespace velm::token
