#include "Printable.h"

#include <gtest/gtest.h>

using namespace std::string_view_literals;

TEST(PrintableTest, OrdinaryTextStaysAsItIs) {
    for (const char* text :
         {"", "shot.0001.rvl", " ~", "\u00e4\u00f6 \u65e5\u672c \U0001F600", "\u00a0\u07ff\u0800\uffff\U0010ffff"})
        EXPECT_EQ(printable(text), text);
}

TEST(PrintableTest, ControlCharactersAreEscapedByteByByte) {
    EXPECT_EQ(printable("a\0b\n\r\t\x1b\x7f"sv), R"(a\x00b\x0a\x0d\x09\x1b\x7f)");
    EXPECT_EQ(printable("\u0080\u009b\u009f"), R"(\xc2\x80\xc2\x9b\xc2\x9f)");
}

TEST(PrintableTest, CharactersThatEndLinesOrTurnTheirDirectionAreEscaped) {
    for (const char* text : {"\u2028", "\u2029", "\u202a", "\u202e", "\u2066", "\u2069", "\u200e", "\u200f", "\u061c"})
        EXPECT_EQ(printable(text).find("\\x"), 0u) << printable(text);
    for (const char* text : {"\u2027", "\u202f", "\u2065", "\u206a"})
        EXPECT_EQ(printable(text), text);
}

TEST(PrintableTest, BytesThatAreNotUtf8AreEscaped) {
    EXPECT_EQ(printable("\x80z\xffz"), R"(\x80z\xffz)");
    EXPECT_EQ(printable("\xc3"), R"(\xc3)") << "cut off";
    EXPECT_EQ(printable("\xe6\x97z"), R"(\xe6\x97z)") << "cut off";
    EXPECT_EQ(printable("\xc0\x8a"), R"(\xc0\x8a)") << "a newline in two bytes";
    EXPECT_EQ(printable("\xe0\x80\x8a"), R"(\xe0\x80\x8a)") << "a newline in three bytes";
    EXPECT_EQ(printable("\xed\xa0\x80"), R"(\xed\xa0\x80)") << "half of a pair";
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), R"(\xf4\x90\x80\x80)") << "beyond the last character";
    EXPECT_EQ(printable("\xf8\x88\x80\x80\x80"), R"(\xf8\x88\x80\x80\x80)");
}

TEST(PrintableTest, ABackslashIsDoubledSoThatDifferentTextsStayDifferent) {
    EXPECT_EQ(printable("\n"), R"(\x0a)");
    EXPECT_EQ(printable(R"(\x0a)"), R"(\\x0a)");
}
