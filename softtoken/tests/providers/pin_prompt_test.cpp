#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "provider_abi/velm_common.h"

namespace {

constexpr int kPinField = 100;
constexpr uint32_t kLogin = 1;

HWND g_found = nullptr;

BOOL CALLBACK find_dialog(HWND window, LPARAM) {
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  wchar_t name[32] = {};
  GetClassNameW(window, name, 32);
  if (process != GetCurrentProcessId() || std::wstring(name) != L"#32770" || !GetDlgItem(window, kPinField))
    return TRUE;
  g_found = window;
  return FALSE;
}

// Waits until the prompt is visible. Returns null on timeout.
HWND wait_for_prompt() {
  for (int i = 0; i < 500; ++i) {
    g_found = nullptr;
    EnumWindows(find_dialog, 0);
    if (g_found != nullptr && IsWindowVisible(g_found)) return g_found;
    Sleep(20);
  }
  return nullptr;
}

void type(HWND prompt, const std::string& text) {
  for (const char c : text) SendMessageW(GetDlgItem(prompt, kPinField), WM_CHAR, static_cast<WPARAM>(c), 1);
}

void press(HWND prompt, WPARAM key) { PostMessageW(GetDlgItem(prompt, kPinField), WM_KEYDOWN, key, 1); }

bool accepts(HWND prompt) { return IsWindowEnabled(GetDlgItem(prompt, IDOK)) != FALSE; }

// Shows the prompt while another thread acts as the user.
int32_t prompt(char* pin, const std::function<void(HWND)>& user, HWND parent = nullptr) {
  std::thread player([&] {
    const HWND window = wait_for_prompt();
    EXPECT_NE(window, nullptr);
    if (window != nullptr) user(window);
  });
  const int32_t result =
      vc_input_pin(kLogin, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(parent)), pin);
  player.join();
  return result;
}

TEST(PinPrompt, GivesWhatWasTypedOnEnter) {
  char pin[32];
  std::fill(std::begin(pin), std::end(pin), 'x');
  const int32_t result = prompt(pin, [](HWND window) {
    type(window, "1234 aZ~");
    press(window, VK_RETURN);
  });
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(pin, "1234 aZ~");
}

TEST(PinPrompt, GivesNothingOnEscapeOrWhenItIsClosed) {
  for (const bool by_key : {true, false}) {
    char pin[32] = "untouched";
    const int32_t result = prompt(pin, [&](HWND window) {
      type(window, "12345678");
      if (by_key)
        press(window, VK_ESCAPE);
      else
        PostMessageW(window, WM_CLOSE, 0, 0);
    });
    EXPECT_NE(result, 0);
    EXPECT_STREQ(pin, "untouched");
  }
}

