// Logs in, signs a text, verifies the signature, and encrypts and decrypts a file with a digital envelope.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "velm_sof.hpp"

namespace sof = velm::sof;

// A container of the software token's demo store and its PIN.
constexpr const char* kContainer = "SM2_DEMO";
constexpr const char* kPin = "12345678";

constexpr const char* kText = "a contract worth signing";
constexpr const char* kFile = "story.txt";
constexpr const char* kEnvelope = "story.txt.p7m";
constexpr const char* kOpened = "story.opened.txt";

static std::string content_of(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

static void sign_and_verify(const sof::Container& container) {
  const sof::Bytes signature = container.sign(kText);
  std::puts("signed");

  container.signing_certificate().verify(kText, signature);
  std::puts("verified");
}

static void encrypt_and_decrypt(const sof::Container& container) {
  std::ofstream(kFile, std::ios::binary) << kText;
  container.encryption_certificate().encrypt_file(kFile, kEnvelope);
  std::puts("encrypted");

  container.decrypt_file(kEnvelope, kOpened);
  std::printf("decrypted: %s\n", content_of(kOpened) == kText ? "the same text" : "ANOTHER TEXT");
}

int main() try {
  const sof::Session session;
  const sof::Container container(kContainer);
  {
    const sof::Login login = container.login(kPin);
    std::puts("logged in");

    sign_and_verify(container);
    encrypt_and_decrypt(container);
  }
  std::puts("logged out");
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
