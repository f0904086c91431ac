// Answer frames of the local service. The input is the stored part of a frame. The received length equals its
// size, or is larger or smaller.
#include "protocol/byte_frame.h"

#include "tests/fuzz/fuzz_target.h"

using namespace velm::protocol;
using velm::fuzz::expect;

namespace {

uint32_t number_at(std::span<const uint8_t> frame, size_t offset) {
  return frame[offset] | uint32_t{frame[offset + 1]} << 8 | uint32_t{frame[offset + 2]} << 16 |
         uint32_t{frame[offset + 3]} << 24;
}

void check(std::span<const uint8_t> stored, uint64_t received, FrameContent content) {
  const FrameAnswer answer = read_answer(stored, received, content);
  const uint8_t* const end = stored.data() + stored.size();
  if (answer.refused || answer.code != 0 || content == FrameContent::code_only) {
    expect(answer.data.empty(), "a frame without data gives none");
  }
  if (received > stored.size() || received < 4) expect(answer.refused, "what did not fit is refused");
  if (answer.refused) return;
  expect(answer.code == number_at(stored, 0), "the code is the frame's");
  if (answer.code != 0 || content == FrameContent::code_only) return;
  expect(answer.data.size() == number_at(stored, 4), "the data have the stated length");
  expect(answer.data.data() == stored.data() + 8 && answer.data.data() + answer.data.size() <= end,
         "the data lie in the frame, behind its head");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::span<const uint8_t> frame(data, size);
  for (const FrameContent content : {FrameContent::code_only, FrameContent::code_and_data}) {
    for (const uint64_t received : {uint64_t{size}, uint64_t{size} + 1, uint64_t{size} / 2, UINT64_MAX}) {
      check(frame, received, content);
    }
  }
  return 0;
}
