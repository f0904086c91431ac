#pragma once

#include <memory>
#include <new>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "softtoken/crypto/bytes.h"
#include "softtoken/crypto/token_error.h"

namespace velm::token {

template <auto free_function>
struct Freer {
  template <typename T>
  void operator()(T* handle) const {
    free_function(handle);
  }
};

template <typename T, auto free_function>
using Handle = std::unique_ptr<T, Freer<free_function>>;

using Algorithm = Handle<X509_ALGOR, X509_ALGOR_free>;
using Bio = Handle<BIO, BIO_free_all>;
using Certificate = Handle<X509, X509_free>;
using CertificateStore = Handle<X509_STORE, X509_STORE_free>;
using CertificateStoreContext = Handle<X509_STORE_CTX, X509_STORE_CTX_free>;
using CipherContext = Handle<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using DigestContext = Handle<EVP_MD_CTX, EVP_MD_CTX_free>;
using Integer = Handle<ASN1_INTEGER, ASN1_INTEGER_free>;
using Key = Handle<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = Handle<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using Number = Handle<BIGNUM, BN_free>;
using Object = Handle<ASN1_OBJECT, ASN1_OBJECT_free>;
using OctetString = Handle<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;
using Pkcs7 = Handle<PKCS7, PKCS7_free>;
using Pkcs7Envelope = Handle<PKCS7_ENVELOPE, PKCS7_ENVELOPE_free>;
using Pkcs7Signed = Handle<PKCS7_SIGNED, PKCS7_SIGNED_free>;

/** Checks the result of an OpenSSL allocation; throws std::bad_alloc on null. */
template <typename T>
T* allocated(T* object) {
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

template <typename T>
T* require_pointer(T* pointer, ErrorCode code) {
  require(pointer != nullptr, code);
  return pointer;
}

/** Non-owning view; valid while the string exists and is not modified. */
ByteView view_of(const ASN1_STRING* string);
/** Copies the bytes; throws kBadLength for INT_MAX bytes or more. */
void set_bytes(ASN1_STRING* string, ByteView bytes);

/** Encodes an OpenSSL object with its i2d function; throws `code` on failure. */
template <typename T, typename Encoder>
Bytes der_of(Encoder encode, T* object, ErrorCode code = kUnknownError) {
  const int length = encode(object, nullptr);
  require(length > 0, code);
  Bytes der(static_cast<size_t>(length));
  uint8_t* end = der.data();
  require(encode(object, &end) == length, code);
  return der;
}

/** Decodes an OpenSSL object with its d2i function; throws `code` on failure or trailing bytes. */
template <typename H, typename Decoder>
H from_der(Decoder decode, ByteView der, ErrorCode code) {
  const uint8_t* at = der.data();
  H object(decode(nullptr, &at, static_cast<long>(der.size())));
  require(object != nullptr && at == der.data() + der.size(), code);
  return object;
}

}  // namespace velm::token
