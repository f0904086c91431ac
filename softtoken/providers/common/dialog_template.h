#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace velm::token {

/** Predefined window classes of controls, by their atoms in a dialog template. */
enum class ControlClass : WORD { button = 0x0080, edit = 0x0081, text = 0x0082 };

/** Position and size in dialog units. */
struct DialogArea {
  short x;
  short y;
  short width;
  short height;
};

/** In-memory dialog template. All areas are in dialog units. */
class DialogTemplate {
 public:
  DialogTemplate(std::wstring_view title, DWORD style, DWORD extended_style, DialogArea area);

  void add(ControlClass control, WORD id, std::wstring_view text, DWORD style, DialogArea area);
  /** Valid until the next call of add(). */
  const DLGTEMPLATE* get() const { return reinterpret_cast<const DLGTEMPLATE*>(words_.data()); }

 private:
  void put(WORD word) { words_.push_back(word); }
  void put_double(DWORD value);
  void put_area(DialogArea area);
  void put_text(std::wstring_view text);

  std::vector<WORD> words_;
};

}  // namespace velm::token
