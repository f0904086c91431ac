// The C++ wrapper over the library, with the local service and real keys.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "velm_sof.hpp"

namespace {

namespace sof = velm::sof;

constexpr const char* kPin = "12345678";
constexpr const char* kFile = "wrapper.txt";
constexpr const char* kEnvelope = "wrapper.p7m";
constexpr const char* kOpened = "wrapper.out";

// Returns the code of the error that a call throws, or SOR_OK.
template <typename Call>
uint32_t code_of(Call call) {
  try {
    call();
  } catch (const sof::Error& error) {
    return error.code();
  }
  return SOR_OK;
}

void write(const char* path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

std::string read(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string text_of(const sof::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(Failure, NamesFunctionCodeAndText) {
  try {
    (void)sof::Container("nobody").login(kPin);
    FAIL() << "the login must fail";
  } catch (const sof::Error& error) {
    EXPECT_STREQ(error.function(), "SOF_Login");
    EXPECT_EQ(error.code(), SOR_CONTAINERNOTFOUNDERR);
    EXPECT_EQ(error.text(), "指定的容器不存在");
    EXPECT_STREQ(error.what(), "SOF_Login: 0x0B000425 指定的容器不存在");
  }
  EXPECT_STREQ(sof::Error("f", SOR_PROVIDERMINUS1ERR).what(), "f: 0xFFFFFFFF");
}

TEST(Environment, VersionRandomAndUsers) {
  const sof::Session session;
  EXPECT_EQ(sof::version(), "1.0.0");
  EXPECT_EQ(sof::random(0).size(), 0u);
  EXPECT_EQ(sof::random(100000).size(), 100000u);
  EXPECT_THAT(sof::users(), testing::IsSupersetOf({"SM2_DEMO", "RSA_2048_DEMO", "演示容器_SM2"}));
}

// The library selects the code page of the user list according to what the system supports.
TEST(Environment, TheUserListIsReadInItsCodePage) {
  EXPECT_EQ(sof::detail::local_code_page(true), 54936u);
  EXPECT_EQ(sof::detail::local_code_page(false), 936u);
  EXPECT_EQ(sof::detail::utf8_from_gbk("\xC8\xDD\xC6\xF7"), "容器");
}

TEST(ByteView, RefusesSizesAbove32Bits) {
  const char byte = 0;
  EXPECT_EQ(sof::ByteView(&byte, UINT32_MAX).size(), UINT32_MAX);
  EXPECT_THROW(sof::ByteView(&byte, size_t{1} << 32).size(), std::length_error);
}

TEST(KeylessFunctions, HashAndBase64) {
  EXPECT_EQ(sof::base64_encode("abc"), "YWJj");
  EXPECT_EQ(text_of(sof::base64_decode("YWJj")), "abc");
  EXPECT_EQ(sof::base64_encode(""), "");
  EXPECT_EQ(sof::base64_encode(sof::Bytes()), "");
  EXPECT_EQ(text_of(sof::base64_decode("")), "");
  EXPECT_EQ(sof::hash(sof::Digest::sm3, "abc").size(), 32u);
  EXPECT_EQ(sof::hash(sof::Digest::sha1, "abc").size(), 20u);
  EXPECT_EQ(sof::base64_encode(sof::hash(sof::Digest::sha256, "abc")),
            "ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0=");
}

TEST(LoginScope, LogsOutAtItsEnd) {
  const sof::Container container("SEAL_SM2_DEMO");
  EXPECT_FALSE(container.is_logged_in());
  {
    const sof::Login login = container.login(kPin);
    EXPECT_TRUE(container.is_logged_in());
  }
  EXPECT_FALSE(container.is_logged_in());
  EXPECT_EQ(code_of([&] { container.sign("text"); }), SOR_NOTLOGINERR);
}

TEST(Pin, IsCountedAndChanged) {
  const sof::Container container("SEAL_SM2_DEMO");
  EXPECT_EQ(code_of([&] { (void)container.login("wrong"); }), SOR_PINERR);
  EXPECT_EQ(container.pin_tries(), 9u);
  container.change_pin(kPin, "87654321");
  EXPECT_EQ(code_of([&] { (void)container.login("87654321"); }), SOR_OK);
  container.change_pin("87654321", kPin);
}

class EveryKey : public testing::TestWithParam<const char*> {
 protected:
  const sof::Container container{GetParam()};
  const sof::Login login = container.login(kPin);
  const sof::Certificate certificate = container.signing_certificate();
};

INSTANTIATE_TEST_SUITE_P(All, EveryKey, testing::Values("SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(EveryKey, CertificatesNameTheirOwner) {
  for (const sof::Certificate& each : {certificate, container.exchange_certificate()}) {
    EXPECT_EQ(each.item(0x31), container.name());
    EXPECT_EQ(each.item("2.5.4.3"), container.name());
    EXPECT_EQ(code_of([&] { each.validate(); }), SOR_OK);
  }
}

TEST_P(EveryKey, SignsData) {
  const sof::Bytes signature = container.sign("some data");
  EXPECT_EQ(code_of([&] { certificate.verify("some data", signature); }), SOR_OK);
  EXPECT_EQ(code_of([&] { certificate.verify("some dbta", signature); }), SOR_VERIFYSIGNDATAERR);
}

TEST_P(EveryKey, SignsMessagesOfEverySize) {
  for (const size_t size : {1u, 9u, 100000u}) {
    const std::string data(size, 'd');
    const sof::Bytes attached = container.sign_message(data, sof::Content::attached);
    sof::verify_message(attached);
    EXPECT_EQ(text_of(sof::message_item(attached, 1)), data);
    const sof::Bytes detached = container.sign_message(data, sof::Content::detached);
    sof::verify_message(detached, data);
    EXPECT_EQ(code_of([&] { sof::verify_message(detached, "other data"); }), SOR_VERIFYSIGNDATAERR);
  }
}

TEST_P(EveryKey, SignsFiles) {
  write(kFile, "a file");
  const sof::Bytes signature = container.sign_file(kFile);
  certificate.verify_file(kFile, signature);
  write(kFile, "another");
  EXPECT_NE(code_of([&] { certificate.verify_file(kFile, signature); }), SOR_OK);
  std::remove(kFile);
}

TEST_P(EveryKey, EncryptsDataOfEverySize) {
  const sof::Certificate recipient = container.exchange_certificate();
  for (const size_t size : {0u, 1u, 300000u}) {
    const std::string plain(size, 'p');
    EXPECT_EQ(text_of(container.decrypt(recipient.encrypt(plain))), plain);
  }
}

TEST_P(EveryKey, EncryptsFiles) {
  write(kFile, "a secret file");
  container.exchange_certificate().encrypt_file(kFile, kEnvelope);
  EXPECT_THAT(read(kEnvelope), testing::Not(testing::HasSubstr("secret")));
  container.decrypt_file(kEnvelope, kOpened);
  EXPECT_EQ(read(kOpened), "a secret file");
  for (const char* path : {kFile, kEnvelope, kOpened}) std::remove(path);
}

TEST(Certificates, ReportKeyAndReasonForInvalidity) {
  const sof::Certificate sm2 = sof::Container("SM2_DEMO").signing_certificate();
  EXPECT_EQ(sm2.key(), sof::Certificate::Key::sm2);
  EXPECT_EQ(sof::Container("RSA_2048_DEMO").signing_certificate().key(), sof::Certificate::Key::rsa_2048);
  const sof::Certificate expired = sof::Container("EXPIRED_RSA_2048_DEMO").signing_certificate();
  EXPECT_EQ(code_of([&] { expired.validate(); }), SOR_CERTHASEXPIREDERR);
}

TEST(SignedFiles, AttachedAndDetached) {
  const sof::Container container("SM2_SCAN_CONTAINER_DEMO");
  const sof::Login login = container.login(kPin);
  write(kFile, "a file");
  for (const sof::Content content : {sof::Content::attached, sof::Content::detached}) {
    const sof::Bytes message = container.sign_file_message(kFile, content);
    sof::verify_file_message(message, kFile, content);
  }
  std::remove(kFile);
}

// Sic: with a name that selects no digest the C function succeeds without a signature.
TEST(SignedFiles, EmptySignatureIsAnError) {
  EXPECT_EQ(code_of([] { sof::Container("NO_DIGEST").sign_file("any"); }), SOR_UNKNOWNERR);
}

TEST(TimeStamps, ProveTheTimeOfTheData) {
  constexpr uint32_t kCertificateLabel = 7;
  const sof::Bytes authority =
      sof::Container("SM2_DEMO").label("TIME_STAMP_AUTHORITY_SM2", kCertificateLabel);
  const sof::Bytes stamp = sof::time_stamp("some data");
  EXPECT_EQ(sof::verify_time_stamp("some data", stamp, authority).size(), 15u);
  EXPECT_NE(code_of([&] { sof::verify_time_stamp("other data", stamp, authority); }), SOR_OK);
  EXPECT_EQ(sof::authority_time().size(), 15u);
}

TEST(Storage, DeviceFiles) {
  constexpr uint32_t kAnyone = 0xFF;
  const sof::Container container("SM2_DEMO");
  const sof::Login login = container.login(kPin);
  EXPECT_THAT(container.files(), testing::IsEmpty());
  container.create_file("one", {10, kAnyone, kAnyone});
  container.create_file("two", {20, kAnyone, kAnyone});
  EXPECT_THAT(container.files(), testing::UnorderedElementsAre("one", "two"));
  EXPECT_EQ(container.file_attributes("two").size, 20u);
  container.write_file("two", 5, "text");
  EXPECT_EQ(text_of(container.read_file("two", 5, 4)), "text");
  container.delete_file("one");
  container.delete_file("two");
  EXPECT_EQ(code_of([&] { container.read_file("two", 0, 1); }), SOR_FILENOTFOUNDERR);
}

TEST(Storage, UserData) {
  const sof::Container container("SM2_DEMO");
  container.write_user_data(kPin, 1, 2, 3, "text");
  EXPECT_EQ(text_of(container.read_user_data(1, 2, 3, 4)), "text");
  EXPECT_EQ(code_of([&] { container.write_user_data("wrong", 1, 2, 3, "text"); }), SOR_PINERR);
}

TEST(Storage, SealsAndDevice) {
  const sof::Container container("SEAL_SM2_DEMO");
  ASSERT_EQ(container.seal_count(), 2u);
  EXPECT_EQ(text_of(container.seal_item(1, 2)), "演示合同章");
  EXPECT_EQ(container.device_item(0x203), "VELM Software Token");
}

}  // namespace
