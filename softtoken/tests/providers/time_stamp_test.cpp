// Shows how the modules handle valid and invalid answers of a TSA.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>

#include <openssl/ts.h>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/crypto/time_stamp_answer.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/module_path.h"
#include "softtoken/tests/providers/second_signer.h"
#include "softtoken/tests/providers/with_scripted_server.h"
#include "softtoken/tests/store/temporary_folder.h"

namespace velm::token {
namespace {

constexpr uint32_t kCertificateLabel = 7;

constexpr char kStore[] = "time_stamp_test.db";
constexpr char kText[] = "stamped";
constexpr uint32_t kTextLength = sizeof kText - 1;

/** A TSA whose answers are scripted by the test. */
class ScriptedAuthority : public WithScriptedServer {
 protected:
  ScriptedAuthority() : WithScriptedServer("time_stamp_test.dat") {}

  static void SetUpTestSuite() {
    for (const char* part : {"", "-wal", "-shm"}) std::filesystem::remove(std::string(kStore) + part);
    Store::create(kStore);
    store_ = new Store(kStore);
  }
  static void TearDownTestSuite() { delete store_; }

  void SetUp() override {
    const auto script = [this](const std::string& path, const std::string& body) -> ScriptedAnswer {
      if (path == "/token") return {.body = named_authority(), .content_type = "application/json"};
      if (path != "/tsa") return {.status = 404};
      return {.body = as_text(answer_(as_bytes(body))), .content_type = "application/timestamp-reply"};
    };
    serve(script, {"service_address", "time_stamp_address"}, settings());
  }
  virtual std::string settings() const { return {}; }

  // The answer of the local service to the question for the certificate of its TSA.
  virtual std::string named_authority() const {
    prepare_time_stamp_authority(store());
    const Bytes certificate = label(store(), kTimeStampAuthorityLabel, kCertificateLabel);
    return R"({"ErrorCode":"0","Result":")" + base64_encode(certificate) + R"("})";
  }

  static Store& store() { return *store_; }
  static Bytes granted(ByteView query) { return answer_time_stamp_query(store(), query); }
  void answer(std::function<Bytes(ByteView query)> answer) { answer_ = std::move(answer); }

  /** Requests a time-stamp token over the text and returns the result code. */
  uint32_t fetch(DigestId digest, Bytes* stamp = nullptr) {
    Bytes output(16384);
    uint32_t length = size_of(output);
    const uint32_t code =
        SAF_Ext_GM_Tsp_SealTimeStamp(application(), static_cast<uint32_t>(digest), as_bytes(kText).data(),
                                     kTextLength, output.data(), &length);
    output.resize(length);
    if (stamp != nullptr) *stamp = std::move(output);
    return code;
  }
  /** Requests the time and returns the result code. */
  uint32_t fetch_time() {
    std::string time(32, ' ');
    uint32_t length = static_cast<uint32_t>(time.size());
    const uint32_t code =
        SAF_Ext_GM_Tsp_GetTime(application(), reinterpret_cast<uint8_t*>(time.data()), &length);
    if (code == kSafSuccess) {
      EXPECT_EQ(length, 15u);
    } else {
      EXPECT_EQ(time, std::string(32, ' '));
    }
    return code;
  }
  static uint32_t verify(ByteView stamp, ByteView authority) {
    uint32_t length = 0;
    return SAF_Ext_TspVerifyStamp(as_bytes(kText).data(), kTextLength, stamp.data(), size_of(stamp),
                                  authority.data(), size_of(authority), nullptr, &length);
  }

