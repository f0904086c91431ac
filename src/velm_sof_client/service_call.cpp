#include "velm_sof_client/service_call.h"

#include <algorithm>

#include "basekit/basic/http.h"
#include "protocol/endpoint.h"

namespace velm {

JsonCall::JsonCall(const char* function, uint32_t capacity)
    : function_(function),
      capacity_(capacity),
      response_(std::make_unique_for_overwrite<char[]>(size_t{capacity} + 1)) {}

void JsonCall::exchange(RequestMemory request) {
  uint32_t received = capacity_;
  {
    const RequestMemory sent = std::move(request);
    const int32_t result = xhttp::post(protocol::kServiceUrl, sent.data(), sent.length(), protocol::kJsonType,
                                       response_.get(), &received);
    if (result != xhttp::kDone) {
      LOG_FAILURE("%s->post_json xrv = %d\n", function_, result);
      fail(SOR_COMMUNICATIONERR);
    }
  }
  if (received > capacity_) received = 0;
  response_[received] = '\0';

  answer_.emplace(response_.get());
  if (!answer_->is_json()) {
    LOG_FAILURE("%s->cJSON_Parse [%s]\n", function_, response_.get());
    fail(SOR_JSONPARSEERR);
  }
  if (const uint32_t code = answer_->error_code(SOR_UNKNOWNERR); code != SOR_OK) fail(code);
}

void JsonCall::deliver_base64(const AnswerValue& member, void* output, uint32_t* length) const {
  const char* text = member.text();
  const auto text_length = static_cast<uint32_t>(std::strlen(text));
  std::unique_ptr<uint8_t[]> nowhere;
  if (!output) nowhere = std::make_unique_for_overwrite<uint8_t[]>(size_t{text_length} + 1);
  uint32_t decoded = 0;
  const int32_t result =
      VELM_Openssl_Base64Decode(reinterpret_cast<const uint8_t*>(text), text_length,
                                output ? static_cast<uint8_t*>(output) : nowhere.get(), &decoded);
  store(length, result == 0 ? decoded : 0);
}

FrameCall::FrameCall(const char* log_name, uint32_t capacity, uint32_t data_capacity)
    : log_name_(log_name), capacity_(capacity), data_capacity_(data_capacity) {}

void FrameCall::post(FunctionNumber function, std::initializer_list<protocol::FrameField> fields,
                     FrameContent content) {
  RequestMemory& memory = memory_.emplace(std::max(protocol::request_size(fields), uint64_t{capacity_}));
  protocol::append_request(memory, function, fields);
  uint32_t received = capacity_;
  // The answer is stored over the request, which has been sent by then. The first access to new memory takes
  // longer than the copy into it.
  const int32_t result = xhttp::post(protocol::kServiceUrl, memory.data(), memory.length(),
                                     protocol::kFrameType, memory.data(), &received);
  if (result != xhttp::kDone) {
    LOG_FAILURE("%s->xhttp::post xrv = %d\n", log_name_, result);
    fail(SOR_COMMUNICATIONERR);
  }
  const std::span stored(reinterpret_cast<const uint8_t*>(memory.data()), capacity_);
  const protocol::FrameAnswer answer = protocol::read_answer(stored, received, content);
  if (answer.refused || answer.data.size() > data_capacity_) {
    LOG_FAILURE("%s->response frame [%u]\n", log_name_, received);
    fail(SOR_UNKNOWNERR);
  }
  if (answer.code != SOR_OK) fail(answer.code);
  data_ = answer.data;
}

void FrameCall::deliver(void* output, uint32_t* length) const {
  if (output && !data_.empty()) std::memcpy(output, data_.data(), data_.size());
  store(length, static_cast<uint32_t>(data_.size()));
}

}  // namespace velm
