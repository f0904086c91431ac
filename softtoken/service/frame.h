#pragma once

#include "softtoken/crypto/bytes.h"

namespace velm::token {

constexpr uint8_t kFrameMark = 0x77;
/** Code and data length in front of an answer's data. */
constexpr size_t kFrameHeaderSize = 8;

/**
 * Reads the fields of a request frame, after mark and function number, in order; integers are 32-bit
 * little-endian. A field that reaches beyond the frame throws the code for a bad length, as does anything
 * left at the end.
 */
class FrameReader {
 public:
  explicit FrameReader(ByteView frame) : rest_(frame) {}

  uint32_t number();
  /** A length and as many bytes. */
  ByteView bytes();
  /** A length and a text with its terminating zero, which is not part of the result. */
  std::string text();
  void expect_end() const;

 private:
  ByteView take(size_t count);

  ByteView rest_;
};

/** An answer: the code alone, or code 0, the data's length and the data. */
std::string frame_answer(uint32_t code);
std::string frame_answer(ByteView data);

}  // namespace velm::token
