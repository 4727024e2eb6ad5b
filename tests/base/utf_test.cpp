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

TEST(Utf, RefusesMalformedTextWhereItMustBeWhole) {
  EXPECT_EQ(StrictUtf16FromUtf8("\xF0\x9F\x8E\xA5"), u"\U0001F3A5");
  EXPECT_EQ(StrictUtf8FromUtf16(u"\U0001F3A5"), "\xF0\x9F\x8E\xA5");
  for (const char* text : {"a\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF5\x80\x80\x80", "\x80"}) {
    EXPECT_FALSE(StrictUtf16FromUtf8(text).has_value()) << text;
  }
  for (const std::u16string& text : {std::u16string{0xD800}, std::u16string{0xDC00, 0xD800}, std::u16string{0xD800, u'a'}}) {
    EXPECT_FALSE(StrictUtf8FromUtf16(text).has_value());
  }
  EXPECT_EQ(StrictUtf16FromUtf8("\xEF\xBF\xBD"), u"\uFFFD") << "the replacement character itself is text";
}

}  // namespace
}  // namespace qx
