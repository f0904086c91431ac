#include <windows.h>

#include <algorithm>
#include <array>

#include "mingw_tls/thread_storage.h"
#include "protocol/limits.h"
#include "provider_abi/velm_common.h"
#include "softtoken/providers/common/dialog_template.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

enum PromptResult : int32_t { kEntered = 0, kCancelled = 1, kFailed = 2 };

/** Prompt kind: login. */
constexpr uint32_t kLoginPrompt = 1;

// Input limit: one more than the longest PIN, so that a PIN that is too long is rejected instead of
// truncated.
constexpr size_t kMostTyped = kLongestPin + 1;

constexpr WORD kPinField = 100;
constexpr WORD kNoNumber = 0xFFFF;

struct PromptTexts {
  const wchar_t* title;
  const wchar_t* request;
  const wchar_t* accept;
  const wchar_t* cancel;
};

// The texts below repeat these lengths.
static_assert(kShortestPin == 4 && kLongestPin == 31);

constexpr PromptTexts kEnglish{L"PIN", L"Enter the PIN of your container (4 to 31 characters):", L"OK",
                               L"Cancel"};
constexpr PromptTexts kChinese{L"输入口令", L"请输入容器口令(4 至 31 个字符):", L"确定", L"取消"};

const PromptTexts& texts_of_user() {
  return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_CHINESE ? kChinese : kEnglish;
}

/** The entered text; zeroed in the destructor. */
class TypedPin {
 public:
  explicit TypedPin(HWND dialog)
      : length_(GetDlgItemTextW(dialog, kPinField, text_.data(), static_cast<int>(text_.size()))) {}
  TypedPin(const TypedPin&) = delete;
  ~TypedPin() { SecureZeroMemory(text_.data(), sizeof text_); }

  bool acceptable() const {
    return length_ >= kShortestPin && length_ <= kLongestPin &&
           std::all_of(text_.begin(), text_.begin() + length_,
                       [](wchar_t c) { return c >= 0x20 && c < 0x7F; });
  }
  void copy_to(char* pin) const {
    char* const end = std::transform(text_.begin(), text_.begin() + length_, pin,
                                     [](wchar_t c) { return static_cast<char>(c); });
    *end = '\0';
  }

 private:
  std::array<wchar_t, kMostTyped + 1> text_{};
  unsigned length_;
};

void start(HWND dialog, LPARAM pin) {
  SetWindowLongPtrW(dialog, DWLP_USER, pin);
  SendDlgItemMessageW(dialog, kPinField, EM_LIMITTEXT, kMostTyped, 0);
  EnableWindow(GetDlgItem(dialog, IDOK), FALSE);
  SetForegroundWindow(dialog);
  SetFocus(GetDlgItem(dialog, kPinField));
}

// Overwrite the edit control's own buffer before the control frees it.
void wipe_field(HWND dialog) {
  const std::array<wchar_t, kMostTyped + 1> stars = [] {
    std::array<wchar_t, kMostTyped + 1> text{};
    std::fill_n(text.begin(), kMostTyped, L'*');
    return text;
  }();
  SetDlgItemTextW(dialog, kPinField, stars.data());
  SetDlgItemTextW(dialog, kPinField, L"");
}

void end(HWND dialog, PromptResult result) {
  wipe_field(dialog);
  EndDialog(dialog, result);
}

void command(HWND dialog, WORD control, WORD event) {
  if (control == kPinField && event == EN_CHANGE)
    EnableWindow(GetDlgItem(dialog, IDOK), TypedPin(dialog).acceptable());
  if (control == IDCANCEL) end(dialog, kCancelled);
  if (control != IDOK) return;
  const TypedPin typed(dialog);
  if (!typed.acceptable()) return;
  typed.copy_to(reinterpret_cast<char*>(GetWindowLongPtrW(dialog, DWLP_USER)));
  end(dialog, kEntered);
}

INT_PTR CALLBACK answer_message(HWND dialog, UINT message, WPARAM first, LPARAM second) {
  switch (message) {
    case WM_INITDIALOG:
      start(dialog, second);
      return FALSE;  // the focus is already set
    case WM_COMMAND:
      command(dialog, LOWORD(first), HIWORD(first));
      return TRUE;
    default:
      return FALSE;
  }
}

// Window handles have 32 significant bits and are sign-extended.
HWND window_of(uint32_t low_bits) {
  const auto window = reinterpret_cast<HWND>(static_cast<LONG_PTR>(static_cast<int32_t>(low_bits)));
  return IsWindow(window) ? window : nullptr;
}

DialogTemplate prompt_template(const PromptTexts& texts, bool has_parent) {
  const DWORD style =
      DS_MODALFRAME | DS_CENTER | DS_SETFOREGROUND | WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_VISIBLE;
  DialogTemplate prompt(texts.title, style, has_parent ? 0 : WS_EX_TOPMOST, {0, 0, 200, 72});
  prompt.add(ControlClass::text, kNoNumber, texts.request, SS_LEFT, {10, 10, 180, 10});
  prompt.add(ControlClass::edit, kPinField, L"", ES_PASSWORD | ES_AUTOHSCROLL | WS_BORDER | WS_TABSTOP,
             {10, 24, 180, 14});
  prompt.add(ControlClass::button, IDOK, texts.accept, BS_DEFPUSHBUTTON | WS_TABSTOP, {82, 48, 50, 14});
  prompt.add(ControlClass::button, IDCANCEL, texts.cancel, BS_PUSHBUTTON | WS_TABSTOP, {140, 48, 50, 14});
  return prompt;
}

}  // namespace

int32_t vc_input_pin(uint32_t kind, uint32_t parent_window, char* pin) {
  if (kind != kLoginPrompt || pin == nullptr || !velm::prepare_thread()) return kFailed;
  try {
    const HWND parent = window_of(parent_window);
    const DialogTemplate prompt = prompt_template(texts_of_user(), parent != nullptr);
    const INT_PTR result = DialogBoxIndirectParamW(GetModuleHandleW(nullptr), prompt.get(), parent,
                                                   answer_message, reinterpret_cast<LPARAM>(pin));
    return result == kEntered || result == kCancelled ? static_cast<int32_t>(result) : kFailed;
  } catch (...) {
    return kFailed;
  }
}
