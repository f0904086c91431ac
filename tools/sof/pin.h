#pragma once

#include <array>
#include <string>

#include <CLI/App.hpp>

/** A PIN, wiped when it is no longer needed. */
class Secret {
 public:
  Secret() = default;
  ~Secret();
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&&) = delete;

  const char* text() const { return text_.data(); }
  uint32_t size() const { return size_; }
  bool operator==(const Secret& other) const;
  /** False when it is full. */
  bool append(char byte);

 private:
  std::array<char, 256> text_{};
  uint32_t size_ = 0;
};

/**
 * Where PINs come from: a prompt when standard input is a console, otherwise its lines, one for each PIN.
 * They are never taken from the command line.
 */
class PinSource {
 public:
  void add_options(CLI::App& command);
  /**
   * @param name What is asked for, as the prompt and messages name it.
   * Throws Failure when there is none, or when standard input carries something else.
   */
  Secret ask(const std::string& name);

 private:
  bool from_standard_input_ = false;
  bool taken_ = false;
};
