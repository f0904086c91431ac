// One exchange with the local service, in its two forms. Each writes the failure lines under the exported
// function's name and fails with the code of the exchange; when post() returns, the service has said that the
// call succeeded.
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

// What a call is written with.
using protocol::FrameBytes;
using protocol::FrameContent;
using protocol::FunctionNumber;

class JsonCall {
 public:
  // `capacity`: the bytes of answer that the call takes; a longer answer counts as an empty one.
  JsonCall(const char* function, uint32_t capacity);

  template <class... Fields>
  void post(const JsonFormat<std::type_identity_t<Fields>...>& format, const Fields&... fields) {
    exchange(format_json(format, fields...));
  }
  AnswerValue result() const { return answer_->result(); }

  // Decodes a base64 member straight into the caller's buffer, whose size is not known here. The length
  // becomes what the decoder wrote, or 0 when the text is not base64; null outputs are left out.
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
  // `log_name`: what the failure lines open with. `capacity`: the bytes of answer that the call takes;
  // `data_capacity`: the bytes of data in it, where the caller's buffer is smaller still.
  FrameCall(const char* log_name, uint32_t capacity, uint32_t data_capacity = UINT32_MAX);

  void post(FunctionNumber function, std::initializer_list<protocol::FrameField> fields,
            FrameContent content = FrameContent::code_and_data);
  std::span<const uint8_t> data() const { return data_; }

  // Copies the data out and stores its length; null outputs are left out.
  void deliver(void* output, uint32_t* length) const;

 private:
  const char* log_name_;
  uint32_t capacity_;
  uint32_t data_capacity_;
  std::unique_ptr<uint8_t[]> response_;
  std::span<const uint8_t> data_{};
};

}  // namespace velm
