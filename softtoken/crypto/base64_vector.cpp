#include "softtoken/crypto/base64_vector.h"

#include <cstring>

#include <tmmintrin.h>

namespace velm::token {
namespace {

using Vector = __m128i;

// The values of 16 digits; `valid` becomes false if one is not a digit. The upper half of a character selects
// the lowest digit, the highest digit and their distance to the value. '+' and '/' share an upper half: '/'
// uses the row before.
inline Vector values_of(Vector digits, bool& valid) {
  const Vector lowest =
      _mm_setr_epi8(127, '/', '+', '0', 'A', 'P', 'a', 'p', 127, 127, 127, 127, 127, 127, 127, 127);
  const Vector highest = _mm_setr_epi8(0, '/', '+', '9', 'O', 'Z', 'o', 'z', 0, 0, 0, 0, 0, 0, 0, 0);
  const Vector distances = _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', 0 - 'A', 0 - 'A', 26 - 'a',
                                         26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
  const Vector upper_half = _mm_and_si128(_mm_srli_epi32(digits, 4), _mm_set1_epi8(0x0F));
  const Vector row = _mm_add_epi8(upper_half, _mm_cmpeq_epi8(digits, _mm_set1_epi8('/')));
  const Vector too_low = _mm_cmplt_epi8(digits, _mm_shuffle_epi8(lowest, row));
  const Vector too_high = _mm_cmpgt_epi8(digits, _mm_shuffle_epi8(highest, row));
  valid = _mm_movemask_epi8(_mm_or_si128(too_low, too_high)) == 0;
  return _mm_add_epi8(digits, _mm_shuffle_epi8(distances, row));
}

// The digits of 16 values below 64. A value selects the distance to its digit: all values from 0 to 25 are
// reduced to 13, those from 26 to 51 to 0, the others to 1 to 12.
inline Vector digits_of(Vector values) {
  const Vector distances =
      _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                    '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
  const Vector above_51 = _mm_subs_epu8(values, _mm_set1_epi8(51));
  const Vector below_26 = _mm_and_si128(_mm_cmplt_epi8(values, _mm_set1_epi8(26)), _mm_set1_epi8(13));
  return _mm_add_epi8(values, _mm_shuffle_epi8(distances, _mm_or_si128(above_51, below_26)));
}

// The four values of each group of three bytes: aaaaaabb bbbbcccc ccdddddd. Each 32-bit element receives the
// bytes of its group in the order 1, 0, 2, 1. Multiplications shift the 16-bit halves by different amounts.
inline Vector split(Vector bytes) {
  const Vector groups =
      _mm_shuffle_epi8(bytes, _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
  const Vector first_and_third =
      _mm_mulhi_epu16(_mm_and_si128(groups, _mm_set1_epi32(0x0FC0FC00)), _mm_set1_epi32(0x04000040));
  const Vector second_and_fourth =
      _mm_mullo_epi16(_mm_and_si128(groups, _mm_set1_epi32(0x003F03F0)), _mm_set1_epi32(0x01000010));
  return _mm_or_si128(first_and_third, second_and_fourth);
}

// The opposite of split(): 12 bytes, then four zeros.
inline Vector join(Vector values) {
  const Vector pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
  const Vector groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
  return _mm_shuffle_epi8(groups, _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
}

// Writes the first 12 bytes, in two parts from registers: a copy of the whole vector would stay on the stack.
inline void store(Vector joined, uint8_t* bytes) {
  _mm_storel_epi64(reinterpret_cast<Vector*>(bytes), joined);
  const int rest = _mm_cvtsi128_si32(_mm_srli_si128(joined, sizeof(uint64_t)));
  std::memcpy(bytes + sizeof(uint64_t), &rest, sizeof rest);
}

}  // namespace

size_t encode_vectors(const uint8_t* bytes, size_t size, char* text) {
  size_t done = 0;
  // A step reads 16 bytes and encodes 12.
  for (; size - done >= sizeof(Vector); done += kVectorBytes, text += kVectorDigits) {
    const Vector read = _mm_loadu_si128(reinterpret_cast<const Vector*>(bytes + done));
    _mm_storeu_si128(reinterpret_cast<Vector*>(text), digits_of(split(read)));
  }
  return done;
}

size_t decode_vectors(const char* text, size_t size, uint8_t* bytes) {
  size_t done = 0;
  for (; size - done >= kVectorDigits; done += kVectorDigits) {
    bool valid = false;
    const Vector values = values_of(_mm_loadu_si128(reinterpret_cast<const Vector*>(text + done)), valid);
    if (!valid) break;
    if (bytes == nullptr) continue;
    store(join(values), bytes);
    bytes += kVectorBytes;
  }
  return done;
}

}  // namespace velm::token
