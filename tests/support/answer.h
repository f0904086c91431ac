// One scripted answer of the service double: the bytes to send, in which pieces, and how the connection ends.
//
//   json(R"({"ErrorCode":"0"})")
//   json(text).chunked(16).split(3, 20ms)
//   frame(0, certificate).cut_after(5)
//   Answer::nothing()
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm::test {

using Milliseconds = std::chrono::milliseconds;

class Answer {
 public:
  explicit Answer(std::string body, std::string content_type = "application/octet-stream");

  // Closes the connection without an answer, immediately or after `wait`.
  static Answer nothing(Milliseconds wait = Milliseconds(0));

  // 302 with this Location.
  static Answer redirect(std::string location);

  // Sends exactly these bytes, status line and headers included.
  static Answer raw(std::string wire);

  Answer& status(int code, std::string reason = "Status");
  Answer& header(std::string name, std::string value);

  // Sends this Content-Length regardless of the body's length.
  Answer& announcing(uint64_t length);

  // Transfer-Encoding: chunked with chunks of this size.
  Answer& chunked(size_t chunk_bytes = 7);

  // Chunked, but the length of the last body chunk is not a number.
  Answer& with_bad_chunk_length(size_t chunk_bytes = 7);

  // Sends "100 Continue" before the answer.
  Answer& with_continue();

  // Waits before the first byte.
  Answer& after(Milliseconds delay);

  // Sends the answer in this many pieces of about equal size, with a pause between two pieces.
  Answer& split(size_t pieces, Milliseconds pause = Milliseconds(0));

  // Sends the answer byte by byte, with a pause between two bytes.
  Answer& slowly(Milliseconds pause = Milliseconds(1));

  // Ends the connection after this many bytes of the encoded body.
  Answer& cut_after(size_t body_bytes);

  // Ends the connection with a reset instead of an orderly close. (Under Wine the client still sees an
  // orderly close.)
  Answer& reset();

  // The double waits for delay(), sends pieces() with pause() between two, then ends the connection.
  Milliseconds delay() const { return delay_; }
  Milliseconds pause() const { return pause_; }
  std::vector<std::string> pieces() const;
  bool ends_in_reset() const { return reset_; }

 private:
  enum class Framing { kLength, kChunked, kBadChunk, kRaw };

  std::string head() const;
  std::string encoded_body() const;

  std::string body_;
  int status_ = 200;
  std::string reason_ = "OK";
  std::vector<std::pair<std::string, std::string>> headers_;
  Framing framing_ = Framing::kLength;
  size_t chunk_bytes_ = 0;
  std::optional<uint64_t> announced_;
  std::optional<size_t> cut_after_;
  bool continue_ = false;
  Milliseconds delay_{0};
  Milliseconds pause_{0};
  size_t pieces_ = 1;
  bool byte_by_byte_ = false;
  bool reset_ = false;
};

// An answer to a JSON call.
Answer json(std::string text);

// An answer to a byte-frame call: result code, data length, data.
Answer frame(uint32_t code, std::string_view data);

// A byte frame with a result code only.
Answer frame_code(uint32_t code);

// Encodes a number as in byte frames: 32 bits, little-endian.
std::string little_endian(uint32_t number);

}  // namespace velm::test
