// One scripted answer of the service double: what goes over the wire, in which pieces, and how it ends.
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

  // The connection is closed without an answer, at once or after `wait`.
  static Answer nothing(Milliseconds wait = Milliseconds(0));

  // 302 to another address.
  static Answer redirect(std::string location);

  // These bytes and no others: status line, headers and all.
  static Answer raw(std::string wire);

  Answer& status(int code, std::string reason = "Status");
  Answer& header(std::string name, std::string value);

  // Content-Length says this, whatever the body's length is.
  Answer& announcing(uint64_t length);

  // Transfer-Encoding: chunked, in chunks of this many bytes.
  Answer& chunked(size_t chunk_bytes = 7);

  // Chunked, and the length of the last chunk of the body is no number.
  Answer& with_bad_chunk_length(size_t chunk_bytes = 7);

  // "100 Continue" goes before the answer.
  Answer& with_continue();

  // The answer waits before its first byte.
  Answer& after(Milliseconds delay);

  // Sent in this many pieces of about equal size, with a pause between two.
  Answer& split(size_t pieces, Milliseconds pause = Milliseconds(0));

  // Sent byte by byte, with a pause between two.
  Answer& slowly(Milliseconds pause = Milliseconds(1));

  // The connection ends after this many bytes of the body as it is sent.
  Answer& cut_after(size_t body_bytes);

  // The connection ends with a reset in place of an orderly close. (Under Wine a reset reaches the client as
  // an orderly close all the same.)
  Answer& reset();

  // What the double does, in this order: wait, then send the pieces with the pause between two, then end.
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

// An answer of the JSON calls.
Answer json(std::string text);

// An answer of the byte-frame calls: the code, the length of the data, the data.
Answer frame(uint32_t code, std::string_view data);

// A byte frame of a code alone.
Answer frame_code(uint32_t code);

// A number as byte frames carry it: 32 bits, the lowest byte first.
std::string little_endian(uint32_t number);

}  // namespace velm::test
