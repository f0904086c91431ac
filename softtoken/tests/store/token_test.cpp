#include "softtoken/store/token.h"

#include <gtest/gtest.h>

#include <fstream>

#include "permissions/private_file.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/store/demo.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

constexpr uint32_t kPinRetries = 10;
const Bytes kPin = copy_of(as_bytes("12345678"));
const Bytes kWrong = copy_of(as_bytes("87654321"));

class TokenTest : public testing::Test {
 protected:
  void SetUp() override { token.add_container({.name = "A"}, kPin); }

  TemporaryStore store;
  Token token{store.file()};
};

TEST_F(TokenTest, KeysAreUnavailableBeforeLoginAndAfterLogout) {
  EXPECT_EQ(code_of([&] { token.session("A"); }), kNotLoggedIn);
  token.login("A", kPin);
  EXPECT_NE(token.session("A")->signing_key, nullptr);
  token.logout("A");
  EXPECT_EQ(code_of([&] { token.session("A"); }), kNotLoggedIn);
}

TEST_F(TokenTest, AnUnknownContainerIsReported) {
  EXPECT_EQ(code_of([&] { token.login("B", kPin); }), kNoSuchContainer);
  EXPECT_EQ(code_of([&] { token.pin_retries("B"); }), kNoSuchContainer);
}

TEST_F(TokenTest, TenWrongPinsLockUntilUnlock) {
  for (uint32_t left = kPinRetries; left > 0; --left) {
    EXPECT_EQ(token.pin_retries("A"), left);
    EXPECT_EQ(code_of([&] { token.login("A", kWrong); }), kWrongPin);
  }
  EXPECT_EQ(code_of([&] { token.login("A", kPin); }), kPinLocked);
  EXPECT_EQ(code_of([&] { token.change_pin("A", kPin, kWrong); }), kPinLocked);
  token.unlock("A");
  token.login("A", kPin);
  EXPECT_EQ(token.pin_retries("A"), kPinRetries);
}

TEST_F(TokenTest, TheCorrectPinResetsTheRetryCounter) {
  EXPECT_EQ(code_of([&] { token.login("A", kWrong); }), kWrongPin);
  EXPECT_EQ(token.pin_retries("A"), kPinRetries - 1);
  token.login("A", kPin);
  EXPECT_EQ(token.pin_retries("A"), kPinRetries);
}

TEST_F(TokenTest, AChangedPinReplacesTheOldOneAndKeepsTheKeys) {
  token.login("A", kPin);
  const Bytes before = public_key_bytes(token.session("A")->signing_key.get());
  token.logout("A");
  EXPECT_EQ(code_of([&] { token.change_pin("A", kWrong, kPin); }), kWrongPin);
  token.change_pin("A", kPin, kWrong);
  EXPECT_EQ(code_of([&] { token.login("A", kPin); }), kWrongPin);
  token.login("A", kWrong);
  EXPECT_EQ(public_key_bytes(token.session("A")->signing_key.get()), before);
}

TEST_F(TokenTest, APinChangedMeanwhileIsNotChangedAgain) {
  const ContainerRow before = token.container("A");
  token.change_pin("A", kPin, kWrong);
  EXPECT_FALSE(token.store().replace_keys(before, before.salt));
  token.login("A", kWrong);
  token.delete_container("A");
  EXPECT_FALSE(token.store().replace_keys(before, before.salt));
}

TEST_F(TokenTest, ATryCountsForThePinItWasTakenFor) {
  const ContainerRow before = token.container("A");
  token.store().take_pin_try(before);
  token.change_pin("A", kPin, kWrong);
  EXPECT_EQ(code_of([&] { token.login("A", kPin); }), kWrongPin);
  EXPECT_EQ(code_of([&] { token.store().return_pin_tries(before); }), kWrongPin);
  EXPECT_EQ(code_of([&] { token.store().take_pin_try(before); }), kWrongPin);
  EXPECT_EQ(token.pin_retries("A"), kPinRetries - 1);
}

TEST_F(TokenTest, PinsHaveFourToThirtyOneBytes) {
  for (const size_t size : {0, 3, 32}) {
    EXPECT_EQ(code_of([&] { token.change_pin("A", kPin, Bytes(size, 'x')); }), kBadInput) << size;
  }
  EXPECT_EQ(token.pin_retries("A"), kPinRetries);
  token.change_pin("A", kPin, Bytes(31, 'x'));
  token.change_pin("A", Bytes(31, 'x'), Bytes(4, 'y'));
  token.login("A", Bytes(4, 'y'));
}

