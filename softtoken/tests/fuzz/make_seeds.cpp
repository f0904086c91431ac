// Writes the seeds that require keys, and the keys themselves if they are missing.
//   usage: fuzz_make_seeds FOLDER
#include <filesystem>
#include <fstream>
#include <variant>

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/providers/saf/envelope_file.h"
#include "softtoken/providers/saf/message_identifiers.h"
#include "softtoken/providers/saf/time_stamp.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/store/token.h"
#include "softtoken/tests/providers/samples.h"
#include "softtoken/tests/providers/signed_xml.h"
#include "softtoken/tests/store/temporary_store.h"

using namespace velm::token;

namespace {

constexpr std::string_view kText = "hello, fuzzer";
constexpr uint32_t kAesCbc = 0x4002;
constexpr time_t kLongValidity = 100 * kYear;

std::filesystem::path folder;

void put(const std::string& target, const std::string& name, ByteView bytes) {
  std::filesystem::create_directories(folder / "seeds" / target);
  write_file((folder / "seeds" / target / name).string(), bytes);
}

// A credential file contains two lines of base64: the PKCS#8 key and the certificate.
Credential credential(const std::string& name, KeyKind kind) {
  const std::filesystem::path path = folder / "credentials" / (name + ".txt");
  if (!std::filesystem::exists(path)) {
    std::filesystem::create_directories(path.parent_path());
    const Key key = kind == KeyKind::sm2 ? generate_sm2_key() : generate_rsa_key(1024);
    const time_t now = std::time(nullptr);
    const CertificateOrder order{
        .common_name = "Fuzz " + name, .not_before = now - kDay, .not_after = now + kLongValidity};
    const Certificate certificate = issue_certificate(make_authority(kind), key.get(), order);
    std::ofstream(path) << base64_encode(private_key_der(key.get())) << '\n'
                        << base64_encode(certificate_der(certificate.get())) << '\n';
  }
  std::ifstream file(path);
  std::string key, certificate;
  std::getline(file, key);
  std::getline(file, certificate);
  return {private_key_from_der(base64_decode(key).value()),
          parse_certificate(base64_decode(certificate).value())};
}

Bytes with_attributes(const Credential& signer, bool detached) {
  const DigestId digest = digest_for(signer.key.get());
  const SignedMessageOrder order{.signer = signer.certificate.get(),
                                 .digest = digest,
                                 .content = as_bytes(kText),
                                 .detached = detached,
                                 .attributes = true};
  return encode_signed_message(order,
                               [&](ByteView data) { return sign_data(signer.key.get(), digest, data); });
}

std::string frame(uint8_t number, std::initializer_list<std::variant<uint32_t, std::string>> fields) {
  std::string bytes{'\x77', static_cast<char>(number)};
  const auto append = [&](uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift & 0xFF);
  };
  for (const auto& field : fields) {
    if (const auto* value = std::get_if<uint32_t>(&field)) {
      append(*value);
    } else {
      append(static_cast<uint32_t>(std::get<std::string>(field).size()));
      bytes += std::get<std::string>(field);
    }
  }
  return bytes;
}

void put_messages(const std::string& name, const Credential& signer) {
  const auto message = [&](bool detached) {
    return make_signed_message(signer.key.get(), signer.certificate.get(), as_bytes(kText), detached);
  };
  put("signed_message", name + "_attached", message(false));
  put("signed_message", name + "_detached", message(true));
  put("signed_message", name + "_attributes", with_attributes(signer, false));
  put("signed_message", name + "_attributes_detached", with_attributes(signer, true));
  put("service_frame", name + "_message_item", as_bytes(frame(25, {as_text(message(false)), 3u})));
  put("service_json", name + "_verify_message",
      as_bytes(R"({"funcid":24,"MessageData":")" + base64_encode(message(true)) + R"(","InData":")" +
               base64_encode(as_bytes(kText)) + R"(","base64":1})"));
}

// The signing certificate of a credential, without the key usage that excludes encryption.
Certificate recipient_of(const Credential& credential) {
  Certificate certificate(X509_dup(credential.certificate.get()));
  const int at = X509_get_ext_by_NID(certificate.get(), NID_key_usage, -1);
  X509_EXTENSION_free(X509_delete_ext(certificate.get(), at));
  i2d_re_X509_tbs(certificate.get(), nullptr);  // drops the encoding with the extension
  return certificate;
}

