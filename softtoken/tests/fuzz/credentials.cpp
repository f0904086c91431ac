#include "softtoken/tests/fuzz/credentials.h"

#include <fstream>
#include <stdexcept>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/certificate.h"

namespace velm::token::fuzz {
namespace {

// The file contains two lines of base64: the PKCS#8 key and the certificate.
Credential load(const std::string& name) {
  std::ifstream file(VELM_FUZZ_CREDENTIALS "/" + name);
  std::string key, certificate;
  if (!std::getline(file, key) || !std::getline(file, certificate)) throw std::runtime_error("no " + name);
  return {private_key_from_der(base64_decode(key).value()),
          parse_certificate(base64_decode(certificate).value())};
}

}  // namespace

Credential sm2_credential() { return load("sm2.txt"); }
Credential rsa_credential() { return load("rsa.txt"); }

}  // namespace velm::token::fuzz
