#pragma once

#include "protocol/byte_frame.h"
#include "softtoken/crypto/openssl_handles.h"

namespace velm::token {

/** Reads the fields of a request frame in order. Throws kBadLength if a field extends beyond the frame. */
class FrameReader {
 public:
  explicit FrameReader(ByteView fields) : fields_(fields) {}

  uint32_t number() { return required(fields_.number(), kBadLength); }
  ByteView bytes() { return required(fields_.bytes(), kBadLength); }
  /** Returns a text without its terminating zero; throws kBadInput if that is missing. */
  std::string text() { return std::string(required(protocol::text_in(bytes()), kBadInput)); }
  /** Throws kBadLength if bytes are left. */
  void expect_end() const { require(fields_.at_end(), kBadLength); }

 private:
  template <typename Field>
  static Field required(const std::optional<Field>& field, ErrorCode code) {
    require(field.has_value(), code);
    return *field;
  }

  protocol::FieldReader fields_;
};

}  // namespace velm::token
