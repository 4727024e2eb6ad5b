#include "base/message.h"

#include <gtest/gtest.h>

#include <string>

namespace qx {
namespace {

TEST(Message, CutsAtCharacterBoundary) {
  struct Row {
    const char* text;
    const char* expected;
    const char* why;
  };
  for (const Row& row : {Row{"abcdefg", "abcdefg", "fits exactly with the terminator"}, Row{"abcdefgh", "abcdefg", "one byte too long"},
                         Row{"abcdef\xC3\xA9", "abcdef", "the cut would split a two-byte character"},
                         Row{"abcde\xE2\x82\xACz", "abcde", "the cut falls inside a three-byte character"},
                         Row{"abcde\xC3\xA9z", "abcde\xC3\xA9", "a whole character ends at the cut"}}) {
    MessageBuffer<8> buffer;
    EXPECT_EQ(buffer.view().Fail("%s", row.text), -1);
    EXPECT_STREQ(buffer.text(), row.expected) << row.why;
  }
}

TEST(Message, WorksWithoutBuffer) {
  EXPECT_EQ(Message().Fail("%d", 1), -1);
  EXPECT_STREQ(Message(nullptr, 10).text(), "");
  char one = 'x';
  Message(&one, 1).Set("long");
  EXPECT_EQ(one, '\0');
}

}  // namespace
}  // namespace qx
