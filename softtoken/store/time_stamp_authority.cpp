#include "softtoken/store/time_stamp_authority.h"

#include <optional>

#include "protocol/identifiers.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/time_stamp_answer.h"

namespace velm::token {
namespace {

constexpr unsigned kRsaBits = 2048;
constexpr KeyKind kKinds[] = {KeyKind::rsa, KeyKind::sm2};

std::optional<Authority> find_authority(Store& store, KeyKind kind) {
  Statement rows(store.database(), "SELECT certificate, key FROM time_stamp_authority");
  while (rows.step()) {
    Authority authority{parse_certificate(rows.bytes(0)), private_key_from_der(rows.bytes(1))};
    if (kind_of(authority.key.get()) == kind) return authority;
  }
  return std::nullopt;
}

void make_stamp_authority(Store& store, KeyKind kind) {
  const Key key = generate_key(kind, kRsaBits);
  const time_t now = std::time(nullptr);
  const CertificateOrder order{.common_name = "Demo Time-Stamp Authority",
                               .usage = Usage::time_stamping,
                               .not_before = now - kDay,
                               .not_after = now + 10 * kYear};
  const Bytes certificate = certificate_der(issue_certificate(store.authority(kind), key.get(), order).get());
  Statement(store.database(), "INSERT INTO time_stamp_authority VALUES(?, ?)", certificate,
            ByteView(private_key_der(key.get())))
      .run();
  set_label(store, kind == KeyKind::sm2 ? kSm2TimeStampAuthorityLabel : kTimeStampAuthorityLabel,
            protocol::kCertificateLabel, certificate);
}

Authority stamp_authority(Store& store, KeyKind kind) {
  prepare_time_stamp_authority(store);
  auto authority = find_authority(store, kind);
  require(authority.has_value(), kKeyNotFound);
  return *std::move(authority);
}

}  // namespace

void prepare_time_stamp_authority(Store& store) {
  Transaction transaction(store.database());
  store.database().execute(
      "CREATE TABLE IF NOT EXISTS time_stamp_authority(certificate BLOB NOT NULL, key BLOB NOT NULL)");
  for (const KeyKind kind : kKinds) {
    if (!find_authority(store, kind)) make_stamp_authority(store, kind);
  }
  transaction.commit();
}

Bytes answer_time_stamp_query(Store& store, ByteView query) {
  return time_stamp_answer(query, [&](KeyKind kind) { return stamp_authority(store, kind); });
}

}  // namespace velm::token