 private:
  static inline Store* store_ = nullptr;
  std::function<Bytes(ByteView query)> answer_;
};

Bytes token_in(const Bytes& stamp) {
  const auto response = from_der<Handle<TS_RESP, TS_RESP_free>>(d2i_TS_RESP, stamp, kUnknownError);
  return der_of<const PKCS7>(i2d_PKCS7, TS_RESP_get_token(response.get()));
}

constexpr std::pair<DigestId, const char*> kKinds[] = {{DigestId::sm3, kSm2TimeStampAuthorityLabel},
                                                       {DigestId::sha256, kTimeStampAuthorityLabel}};

TEST_F(ScriptedAuthority, OnlyTheAnswerToThisQueryIsTaken) {
  for (const auto& [digest, authority] : kKinds) {
    Bytes stamp;
    answer(granted);
    ASSERT_EQ(fetch(digest, &stamp), kSafSuccess);
    EXPECT_EQ(verify(stamp, label(store(), authority, kCertificateLabel)), kSafSuccess);

    answer([&](ByteView) { return stamp; });
    EXPECT_EQ(fetch(digest), kSafStampAnswer) << "the nonce is another query's";

    const Bytes asked = hash(digest, as_bytes(kText));
    bool altered = false;
    answer([&](ByteView query) {
      Bytes other = copy_of(query);
      const auto place = std::ranges::search(other, asked);
      altered = !place.empty();
      if (altered) place.front() ^= 1;
      return granted(other);
    });
    EXPECT_EQ(fetch(digest), kSafStampAnswer) << "the hash is another text's";
    EXPECT_TRUE(altered);
  }
}

TEST_F(ScriptedAuthority, ARefusalIsToldFromAnAnswerThatCannotBeRead) {
  const Bytes refusal = granted(as_bytes("no query"));
  const Bytes authority = sm2_signer().certificate;
  answer([&](ByteView) { return refusal; });
  EXPECT_EQ(fetch(DigestId::sm3), kSafStampService);
  EXPECT_EQ(verify(refusal, authority), kSafStampService);
  for (const Bytes& unreadable : {Bytes(), Bytes(10, 'x'), refusal}) {
    Bytes longer = unreadable;
    longer.push_back(0);
    answer([&](ByteView) { return longer; });
    EXPECT_EQ(fetch(DigestId::sm3), kSafStampAnswer);
    EXPECT_EQ(verify(longer, authority), kSafStampAnswer);
  }
}

TEST_F(ScriptedAuthority, NothingStandsBehindAStamp) {
  for (const auto& [digest, label_name] : kKinds) {
    const Bytes authority = label(store(), label_name, kCertificateLabel);
    Bytes stamp;
    answer(granted);
    ASSERT_EQ(fetch(digest, &stamp), kSafSuccess);
    Bytes token = token_in(stamp);
    for (Bytes* form : {&stamp, &token}) {
      EXPECT_EQ(verify(*form, authority), kSafSuccess);
      form->push_back(0);
      EXPECT_EQ(verify(*form, authority), kSafStampAnswer);
    }
    answer([](ByteView query) {
      Bytes longer = granted(query);
      longer.push_back(0);
      return longer;
    });
    EXPECT_EQ(fetch(digest), kSafStampAnswer);
  }
}

// The given certificate must be the signer's: one above it, or beside it, vouches for no time-stamp token.
TEST_F(ScriptedAuthority, OnlyTheGivenCertificateIsAcceptedAsTheSigner) {
  for (const auto& [digest, label_name] : kKinds) {
    const KeyKind kind = digest == DigestId::sm3 ? KeyKind::sm2 : KeyKind::rsa;
    Bytes stamp;
    answer(granted);
    ASSERT_EQ(fetch(digest, &stamp), kSafSuccess);
    EXPECT_EQ(verify(stamp, label(store(), label_name, kCertificateLabel)), kSafSuccess);

    const Authority issuer = store().authority(kind);
    EXPECT_EQ(verify(stamp, certificate_der(issuer.certificate.get())), kSafHashNotEqual) << "its issuer";
    const Key key = generate_key(kind, 2048);
    const time_t now = std::time(nullptr);
    const Certificate sibling = issue_certificate(issuer, key.get(),
                                                  {.common_name = "Sibling",
                                                   .usage = Usage::time_stamping,
                                                   .not_before = now - kDay,
                                                   .not_after = now + kDay});
    EXPECT_EQ(verify(stamp, certificate_der(sibling.get())), kSafHashNotEqual) << "another of its issuer";
  }
}

TEST_F(ScriptedAuthority, AStampHasOneSigner) {
  for (const auto& [digest, label_name] : kKinds) {
    Bytes stamp;
    answer(granted);
    ASSERT_EQ(fetch(digest, &stamp), kSafSuccess);
    const Bytes authority = label(store(), label_name, kCertificateLabel);
    const Bytes token = token_in(stamp);
    ASSERT_EQ(verify(token, authority), kSafSuccess);
    EXPECT_EQ(verify(with_forged_second_signer(token, kPkcs7Types.signed_data), authority), kSafStampAnswer);
  }
}

TEST_F(ScriptedAuthority, AnSm2StampNeedsACertificateForStampsInItsTime) {
  Bytes stamp;
  answer(granted);
  ASSERT_EQ(fetch(DigestId::sm3, &stamp), kSafSuccess);
  const Bytes content = *parse_signed_message(token_in(stamp)).content;

  const Authority root = make_authority(KeyKind::sm2);
  const Key key = generate_sm2_key();
  const time_t now = std::time(nullptr);
  const auto verify_signed_by = [&](Usage usage, time_t from, time_t until) {
    const Certificate certificate = issue_certificate(
        root, key.get(), {.common_name = "Sample", .usage = usage, .not_before = from, .not_after = until});
    const Bytes token =
        encode_signed_message({.signer = certificate.get(),
                               .digest = DigestId::sm3,
                               .content = content,
                               .attributes = true,
                               .time_stamp = true},
                              [&](ByteView data) { return sign_data(key.get(), DigestId::sm3, data); });
    return verify(token, certificate_der(certificate.get()));
  };
  EXPECT_EQ(verify_signed_by(Usage::time_stamping, now - kDay, now + kDay), kSafSuccess);
  EXPECT_EQ(verify_signed_by(Usage::signing, now - kDay, now + kDay), kSafHashNotEqual);
  EXPECT_EQ(verify_signed_by(Usage::time_stamping, now - 2 * kDay, now - kDay), kSafHashNotEqual);
  EXPECT_EQ(verify_signed_by(Usage::time_stamping, now + kDay, now + 2 * kDay), kSafHashNotEqual);
}

/** A TSA of the same demo CA as that of the store. */
const Authority& other_authority(Store& store) {
  static const Authority authority = [&] {
    Key key = generate_rsa_key(2048);
    const time_t now = std::time(nullptr);
    Certificate certificate = issue_certificate(store.authority(KeyKind::rsa), key.get(),
                                                {.common_name = "Other",
                                                 .usage = Usage::time_stamping,
                                                 .not_before = now - kDay,
                                                 .not_after = now + kDay});
    return Authority{std::move(certificate), std::move(key)};
  }();
  return authority;
}

Bytes granted_by_other(Store& store, ByteView query) {
  return time_stamp_answer(query, [&](KeyKind) {
    const Authority& other = other_authority(store);
    EVP_PKEY_up_ref(other.key.get());
    X509_up_ref(other.certificate.get());
    return Authority{Certificate(other.certificate.get()), Key(other.key.get())};
  });
}

TEST_F(ScriptedAuthority, TheTimeIsSignedByTheTsaOfTheLocalService) {
  answer(granted);
  EXPECT_EQ(fetch_time(), kSafSuccess);
  answer([](ByteView query) { return granted_by_other(store(), query); });
  EXPECT_EQ(fetch_time(), kSafHashNotEqual);
  answer([](ByteView query) {
    Bytes forged = granted(query);
    forged.back() ^= 1;  // within the signature, the last element of the answer
    return forged;
  });
  EXPECT_EQ(fetch_time(), kSafHashNotEqual);
}

class ServiceWithoutAuthority : public ScriptedAuthority {
  std::string named_authority() const override { return R"({"ErrorCode":"0B000504"})"; }
};

TEST_F(ServiceWithoutAuthority, NoTimeIsDelivered) {
  answer(granted);
  EXPECT_EQ(fetch_time(), kSafNoSuchLabel);
}

class ConfiguredAuthority : public ServiceWithoutAuthority {
 protected:
  static inline const std::string kFile = std::filesystem::absolute("time_stamp_test.cer").string();

