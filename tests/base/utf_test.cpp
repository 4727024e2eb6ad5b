#include "base/utf.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

TEST(Utf, ConvertsBothWays) {
  struct Row {
    const char* utf8;
    std::u16string utf16;
  };
  for (const Row& row : {Row{"", u""}, Row{"clip.zip", u"clip.zip"}, Row{"\xC3\xA9t\xC3\xA9", u"\u00e9t\u00e9"},
                         Row{"\xE6\x98\xA0", u"\u6620"}, Row{"\xF0\x9F\x8E\xA5", u"\U0001F3A5"}}) {
    EXPECT_EQ(Utf16FromUtf8(row.utf8), row.utf16);
    EXPECT_EQ(Utf8FromUtf16(row.utf16), row.utf8);
  }
}

TEST(Utf, ReplacesMalformedText) {
  EXPECT_EQ(Utf16FromUtf8("a\xC3"), u"a\uFFFD");
  EXPECT_EQ(Utf16FromUtf8("\xC0\x80"), u"\uFFFD\uFFFD");            // overlong
  EXPECT_EQ(Utf16FromUtf8("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");  // surrogate
  EXPECT_EQ(Utf8FromUtf16(std::u16string(1, char16_t(0xD800))), "\xEF\xBF\xBD");
}

}  // namespace
}  // namespace qx
