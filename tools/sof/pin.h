#pragma once

#include <array>
#include <string>

#include <CLI/App.hpp>

/** A PIN; zeroed in the destructor. */
class Secret {
 public:
  Secret() = default;
  ~Secret();
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&&) = delete;

  const char* text() const { return text_.data(); }
  uint32_t size() const { return size_; }
  bool operator==(const Secret& other) const;
  /** Returns false if the PIN is too long. */
  bool append(char byte);

 private:
  std::array<char, 256> text_{};
  uint32_t size_ = 0;
};

/**
 * Source of PINs: a prompt if standard input is a console, otherwise one line of standard input for each PIN.
 * PINs are never read from the command line.
 */
class PinSource {
 public:
  void add_options(CLI::App& command);
  /**
   * Throws Failure if no PIN is available or standard input is already used for something else.
   * @param name Description for the prompt and for error messages.
   */
  Secret ask(const std::string& name);

 private:
  bool from_standard_input_ = false;
  bool taken_ = false;
};
