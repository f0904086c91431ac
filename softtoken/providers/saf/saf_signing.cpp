#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/providers/saf/application.h"
#include "softtoken/providers/saf/content_hash.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/token_client.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

/** Arguments common to the four encoders. */
struct SigningCall {
  void* application;
  const char* container;
  uint32_t container_length;
  uint32_t key_usage;
  const uint8_t* certificate;
  uint32_t certificate_length;
  uint32_t digest;
  const uint8_t* data;
  uint32_t data_length;
  uint8_t* message;
  uint32_t* message_length;
};

// SM2 signatures vary in length. A size query returns the maximum and does not sign.
Bytes longest_signature(const X509* signer) {
  return Bytes(static_cast<size_t>(EVP_PKEY_get_size(key_of(signer).get())));
}

// Signs in the local service. The certificate may be that of another key: it may come from a label that
// outlived its container, and the container may be replaced between two requests.
Bytes signature_under(X509* signer, const TokenClient& client, const std::string& container, DigestId digest,
                      ByteView hash) {
  Bytes signature = client.sign_hash(container, digest, hash);
  try {
    verify_hash(key_of(signer).get(), digest, hash, signature);
  } catch (const TokenError&) {
    throw SafError(kSafKeyMismatch);
  }
  return signature;
}

enum class Form { attached, detached_with_attributes, detached_of_hash };

void encode(const SigningCall& call, KeyKind kind, Form form) {
  require_saf(call.key_usage == kSigningKey, kSafNotSupported);
  const std::string container = required_text(call.container, call.container_length);
  const Certificate signer = parse_certificate(required_bytes(call.certificate, call.certificate_length));
  require_saf(kind_of(key_of(signer.get()).get()) == kind, kSafAlgorithm);
  const auto digest = static_cast<DigestId>(call.digest);
  require_saf((kind == KeyKind::sm2) == (digest == DigestId::sm3), kSafAlgorithm);
  const ByteView data = input_bytes(call.data, call.data_length);

  const DataSigner sign = [&](ByteView signed_data) {
    if (call.message == nullptr) return longest_signature(signer.get());
    const Bytes value =
        form == Form::detached_of_hash ? copy_of(data) : signed_hash_of(signer.get(), digest, signed_data);
    const TokenClient client(configuration_of(call.application));
    return signature_under(signer.get(), client, container, digest, value);
  };
  const SignedMessageOrder order{.signer = signer.get(),
                                 .digest = digest,
                                 .content = data,
                                 .detached = form != Form::attached,
                                 .attributes = form == Form::detached_with_attributes};
  deliver(encode_signed_message(order, sign), call.message, call.message_length);
}

Form extended_form(uint32_t data_kind) {
  if (data_kind == kContentData) return Form::detached_with_attributes;
  require_saf(data_kind == kHashData, kSafNotSupported);
  return Form::detached_of_hash;
}

}  // namespace

uint32_t SAF_Ext_SignFile(void* application, const char* container, uint32_t container_length,
                          uint32_t digest, const uint8_t* id, uint32_t id_length, const char* path,
                          uint8_t* signature, uint32_t* signature_length) {
  return saf_call([&] {
    const TokenClient client(configuration_of(application));
    const std::string name = required_text(container, container_length);
    const Certificate signer = parse_certificate(client.certificate(name, TokenClient::KeyUse::signing));
    const Bytes prefix = signed_prefix(key_of(signer.get()).get(), input_bytes(id, id_length));
    const std::string file = required_text(path);
    if (signature == nullptr) return deliver(longest_signature(signer.get()), nullptr, signature_length);
    const auto algorithm = static_cast<DigestId>(digest);
    const Bytes hash = hash_file(algorithm, prefix, file);
    deliver(signature_under(signer.get(), client, name, algorithm, hash), signature, signature_length);
  });
}

uint32_t SAF_Pkcs7_EncodeSignedData(void* application, const char* container, uint32_t container_length,
                                    uint32_t key_usage, const uint8_t* certificate,
                                    uint32_t certificate_length, uint32_t digest, const uint8_t* data,
                                    uint32_t data_length, uint8_t* message, uint32_t* message_length) {
  return saf_call([&] {
    encode({application, container, container_length, key_usage, certificate, certificate_length, digest,
            data, data_length, message, message_length},
           KeyKind::rsa, Form::attached);
  });
}

uint32_t SAF_SM2_EncodeSignedData(void* application, const char* container, uint32_t container_length,
                                  uint32_t key_usage, const uint8_t* certificate, uint32_t certificate_length,
                                  uint32_t digest, const uint8_t* data, uint32_t data_length,
                                  uint8_t* message, uint32_t* message_length) {
  return saf_call([&] {
    encode({application, container, container_length, key_usage, certificate, certificate_length, digest,
            data, data_length, message, message_length},
           KeyKind::sm2, Form::attached);
  });
}

// Encodes a detached message: content is signed with signed attributes, a hash value without them.
uint32_t SAF_Ext_Pkcs7_EncodeSignedData(void* application, const char* container, uint32_t container_length,
                                        uint32_t key_usage, const uint8_t* certificate,
                                        uint32_t certificate_length, uint32_t digest, const void*,
                                        uint32_t data_kind, const uint8_t* data, uint32_t data_length,
                                        uint8_t* message, uint32_t* message_length) {
  return saf_call([&] {
    encode({application, container, container_length, key_usage, certificate, certificate_length, digest,
            data, data_length, message, message_length},
           KeyKind::rsa, extended_form(data_kind));
  });
}

uint32_t SAF_Ext_SM2_EncodeSignedData(void* application, const char* container, uint32_t container_length,
                                      uint32_t key_usage, const uint8_t* certificate,
                                      uint32_t certificate_length, uint32_t digest, const void*,
                                      uint32_t data_kind, const uint8_t* data, uint32_t data_length,
                                      uint8_t* message, uint32_t* message_length) {
  return saf_call([&] {
    encode({application, container, container_length, key_usage, certificate, certificate_length, digest,
            data, data_length, message, message_length},
           KeyKind::sm2, extended_form(data_kind));
  });
}
