// Expands path templates. Placeholders in braces are recognised by a hash and replaced in slot order. The
// caller supplies the values; windows_path_values.h contains those of this machine.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

namespace velm::path {

constexpr size_t kResultArea = 1024;  // size of the result in bytes, with the terminating zero
constexpr size_t kValueArea = 256;    // size of one value in bytes, with the terminating zero
constexpr int kOk = 0;
constexpr int kValueMissing = -21;

constexpr uint32_t kSlots = 36;

constexpr uint32_t slot_of(std::string_view name) {
  uint32_t hash = 0;
  for (char c : name) hash = hash * 131 + static_cast<unsigned char>(c);
  return hash % kSlots;
}

// In the order of expansion.
enum class Placeholder {
  time,
  sys64,
  sys32,
  tmp,
  clock,
  date,
  apptmp,
  pf64,
  pf32,
  userdir,
  locallow,
  commonappdata
};

struct PlaceholderSlot {
  uint32_t slot;
  const char* text;
  Placeholder placeholder;
};

constexpr std::array<PlaceholderSlot, 12> kPlaceholders{{
    {5, "{time}", Placeholder::time},
    {7, "{sys64}", Placeholder::sys64},
    {8, "{sys32}", Placeholder::sys32},
    {11, "{tmp}", Placeholder::tmp},
    {14, "{clock}", Placeholder::clock},
    {18, "{date}", Placeholder::date},
    {22, "{apptmp}", Placeholder::apptmp},
    {24, "{pf64}", Placeholder::pf64},
    {25, "{pf32}", Placeholder::pf32},
    {26, "{userdir}", Placeholder::userdir},
    {29, "{locallow}", Placeholder::locallow},
    {32, "{commonappdata}", Placeholder::commonappdata},
}};

struct Value {
  enum class Kind { text, leave, missing } kind;
  std::string text;

  static Value of(std::string text) { return {Kind::text, std::move(text)}; }
  static Value leave_as_it_stands() { return {Kind::leave, {}}; }
  static Value missing() { return {Kind::missing, {}}; }
};

struct ValueSource {
  std::function<Value(Placeholder)> value;
  std::function<unsigned()> random;
};

// Result of scanning a template: the slots of its placeholders, and the first placeholder whose name contains
// "rand".
struct Marks {
  std::bitset<kSlots> slots;
  std::string random_placeholder;
};

inline Marks scan(std::string_view text) {
  Marks marks;
  size_t open = std::string_view::npos;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '{') {
      open = i;
    } else if (text[i] == '}' && open != std::string_view::npos) {
      const std::string_view name = text.substr(open + 1, i - open - 1);
      if (marks.random_placeholder.empty() && name.find("rand") != std::string_view::npos) {
        marks.random_placeholder = std::string(text.substr(open, i - open + 1));
      } else {
        marks.slots.set(slot_of(name));
      }
      open = std::string_view::npos;
    }
  }
  return marks;
}

inline void replace_all(std::string& text, std::string_view placeholder, std::string_view value) {
  for (size_t at = 0; (at = text.find(placeholder, at)) != std::string::npos; at += value.size()) {
    text.replace(at, placeholder.size(), value);
  }
  if (text.size() >= kResultArea) text.resize(kResultArea - 1);
}

inline std::string random_text(const std::string& placeholder, const std::function<unsigned()>& random) {
  static constexpr char kAlphabet[] = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  int length = 0;
  if (std::sscanf(placeholder.c_str(), "{rand%d}", &length) != 1 || length < 0) length = 0;
  if (length > static_cast<int>(kValueArea) - 1) length = static_cast<int>(kValueArea) - 1;
  std::string text;
  for (int i = 0; i < length; ++i) text += kAlphabet[random() % 62];
  return text;
}

// Expands `text` into `result`, truncated to 1,023 bytes. If a required value does not exist, returns
// kValueMissing and leaves `result` unchanged.
inline int expand(std::string_view text, std::string& result, const ValueSource& source) {
  std::string current(text.substr(0, kResultArea - 1));
  const Marks marks = scan(current);
  for (const PlaceholderSlot& row : kPlaceholders) {
    if (!marks.slots.test(row.slot)) continue;
    Value value = source.value(row.placeholder);
    if (value.kind == Value::Kind::missing) return kValueMissing;
    if (value.kind == Value::Kind::leave) continue;
    if (value.text.size() >= kValueArea) value.text.resize(kValueArea - 1);
    replace_all(current, row.text, value.text);
  }
  if (!marks.random_placeholder.empty()) {
    replace_all(current, marks.random_placeholder, random_text(marks.random_placeholder, source.random));
  }
  result = std::move(current);
  return kOk;
}

}  // namespace velm::path
