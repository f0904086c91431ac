#pragma once

#include "protocol/byte_frame.h"
#include "softtoken/crypto/token_error.h"
#include "softtoken/service/received_text.h"

namespace velm::token {

/** Reads the fields of a request frame in order. Throws kBadLength if a field extends beyond the frame. */
class FrameReader {
 public:
  explicit FrameReader(ByteView fields) : fields_(fields) {}

  uint32_t number() { return required(fields_.number(), kBadLength); }
  ByteView bytes() { return required(fields_.bytes(), kBadLength); }
  /** Reads the text of a container name; throws kBadInput if its terminating zero is missing. */
  ContainerName name() { return read_name(required(protocol::text_in(bytes()), kBadInput)); }
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

// The frames of responses.
inline SecretText frame_success(ByteView data) { return protocol::build_answer<SecretText>(data); }
inline SecretText frame_failure(uint32_t code) { return protocol::build_answer<SecretText>(code); }

}  // namespace velm::token
