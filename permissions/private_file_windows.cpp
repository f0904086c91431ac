#include <stdexcept>
#include <string>

#include "permissions/access.h"
#include "permissions/private_file.h"

namespace velm::permissions {
namespace {

[[noreturn]] void fail(const std::string& what, DWORD error) {
  throw std::runtime_error(what + ": system error " + std::to_string(error));
}

std::string utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

// Full access for the current user, which files in a folder inherit, and nobody else.
LocalMemory private_descriptor() {
  const std::wstring user = text_of_sid(current_user());
  if (user.empty()) fail("no user of the process", GetLastError());
  LocalMemory descriptor = descriptor_of_text((L"D:P(A;OICI;FA;;;" + user + L")").c_str());
  if (!descriptor) fail("no security descriptor", GetLastError());
  return descriptor;
}

SECURITY_ATTRIBUTES attributes_with(const LocalMemory& descriptor) {
  return {sizeof(SECURITY_ATTRIBUTES), descriptor.get(), FALSE};
}

void create_private_folder(const std::filesystem::path& folder) {
  if (folder.empty() || std::filesystem::exists(folder)) return;
  if (folder.has_parent_path()) std::filesystem::create_directories(folder.parent_path());
  const LocalMemory descriptor = private_descriptor();
  SECURITY_ATTRIBUTES attributes = attributes_with(descriptor);
  if (!CreateDirectoryW(folder.c_str(), &attributes) && GetLastError() != ERROR_ALREADY_EXISTS)
    fail("cannot create " + utf8(folder), GetLastError());
}

}  // namespace

void create_private_file(const std::filesystem::path& file) {
  create_private_folder(file.parent_path());
  const LocalMemory descriptor = private_descriptor();
  SECURITY_ATTRIBUTES attributes = attributes_with(descriptor);
  const HANDLE created = CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, 0, &attributes, CREATE_NEW,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
  if (created != INVALID_HANDLE_VALUE) {
    CloseHandle(created);
  } else if (GetLastError() != ERROR_FILE_EXISTS) {
    fail("cannot create " + utf8(file), GetLastError());
  }
}

void require_private_file(const std::filesystem::path& file) {
  const auto others = others_who_may(kUse, file, can_take_any_file);
  if (!others || others->empty()) return;  // if its permissions cannot be read, opening the file decides
  throw std::runtime_error("other users may read or write " + utf8(file) +
                           "; restrict its permissions to your own account");
}

}  // namespace velm::permissions
