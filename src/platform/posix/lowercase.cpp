#include <locale.h>
#include <wctype.h>

#include "platform/path.h"

namespace qx {

std::u16string LowercaseUtf16(std::u16string_view text) {
  // The process's own locale may be "C", which knows ASCII only.
  static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  std::u16string lower(text);
  for (char16_t& c : lower) {
    const bool surrogate = c >= 0xD800 && c < 0xE000;
    if (!surrogate && unicode != nullptr) c = char16_t(towlower_l(wint_t(c), unicode));
  }
  return lower;
}

}  // namespace qx