// As a client sends it in GBK: 31 bytes are 46 in UTF-8, and 3 bytes are 4.
TEST_F(TokenTest, TheLengthOfAPinIsThatOfTheFormInWhichItWasSent) {
  const auto change = [&](size_t utf8_size, size_t sent_size) {
    return code_of([&] { token.change_pin("A", kPin, Pin(SecretBytes(utf8_size, 'x'), sent_size)); });
  };
  EXPECT_EQ(change(46, 32), kBadInput);
  EXPECT_EQ(change(4, 3), kBadInput);
  EXPECT_EQ(change(46, 31), kSuccess);
  token.login("A", Bytes(46, 'x'));
}

TEST_F(TokenTest, AnIdleSessionEnds) {
  Sessions sessions;
  sessions.set_idle_limit(std::chrono::minutes(5));
  sessions.open(1, std::make_shared<Session>());
  sessions.close_idle(Sessions::Clock::now() + std::chrono::minutes(4));
  EXPECT_TRUE(sessions.is_open(1));
  sessions.close_idle(Sessions::Clock::now() + std::chrono::minutes(6));
  EXPECT_FALSE(sessions.is_open(1));
}

TEST_F(TokenTest, ClientsCannotExceedTheIdleLimitOfTheOperator) {
  for (const auto& [wanted, effective] : {std::pair{4, 4}, std::pair{6, 5}, std::pair{0, 5}}) {
    Sessions sessions;
    sessions.set_longest_idle_limit(std::chrono::minutes(5));
    sessions.set_idle_limit(std::chrono::minutes(wanted));
    sessions.open(1, std::make_shared<Session>());
    const auto end = Sessions::Clock::now() + std::chrono::minutes(effective);
    sessions.close_idle(end - std::chrono::seconds(30));
    EXPECT_TRUE(sessions.is_open(1)) << wanted;
    sessions.close_idle(end);
    EXPECT_FALSE(sessions.is_open(1)) << wanted;
  }
}

TEST_F(TokenTest, AQueryOfTheLoginStateKeepsNoSession) {
  token.set_idle_limit(std::chrono::minutes(5));
  token.login("A", kPin);
  const auto logged_in = Sessions::Clock::now();
  token.require_login("A");
  token.close_idle_sessions(logged_in + std::chrono::minutes(5));
  EXPECT_EQ(code_of([&] { token.require_login("A"); }), kNotLoggedIn);
  token.login("A", kPin);
  const auto again = Sessions::Clock::now();
  token.session("A");
  token.close_idle_sessions(again + std::chrono::minutes(5) - std::chrono::nanoseconds(1));
  token.require_login("A");
}

TEST_F(TokenTest, TheKeysOfAContainerThatAnotherProcessDeletesAreReleased) {
  token.login("A", kPin);
  const std::weak_ptr<const Session> session = token.session("A");
  token.close_idle_sessions();
  EXPECT_FALSE(session.expired());
  Token(store.file()).delete_container("A");
  token.close_idle_sessions();
  EXPECT_TRUE(session.expired());
}

TEST_F(TokenTest, TheLongestIdleLimitKeepsASession) {
  Sessions sessions;
  sessions.set_idle_limit(std::chrono::minutes(UINT32_MAX));
  sessions.open(1, std::make_shared<Session>());
  EXPECT_TRUE(sessions.is_open(1));
}

TEST_F(TokenTest, ASecondReadingOfANameAppliesIfTheFirstIsUnknown) {
  const int64_t a = token.container_id("A");
  const int64_t b = token.add_container({.name = "B"}, kPin);
  EXPECT_EQ(token.container_id({"unknown", "A"}), a);
  EXPECT_EQ(token.container_id({"A", "B"}), a);
  EXPECT_EQ(token.container_id({"B", "A"}), b);
  EXPECT_EQ(token.container({"unknown", "A"}).id, a);
  EXPECT_EQ(token.container({"A", "B"}).id, a);
  EXPECT_EQ(token.container({"B", "A"}).id, b);
  EXPECT_EQ(code_of([&] { token.container_id({"unknown", "too"}); }), kNoSuchContainer);
  EXPECT_EQ(code_of([&] { token.container_id(""); }), kNoSuchContainer);
}

TEST_F(TokenTest, NamesThatClientsCannotSendAreRejected) {
  for (const char* name : {"", "a\"b", "a\\b", "a&&&b", "a\nb"}) {
    EXPECT_EQ(code_of([&] { token.add_container({.name = name}, kPin); }), kBadInput) << name;
  }
  EXPECT_EQ(code_of([&] { token.add_container({.name = "A"}, kPin); }), kContainerExists);
}