void put_envelopes(const std::string& name, const Credential& credential) {
  const Certificate recipient = recipient_of(credential);
  const Bytes envelope = make_envelope(recipient.get(), as_bytes(kText));
  put("envelope", name, envelope);
  put("envelope", name + "_empty", make_envelope(recipient.get(), {}));
  const std::string plain = (folder / "plain").string(), file = (folder / "envelope").string();
  write_file(plain, as_bytes(kText));
  OutputFile output(file);
  encode_envelope_file(plain, recipient.get(), kAesCbc, output);
  output.commit();
  put("envelope", name + "_aes", file_bytes(file));
  std::filesystem::remove(plain);
  std::filesystem::remove(file);
  const std::string container = name == "sm2" ? "SM2" : "RSA";
  put("service_frame", name + "_decrypt", as_bytes(frame(20, {container + '\0', as_text(envelope)})));
}

void put_certificates(const std::string& name, const Credential& owner) {
  const Bytes der = certificate_der(owner.certificate.get());
  const Bytes key = public_key_bytes(owner.key.get());
  put("certificate", name, der);
  put("certificate", name + "_public_key", key);
  const std::string container = name == "sm2" ? "SM2" : "RSA";
  put("service_frame", name + "_certificate_item", as_bytes(frame(11, {as_text(der), 0x31u})));
  const Bytes recipient = certificate_der(recipient_of(owner).get());
  put("service_frame", name + "_encrypt", as_bytes(frame(19, {as_text(recipient), std::string(kText)})));
  put("service_frame", name + "_public_key", as_bytes(frame(59, {container + '\0', 1u})));
  put("service_frame", name + "_encrypt_with_key", as_bytes(frame(60, {as_text(key), std::string(kText)})));
  put("service_frame", name + "_decrypt_with_key",
      as_bytes(
          frame(61, {container + '\0', 1u, as_text(encrypt_with_key(owner.key.get(), as_bytes(kText)))})));
  const std::string encoded = base64_encode(der);
  put("service_json", name + "_validate", as_bytes(R"({"funcid":14,"Cert":")" + encoded + R"("})"));
  put("service_json", name + "_item_by_oid",
      as_bytes(R"({"funcid":12,"Cert":")" + encoded + R"(","Oid":"2.5.4.3"})"));
  const Bytes signature = sign_data(owner.key.get(), digest_for(owner.key.get()), as_bytes(kText));
  put("service_json", name + "_verify",
      as_bytes(R"({"funcid":16,"EncodeCert":")" + encoded + R"(","InData":")" +
               base64_encode(as_bytes(kText)) + R"(","SignValue":")" + base64_encode(signature) +
               R"(","base64":true})"));
}

void put_time_stamps() {
  const TemporaryStore file;
  Store store(file.file());
  for (const DigestId digest : {DigestId::sm3, DigestId::sha1, DigestId::sha256}) {
    const std::string name = std::to_string(static_cast<uint32_t>(digest));
    const Bytes query = TimeStampQuery(digest, hash(digest, {})).der();
    put("time_stamp_query", "digest_" + name, query);
    put("time_stamp", "answer_" + name, answer_time_stamp_query(store, query));
  }
  Bytes followed = TimeStampQuery(DigestId::sm3, hash(DigestId::sm3, {})).der();
  followed.push_back(0);
  put("time_stamp_query", "followed_by_more", followed);
  put("time_stamp_query", "refused", as_bytes("no query"));
  put("time_stamp", "refusal", answer_time_stamp_query(store, as_bytes("no query")));
}

void put_signed_xml() {
  for (const XmlSigner& by : xml_signers()) {
    const std::string name = std::to_string(static_cast<uint32_t>(by.digest));
    put("xml_signature", "enveloped_" + name, as_bytes(enveloped_xml(by)));
    put("xml_signature", "enveloping_" + name, as_bytes(enveloping_xml(by)));
    put("xml_signature", "detached_" + name, as_bytes(detached_xml(by)));
  }
}

}  // namespace

int main(int argument_count, char** arguments) {
  if (argument_count != 2) return 2;
  folder = arguments[1];
  const Credential sm2 = credential("sm2", KeyKind::sm2);
  const Credential rsa = credential("rsa", KeyKind::rsa);
  for (const auto& [name, owner] : {std::pair<std::string, const Credential&>{"sm2", sm2}, {"rsa", rsa}}) {
    put_messages(name, owner);
    put_envelopes(name, owner);
    put_certificates(name, owner);
  }
  const Bytes message = make_signed_message(sm2.key.get(), sm2.certificate.get(), as_bytes(kText), false);
  put("signed_message", "sm2_international",
      replace_message_identifiers(IdentifierFamily::international, message));
  put("certificate", "root", certificate_der(make_authority(KeyKind::rsa).certificate.get()));
  put("service_frame", "read_file", as_bytes(frame(28, {std::string("OWN") + '\0', 1u, 1u, 0u, 100u})));
  put("service_frame", "configure", as_bytes(frame(43, {1u, std::string("\x1E\0\0\0", 4)})));
  put_time_stamps();
  put_signed_xml();
}
