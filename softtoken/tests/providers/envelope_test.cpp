// Malformed and unusual digital envelopes: their result codes in memory and from a file.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/folder_state.h"
#include "softtoken/tests/providers/running_service.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

constexpr const char* kContainer = "SM2_TEST";
constexpr uint32_t kContainerLength = 8;
constexpr std::string_view kText = "the content of the envelope";
constexpr std::string_view kKey = "0123456789abcdef";
constexpr std::string_view kIv = "fedcba9876543210";

// Object identifiers in DER.
const Bytes kData = from_hex("06092A864886F70D010701");
const Bytes kSignedData = from_hex("06092A864886F70D010702");
const Bytes kEnvelopedData = from_hex("06092A864886F70D010703");
const Bytes kGmData = from_hex("060A2A811CCF550601040201");
const Bytes kGmEnvelopedData = from_hex("060A2A811CCF550601040203");
const Bytes kSm4Cbc = from_hex("06082A811CCF55016802");
const Bytes kSm4Cfb = from_hex("06082A811CCF55016804");
const Bytes kSm4Ecb = from_hex("06082A811CCF55016801");
const Bytes kDesCbc = from_hex("06052B0E030207");
const Bytes kNull = from_hex("0500");

Bytes joined(std::initializer_list<ByteView> parts) {
  Bytes bytes;
  for (const ByteView part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
  return bytes;
}

// Lengths of 128 bytes and more have two length bytes, lengths of 65,536 bytes and more have three.
Bytes element(uint8_t tag, std::initializer_list<ByteView> parts) {
  const Bytes content = joined(parts);
  const size_t size = content.size();
  const auto low = static_cast<uint8_t>(size), middle = static_cast<uint8_t>(size >> 8);
  Bytes header{tag, low};
  if (size >= 128) header = {tag, 0x82, middle, low};
  if (size >= 65536) header = {tag, 0x83, static_cast<uint8_t>(size >> 16), middle, low};
  return joined({header, content});
}

Bytes octets(ByteView bytes) { return element(0x04, {bytes}); }
Bytes sequence(std::initializer_list<ByteView> parts) { return element(0x30, parts); }
Bytes indefinite(uint8_t tag, std::initializer_list<ByteView> parts) {
  return joined({Bytes{tag, 0x80}, joined(parts), Bytes{0, 0}});
}

Bytes encrypted(const EVP_CIPHER* cipher, std::string_view key, ByteView plain) {
  const CipherContext context(EVP_CIPHER_CTX_new());
  Bytes out(plain.size() + 32);
  int length = 0, last = 0;
  EXPECT_EQ(EVP_EncryptInit_ex(context.get(), cipher, nullptr, as_bytes(key).data(), as_bytes(kIv).data()),
            1);
  EXPECT_EQ(
      EVP_EncryptUpdate(context.get(), out.data(), &length, plain.data(), static_cast<int>(plain.size())), 1);
  EXPECT_EQ(EVP_EncryptFinal_ex(context.get(), out.data() + length, &last), 1);
  out.resize(static_cast<size_t>(length + last));
  return out;
}

/** The elements of a digital envelope, each of which a case may replace. */
struct Parts {
  Bytes type = kEnvelopedData;
  Bytes version = from_hex("020100");
  Bytes recipients;
  Bytes content_type = kData;
  Bytes algorithm = sequence({kSm4Cbc, octets(as_bytes(kIv))});
  Bytes content = element(0x80, {encrypted(EVP_sm4_cbc(), kKey, as_bytes(kText))});
  Bytes after_content;

  Bytes set() const { return element(0x31, {recipients}); }
  Bytes encrypted_content() const { return sequence({content_type, algorithm, content}); }
  Bytes inner() const { return sequence({version, set(), encrypted_content(), after_content}); }
  Bytes der() const { return sequence({type, element(0xA0, {inner()})}); }
};

class Envelopes : public testing::Test {
 protected:
  static void SetUpTestSuite() { application_ = new Application("envelope_module_test"); }
  static void TearDownTestSuite() { delete application_; }
  static Application& application() { return *application_; }

  static Certificate certificate() {
    return parse_certificate(application().encryption_certificate(kContainer));
  }
  static Bytes recipient(ByteView encrypted_key, X509* named) {
    const Handle<PKCS7_RECIP_INFO, PKCS7_RECIP_INFO_free> info(PKCS7_RECIP_INFO_new());
    EXPECT_EQ(ASN1_INTEGER_set(info->version, 1), 1);
    EXPECT_TRUE(set_issuer_and_serial(info->issuer_and_serial, named));
    set_algorithm(info->key_enc_algor, object_of(kGmTypes.encryption_algorithm), kUnknownError);
    set_bytes(info->enc_key, encrypted_key);
    return der_of<const PKCS7_RECIP_INFO>(i2d_PKCS7_RECIP_INFO, info.get());
  }
  static Bytes recipient(std::string_view content_key) {
    const Certificate own = certificate();
    return recipient(encrypt_with_key(key_of(own.get()).get(), as_bytes(content_key)), own.get());
  }
  static Bytes stranger() {
    const Certificate other = parse_certificate(application().encryption_certificate("RSA_2048_TEST"));
    return recipient(as_bytes(kKey), other.get());
  }
  static Parts parts() {
    Parts made;
    made.recipients = recipient(kKey);
    return made;
  }

  static ErrorCode open_in_memory(ByteView envelope, Bytes& plain) {
    const auto session = application().token().session(kContainer);
    const Opener openers[] = {{session->encryption_certificate.get(), session->encryption_key.get()},
                              {session->signing_certificate.get(), session->signing_key.get()}};
    return code_of([&] { plain = copy_of(open_envelope(openers, envelope)); });
  }
  static uint32_t open_file(ByteView envelope, Bytes& plain) {
    static const TemporaryFolder folder;
    const std::string in = (folder.path() / "parts.p7m").string();
    const std::string out = (folder.path() / "parts.bin").string();
    write_file(in, envelope);
    const uint32_t code = SAF_Ext_DecodeEnvelopedFile(application().handle(), kContainer, kContainerLength, 1,
                                                      1, in.c_str(), static_cast<uint32_t>(in.size()),
                                                      out.c_str(), static_cast<uint32_t>(out.size()));
    plain = file_bytes(out);
    FolderState expected{{"parts.p7m", copy_of(envelope)}};
    if (code == kSafSuccess) expected.emplace("parts.bin", plain);
    EXPECT_EQ(folder_state(folder.path()), expected) << "a file was left or is missing";
    std::remove(out.c_str());
    return code;
  }
  static void expect_codes(const char* name, ByteView envelope, ErrorCode memory, uint32_t file) {
    Bytes from_memory, from_file;
    EXPECT_EQ(open_in_memory(envelope, from_memory), memory) << name;
    EXPECT_EQ(open_file(envelope, from_file), file) << name;
    EXPECT_EQ(as_text(from_memory), memory == kSuccess ? kText : "") << name;
    EXPECT_EQ(as_text(from_file), file == kSafSuccess ? kText : "") << name;
  }

 private:
  static inline Application* application_ = nullptr;
};

struct Case {
  const char* name;
  std::function<void(Parts&)> change;
  ErrorCode memory;
  uint32_t file;
};

TEST_F(Envelopes, WithAnotherPartHaveTheirCodes) {
  const Bytes own = recipient(kKey);
  Bytes broken_key = own;
  broken_key.back() ^= 1;
  Bytes by_key_id = own;
  by_key_id[0] = 0xA2;
  Bytes broken_padding = element(0x80, {encrypted(EVP_sm4_cbc(), kKey, as_bytes(kText))});
  broken_padding[broken_padding.size() - 17] ^= 0x80;
  const Bytes content = Parts().content;
  const ByteView cipher_text = ByteView(content).subspan(2);

  const Case cases[] = {
      {"nothing changed", [](Parts&) {}, kSuccess, kSafSuccess},
      {"GM identifiers", [](Parts& p) { p.type = kGmEnvelopedData, p.content_type = kGmData; }, kSuccess,
       kSafSuccess},
      {"mixed identifiers", [](Parts& p) { p.content_type = kGmData; }, kSuccess, kSafSuccess},
      {"a signed message", [](Parts& p) { p.type = kSignedData; }, kPkcs7Format, kSafEnvelopeNotOpened},
      {"content of another type", [](Parts& p) { p.content_type = kSignedData; }, kSuccess,
       kSafEnvelopeNotOpened},
      {"another version", [](Parts& p) { p.version = from_hex("020102"); }, kSuccess, kSafSuccess},
      {"a version of no bytes", [](Parts& p) { p.version = from_hex("0200"); }, kPkcs7Format, kSafSuccess},
      {"a version of 1 MiB", [](Parts& p) { p.version = element(0x02, {Bytes(1024 * 1024, 1)}); }, kSuccess,
       kSafSuccess},
      {"a version of more than 1 MiB",
       [](Parts& p) { p.version = element(0x02, {Bytes(1024 * 1024 + 1, 1)}); }, kSuccess,
       kSafEnvelopeNotOpened},
      {"no version", [](Parts& p) { p.version.clear(); }, kPkcs7Format, kSafEnvelopeNotOpened},
      {"information about the originator", [](Parts& p) { p.version = from_hex("020102A000"); }, kPkcs7Format,
       kSafEnvelopeNotOpened},
      {"no recipient", [](Parts& p) { p.recipients.clear(); }, kKeyMismatch, kSafKeyMismatch},
      {"another recipient", [](Parts& p) { p.recipients = stranger(); }, kKeyMismatch, kSafKeyMismatch},
      {"two recipients",
       [&](Parts& p) {
         p.recipients = joined({stranger(), own});
       },
       kSuccess, kSafSuccess},
      {"a recipient by key identifier", [&](Parts& p) { p.recipients = by_key_id; }, kPkcs7Format,
       kSafEnvelopeNotOpened},
      {"a broken recipient",
       [&](Parts& p) {
         p.recipients = joined({own, sequence({kNull})});
       },
       kPkcs7Format, kSafEnvelopeNotOpened},
      {"a broken key", [&](Parts& p) { p.recipients = broken_key; }, kEnvelopeOpenFailed, kSafDecryptFailed},
      {"a short key", [](Parts& p) { p.recipients = recipient("short"); }, kEnvelopeOpenFailed,
       kSafKeyMismatch},
      {"an unknown cipher",
       [](Parts& p) {
         p.algorithm = sequence({kData, octets(as_bytes(kIv))});
       },
       kAlgorithmUnsupported, kSafEnvelopeNotOpened},
      {"an unknown cipher for another recipient",
       [](Parts& p) {
         p.algorithm = sequence({kData, kNull}), p.recipients = stranger();
       },
       kKeyMismatch, kSafKeyMismatch},
      {"an unknown cipher and a broken key",
       [&](Parts& p) {
         p.algorithm = sequence({kData, kNull}), p.recipients = broken_key;
       },
       kEnvelopeOpenFailed, kSafDecryptFailed},
      {"a cipher that is not available",
       [](Parts& p) {
         p.algorithm = sequence({kDesCbc, octets(as_bytes(kIv.substr(8)))});
         p.recipients = recipient(kKey.substr(8));
       },
       kEnvelopeOpenFailed, kSafUnknownError},
      {"CFB",
       [](Parts& p) {
         p.algorithm = sequence({kSm4Cfb, octets(as_bytes(kIv))});
         p.content = element(0x80, {encrypted(EVP_sm4_cfb128(), kKey, as_bytes(kText))});
       },
       kSuccess, kSafEnvelopeNotOpened},
      {"CFB and a short key",
       [](Parts& p) {
         p.algorithm = sequence({kSm4Cfb, octets(as_bytes(kIv))}), p.recipients = recipient("short");
       },
       kEnvelopeOpenFailed, kSafEnvelopeNotOpened},
      {"ECB",
       [](Parts& p) {
         p.algorithm = sequence({kSm4Ecb});
         p.content = element(0x80, {encrypted(EVP_sm4_ecb(), kKey, as_bytes(kText))});
       },
       kSuccess, kSafEnvelopeNotOpened},
      {"null for an IV",
       [](Parts& p) {
         p.algorithm = sequence({kSm4Cbc, kNull});
       },
       kEnvelopeOpenFailed, kSafEnvelopeNotOpened},
      {"a short IV",
       [](Parts& p) {
         p.algorithm = sequence({kSm4Cbc, octets(as_bytes("01234567"))});
       },
       kEnvelopeOpenFailed, kSafBadLength},
      {"a long IV",
       [](Parts& p) {
         p.algorithm = sequence({kSm4Cbc, octets(Bytes(17, 1))});
       },
       kEnvelopeOpenFailed, kSafBadLength},
      {"a short IV and a short key",
       [](Parts& p) {
         p.algorithm = sequence({kSm4Cbc, octets(as_bytes("01234567"))}), p.recipients = recipient("short");
       },
       kEnvelopeOpenFailed, kSafKeyMismatch},
      {"a broken algorithm", [](Parts& p) { p.algorithm = sequence({octets(as_bytes(kIv))}); }, kPkcs7Format,
       kSafBadObject},
      {"a broken algorithm for another recipient",
       [](Parts& p) { p.algorithm = sequence({octets(as_bytes(kIv))}), p.recipients = stranger(); },
       kPkcs7Format, kSafKeyMismatch},
      {"an algorithm of three elements",
       [](Parts& p) {
         p.algorithm = sequence({kSm4Cbc, octets(as_bytes(kIv)), kNull});
       },
       kPkcs7Format, kSafBadObject},
      {"no algorithm", [](Parts& p) { p.algorithm.clear(); }, kPkcs7Format, kSafEnvelopeNotOpened},
      {"broken padding", [&](Parts& p) { p.content = broken_padding; }, kEnvelopeOpenFailed, kSafPadding},
      {"part of a block", [&](Parts& p) { p.content = element(0x80, {cipher_text.first(20)}); },
       kEnvelopeOpenFailed, kSafPadding},
      {"empty content", [](Parts& p) { p.content = element(0x80, {}); }, kEnvelopeOpenFailed, kSafPadding},
      {"no content", [](Parts& p) { p.content.clear(); }, kPkcs7Format, kSafEnvelopeNotOpened},
      {"content in parts",
       [&](Parts& p) {
         p.content = element(0xA0, {octets(cipher_text.first(20)), octets(cipher_text.subspan(20))});
       },
       kSuccess, kSafEnvelopeNotOpened},
      {"content of indefinite length", [&](Parts& p) { p.content = indefinite(0xA0, {octets(cipher_text)}); },
       kSuccess, kSafEnvelopeNotOpened},
      {"more after the content",
       [](Parts& p) {
         p.content = joined({p.content, kNull});
       },
       kPkcs7Format, kSafDamaged},
      {"unprotected attributes", [](Parts& p) { p.after_content = element(0xA1, {}); }, kPkcs7Format,
       kSafSuccess},
  };
  for (const Case& changed : cases) {
    Parts made = parts();
    changed.change(made);
    expect_codes(changed.name, made.der(), changed.memory, changed.file);
  }
}

TEST_F(Envelopes, WithAnotherOutsideHaveTheirCodes) {
  const Parts p = parts();
  const Bytes content = element(0xA0, {p.inner()});
  expect_codes("nothing", {}, kPkcs7Format, kSafEnvelopeNotOpened);
  expect_codes("a byte behind it", joined({p.der(), Bytes{0}}), kPkcs7Format, kSafDamaged);
  expect_codes("more after the type's content", sequence({p.type, content, kNull}), kPkcs7Format,
               kSafDamaged);
  expect_codes("two contents", sequence({p.type, element(0xA0, {p.inner(), kNull})}), kPkcs7Format,
               kSafDamaged);
  expect_codes("another tag", sequence({p.type, element(0xA1, {p.inner()})}), kPkcs7Format,
               kSafEnvelopeNotOpened);
  expect_codes("a set", element(0x31, {p.type, content}), kPkcs7Format, kSafEnvelopeNotOpened);
  expect_codes("an indefinite outside", indefinite(0x30, {p.type, content}), kSuccess, kSafEnvelopeNotOpened);
  expect_codes(
      "an indefinite inside",
      sequence({p.type, element(0xA0, {indefinite(0x30, {p.version, p.set(), p.encrypted_content()})})}),
      kSuccess, kSafEnvelopeNotOpened);
  expect_codes(
      "indefinite encrypted content",
      sequence(
          {p.type, element(0xA0, {sequence({p.version, p.set(),
                                            indefinite(0x30, {p.content_type, p.algorithm, p.content})})})}),
      kSuccess, kSafEnvelopeNotOpened);

  Bytes longer_length = p.der();  // 0x82: two length bytes
  longer_length.insert(longer_length.begin() + 2, 0);
  longer_length[1] = 0x83;
  expect_codes("a length that is not the shortest", longer_length, kSuccess, kSafSuccess);
}

TEST_F(Envelopes, CutOffAnywhereAreNotOpened) {
  const Bytes whole = parts().der();
  Bytes plain;
  for (size_t length = 1; length < whole.size(); ++length) {
    const ByteView cut = ByteView(whole).first(length);
    EXPECT_EQ(open_in_memory(cut, plain), kPkcs7Format) << length;
    EXPECT_EQ(open_file(cut, plain), length < 4 ? kSafEnvelopeNotOpened : kSafDamaged) << length;
  }
}

// Each length that reaches beyond the element around it.
TEST_F(Envelopes, WithALengthThatIsTooLargeAreNotOpened) {
  const Parts p = parts();
  const Bytes whole = p.der();
  for (const Bytes& part : {element(0xA0, {p.inner()}), p.inner(), p.encrypted_content()}) {
    Bytes changed = whole;
    const auto found = std::ranges::search(changed, part);
    ASSERT_FALSE(found.empty());
    uint8_t* const length = &*found.begin() + 1;
    if (length[0] != 0x82) {
      ++length[0];
    } else if (++length[2] == 0) {
      ++length[1];
    }
    expect_codes("a longer element", changed, kPkcs7Format, kSafDamaged);
  }
  Parts longer = p;
  ++longer.content[1];
  expect_codes("longer content", longer.der(), kPkcs7Format, kSafDamaged);
}

// The encoding is that of OpenSSL's own encoder, whatever the form of its lengths.
TEST_F(Envelopes, OfEverySizeAreEncodedInDer) {
  for (const char* container : {kContainer, "RSA_2048_TEST"}) {
    const Bytes recipient = application().encryption_certificate(container);
    const MessageTypes& types = types_for(kind_of(key_of(parse_certificate(recipient).get()).get()));
    for (const size_t size : {0, 1, 15, 16, 100, 111, 112, 200, 255, 256, 1000, 65535, 65536, 70000}) {
      const Bytes plain(size, 0x42);
      write_file("sizes.bin", plain);
      ASSERT_EQ(SAF_Ext_EncodeEnvelopedFile(application().handle(), "sizes.bin", 9, recipient.data(),
                                            size_of(recipient), 0x402, 1, "sizes.p7m", 9),
                kSafSuccess);
      for (const Bytes& envelope :
           {make_envelope(parse_certificate(recipient).get(), plain), file_bytes("sizes.p7m")}) {
        const Bytes inner = unwrap_content(envelope, types.enveloped_data, types.enveloped_data);
        const auto parsed = from_der<Pkcs7Envelope>(d2i_PKCS7_ENVELOPE, inner, kPkcs7Format);
        EXPECT_EQ(wrap_content<const PKCS7_ENVELOPE>(types.enveloped_data, i2d_PKCS7_ENVELOPE, parsed.get()),
                  envelope)
            << container << size;
        const PKCS7_ENC_CONTENT* content = parsed->enc_data;
        EXPECT_TRUE(is_object(content->content_type, types.data));
        EXPECT_EQ(OBJ_obj2nid(content->algorithm->algorithm), NID_sm4_cbc);
        EXPECT_EQ(view_of(content->enc_data).size(), (size / 16 + 1) * 16);
        EXPECT_EQ(ASN1_INTEGER_get(parsed->version), &types == &kGmTypes ? 1 : 0);
        ASSERT_EQ(sk_PKCS7_RECIP_INFO_num(parsed->recipientinfo), 1);
        const PKCS7_RECIP_INFO* info = sk_PKCS7_RECIP_INFO_value(parsed->recipientinfo, 0);
        EXPECT_EQ(ASN1_INTEGER_get(info->version), &types == &kGmTypes ? 1 : 0);
        EXPECT_TRUE(names_certificate(info->issuer_and_serial, parse_certificate(recipient).get()));
        EXPECT_TRUE(is_object(info->key_enc_algor->algorithm, types.encryption_algorithm));
      }
    }
  }
  std::remove("sizes.bin");
  std::remove("sizes.p7m");
}

TEST_F(Envelopes, HaveTheSelectedCipher) {
  const Bytes recipient = application().encryption_certificate(kContainer);
  const TemporaryFolder folder;
  const std::string plain = (folder.path() / "plain").string();
  const std::string envelope = (folder.path() / "envelope").string();
  write_file(plain, as_bytes(kText));
  for (const auto& [method, cipher] : {std::pair{0x402u, NID_sm4_cbc},
                                       {0x2002u, NID_des_ede3_cbc},
                                       {0x4002u, NID_aes_128_cbc},
                                       {0x8002u, NID_aes_192_cbc},
                                       {0x10002u, NID_aes_256_cbc}}) {
    ASSERT_EQ(SAF_Ext_EncodeEnvelopedFile(nullptr, plain.c_str(), static_cast<uint32_t>(plain.size()),
                                          recipient.data(), size_of(recipient), method, 0, envelope.c_str(),
                                          static_cast<uint32_t>(envelope.size())),
              kSafSuccess);
    const Bytes inner =
        unwrap_content(file_bytes(envelope), kGmTypes.enveloped_data, kGmTypes.enveloped_data);
    const auto parsed = from_der<Pkcs7Envelope>(d2i_PKCS7_ENVELOPE, inner, kPkcs7Format);
    EXPECT_EQ(OBJ_obj2nid(parsed->enc_data->algorithm->algorithm), cipher) << std::hex << method;
  }
}

/** SM4-CBC with the key and IV of the test, apart from the code of the token; nothing for wrong padding. */
std::optional<Bytes> decrypted(ByteView cipher_text, ByteView iv) {
  const CipherContext context(EVP_CIPHER_CTX_new());
  Bytes plain(cipher_text.size() + 32);
  int length = 0, last = 0;
  EXPECT_EQ(EVP_DecryptInit_ex(context.get(), EVP_sm4_cbc(), nullptr, as_bytes(kKey).data(), iv.data()), 1);
  EXPECT_EQ(EVP_DecryptUpdate(context.get(), plain.data(), &length, cipher_text.data(),
                              static_cast<int>(cipher_text.size())),
            1);
  if (EVP_DecryptFinal_ex(context.get(), plain.data() + length, &last) != 1) return std::nullopt;
  plain.resize(static_cast<size_t>(length + last));
  return plain;
}

// Every byte, in every bit. CBC has no checksum: with a changed content the text is what decryption gives.
TEST_F(Envelopes, WithAChangedByteOpenAsTheirContentSays) {
  const Parts p = parts();
  const Bytes whole = p.der();
  const size_t content = whole.size() - (p.content.size() - 2);
  const size_t iv = as_text(whole).find(kIv);
  size_t opened = 0;
  for (size_t at = 0; at < whole.size(); ++at) {
    const bool in_text = at >= content || (at >= iv && at < iv + kIv.size());
    for (int bit = 0; bit < 8; ++bit) {
      if (!in_text && bit != static_cast<int>(at % 8)) continue;
      Bytes changed = whole;
      changed[at] ^= static_cast<uint8_t>(1 << bit);
      const ByteView changed_iv = ByteView(changed).subspan(iv, kIv.size());
      const auto expected = in_text ? decrypted(ByteView(changed).subspan(content), changed_iv)
                                    : std::optional(copy_of(as_bytes(kText)));
      Bytes plain;
      const uint32_t code = open_file(changed, plain);
      if (in_text) {
        EXPECT_EQ(code, expected ? kSafSuccess : kSafPadding) << at << " bit " << bit;
      }
      EXPECT_EQ(plain, code == kSafSuccess ? *expected : Bytes()) << at << " bit " << bit;
      if (in_text && code == kSafSuccess) ++opened;
    }
  }
  EXPECT_GT(opened, 8 * kIv.size()) << "at least those whose IV was changed";
}

// Pieces of files are read and written as they come: at every place where one ends, too.
TEST_F(Envelopes, OfSeveralPiecesCutOffAnywhereAreNotOpened) {
  constexpr size_t kPiece = 65536;
  const Certificate own = certificate();
  const Bytes whole = make_envelope(own.get(), Bytes(3 * kPiece, 5));
  std::vector<size_t> lengths;
  for (size_t piece = 1; piece <= 3; ++piece) {
    for (size_t length = piece * kPiece - 2; length <= piece * kPiece + 2; ++length)
      lengths.push_back(length);
  }
  for (size_t missing = 1; missing <= 40; ++missing) lengths.push_back(whole.size() - missing);
  for (size_t length = 1; length < whole.size(); length += 4999) lengths.push_back(length);
  Bytes plain;
  for (const size_t length : lengths)
    EXPECT_EQ(open_file(ByteView(whole).first(length), plain),
              length < 4 ? kSafEnvelopeNotOpened : kSafDamaged)
        << length;
  EXPECT_EQ(open_file(whole, plain), kSafSuccess);
  EXPECT_EQ(plain, Bytes(3 * kPiece, 5));
}

}  // namespace
}  // namespace velm::token
