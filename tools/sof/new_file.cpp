#include "new_file.h"

#include <windows.h>
#include <bcrypt.h>

#include <system_error>

std::wstring random_name() {
  unsigned char bytes[16];
  if (BCryptGenRandom(nullptr, bytes, sizeof bytes, BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
    throw std::runtime_error("the system provides no random numbers");
  }
  std::wstring name;
  for (const unsigned char byte : bytes) {
    name += L"0123456789abcdef"[byte >> 4];
    name += L"0123456789abcdef"[byte & 15];
  }
  return name;
}

std::filesystem::path create_new_file(const std::filesystem::path& folder, const wchar_t* ending,
                                      std::wstring (*name)()) {
  constexpr int kAttempts = 10;
  DWORD error = ERROR_FILE_EXISTS;
  for (int attempt = 0; attempt < kAttempts && error == ERROR_FILE_EXISTS; ++attempt) {
    std::filesystem::path path = folder / (L"sof-" + name() + ending);
    // CREATE_NEW neither opens an existing file nor follows a link. Without security attributes, child
    // processes do not inherit the handle.
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      CloseHandle(file);
      return path;
    }
    error = GetLastError();
  }
  throw std::filesystem::filesystem_error("no temporary file can be created", folder,
                                          std::error_code(static_cast<int>(error), std::system_category()));
}
