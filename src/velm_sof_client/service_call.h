// Calls to the local service, as JSON or as a byte frame. post() throws if the exchange fails or the service
// reports an error. Failures are logged under the name of the exported function.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>

#include "protocol/byte_frame.h"
#include "velm_sof_client/exported_call.h"
#include "velm_sof_client/json_request.h"
#include "velm_sof_client/service_answer.h"

namespace velm {

using protocol::FrameBytes;
using protocol::FrameContent;
using protocol::FunctionNumber;

class JsonCall {
 public:
  // `capacity`: maximum size of the answer in bytes. A longer answer is treated as empty.
  JsonCall(const char* function, uint32_t capacity);

  template <class... Fields>
  void post(const JsonFormat<std::type_identity_t<Fields>...>& format, const Fields&... fields) {
    exchange(format_json(format, fields...));
  }
  AnswerValue result() const { return answer_->result(); }

  // Decodes a base64 member into `output`. Sic: the size of `output` is not checked. Stores the number of
  // decoded bytes in `length`, or 0 if the text is not base64. Both outputs may be null.
  void deliver_base64(const AnswerValue& member, void* output, uint32_t* length) const;

 private:
  void exchange(RequestMemory request);

  const char* function_;
  uint32_t capacity_;
  std::unique_ptr<char[]> response_;
  std::optional<ServiceAnswer> answer_;
};

class FrameCall {
 public:
  // `log_name`: function name in the log lines. `capacity`: maximum size of the answer in bytes.
  // `data_capacity`: maximum size of its data, if the caller's buffer is smaller.
  FrameCall(const char* log_name, uint32_t capacity, uint32_t data_capacity = UINT32_MAX);

  void post(FunctionNumber function, std::initializer_list<protocol::FrameField> fields,
            FrameContent content = FrameContent::code_and_data);
  std::span<const uint8_t> data() const { return data_; }

  // Copies the data to `output` and stores its length. Both outputs may be null.
  void deliver(void* output, uint32_t* length) const;

 private:
  const char* log_name_;
  uint32_t capacity_;
  uint32_t data_capacity_;
  std::optional<RequestMemory> memory_;  // the request, then the answer
  std::span<const uint8_t> data_{};
};

}  // namespace velm
