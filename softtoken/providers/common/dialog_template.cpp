#include "softtoken/providers/common/dialog_template.h"

#include <cstddef>

namespace velm::token {
namespace {

constexpr WORD kFontSize = 9;
constexpr const wchar_t* kFont = L"MS Shell Dlg";
constexpr size_t kCountOffset = offsetof(DLGTEMPLATE, cdit) / sizeof(WORD);
constexpr WORD kClassByNumber = 0xFFFF;

}  // namespace

DialogTemplate::DialogTemplate(std::wstring_view title, DWORD style, DWORD extended_style, DialogArea area) {
  put_double(style | DS_SETFONT);
  put_double(extended_style);
  put(0);  // number of controls, incremented by add()
  put_area(area);
  put(0);  // no menu
  put(0);  // default window class
  put_text(title);
  put(kFontSize);
  put_text(kFont);
}

void DialogTemplate::add(ControlClass control, WORD id, std::wstring_view text, DWORD style,
                         DialogArea area) {
  if (words_.size() % 2 != 0) put(0);  // items are DWORD-aligned
  put_double(style | WS_CHILD | WS_VISIBLE);
  put_double(0);
  put_area(area);
  put(id);
  put(kClassByNumber);
  put(static_cast<WORD>(control));
  put_text(text);
  put(0);  // no creation data
  ++words_[kCountOffset];
}

void DialogTemplate::put_double(DWORD value) {
  put(LOWORD(value));
  put(HIWORD(value));
}

void DialogTemplate::put_area(DialogArea area) {
  for (const short value : {area.x, area.y, area.width, area.height}) put(static_cast<WORD>(value));
}

void DialogTemplate::put_text(std::wstring_view text) {
  for (const wchar_t character : text) put(character);
  put(0);
}

}  // namespace velm::token
