#include "softtoken/store/demo.h"

#include "protocol/identifiers.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/store/user_data.h"

namespace velm::token {
namespace {

ContainerRow add(Token& token, const char* name, KeyKind kind, unsigned bits = 2048) {
  token.add_container({.name = name, .kind = kind, .rsa_bits = bits}, as_bytes(kDemoPin));
  return token.container(name);
}

// Clients read the certificate of a scanned container from the label <container>_FromCache.
void add_scan_container(Token& token, const char* name, KeyKind kind) {
  set_label(token.store(), std::string(name) + "_FromCache", protocol::kCertificateLabel,
            add(token, name, kind).signing_certificate);
}

std::string seal_picture(const std::string& color) {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 80 80\" width=\"40mm\" height=\"40mm\">"
         "<circle cx=\"40\" cy=\"40\" r=\"37\" fill=\"none\" stroke=\"" +
         color +
         "\" stroke-width=\"4\"/>"
         "<path fill=\"" +
         color + "\" d=\"M40 18l5 16h17l-14 10 5 16-13-10-13 10 5-16-14-10h17z\"/></svg>";
}

void add_seal(Token& token, const ContainerRow& container, uint32_t position, const std::string& name,
              const std::string& color) {
  const Certificate signer = parse_certificate(container.signing_certificate);
  const auto item = [&](SealItem number, ByteView value) {
    set_seal_item(token.store(), container.id, position, number, value);
  };
  item(SealItem::identifier, as_bytes("DEMO-SEAL-" + std::to_string(position + 1)));
  item(SealItem::name, as_bytes(name));
  item(SealItem::maker, as_bytes(kDeviceName));
  item(SealItem::signer_certificate, container.signing_certificate);
  item(SealItem::valid_from, certificate_item(signer.get(), kNotBeforeItem));
  item(SealItem::valid_until, certificate_item(signer.get(), kNotAfterItem));
  item(SealItem::picture_type, as_bytes("svg"));
  item(SealItem::picture, as_bytes(seal_picture(color)));
  item(SealItem::width, as_bytes("40"));
  item(SealItem::height, as_bytes("40"));
}

void add_expired(Token& token) {
  const time_t now = std::time(nullptr);
  token.add_container({.name = "EXPIRED_RSA_2048_DEMO",
                       .kind = KeyKind::rsa,
                       .not_before = now - 2 * kYear,
                       .not_after = now - kYear},
                      as_bytes(kDemoPin));
}

void add_revoked(Token& token) {
  const ContainerRow row = add(token, "REVOKED_SM2_DEMO", KeyKind::sm2);
  token.store().revoke(parse_certificate(row.signing_certificate).get());
  token.store().revoke(parse_certificate(row.encryption_certificate).get());
}

}  // namespace

void add_demo_containers(Token& token) {
  add(token, "SM2_DEMO", KeyKind::sm2);
  add(token, "RSA_2048_DEMO", KeyKind::rsa);
  add(token, "RSA_1024_DEMO", KeyKind::rsa, 1024);
  add_scan_container(token, "SM2_SCAN_CONTAINER_DEMO", KeyKind::sm2);
  add_scan_container(token, "RSA_2048_SCAN_CONTAINER_DEMO", KeyKind::rsa);
  add(token, "演示容器_SM2", KeyKind::sm2);
  const ContainerRow seals = add(token, "SEAL_SM2_DEMO", KeyKind::sm2);
  add_seal(token, seals, 0, "演示公章", "#c00");
  add_seal(token, seals, 1, "演示合同章", "#06c");
  add_expired(token);
  add_revoked(token);
}

}  // namespace velm::token
