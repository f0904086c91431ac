#include "support/standins.h"

#include <windows.h>

#include <array>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>

#include "support/base64.h"
#include "support/program_folder.h"

namespace velm::test {
namespace {

// A row of the table of a stand-in module.
struct Row {
  const char* name;
  void (*target)();
};

constexpr const wchar_t* kModules[] = {L"velm_client_saf.dll", L"velm_openssl_api.dll", L"velm_common.dll",
                                       L"velm_dev_enum.dll"};
constexpr size_t kMostFunctions = 128;

struct State {
  std::mutex mutex;
  std::map<std::string, Row*> rows;
  std::vector<const char*> names;  // function names in the order of their unscripted entries
  std::vector<std::string> log;
  std::vector<std::function<void()>> resets;
};

// Never destroyed: the library calls its provider while the process ends.
State& state() {
  static State& only = *new State;
  return only;
}

template <size_t index>
uintptr_t unscripted() {
  standin_detail::record(state().names[index]);
  return 0;
}

template <size_t... index>
constexpr std::array<uintptr_t (*)(), sizeof...(index)> unscripted_entries(std::index_sequence<index...>) {
  return {&unscripted<index>...};
}

constexpr auto kUnscripted = unscripted_entries(std::make_index_sequence<kMostFunctions>{});

int32_t encode(const uint8_t* input, uint32_t length, uint8_t* output, uint32_t* output_length) {
  const std::string content = base64(bytes(input, length));
  if (output) content.copy(reinterpret_cast<char*>(output), content.size());
  *output_length = static_cast<uint32_t>(content.size());
  return 0;
}

int32_t decode(const uint8_t* input, uint32_t length, uint8_t* output, uint32_t* output_length) {
  const std::optional<std::string> content = from_base64(bytes(input, length));
  if (!content) return -1;
  if (output) content->copy(reinterpret_cast<char*>(output), content->size());
  *output_length = static_cast<uint32_t>(content->size());
  return 0;
}

uint32_t saf_encode(const uint8_t* input, uint32_t length, uint8_t* output, uint32_t* output_length) {
  return give(base64(bytes(input, length)), output, output_length);
}

uint32_t saf_decode(const uint8_t* input, uint32_t length, uint8_t* output, uint32_t* output_length) {
  const std::optional<std::string> content = from_base64(bytes(input, length));
  return content ? give(*content, output, output_length) : 0x02000201;
}

}  // namespace

namespace standin_detail {

void load_modules() {
  if (!state().rows.empty()) return;
  for (const wchar_t* name : kModules) {
    const HMODULE module = LoadLibraryW((program_folder() + name).c_str());
    auto* row = module ? reinterpret_cast<Row*>(GetProcAddress(module, "velm_standin_table")) : nullptr;
    if (!row) throw std::runtime_error("a stand-in module is missing");
    for (; row->name; ++row) {
      state().rows[row->name] = row;
      row->target = reinterpret_cast<void (*)()>(kUnscripted.at(state().names.size()));
      state().names.push_back(row->name);
    }
  }
}

void record(const char* name) {
  const std::lock_guard lock(state().mutex);
  state().log.emplace_back(name);
}

void connect(const char* name, void (*target)(), std::function<void()> reset) {
  load_modules();
  const std::lock_guard lock(state().mutex);
  state().rows.at(name)->target = target;
  state().resets.push_back(std::move(reset));
}

}  // namespace standin_detail

uint32_t give(const std::string& content, void* output, uint32_t* length, uint32_t refusal) {
  const auto size = static_cast<uint32_t>(content.size());
  if (output && *length < size) return refusal;
  if (output) std::memcpy(output, content.data(), size);
  *length = size;
  return 0;
}

Standins::Standins() {
  standin_detail::load_modules();
  reset();
}

Standins::~Standins() { reset(); }

void Standins::reset() {
  std::vector<std::function<void()>> resets;
  {
    const std::lock_guard lock(state().mutex);
    state().log.clear();
    resets = state().resets;
  }
  for (const auto& forget : resets) forget();
  STANDIN(VELM_Openssl_Base64Encode).plays(encode);
  STANDIN(VELM_Openssl_Base64Decode).plays(decode);
  STANDIN(SAF_Base64_Encode).plays(saf_encode);
  STANDIN(SAF_Base64_Decode).plays(saf_decode);
}

std::vector<std::string> Standins::call_log() {
  const std::lock_guard lock(state().mutex);
  return state().log;
}

std::vector<std::string> Standins::call_log(const std::string& prefix) {
  std::vector<std::string> log = call_log();
  std::erase_if(log, [&](const std::string& name) { return !name.starts_with(prefix); });
  return log;
}

}  // namespace velm::test