TEST(PinPrompt, TakesFourToThirtyOneCharacters) {
  char pin[33] = {};
  const int32_t result = prompt(pin, [](HWND window) {
    EXPECT_FALSE(accepts(window));
    type(window, "123");
    EXPECT_FALSE(accepts(window));
    press(window, VK_RETURN);
    Sleep(50);
    EXPECT_TRUE(IsWindow(window));
    type(window, "4");
    EXPECT_TRUE(accepts(window));
    type(window, std::string(27, '5'));
    EXPECT_TRUE(accepts(window));
    press(window, VK_RETURN);
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(std::string(pin), "1234" + std::string(27, '5'));
}

TEST(PinPrompt, DoesNotCutWhatIsTooLong) {
  char pin[33] = {};
  const int32_t result = prompt(pin, [](HWND window) {
    const HWND field = GetDlgItem(window, kPinField);
    SendMessageW(field, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(std::wstring(40, L'7').c_str()));
    EXPECT_FALSE(accepts(window));
    press(window, VK_RETURN);
    Sleep(50);
    EXPECT_TRUE(IsWindow(window));
    SetWindowTextW(field, L"");
    type(window, std::string(32, '8'));
    EXPECT_FALSE(accepts(window));
    type(window, "\b");
    EXPECT_TRUE(accepts(window));
    press(window, VK_RETURN);
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(std::string(pin), std::string(31, '8'));
}

TEST(PinPrompt, MasksTheFieldAndRefusesOtherCharacters) {
  char pin[32] = {};
  const int32_t result = prompt(pin, [](HWND window) {
    const HWND field = GetDlgItem(window, kPinField);
    EXPECT_NE(GetWindowLongW(field, GWL_STYLE) & ES_PASSWORD, 0);
    EXPECT_NE(SendMessageW(field, EM_GETPASSWORDCHAR, 0, 0), 0);
    SetWindowTextW(field, L"口令口令口令");
    EXPECT_FALSE(accepts(window));
    press(window, VK_ESCAPE);
  });
  EXPECT_NE(result, 0);
}

// Screen contents at a window: 32 bits per pixel, bottom-up.
std::vector<uint32_t> pixels_of(HWND window, BITMAPINFOHEADER& header) {
  RECT area{};
  GetWindowRect(window, &area);
  header = {};
  header.biSize = sizeof header;
  header.biWidth = area.right - area.left;
  header.biHeight = area.bottom - area.top;
  header.biPlanes = 1;
  header.biBitCount = 32;
  const HDC screen = GetDC(nullptr);
  const HDC memory = CreateCompatibleDC(screen);
  const HBITMAP bitmap = CreateCompatibleBitmap(screen, header.biWidth, header.biHeight);
  SelectObject(memory, bitmap);
  BitBlt(memory, 0, 0, header.biWidth, header.biHeight, screen, area.left, area.top, SRCCOPY);
  std::vector<uint32_t> pixels(static_cast<size_t>(header.biWidth) * static_cast<size_t>(header.biHeight));
  BITMAPINFO information{};
  information.bmiHeader = header;
  GetDIBits(memory, bitmap, 0, static_cast<UINT>(header.biHeight), pixels.data(), &information,
            DIB_RGB_COLORS);
  DeleteObject(bitmap);
  DeleteDC(memory);
  ReleaseDC(nullptr, screen);
  return pixels;
}

void save_picture(const char* path, const BITMAPINFOHEADER& header, const std::vector<uint32_t>& pixels) {
  BITMAPFILEHEADER file{};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof file + sizeof header;
  file.bfSize = file.bfOffBits + static_cast<DWORD>(pixels.size() * sizeof pixels[0]);
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(&file), sizeof file);
  stream.write(reinterpret_cast<const char*>(&header), sizeof header);
  stream.write(reinterpret_cast<const char*>(pixels.data()),
               static_cast<std::streamsize>(pixels.size() * sizeof pixels[0]));
}

// Requires a display. Saves a screenshot next to the test.
TEST(PinPromptOnADisplay, IsPaintedWithThePinMasked) {
  char pin[32] = {};
  const int32_t result = prompt(pin, [](HWND window) {
    BITMAPINFOHEADER header;
    const auto picture = [&] {
      Sleep(500);
      return pixels_of(window, header);
    };
    type(window, "iiiiiiii");
    const auto narrow = picture();
    SetWindowTextW(GetDlgItem(window, kPinField), L"WWWWWWWW");
    const auto wide = picture();
    save_picture("pin_prompt.bmp", header, wide);
    EXPECT_GT(std::set<uint32_t>(wide.begin(), wide.end()).size(), 2u);
    size_t different = 0;
    for (size_t i = 0; i < wide.size() && i < narrow.size(); ++i) different += wide[i] != narrow[i];
    EXPECT_LT(different, 40u) << "more than a caret differs";
    press(window, VK_RETURN);
  });
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(pin, "WWWWWWWW");
}

TEST(PinPrompt, StandsOnItsParentAndGivesItBack) {
  const HWND parent = CreateWindowExW(0, L"STATIC", L"parent", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 300,
                                      200, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(parent, nullptr);
  char pin[32] = {};
  const int32_t result = prompt(
      pin,
      [&](HWND window) {
        EXPECT_EQ(GetWindow(window, GW_OWNER), parent);
        EXPECT_FALSE(IsWindowEnabled(parent));
        type(window, "12345678");
        press(window, VK_RETURN);
      },
      parent);
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(pin, "12345678");
  EXPECT_TRUE(IsWindowEnabled(parent));
  DestroyWindow(parent);
}

// A parent may be closed between the call and the prompt.
TEST(PinPrompt, NeedsNoParent) {
  const HWND parent = CreateWindowExW(0, L"STATIC", L"parent", WS_OVERLAPPEDWINDOW, 0, 0, 300, 200, nullptr,
                                      nullptr, nullptr, nullptr);
  DestroyWindow(parent);
  char pin[32] = {};
  const int32_t result = prompt(
      pin,
      [](HWND window) {
        type(window, "12345678");
        press(window, VK_RETURN);
      },
      parent);
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(pin, "12345678");
}

/** Number of places in a block of memory where a text is stored in UTF-16. */
size_t wide_copies(const unsigned char* bytes, size_t size, const std::string& text) {
  size_t found = 0;
  for (size_t i = 0; i + 2 * text.size() <= size; i += 2) {
    size_t same = 0;
    while (same < text.size() && bytes[i + 2 * same] == static_cast<unsigned char>(text[same]) &&
           bytes[i + 2 * same + 1] == 0)
      ++same;
    if (same == text.size()) ++found;
  }
  return found;
}

/** The same in everything that the process has written: heaps, stacks, data of modules. */
size_t wide_copies_in_process(const std::string& text) {
  static unsigned char piece[1 << 16];
  size_t found = 0;
  MEMORY_BASIC_INFORMATION region{};
  for (const unsigned char* at = nullptr; VirtualQuery(at, &region, sizeof region) != 0;) {
    const auto* const start = static_cast<const unsigned char*>(region.BaseAddress);
    const auto* const end = start + region.RegionSize;
    const DWORD writable = PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    const bool readable =
        region.State == MEM_COMMIT && (region.Protect & writable) != 0 && (region.Protect & PAGE_GUARD) == 0;
    // The pieces overlap, so that no text is between two of them.
    for (at = start; readable && at < end; at += sizeof piece - 2 * text.size()) {
      if (at <= piece + sizeof piece && at + sizeof piece >= piece) continue;
      const auto left = static_cast<size_t>(end - at);
      SIZE_T count = 0;
      ReadProcessMemory(GetCurrentProcess(), at, piece, std::min(left, sizeof piece), &count);
      found += wide_copies(piece, count, text);
    }
    at = end;
  }
  return found;
}

// The thread of the prompt goes on, so that its stack is searched too.
TEST(PinPrompt, LeavesNoPinInTheProcess) {
  const std::string typed = "0123456789abcdefXq7zMv93Kt";
  const std::string part = typed.substr(16);  // a freed block begins with the heap's own data
  for (const WPARAM key : {VK_RETURN, VK_ESCAPE}) {
    const HANDLE ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE searched = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread user([&] {
      char pin[32] = {};
      prompt(pin, [&](HWND window) {
        type(window, typed);
        EXPECT_EQ(wide_copies_in_process(part), 1u) << "only the field has one";
        press(window, key);
      });
      SecureZeroMemory(pin, sizeof pin);
      SetEvent(ended);
      WaitForSingleObject(searched, INFINITE);
    });
    EXPECT_EQ(WaitForSingleObject(ended, 60'000), WAIT_OBJECT_0);
    EXPECT_EQ(wide_copies_in_process(part), 0u) << "key " << key;
    SetEvent(searched);
    user.join();
    CloseHandle(searched);
    CloseHandle(ended);
  }
}

TEST(PinPrompt, RefusesWhatItCannotDo) {
  char pin[32];
  EXPECT_NE(vc_input_pin(kLogin, 0, nullptr), 0);
  EXPECT_NE(vc_input_pin(2, 0, pin), 0);
}

}  // namespace
