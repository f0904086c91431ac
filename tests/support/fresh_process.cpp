#include "support/fresh_process.h"

#include <windows.h>

#include <cstring>
#include <map>

#include <gtest/gtest.h>

#include "support/program_folder.h"

namespace velm::test {
namespace {

constexpr char kOption[] = "--velm-child=";

std::map<std::string, ChildProcess::Body>& children() {
  static std::map<std::string, ChildProcess::Body> registered;
  return registered;
}

// Quotes an argument for CommandLineToArgvW and the C runtime.
std::string quoted(const std::string& argument) {
  std::string text = "\"";
  size_t backslashes = 0;
  for (const char character : argument) {
    if (character == '"') text.append(backslashes + 1, '\\');
    backslashes = character == '\\' ? backslashes + 1 : 0;
    text += character;
  }
  return text.append(backslashes, '\\') + '"';
}

std::wstring wide(const std::string& text) {
  std::wstring converted(text.size(), L'\0');
  const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                         converted.data(), static_cast<int>(converted.size()));
  converted.resize(static_cast<size_t>(length));
  return converted;
}

std::string read_to_end(HANDLE pipe) {
  std::string output;
  char block[4096];
  for (DWORD count; ReadFile(pipe, block, sizeof block, &count, nullptr) && count > 0;) {
    output.append(block, count);
  }
  return output;
}

}  // namespace

ChildProcess::ChildProcess(const char* name, Body body) { children()[name] = body; }

bool ran_as_child(int argument_count, char** arguments, int& exit_code) {
  if (argument_count < 2 || std::strncmp(arguments[1], kOption, sizeof kOption - 1) != 0) return false;
  const auto child = children().find(arguments[1] + sizeof kOption - 1);
  exit_code =
      child == children().end() ? -1 : child->second(Arguments(arguments + 2, arguments + argument_count));
  return true;
}

ChildResult run_child(const std::string& name, const Arguments& arguments) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  HANDLE read_end, write_end;
  CreatePipe(&read_end, &write_end, &inheritable, 0);
  SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = write_end;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);

  const std::wstring program = program_path();
  std::wstring command = L"\"" + program + L"\" " + wide(quoted(kOption + name));
  for (const std::string& argument : arguments) command += L' ' + wide(quoted(argument));

  PROCESS_INFORMATION child{};
  const bool started = CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                      nullptr, &startup, &child);
  CloseHandle(write_end);
  ChildResult result{0xFFFFFFFF, ""};
  if (started) {
    result.output = read_to_end(read_end);
    WaitForSingleObject(child.hProcess, INFINITE);
    DWORD exit_code;
    GetExitCodeProcess(child.hProcess, &exit_code);
    result.exit_code = exit_code;
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
  } else {
    ADD_FAILURE() << "the child process " << name << " cannot be started: " << GetLastError();
  }
  CloseHandle(read_end);
  return result;
}

}  // namespace velm::test