TEST_F(TokenTest, DeletingAContainerDeletesItsDataAndItsSession) {
  const int64_t id = token.container_id("A");
  write_user_file(token.store(), id, 1, 1, 0, kPin);
  token.login("A", kPin);
  token.delete_container("A");
  EXPECT_EQ(code_of([&] { token.session("A"); }), kNoSuchContainer);
  EXPECT_EQ(code_of([&] { read_user_file(token.store(), id, 1, 1, 0, 8); }), kFileNotFound);
  EXPECT_EQ(code_of([&] { write_user_file(token.store(), id, 1, 1, 0, kPin); }), kNoSuchContainer);
  token.add_container({.name = "A"}, kPin);
  EXPECT_EQ(code_of([&] { token.session("A"); }), kNotLoggedIn);
}

TEST_F(TokenTest, ReplacedKeysAreInNoFile) {
  Token other(store.file());  // another process keeps the write-ahead log in use
  const auto files_contain = [&](const Bytes& bytes) {
    for (const auto& file : std::filesystem::directory_iterator(store.file().parent_path())) {
      std::ifstream stream(file.path(), std::ios::binary);
      const std::string content(std::istreambuf_iterator<char>(stream), {});
      if (content.find(as_text(bytes)) != std::string::npos) return true;
    }
    return false;
  };
  const ContainerRow first = token.container("A");
  EXPECT_TRUE(files_contain(first.signing_key));
  EXPECT_EQ(other.pin_retries("A"), kPinRetries);
  token.change_pin("A", kPin, kWrong);
  const ContainerRow second = token.container("A");
  EXPECT_FALSE(files_contain(first.signing_key));
  EXPECT_FALSE(files_contain(first.encryption_key));
  EXPECT_TRUE(files_contain(second.signing_key));
  token.delete_container("A");
  EXPECT_FALSE(files_contain(second.signing_key));
  EXPECT_FALSE(files_contain(second.encryption_key));
}

TEST_F(TokenTest, TheStoreContainsNoPrivateKeyInPlaintext) {
  token.login("A", kPin);
  const SecretBytes der = private_key_der(token.session("A")->signing_key.get());
  const ContainerRow row = token.container("A");
  const std::string wrapped = as_text(row.signing_key) + as_text(row.encryption_key);
  EXPECT_EQ(wrapped.find(as_text(ByteView(der).last(32))), std::string::npos);
  EXPECT_NE(row.signing_key, row.encryption_key);
}

TEST_F(TokenTest, UserFilesGrowWithZerosUpToTheirLimit) {
  const int64_t id = token.container_id("A");
  Store& s = token.store();
  EXPECT_EQ(code_of([&] { read_user_file(s, id, 1, 2, 0, 8); }), kFileNotFound);
  write_user_file(s, id, 1, 2, 3, as_bytes("data"));
  EXPECT_EQ(as_text(read_user_file(s, id, 1, 2, 0, 100)), std::string("\0\0\0data", 7));
  write_user_file(s, id, 1, 2, 5, as_bytes("x"));
  EXPECT_EQ(as_text(read_user_file(s, id, 1, 2, 3, 3)), "dax");
  EXPECT_TRUE(read_user_file(s, id, 1, 2, 700, 5).empty());
  write_user_file(s, id, 1, 3, 0, {});
  EXPECT_TRUE(read_user_file(s, id, 1, 3, 0, 5).empty());
  EXPECT_EQ(code_of([&] { write_user_file(s, id, 1, 2, 0xFFFFFFFF, as_bytes("x")); }), kNoSpace);
}

TEST(StoreCreation, AnIncompleteStoreDoesNotExist) {
  TemporaryStore folder;
  const std::filesystem::path file = folder.file().replace_filename("other.db");
  EXPECT_FALSE(Store::exists(file));
  EXPECT_FALSE(std::filesystem::exists(file));
  {
    Token token(file, Store::New());
    EXPECT_THROW(token.store().make([&] {
      token.add_container({.name = "A"}, kPin);
      throw std::runtime_error("the end");
    }),
                 std::runtime_error);
  }
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_FALSE(Store::exists(file));
  EXPECT_THROW(Token(file).container_names(), std::runtime_error);
  {
    Token token(file, Store::New());
    token.store().make([&] { token.add_container({.name = "A"}, kPin); });
  }
  EXPECT_TRUE(Store::exists(file));
  EXPECT_THROW(Store::create(file), std::runtime_error);
  Token(file).login("A", kPin);
}

