#include "formats/TextHelpers.h"

#include <gtest/gtest.h>

using namespace Velda;

TEST(TextHelpers, Utf8RoundTripAndInvalidBytes)
{
    const std::string chinese = "光圈圆点-内环(划过).png 水";
    EXPECT_EQ(wideToUtf8(utf8ToWide(chinese)), chinese);
    EXPECT_EQ(utf8ToWide(std::string("\xF0\x9F\x98\x80")), std::wstring(1, static_cast<wchar_t>(0x1F600)));
    // Invalid and overlong sequences become U+FFFD, one per broken piece.
    EXPECT_EQ(utf8ToWide(std::string("a\xFF" "b")), L"a\xFFFD" L"b");
    EXPECT_EQ(utf8ToWide(std::string("\xC0\xAF")), L"\xFFFD");
    EXPECT_EQ(utf8ToWide(std::string("\xE6\xB0")), L"\xFFFD");
    // Conversions of NUL-terminated text stop at the NUL.
    EXPECT_EQ(utf8ToWide(std::string("ab\0cd", 5)), L"ab");
    EXPECT_EQ(wideToSystem(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(intToWide(-17), L"-17");
}

TEST(TextHelpers, FloatToTextRule)
{
    EXPECT_EQ(floatToText(0.00009f), "0");
    EXPECT_EQ(floatToText(-0.00009f), "0");
    EXPECT_EQ(floatToText(0.0001f), "0.000");
    EXPECT_EQ(floatToText(-1.5f), "-1.500");
    EXPECT_EQ(floatToText(2.0f / 3.0f), "0.667");
}

TEST(TextHelpers, SplitAndPathParts)
{
    EXPECT_EQ(split("a,,b,", ","), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(split(",a", ","), (std::vector<std::string>{"", "a"}));
    EXPECT_TRUE(split("", ",").empty());
    EXPECT_EQ(split("a::b", "::"), (std::vector<std::string>{"a", "b"}));

    EXPECT_EQ(fileNameOf("C:\\x/y\\z.png"), "z.png");
    EXPECT_EQ(fileNameOf("plain"), "plain");
    EXPECT_EQ(directoryOf("C:/a/b.exe"), "C:/a");
    EXPECT_EQ(directoryOf("/b.exe"), "");
    EXPECT_EQ(directoryOf("b.exe"), "");
    EXPECT_EQ(extensionOf("a.b/c.mt"), "mt");
    EXPECT_EQ(extensionOf("index"), "");
    EXPECT_EQ(toLowerAscii("AbC水Z"), "abc水z");
    EXPECT_EQ(toLowerAscii("ABCDEF", 2, 3), "cde");
}

TEST(TextHelpers, NumberParsers)
{
    EXPECT_FLOAT_EQ(textToFloat("1.5"), 1.5f);
    EXPECT_FLOAT_EQ(textToFloat("-0.25"), -0.25f);
    EXPECT_FLOAT_EQ(textToFloat("+007.5"), 7.5f);
    EXPECT_FLOAT_EQ(textToFloat("1.5e2"), 150.0f);
    EXPECT_FLOAT_EQ(textToFloat("25E-1"), 2.5f);
    EXPECT_FLOAT_EQ(textToFloat(".5"), 0.5f);
    EXPECT_EQ(textToFloat("NaN"), 0.0f);
    EXPECT_EQ(textToFloat("1.2.3"), 0.0f);
    EXPECT_EQ(textToFloat("12a"), 0.0f);
    EXPECT_EQ(textToFloat(""), 0.0f);
    EXPECT_FLOAT_EQ(textToFloat("xx3.25yy", 2, 4), 3.25f);
    // At most 64 characters count: the junk behind them is never seen.
    EXPECT_FLOAT_EQ(textToFloat(std::string(63, '0') + "7junk"), 7.0f);

    EXPECT_EQ(textToInt("-00042"), -42);
    EXPECT_EQ(textToInt("+17"), 17);
    EXPECT_EQ(textToInt("4x"), 0);
    EXPECT_EQ(textToInt("1.0"), 0);
}

TEST(TextHelpers, ListTextsBothWays)
{
    EXPECT_EQ(intsToListText({1, -2, 3}), "[1,-2,3]");
    EXPECT_EQ(floatsToListText({1.25f, 1.0f / 0.0f}, 1), "[1.2,0]");
    EXPECT_EQ(floatsToScaledListText({1.25f, -0.5f}, 2), "[125,-50]");
    EXPECT_EQ(floatsToHexListText({1.0f, -0.5f}), "[3e8,01f4]");
    const float v[3] = {1.0f, 0.00001f, -2.5f};
    EXPECT_EQ(floatsToText(v, 3), "1.000 0 -2.500");

    EXPECT_EQ(textToFloats("  1.5  -2 "), (std::vector<float>{1.5f, -2.0f}));
    EXPECT_EQ(textToFloats("1500 -250", "True"), (std::vector<float>{1.5f, -0.25f}));
    EXPECT_EQ(textToFloats("150", "Fix2"), (std::vector<float>{1.5f}));

    float vec[3] = {9, 9, 9};
    EXPECT_FALSE(textToVec3("1 2", vec));
    EXPECT_EQ(vec[0], 9.0f);
    EXPECT_TRUE(textToVec3("1 2 3 4", vec));
    EXPECT_EQ(vec[2], 3.0f);

    float m[16] = {};
    EXPECT_FALSE(textToMatrix("1 2 3", m));
    EXPECT_EQ(m[0], 0.0f);
    EXPECT_TRUE(textToMatrix("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16", m));
    EXPECT_EQ(m[4], 2.0f);  // pieces run along rows
    EXPECT_EQ(m[1], 5.0f);
    EXPECT_TRUE(textToMatrix("1 2 3 4 5 6 7 8 9 10 11 12", m, true));
    EXPECT_EQ(m[4], 2.0f);
    EXPECT_EQ(m[3], 10.0f);
    EXPECT_EQ(m[11], 12.0f);
    EXPECT_EQ(m[12], 0.0f);
    EXPECT_EQ(m[15], 1.0f);
}
