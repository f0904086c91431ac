// The C++ wrapper over the library, with the local service and real keys.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <new>
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

// Whether a verification throws that its object is not valid, and not another error.
template <typename Verification>
bool is_not_valid(Verification verification) {
  try {
    verification();
  } catch (const sof::NotValid&) {
    return true;
  } catch (const sof::Error&) {
  }
  return false;
}

std::string text_of(const sof::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(Failure, NamesFunctionCodeAndText) {
  try {
    (void)sof::Container("nobody").login(kPin);
    FAIL() << "nobody is logged in";
  } catch (const sof::Error& error) {
    EXPECT_STREQ(error.function(), "SOF_Login");
    EXPECT_EQ(error.code(), SOR_CONTAINERNOTFOUNDERR);
    EXPECT_EQ(error.text(), "指定的容器不存在");
    EXPECT_STREQ(error.what(), "SOF_Login: 0x0B000425 指定的容器不存在");
  }
  EXPECT_STREQ(sof::Error("f", SOR_PROVIDERMINUS1ERR).what(), "f: 0xFFFFFFFF");
}

TEST(Failure, CodesHaveTexts) {
  EXPECT_EQ(sof::error_text(SOR_PINERR), "错误的口令");
  EXPECT_EQ(sof::error_text(0x12345678), "");
}

TEST(Failure, AFailedVerificationIsNotANegativeResult) {
  const sof::Certificate certificate = sof::Container("SM2_DEMO").signing_certificate();
  const sof::Bytes short_signature(64);
  EXPECT_TRUE(is_not_valid([&] { certificate.verify_hash(sof::Bytes(32), short_signature); }));
  EXPECT_FALSE(is_not_valid([] { sof::Certificate({1, 2, 3}).verify_hash(sof::Bytes(32), sof::Bytes(64)); }));
  EXPECT_EQ(code_of([] {
              sof::Certificate({1, 2, 3}).verify_hash(sof::Bytes(32), sof::Bytes(64));
            }),
            SOR_CERTPARSEERR);
}

TEST(Environment, VersionRandomAndUsers) {
  const sof::Session session;
  EXPECT_EQ(sof::version(), "1.0.0");
  EXPECT_EQ(sof::random(0).size(), 0u);
  EXPECT_EQ(sof::random(100000).size(), 100000u);
  EXPECT_THAT(sof::users(), testing::IsSupersetOf({"SM2_DEMO", "RSA_2048_DEMO", "演示容器_SM2"}));
}

// The library selects the code page of the user list according to what the system supports.
TEST(Environment, TheUserListIsDecodedFromItsCodePage) {
  EXPECT_EQ(sof::detail::local_code_page(true), 54936u);
  EXPECT_EQ(sof::detail::local_code_page(false), 936u);
  EXPECT_EQ(sof::utf8_from_gbk("\xC8\xDD\xC6\xF7"), "容器");
}

TEST(Environment, Devices) {
  EXPECT_THAT(sof::devices(), testing::ElementsAre("VELM Software Token"));
  EXPECT_THAT(sof::product_version(), testing::Not(testing::IsEmpty()));
  EXPECT_NE(sof::device_type(), 0xFFFFFFFFu);
}

TEST(Environment, Settings) {
  constexpr uint32_t kIdleLogout = 1;
  const sof::Bytes never(4);
  EXPECT_EQ(code_of([&] { sof::configure(kIdleLogout, never); }), SOR_OK);
  EXPECT_EQ(code_of([&] { sof::configure(99, never); }), SOR_PARAMETERNOTSUPPORTERR);
}

TEST(ByteView, RejectsMoreThanALengthCanHold) {
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

TEST(KeylessFunctions, HashesOfFiles) {
  write(kFile, "abc");
  EXPECT_EQ(sof::hash_file(sof::Digest::sm3, kFile), sof::hash(sof::Digest::sm3, "abc"));
  const sof::Bytes certificate = sof::Container("SM2_DEMO").signing_certificate().der();
  const std::string user_id = "1234567812345678";
  const sof::Bytes with_user_id = sof::hash(sof::Digest::sm3, "abc", certificate, user_id);
  EXPECT_NE(with_user_id, sof::hash(sof::Digest::sm3, "abc"));
  EXPECT_NE(with_user_id, sof::hash(sof::Digest::sm3, "abc", certificate, "another ID"));
  EXPECT_EQ(sof::hash_file(sof::Digest::sm3, kFile, certificate, user_id), with_user_id);
  std::remove(kFile);
}

TEST(KeylessFunctions, SignedXml) {
  EXPECT_NE(code_of([] { sof::verify_xml("not XML"); }), SOR_OK);
  EXPECT_EQ(code_of([] { sof::Container("SM2_DEMO").sign_xml("<a/>"); }), SOR_NOTSUPPORTYETERR);
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

TEST(LoginScope, KeepsTheLoginOnRequest) {
  const sof::Container container("SEAL_SM2_DEMO");
  container.login(kPin).keep();
  EXPECT_TRUE(container.is_logged_in());
  container.logout();
  EXPECT_FALSE(container.is_logged_in());
}

TEST(Pin, IsWiped) {
  alignas(sof::Pin) uint8_t memory[sizeof(sof::Pin)];
  auto* pin = new (memory) sof::Pin("12345678");
  EXPECT_STREQ(pin->c_str(), "12345678");
  EXPECT_EQ(pin->size(), 8u);
  pin->~Pin();
  const std::string left(memory, memory + sizeof memory);
  EXPECT_EQ(left.find("1234"), std::string::npos);
  EXPECT_EQ(left.find("5678"), std::string::npos);
}

TEST(Pin, IsWipedIfItIsTooLong) {
  alignas(sof::Pin) uint8_t memory[sizeof(sof::Pin)] = {};
  const std::string too_long(sof::Pin::kLongest + 1, '7');
  EXPECT_THROW(new (memory) sof::Pin(too_long), std::length_error);
  EXPECT_EQ(std::string(memory, memory + sizeof memory).find('7'), std::string::npos);
}

TEST(Pin, IsLimitedAndCompared) {
  const std::string longest(sof::Pin::kLongest, '1');
  sof::Pin pin = longest;
  EXPECT_EQ(pin.c_str(), longest);
  EXPECT_THROW(pin.append('1'), std::length_error);
  EXPECT_EQ(pin, sof::Pin(longest));
  EXPECT_NE(pin, sof::Pin("12"));
  EXPECT_NE(sof::Pin("123"), sof::Pin("12"));
}

TEST(Pin, IsCountedAndChanged) {
  const sof::Container container("SEAL_SM2_DEMO");
  EXPECT_EQ(code_of([&] { (void)container.login("wrong"); }), SOR_PINERR);
  EXPECT_EQ(container.pin_retry_count(), 9u);
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

// The digest with which the local service signs data.
sof::Digest digest_of(sof::Certificate::Key key) {
  switch (key) {
    case sof::Certificate::Key::sm2:
      return sof::Digest::sm3;
    case sof::Certificate::Key::rsa_2048:
      return sof::Digest::sha256;
    default:
      return sof::Digest::sha1;
  }
}

INSTANTIATE_TEST_SUITE_P(All, EveryKey, testing::Values("SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(EveryKey, CertificatesContainTheContainerName) {
  for (const sof::Certificate& each : {certificate, container.encryption_certificate()}) {
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

TEST_P(EveryKey, SignsHashValues) {
  const sof::Digest digest = digest_of(certificate.key());
  const bool is_sm2 = digest == sof::Digest::sm3;
  const sof::Bytes hash =
      is_sm2 ? sof::hash(digest, "data", certificate.der(), "1234567812345678") : sof::hash(digest, "data");
  const sof::Bytes signature = container.sign_hash(digest, hash);
  EXPECT_EQ(code_of([&] { certificate.verify_hash(hash, signature); }), SOR_OK);
  EXPECT_EQ(code_of([&] { certificate.verify("data", signature); }), SOR_OK);
  EXPECT_TRUE(is_not_valid([&] { certificate.verify_hash(sof::Bytes(32), signature); }));
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
  EXPECT_TRUE(is_not_valid([&] { certificate.verify_file(kFile, signature); }));
  std::remove(kFile);
}

TEST_P(EveryKey, EncryptsDataOfEverySize) {
  const sof::Certificate recipient = container.encryption_certificate();
  for (const size_t size : {0u, 1u, 300000u}) {
    const std::string plain(size, 'p');
    EXPECT_EQ(text_of(container.decrypt(recipient.encrypt(plain))), plain);
  }
}

TEST_P(EveryKey, EncryptsFiles) {
  write(kFile, "a secret file");
  container.encryption_certificate().encrypt_file(kFile, kEnvelope);
  EXPECT_THAT(read(kEnvelope), testing::Not(testing::HasSubstr("secret")));
  container.decrypt_file(kEnvelope, kOpened);
  EXPECT_EQ(read(kOpened), "a secret file");
  for (const char* path : {kFile, kEnvelope, kOpened}) std::remove(path);
}

TEST_P(EveryKey, EncryptsFilesInProcess) {
  constexpr int32_t kSm4Cbc = 0x402;
  write(kFile, "a secret file");
  sof::set_envelope_type(sof::EnvelopeType::provider);
  sof::set_encrypt_method(kSm4Cbc);
  container.encryption_certificate().encrypt_file(kFile, kEnvelope);
  sof::set_envelope_type(sof::EnvelopeType::service);
  EXPECT_EQ(SOF_GetEncryptMethod(), 0x402u);
  container.decrypt_file(kEnvelope, kOpened);
  EXPECT_EQ(read(kOpened), "a secret file");
  for (const char* path : {kFile, kEnvelope, kOpened}) std::remove(path);
}

TEST(Certificates, HaveItemsOrNot) {
  const sof::Certificate certificate = sof::Container("SM2_DEMO").signing_certificate();
  EXPECT_EQ(certificate.find_item(0x31), "SM2_DEMO");
  constexpr uint32_t kEmail = 0x34;
  EXPECT_EQ(certificate.find_item(kEmail), std::nullopt);
  EXPECT_NE(code_of([&] { certificate.item(kEmail); }), SOR_OK);
  EXPECT_NE(code_of([&] { sof::Certificate({1, 2, 3}).find_item(0x31); }), SOR_OK);
}

TEST(Certificates, KeyTypeAndValidation) {
  const sof::Certificate sm2 = sof::Container("SM2_DEMO").signing_certificate();
  EXPECT_EQ(sm2.key(), sof::Certificate::Key::sm2);
  EXPECT_EQ(sof::Container("RSA_2048_DEMO").signing_certificate().key(), sof::Certificate::Key::rsa_2048);
  const sof::Certificate expired = sof::Container("EXPIRED_RSA_2048_DEMO").signing_certificate();
  EXPECT_EQ(code_of([&] { expired.validate(); }), SOR_CERTHASEXPIREDERR);
  EXPECT_TRUE(is_not_valid([&] { expired.validate(); }));
}

TEST(SignedFiles, AreMessagesWithOrWithoutTheirContent) {
  const sof::Container container("SM2_SCAN_CONTAINER_DEMO");
  const sof::Login login = container.login(kPin);
  write(kFile, "a file");
  sof::verify_file_message(container.sign_file_message(kFile, sof::Content::attached));
  const sof::Bytes detached = container.sign_file_message(kFile, sof::Content::detached);
  sof::verify_file_message(detached, kFile);
  write(kFile, "another");
  EXPECT_TRUE(is_not_valid([&] { sof::verify_file_message(detached, kFile); }));
  std::remove(kFile);
}

TEST(SignedFiles, AreMessagesOverAHashValue) {
  const sof::Container container("RSA_2048_SCAN_CONTAINER_DEMO");
  const sof::Login login = container.login(kPin);
  write(kFile, text_of(sof::hash(sof::Digest::sha256, "a file")));
  const sof::Bytes message = container.sign_hash_file_message(kFile);
  write(kFile, "a file");
  EXPECT_EQ(code_of([&] { sof::verify_file_message(message, kFile); }), SOR_OK);
  std::remove(kFile);
}

// Sic: with a name that selects no digest the C function succeeds without a signature.
TEST(SignedFiles, FalseSuccessIsAnError) {
  EXPECT_EQ(code_of([] { sof::Container("NO_DIGEST").sign_file("any"); }), SOR_UNKNOWNERR);
  EXPECT_THROW(sof::Container("NO_DIGEST").sign_file("any"), sof::FalseSuccess);
}

constexpr uint32_t kCertificateLabel = 7;

TEST(TimeStampTokens, OfData) {
  const sof::Bytes tsa_certificate =
      sof::Container("SM2_DEMO").label("TIME_STAMP_AUTHORITY_SM2", kCertificateLabel);
  const sof::Bytes token = sof::time_stamp("some data");
  EXPECT_EQ(sof::verify_time_stamp("some data", token, tsa_certificate).size(), 15u);
  EXPECT_NE(code_of([&] { sof::verify_time_stamp("other data", token, tsa_certificate); }), SOR_OK);
  EXPECT_TRUE(is_not_valid([&] { sof::verify_time_stamp("other data", token, tsa_certificate); }));
  EXPECT_EQ(sof::tsa_time().size(), 15u);
}

TEST(TimeStampTokens, OfFiles) {
  const sof::Container container("SM2_DEMO");
  const auto tsa_certificate = container.find_label("TIME_STAMP_AUTHORITY", kCertificateLabel);
  ASSERT_TRUE(tsa_certificate);
  EXPECT_EQ(container.find_label("NO_LABEL", kCertificateLabel), std::nullopt);
  write(kFile, "a file");
  const sof::Bytes token = container.time_stamp_file(kFile);
  EXPECT_EQ(sof::verify_file_time_stamp(kFile, token, *tsa_certificate).size(), 15u);
  write(kFile, "another");
  EXPECT_TRUE(is_not_valid([&] { sof::verify_file_time_stamp(kFile, token, *tsa_certificate); }));
  std::remove(kFile);
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
  EXPECT_EQ(text_of(container.read_user_data(1, 2, 3, 1000)), "text");
  EXPECT_EQ(code_of([&] { container.write_user_data("wrong", 1, 2, 3, "text"); }), SOR_PINERR);
}

TEST(Storage, SealsAndDevice) {
  const sof::Container container("SEAL_SM2_DEMO");
  ASSERT_EQ(container.seal_count(), 2u);
  EXPECT_EQ(text_of(container.seal_item(1, 2)), "演示合同章");
  EXPECT_EQ(container.device_item(0x203), "VELM Software Token");
  EXPECT_EQ(container.find_device_item(0x203), "VELM Software Token");
  EXPECT_EQ(container.find_device_item(0x999), std::nullopt);
}

}  // namespace