TEST(StoreCreation, LookingForAStoreDoesNotWrite) {
  TemporaryStore folder;
  const std::filesystem::path file = folder.file().replace_filename("other.db");
  EXPECT_FALSE(Store::exists(file));
  EXPECT_FALSE(std::filesystem::exists(file));
  permissions::create_private_file(file);
  EXPECT_FALSE(Store::exists(file));
  EXPECT_EQ(std::filesystem::file_size(file), 0u);
}

TEST(StoreCreation, AForeignDatabaseIsNotChanged) {
  TemporaryStore folder;
  const std::filesystem::path file = folder.file().replace_filename("other.db");
  Database(file, true).execute("CREATE TABLE a(b)");
  const auto contents = [&] {
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
  };
  const std::string before = contents();
  EXPECT_THROW(Token(file).container_names(), std::runtime_error);
  EXPECT_EQ(contents(), before);
  for (const char* log : {"-wal", "-shm", "-journal"})
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(file).concat(log))) << log;
}

TEST_F(TokenTest, DurabilityRestsOnTheseSettings) {
  const std::pair<const char*, const char*> settings[] = {{"PRAGMA journal_mode", "wal"},
                                                          {"PRAGMA synchronous", "2"},
                                                          {"PRAGMA foreign_keys", "1"},
                                                          {"PRAGMA secure_delete", "1"}};
  for (const auto& [query, value] : settings) {
    Statement row(token.store().database(), query);
    ASSERT_TRUE(row.step()) << query;
    EXPECT_EQ(row.text(0), value) << query;
  }
}

#ifndef _WIN32
TEST(StoreCreation, OnlyTheOwnerMayAccessAStore) {
  TemporaryStore folder;
  Store store(folder.file());
  store.reset_pin_retries(1);
  for (const char* log : {"", "-wal", "-shm"}) {
    const std::filesystem::path file = folder.file().concat(log);
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
        << file;
  }
}
#endif

TEST(Demo, ContainsTheDocumentedContainers) {
  TemporaryStore store;
  Token token(store.file());
  add_demo_containers(token);
  EXPECT_EQ(token.container_names(),
            (std::vector<std::string>{"SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO", "SM2_SCAN_CONTAINER_DEMO",
                                      "RSA_2048_SCAN_CONTAINER_DEMO", "演示容器_SM2", "SEAL_SM2_DEMO",
                                      "EXPIRED_RSA_2048_DEMO", "REVOKED_SM2_DEMO"}));
  const auto verdict = [&](const char* name) {
    return code_of(
        [&] { token.validate(parse_certificate(token.container(name).signing_certificate).get()); });
  };
  EXPECT_EQ(verdict("SM2_DEMO"), kSuccess);
  EXPECT_EQ(verdict("RSA_2048_DEMO"), kSuccess);
  EXPECT_EQ(verdict("RSA_1024_DEMO"), kSuccess);
  EXPECT_EQ(verdict("EXPIRED_RSA_2048_DEMO"), kCertificateExpired);
  EXPECT_EQ(verdict("REVOKED_SM2_DEMO"), kCertificateRevoked);
  const int64_t seals = token.container_id("SEAL_SM2_DEMO");
  EXPECT_EQ(seal_count(token.store(), seals), 2u);
  EXPECT_EQ(as_text(seal_item(token.store(), seals, 0, 2)), "演示公章");
  EXPECT_EQ(code_of([&] { seal_item(token.store(), seals, 2, 2); }), kNoSuchSeal);
  EXPECT_EQ(code_of([&] { seal_item(token.store(), seals, 0, 99); }), kParameterUnsupported);
}

TEST(Validation, RejectsCertificatesThatTheDemoCaDidNotIssue) {
  TemporaryStore store;
  TemporaryStore elsewhere;
  Token token(store.file());
  for (const KeyKind kind : {KeyKind::sm2, KeyKind::rsa}) {
    const Authority stranger = Store(elsewhere.file()).authority(kind);
    const Authority own = token.store().authority(kind);
    const Key key = generate_sm2_key();
    const time_t now = std::time(nullptr);
    const CertificateOrder order{"X", Usage::signing, now - kDay, now + kDay};
    EXPECT_EQ(code_of([&] { token.validate(issue_certificate(stranger, key.get(), order).get()); }),
              kNotTrusted);
    const CertificateOrder early{"X", Usage::signing, now + kDay, now + 2 * kDay};
    EXPECT_EQ(code_of([&] { token.validate(issue_certificate(own, key.get(), early).get()); }), kNotYetValid);
    Bytes changed = certificate_der(issue_certificate(own, key.get(), order).get());
    changed.back() ^= 1;
    EXPECT_EQ(code_of([&] { token.validate(parse_certificate(changed).get()); }), kCertificateInvalid);
  }
}

}  // namespace
}  // namespace velm::token
