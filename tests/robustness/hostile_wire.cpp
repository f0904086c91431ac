#include "robustness/hostile_wire.h"

#include <chrono>

namespace velm::test {
namespace {

using namespace std::chrono_literals;

// An occasional pause, short enough for thousands of answers.
Milliseconds pause(RandomSource& random) { return random.one_in(8) ? 1ms : 0ms; }

WireAnswer whole(RandomSource&, const std::string& body) { return {Answer(body), Arrival::kWhole}; }

WireAnswer in_pieces(RandomSource& random, const std::string& body) {
  return {Answer(body).split(1 + random.below(6), pause(random)), Arrival::kWhole};
}

WireAnswer in_chunks(RandomSource& random, const std::string& body) {
  const size_t chunk_bytes = 1 + random.below(500);
  return {Answer(body).chunked(chunk_bytes).split(1 + random.below(4), pause(random)), Arrival::kWhole};
}

WireAnswer of_any_status(RandomSource& random, const std::string& body) {
  constexpr int kStatuses[] = {199, 201, 204, 206, 304, 400, 401, 403, 404, 407, 418, 500, 503, 599, 999};
  return {Answer(body).status(random.one_of(kStatuses)), Arrival::kInPart};
}

WireAnswer of_another_length(RandomSource& random, const std::string& body) {
  const uint64_t lengths[] = {0,          1,          body.size() / 2, body.size() + 1, 0x7FFFFFFF,
                              0x80000000, 0xFFFFFFFF, 0x100000000,     UINT64_MAX,      random.number()};
  return {Answer(body).announcing(random.one_of(lengths)), Arrival::kInPart};
}

WireAnswer cut(RandomSource& random, const std::string& body) {
  Answer answer(body);
  if (random.one_in(2)) answer.chunked(1 + random.below(500));
  answer.cut_after(random.below(body.size() + 1));
  if (random.one_in(2)) answer.reset();
  return {answer, Arrival::kInPart};
}

WireAnswer with_bad_chunks(RandomSource& random, const std::string& body) {
  return {Answer(body).with_bad_chunk_length(1 + random.below(500)), Arrival::kAnything};
}

WireAnswer with_strange_headers(RandomSource& random, const std::string& body) {
  const std::string names[] = {"X-Long", "Content-Encoding", "Transfer-Encoding", "Content-Length",
                               "Set-Cookie"};
  const std::string values[] = {
      std::string(60000, 'v'), "gzip", "identity", "-1", "no number", "", "\xFF\xFE"};
  return {Answer(body).header(random.one_of(names), random.one_of(values)), Arrival::kAnything};
}

WireAnswer without_http(RandomSource& random, const std::string& body) {
  const std::string heads[] = {"",
                               "HTTP/1.1\r\n\r\n",
                               "HTTP/9.9 200 OK\r\n\r\n",
                               "HTTP/1.1 200 OK\n\n",
                               "HTTP/1.1 two OK\r\n\r\n",
                               "HTTP/1.1 200 OK\r\nno colon\r\n\r\n",
                               random.bytes(random.below(300)),
                               "HTTP/1.1 200 OK\r\nContent-Length: 5"};
  return {Answer::raw(random.one_of(heads) + body), Arrival::kAnything};
}

WireAnswer after_a_continue(RandomSource&, const std::string& body) {
  return {Answer(body).with_continue(), Arrival::kInPart};
}

WireAnswer nothing(RandomSource&, const std::string&) { return {Answer::nothing(), Arrival::kInPart}; }

constexpr decltype(&whole) kWays[] = {whole,
                                      whole,
                                      in_pieces,
                                      in_chunks,
                                      of_any_status,
                                      of_another_length,
                                      cut,
                                      with_bad_chunks,
                                      with_strange_headers,
                                      without_http,
                                      after_a_continue,
                                      nothing};

}  // namespace

WireAnswer hostile_wire(RandomSource& random, const std::string& body) {
  return random.one_of(kWays)(random, body);
}

}  // namespace velm::test
