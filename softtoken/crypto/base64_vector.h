#pragma once

#include <cstddef>
#include <cstdint>

namespace velm::token {

// Base64 with vector instructions (SSSE3), for the bulk of a text. Callers check that the processor has them.

/** Bytes and digits of one conversion step. */
constexpr size_t kVectorBytes = 12;
constexpr size_t kVectorDigits = 16;

/**
 * Encodes whole steps from the beginning of `size` bytes. Returns the number of bytes encoded, a multiple of
 * kVectorBytes; up to 15 bytes remain. Writes kVectorDigits for each step.
 */
size_t encode_vectors(const uint8_t* bytes, size_t size, char* text);

/**
 * Decodes whole steps from the beginning of `size` characters, up to the first step that contains another
 * character than the 64 digits. Returns the number of digits decoded, a multiple of kVectorDigits. Writes
 * kVectorBytes for each step; may decode in place. With null, nothing is written.
 */
size_t decode_vectors(const char* text, size_t size, uint8_t* bytes);

}  // namespace velm::token
