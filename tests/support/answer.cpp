#include "support/answer.h"

#include <algorithm>
#include <cstdio>

namespace velm::test {

Answer::Answer(std::string body, std::string content_type) : body_(std::move(body)) {
  header("Content-Type", std::move(content_type));
  header("Connection", "close");
}

Answer Answer::nothing(Milliseconds wait) { return raw("").after(wait); }

Answer Answer::redirect(std::string location) {
  return Answer("").status(302, "Found").header("Location", std::move(location));
}

Answer Answer::raw(std::string wire) {
  Answer answer(std::move(wire));
  answer.framing_ = Framing::kRaw;
  return answer;
}

Answer& Answer::status(int code, std::string reason) {
  status_ = code;
  reason_ = std::move(reason);
  return *this;
}

Answer& Answer::header(std::string name, std::string value) {
  headers_.emplace_back(std::move(name), std::move(value));
  return *this;
}

Answer& Answer::announcing(uint64_t length) {
  announced_ = length;
  return *this;
}

Answer& Answer::chunked(size_t chunk_bytes) {
  framing_ = Framing::kChunked;
  chunk_bytes_ = chunk_bytes;
  return *this;
}

Answer& Answer::with_bad_chunk_length(size_t chunk_bytes) {
  chunked(chunk_bytes);
  framing_ = Framing::kBadChunk;
  return *this;
}

Answer& Answer::with_continue() {
  continue_ = true;
  return *this;
}

Answer& Answer::after(Milliseconds delay) {
  delay_ = delay;
  return *this;
}

Answer& Answer::split(size_t pieces, Milliseconds pause) {
  pieces_ = pieces;
  pause_ = pause;
  return *this;
}

Answer& Answer::slowly(Milliseconds pause) {
  byte_by_byte_ = true;
  pause_ = pause;
  return *this;
}

Answer& Answer::cut_after(size_t body_bytes) {
  cut_after_ = body_bytes;
  return *this;
}

Answer& Answer::reset() {
  reset_ = true;
  return *this;
}

std::string Answer::head() const {
  if (framing_ == Framing::kRaw) return "";
  std::string text = continue_ ? "HTTP/1.1 100 Continue\r\n\r\n" : "";
  text += "HTTP/1.1 " + std::to_string(status_) + " " + reason_ + "\r\n";
  for (const auto& [name, value] : headers_) text.append(name).append(": ").append(value).append("\r\n");
  if (framing_ == Framing::kLength) {
    text += "Content-Length: " + std::to_string(announced_.value_or(body_.size())) + "\r\n";
  } else {
    text += "Transfer-Encoding: chunked\r\n";
  }
  return text + "\r\n";
}

std::string Answer::encoded_body() const {
  if (framing_ == Framing::kLength || framing_ == Framing::kRaw) return body_;
  std::string wire;
  for (size_t at = 0; at < body_.size(); at += chunk_bytes_) {
    const std::string chunk = body_.substr(at, chunk_bytes_);
    const bool is_last = at + chunk_bytes_ >= body_.size();
    char length[20];
    std::snprintf(length, sizeof length, "%llx", static_cast<unsigned long long>(chunk.size()));
    wire += framing_ == Framing::kBadChunk && is_last ? "no length" : length;
    wire += "\r\n" + chunk + "\r\n";
  }
  return wire + "0\r\n\r\n";
}

std::vector<std::string> Answer::pieces() const {
  const std::string wire = head() + encoded_body().substr(0, cut_after_.value_or(std::string::npos));
  const size_t count = byte_by_byte_ ? wire.size() : pieces_;
  std::vector<std::string> pieces;
  for (size_t i = 0; i < count; ++i) {
    const size_t from = wire.size() * i / count, to = wire.size() * (i + 1) / count;
    if (from != to) pieces.push_back(wire.substr(from, to - from));
  }
  return pieces;
}

Answer json(std::string text) { return Answer(std::move(text), "application/json"); }

Answer frame(uint32_t code, std::string_view data) {
  return Answer(little_endian(code) + little_endian(static_cast<uint32_t>(data.size())) + std::string(data));
}

Answer frame_code(uint32_t code) { return Answer(little_endian(code)); }

std::string little_endian(uint32_t number) {
  std::string bytes;
  for (const int shift : {0, 8, 16, 24}) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

}  // namespace velm::test
