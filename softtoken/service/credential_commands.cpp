#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>

#include "softtoken/crypto/certificate.h"
#include "softtoken/service/commands.h"
#include "softtoken/store/token.h"

namespace velm::token {
namespace {

SecretBytes read_file(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + file.string());
  return {std::istreambuf_iterator<char>(stream), {}};
}

// OpenSSL refuses a null pointer, also for an empty file.
Bio memory(const SecretBytes& bytes) {
  const void* data = bytes.empty() ? "" : static_cast<const void*>(bytes.data());
  return Bio(allocated(BIO_new_mem_buf(data, static_cast<int>(bytes.size()))));
}

Credential from_pkcs12(PKCS12* container, const std::string& password) {
  EVP_PKEY* key = nullptr;
  X509* certificate = nullptr;
  if (PKCS12_parse(container, password.c_str(), &key, &certificate, nullptr) != 1) {
    throw std::runtime_error("cannot open the PKCS#12 file with this password");
  }
  return {Key(key), Certificate(certificate)};
}

Credential from_pem(const SecretBytes& content, std::string password) {
  Credential credential;
  const auto give_password = [](char* target, int size, int, void* given) {
    return static_cast<int>(static_cast<std::string*>(given)->copy(target, static_cast<size_t>(size)));
  };
  credential.key.reset(PEM_read_bio_PrivateKey(memory(content).get(), nullptr, give_password, &password));
  credential.certificate.reset(PEM_read_bio_X509(memory(content).get(), nullptr, nullptr, nullptr));
  return credential;
}

Credential read_credential(const std::filesystem::path& source, const std::string& password) {
  const SecretBytes content = read_file(source);
  const Handle<PKCS12, PKCS12_free> container(d2i_PKCS12_bio(memory(content).get(), nullptr));
  ERR_clear_error();
  Credential credential = container ? from_pkcs12(container.get(), password) : from_pem(content, password);
  if (!credential.key || !credential.certificate) {
    throw std::runtime_error(source.string() + " does not contain a private key and its certificate");
  }
  return credential;
}

Certificate issuer_of(Store& store, X509* certificate) {
  for (Certificate& root : store.roots()) {
    if (X509_check_issued(root.get(), certificate) == X509_V_OK) return std::move(root);
  }
  throw std::runtime_error("the demo CA did not issue the certificate");
}

}  // namespace

void import_container(const std::filesystem::path& file, const std::string& name,
                      const std::filesystem::path& source, const std::string& password, const Pin& pin) {
  Token token(file);
  token.import_container(name, read_credential(source, password), pin);
}

void export_certificate(const std::filesystem::path& file, const ContainerName& name,
                        WhichCertificate which) {
  Token token(file);
  const ContainerRow row = token.container(name);
  Certificate certificate = parse_certificate(
      which == WhichCertificate::encryption ? row.encryption_certificate : row.signing_certificate);
  if (which == WhichCertificate::authority) certificate = issuer_of(token.store(), certificate.get());
  const Bio text(allocated(BIO_new(BIO_s_mem())));
  require(PEM_write_bio_X509(text.get(), certificate.get()) == 1, kUnknownError);
  char* data = nullptr;
  const long length = BIO_get_mem_data(text.get(), &data);
  std::fwrite(data, 1, static_cast<size_t>(length), stdout);
}

}  // namespace velm::token
