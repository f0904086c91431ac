#include "provider_abi/velm_client_saf.h"
#include "softtoken/providers/saf/content_hash.h"
#include "softtoken/providers/saf/saf_call.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

// Prefix for the optional public key and user ID. Both require SM3 and an SM2 key.
Bytes hash_prefix(uint32_t algorithm, ByteView public_key, ByteView id) {
  if (public_key.empty()) return {};
  require_saf(static_cast<DigestId>(algorithm) == DigestId::sm3, kSafAlgorithm);
  const Key key = public_key_from(public_key);
  require_saf(kind_of(key.get()) == KeyKind::sm2, kSafAlgorithm);
  return signed_prefix(key.get(), id);
}

// A number passed in a pointer-sized argument.
uint32_t number_of(const void* argument) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(argument));
}

}  // namespace

uint32_t SAF_Hash(uint32_t algorithm, const uint8_t* data, uint32_t data_length, const uint8_t* public_key,
                  uint32_t public_key_length, const uint8_t* id, uint32_t id_length, uint8_t* hash,
                  uint32_t* hash_length) {
  return saf_call([&] {
    const ByteView content = input_bytes(data, data_length);
    const Bytes prefix =
        hash_prefix(algorithm, input_bytes(public_key, public_key_length), input_bytes(id, id_length));
    deliver(hash_with_prefix(static_cast<DigestId>(algorithm), prefix, content), hash, hash_length);
  });
}

// The five arguments before the path are those of SAF_Hash() without its data: the digest algorithm, the
// signer's public key and its length, the user ID and its length.
uint32_t SAF_Ext_HashFile(const void* first, const void* second, const void* third, const void* fourth,
                          uint32_t fifth, const char* path, uint8_t* hash, uint32_t* hash_length) {
  return saf_call([&] {
    const uint32_t algorithm = number_of(first);
    const ByteView public_key = input_bytes(static_cast<const uint8_t*>(second), number_of(third));
    const ByteView id = input_bytes(static_cast<const uint8_t*>(fourth), fifth);
    const Bytes prefix = hash_prefix(algorithm, public_key, id);
    deliver(hash_file(static_cast<DigestId>(algorithm), prefix, required_text(path)), hash, hash_length);
  });
}
