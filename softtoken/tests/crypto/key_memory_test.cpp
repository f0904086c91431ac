// Private keys, session keys and decrypted data that are text, and looked for in each block that is freed.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include <malloc.h>

#include <openssl/rand.h>

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/crypto/envelope_reader.h"
#include "softtoken/crypto/envelope_writer.h"
#include "softtoken/store/token.h"
#include "softtoken/tests/store/temporary_store.h"
#include "softtoken/tests/support/freed_blocks.h"

namespace {

#define SCALAR      "TheScalarOfAnSM2PrivateKey-32-B."
#define PIN_KEY     "TheKeyThatScryptMakesOfThePin32."
#define CONTENT_KEY "AContentKey-16B."
#define CONTENT     "TheContentOfAnEnvelope"
constexpr const char* kSecrets[] = {PIN_KEY, CONTENT_KEY, CONTENT};

// Blocks with the private key that C++ code freed. OpenSSL does not wipe all copies of its encoders.
std::atomic<size_t> g_freed_with_scalar = 0;

void free_block(void* block) {
  if (memmem(block, malloc_usable_size(block), SCALAR, std::strlen(SCALAR)) != nullptr) ++g_freed_with_scalar;
  std::free(block);
}

bool g_content_key_is_next = false;

}  // namespace

void* operator new(size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { free_block(block); }
void operator delete(void* block, size_t) noexcept { free_block(block); }

extern "C" {

decltype(RAND_bytes_ex) __real_RAND_bytes_ex;

// The linker substitutes these for OpenSSL's functions: they make the keys that the test looks for.
int __wrap_EVP_PBE_scrypt(const char*, size_t, const unsigned char*, size_t, uint64_t, uint64_t, uint64_t,
                          uint64_t, unsigned char* key, size_t key_size) {
  std::memcpy(key, PIN_KEY, key_size);
  return 1;
}

int __wrap_RAND_bytes_ex(OSSL_LIB_CTX* context, unsigned char* bytes, size_t size, unsigned strength) {
  if (!g_content_key_is_next) return __real_RAND_bytes_ex(context, bytes, size, strength);
  g_content_key_is_next = false;
  std::memcpy(bytes, CONTENT_KEY, size);
  return 1;
}

}  // extern "C"

namespace velm::token {
namespace {

const Bytes kPin(8, 'p');

void expect_nothing_in(const FreedBlocks& freed) {
  for (size_t i = 0; i < std::size(kSecrets); ++i) EXPECT_EQ(freed.containing(i), 0u) << kSecrets[i];
}

// ECPrivateKey in PKCS#8, without its public key.
Key key_of_scalar() {
  Bytes der = from_hex("3041020100301306072A8648CE3D020106082A811CCF5501822D042730250201010420");
  der.insert(der.end(), SCALAR, SCALAR + 32);
  Key key = private_key_from_der(der);
  OPENSSL_cleanse(der.data(), der.size());
  return key;
}

class KeyMemory : public testing::Test {
 protected:
  Credential credential() const {
    Credential credential{key_of_scalar(), nullptr};
    const time_t now = std::time(nullptr);
    credential.certificate =
        issue_certificate(Store(store_.file()).authority(KeyKind::sm2), credential.key.get(),
                          {"Somebody", Usage::encryption, now - kDay, now + kDay});
    return credential;
  }

  TemporaryStore store_;
  Token token_{store_.file()};
};

TEST_F(KeyMemory, ThePrivateKeyOfAContainerIsWiped) {
  const Credential imported = credential();
  const size_t before = g_freed_with_scalar;
  const FreedBlocks freed(kSecrets);
  token_.import_container("A", imported, kPin);
  token_.login("A", kPin);
  token_.change_pin("A", kPin, Bytes(8, 'n'));
  token_.logout("A");
  token_.delete_container("A");
  expect_nothing_in(freed);
  EXPECT_EQ(g_freed_with_scalar, before);
}

TEST_F(KeyMemory, ContentKeysAndContentsAreWiped) {
  const Credential recipient = credential();
  const Opener openers[] = {{recipient.certificate.get(), recipient.key.get()}};
  const FreedBlocks freed(kSecrets);
  g_content_key_is_next = true;
  const Bytes envelope = make_envelope(recipient.certificate.get(), as_bytes(CONTENT));
  EXPECT_FALSE(g_content_key_is_next);
  EXPECT_TRUE(std::ranges::equal(open_envelope(openers, envelope), as_bytes(CONTENT)));
  size_t length = 0;
  read_envelope(
      stream_of(envelope), envelope.size(),
      [&](std::span<const EnvelopeRecipient> recipients) {
        return decrypt_with_key(recipient.key.get(), recipients.front().encrypted_key);
      },
      [&](ByteView piece) { length += piece.size(); });
  EXPECT_EQ(length, std::strlen(CONTENT));
  expect_nothing_in(freed);
}

TEST_F(KeyMemory, AnEnvelopeThatFailsLeavesNothing) {
  const Credential recipient = credential();
  const Opener openers[] = {{recipient.certificate.get(), recipient.key.get()}};
  const FreedBlocks freed(kSecrets);
  g_content_key_is_next = true;
  Bytes envelope = make_envelope(recipient.certificate.get(), as_bytes(CONTENT CONTENT));
  envelope.back() ^= 1;
  EXPECT_EQ(code_of([&] { open_envelope(openers, envelope); }), kEnvelopeOpenFailed);
  expect_nothing_in(freed);
}

TEST_F(KeyMemory, FreedBlocksAreSearched) {
  constexpr const char* kName[] = {"TheNameOfAContainer"};
  const FreedBlocks freed(kName);
  EXPECT_EQ(code_of([&] { token_.login("TheNameOfAContainer", kPin); }), kNoSuchContainer);
  EXPECT_GT(freed.containing(0), 0u);
  const size_t before = g_freed_with_scalar;
  { const Bytes not_wiped(SCALAR, SCALAR + std::strlen(SCALAR)); }
  EXPECT_EQ(g_freed_with_scalar, before + 1);
}

}  // namespace
}  // namespace velm::token
