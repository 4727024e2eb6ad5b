// Numbers in the texts of an archive.
#pragma once

#include <algorithm>
#include <string_view>

namespace qx {

/// Without leading blanks and tabs and without the plus that std::from_chars does not take.
inline std::string_view SkipBlanksAndPlus(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  return text;
}

}  // namespace qx