  ~ConfiguredAuthority() override { std::remove(kFile.c_str()); }
  std::string settings() const override { return "time_stamp_certificate = " + kFile + "\n"; }
};

TEST_F(ConfiguredAuthority, AloneIsAccepted) {
  write_file(kFile, certificate_der(other_authority(store()).certificate.get()));
  answer([](ByteView query) { return granted_by_other(store(), query); });
  EXPECT_EQ(fetch_time(), kSafSuccess);
  answer(granted);
  EXPECT_EQ(fetch_time(), kSafHashNotEqual);
}

TEST_F(ConfiguredAuthority, NeedsItsCertificate) {
  answer(granted);
  EXPECT_EQ(fetch_time(), kSafFileOpen);
  write_file(kFile, as_bytes("no certificate"));
  EXPECT_EQ(fetch_time(), kSafCertificateFormat);
}

class ImpatientApplication : public ScriptedAuthority {
  std::string settings() const override { return "answer_timeout_ms = 200\n"; }
};

TEST_F(ImpatientApplication, DoesNotWaitForASilentAuthority) {
  std::promise<void> end;
  answer([ended = end.get_future().share()](ByteView) {
    // A deadline, so that a client that waits longer fails the test instead of holding it.
    ended.wait_for(std::chrono::seconds(10));
    return Bytes();
  });
  EXPECT_EQ(fetch(DigestId::sm3), kSafHttpTimeout);
  end.set_value();
}

class RelativeAuthority : public ServiceWithoutAuthority {
 protected:
  static constexpr char kFile[] = "time_stamp_relative.cer";

