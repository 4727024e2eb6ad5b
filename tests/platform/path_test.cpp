#include "platform/path.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

TEST(Path, GoesFromUtf16ToUtf8) {
  struct Row {
    std::u16string_view text;
    const char* expected;
    const char* why;
  };
  for (const Row& row :
       {Row{u"clips/A001.zip", "clips/A001.zip", "ASCII"}, Row{u"\u00E9t\u00E9.zip", "\xC3\xA9t\xC3\xA9.zip", "two bytes"},
        Row{u"\u6620\u50CF", "\xE6\x98\xA0\xE5\x83\x8F", "three bytes"}, Row{u"\U0001F3AC.zip", "\xF0\x9F\x8E\xAC.zip", "a surrogate pair"},
        Row{std::u16string_view(u"a\xD83C", 2), "a\xEF\xBF\xBD", "half a pair has no UTF-8 form"}, Row{u"", "", "nothing"}}) {
    EXPECT_EQ(Utf8FromPath(PathFromUtf16(row.text)), row.expected) << row.why;
  }
}

TEST(Path, LowersEachCharacterOfItsOwn) {
  EXPECT_EQ(LowercaseUtf16(u"C:\\Clips\\A001_B.ZIP"), u"c:\\clips\\a001_b.zip");
  EXPECT_EQ(LowercaseUtf16(u"\u00C9\u0416\u03A9"), u"\u00E9\u0436\u03C9") << "Latin, Cyrillic, Greek";
  EXPECT_EQ(LowercaseUtf16(u"\u6620\U0001F3AC"), u"\u6620\U0001F3AC") << "no case; surrogates stay a pair";
}

}  // namespace
}  // namespace qx
