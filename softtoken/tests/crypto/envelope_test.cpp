// Digital envelopes of every length of their headers, cut at each byte, and of other lengths than announced.
#include "softtoken/crypto/envelope.h"

#include <gtest/gtest.h>

#include <ctime>

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/authority.h"
#include "softtoken/crypto/envelope_reader.h"
#include "softtoken/crypto/envelope_writer.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

class Envelopes : public testing::Test {
 protected:
  Bytes read(ByteView envelope, uint64_t length) const {
    Bytes plain;
    read_envelope(
        stream_of(envelope), length,
        [&](std::span<const EnvelopeRecipient> found) {
          return decrypt_with_key(key.get(), found.front().encrypted_key);
        },
        [&](ByteView piece) { plain.insert(plain.end(), piece.begin(), piece.end()); });
    return plain;
  }

  const time_t now = std::time(nullptr);
  Key key = generate_sm2_key();
  Certificate recipient = issue_certificate(make_authority(KeyKind::sm2), key.get(),
                                            {"X", Usage::encryption, now - kDay, now + kDay});
  const Opener openers[1] = {{recipient.get(), key.get()}};
};

// The lengths of the content change their form at 128, 256 and 65536 bytes, those round it a little earlier.
TEST_F(Envelopes, OfEveryFormOfTheirLengthsOpen) {
  for (const size_t limit : {size_t{0x80}, size_t{0x100}, size_t{0x10000}}) {
    for (size_t size = limit - std::min<size_t>(limit, 352); size <= limit + 32; size += 8) {
      const Bytes plain(size, 'p');
      const Bytes envelope = make_envelope(recipient.get(), plain);
      ASSERT_EQ(copy_of(open_envelope(openers, envelope)), plain) << size;
      ASSERT_EQ(read(envelope, envelope.size()), plain) << size;
    }
  }
}

// Every byte of the content is valid padding, so that padding alone shows no cut.
TEST_F(Envelopes, CutAtAnyByteDoNotOpen) {
  const Bytes envelope = make_envelope(recipient.get(), Bytes(100, 1));
  for (size_t size = 0; size < envelope.size(); ++size) {
    const ByteView cut = ByteView(envelope).first(size);
    EXPECT_NE(code_of([&] { open_envelope(openers, cut); }), kSuccess) << size;
    EXPECT_NE(code_of([&] { read(cut, size); }), kSuccess) << size;
    EXPECT_NE(code_of([&] { read(cut, envelope.size()); }), kSuccess) << size;
  }
  Bytes longer = envelope;
  longer.push_back(0);
  EXPECT_NE(code_of([&] { open_envelope(openers, longer); }), kSuccess);
  EXPECT_NE(code_of([&] { read(longer, longer.size()); }), kSuccess);
}

// A file may grow or shrink while it is encrypted.
TEST_F(Envelopes, OfAnotherLengthThanAnnouncedFail) {
  const Bytes plain(100, 'p');
  for (const uint64_t announced : {0u, 15u, 95u, 96u, 99u, 101u, 111u, 112u, 1000u}) {
    const auto code = code_of([&] {
      write_envelope(recipient.get(), EVP_sm4_cbc(), stream_of(plain), announced, [](ByteView) {});
    });
    EXPECT_EQ(code, kBadLength) << announced;
  }
}

}  // namespace
}  // namespace velm::token