  ~RelativeAuthority() override { std::filesystem::remove(in_module_folder_); }
  std::string settings() const override { return "time_stamp_certificate = " + std::string(kFile) + "\n"; }

  const std::filesystem::path in_module_folder_ = module_path().parent_path() / kFile;
};

// Others may be able to write to the current folder.
TEST_F(RelativeAuthority, IsReadFromTheFolderOfTheModule) {
  const auto before = std::filesystem::current_path();
  const TemporaryFolder folder;
  std::filesystem::current_path(folder.path());
  answer([](ByteView query) { return granted_by_other(store(), query); });
  write_file(kFile, certificate_der(other_authority(store()).certificate.get()));
  EXPECT_EQ(fetch_time(), kSafFileOpen);
  write_file(in_module_folder_.string(), certificate_der(other_authority(store()).certificate.get()));
  EXPECT_EQ(fetch_time(), kSafSuccess);
  std::filesystem::current_path(before);
}

/** Signs TSTInfo of any time with a certificate of any validity. */
struct Stamper {
  Authority root;
  Key key;
  KeyKind kind;

  explicit Stamper(KeyKind of_kind)
      : root(make_authority(of_kind)), key(generate_key(of_kind, 2048)), kind(of_kind) {}

  Certificate certificate(time_t from, time_t until) const {
    return issue_certificate(
        root, key.get(),
        {.common_name = "Sample", .usage = Usage::time_stamping, .not_before = from, .not_after = until});
  }
  Bytes token(X509* signer, ByteView info, bool attributes = true) const {
    const DigestId digest = kind == KeyKind::sm2 ? DigestId::sm3 : DigestId::sha256;
    return encode_signed_message(
        {.signer = signer, .digest = digest, .content = info, .attributes = attributes, .time_stamp = true},
        [&](ByteView data) { return sign_data(key.get(), digest, data); });
  }
};

Bytes info_at(ByteView info, time_t time) {
  const auto parsed = from_der<Handle<TS_TST_INFO, TS_TST_INFO_free>>(d2i_TS_TST_INFO, info, kUnknownError);
  const Handle<ASN1_GENERALIZEDTIME, ASN1_GENERALIZEDTIME_free> at(ASN1_GENERALIZEDTIME_set(nullptr, time));
  EXPECT_EQ(TS_TST_INFO_set_time(parsed.get(), at.get()), 1);
  return der_of<const TS_TST_INFO>(i2d_TS_TST_INFO, parsed.get());
}

// To the second, at both ends of the certificate's validity, whatever the time is now.
TEST_F(ScriptedAuthority, AStampIsJudgedByItsOwnTime) {
  constexpr time_t kHour = 60 * 60;
  const time_t now = std::time(nullptr);
  for (const auto& [digest, label_name] : kKinds) {
    Bytes stamp;
    answer(granted);
    ASSERT_EQ(fetch(digest, &stamp), kSafSuccess);
    const Bytes content = *parse_signed_message(token_in(stamp)).content;
    const Stamper stamper(digest == DigestId::sm3 ? KeyKind::sm2 : KeyKind::rsa);
    for (const auto& [from, until] : {std::pair{now - 3 * kDay - 5 * kHour, now - kDay - 7 * kHour},
                                      {now + kDay + 5 * kHour, now + 3 * kDay + 7 * kHour}}) {
      const Certificate certificate = stamper.certificate(from, until);
      const auto code_at = [&](time_t time) {
        return verify(stamper.token(certificate.get(), info_at(content, time)),
                      certificate_der(certificate.get()));
      };
      EXPECT_EQ(code_at(from - 1), kSafHashNotEqual);
      EXPECT_EQ(code_at(from), kSafSuccess);
      EXPECT_EQ(code_at(until - 1), kSafSuccess);
      EXPECT_EQ(code_at(until + 1), kSafHashNotEqual);
      EXPECT_EQ(code_at(now), kSafHashNotEqual);
    }
  }
}

// RFC 5816: the signed attributes name the certificate of the TSA.
TEST_F(ScriptedAuthority, AStampHasSignedAttributes) {
  const time_t now = std::time(nullptr);
  for (const auto& [digest, label_name] : kKinds) {
    Bytes stamp;
    answer(granted);
    ASSERT_EQ(fetch(digest, &stamp), kSafSuccess);
    const Bytes content = *parse_signed_message(token_in(stamp)).content;
    const Stamper stamper(digest == DigestId::sm3 ? KeyKind::sm2 : KeyKind::rsa);
    const Certificate certificate = stamper.certificate(now - kDay, now + kDay);
    const Bytes authority = certificate_der(certificate.get());
    EXPECT_EQ(verify(stamper.token(certificate.get(), content), authority), kSafSuccess);
    EXPECT_EQ(verify(stamper.token(certificate.get(), content, false), authority), kSafHashNotEqual);
  }
}

TEST_F(ScriptedAuthority, NoTimeIsDeliveredOfAStampThatDoesNotVerify) {
  for (const auto& [digest, label_name] : kKinds) {
    Bytes stamp;
    answer(granted);
    ASSERT_EQ(fetch(digest, &stamp), kSafSuccess);
    const Bytes authority = label(store(), label_name, kCertificateLabel);
    stamp.back() ^= 1;  // within the signature
    const std::string untouched(32, ' ');
    std::string time = untouched;
    auto length = static_cast<uint32_t>(time.size());
    EXPECT_EQ(SAF_Ext_TspVerifyStamp(as_bytes(kText).data(), kTextLength, stamp.data(), size_of(stamp),
                                     authority.data(), size_of(authority),
                                     reinterpret_cast<uint8_t*>(time.data()), &length),
              kSafHashNotEqual);
    EXPECT_EQ(time, untouched);
    EXPECT_EQ(length, untouched.size());
  }
}

// Two tokens of one TSA differ in the lengths of their serial numbers and nonces.
TEST_F(ScriptedAuthority, ASizeQueryHasRoomForALongerStamp) {
  constexpr uint32_t kMostVariation = 16;
  size_t answered = 0;
  answer([&](ByteView query) {
    Bytes stamp = granted(query);
    answered = stamp.size();
    return stamp;
  });
  uint32_t length = 0;
  EXPECT_EQ(
      SAF_Ext_GM_Tsp_SealTimeStamp(application(), 0, as_bytes(kText).data(), kTextLength, nullptr, &length),
      kSafSuccess);
  EXPECT_GE(length, answered + kMostVariation);
}

}  // namespace
}  // namespace velm::token
