#include "base/codepage.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <string>

namespace {

using td::Cp1251_To_Utf8;
using td::Utf8_To_Cp1251;

// The C library's converter, as an independent account of the code page.
std::string Iconv(const std::string& input, const char* from, const char* to, bool& ok) {
    iconv_t cd = iconv_open(to, from);
    EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
    char buffer[64];
    char* in = const_cast<char*>(input.data());
    size_t in_left = input.size();
    char* out = buffer;
    size_t out_left = sizeof buffer;
    ok = iconv(cd, &in, &in_left, &out, &out_left) != static_cast<size_t>(-1) && in_left == 0;
    iconv_close(cd);
    return std::string(buffer, static_cast<size_t>(out - buffer));
}

TEST(Codepage, EveryByteReadsAsTheLibraryReadsIt) {
    for (int b = 0; b < 256; ++b) {
        const std::string byte(1, static_cast<char>(b));
        bool ok = false;
        const std::string expected = Iconv(byte, "CP1251", "UTF-8", ok);
        if (b == 0x98) {
            EXPECT_FALSE(ok);
            EXPECT_EQ(Cp1251_To_Utf8(byte), "\xEF\xBF\xBD");
            continue;
        }
        ASSERT_TRUE(ok) << b;
        EXPECT_EQ(Cp1251_To_Utf8(byte), expected) << b;
        EXPECT_EQ(Utf8_To_Cp1251(expected), byte) << b;
    }
}

TEST(Codepage, EveryCharacterWritesAsTheLibraryWritesIt) {
    // Every code point of the first two planes: the page's 255 characters go to their bytes, the
    // rest to one "?" each.
    for (char32_t code = 1; code < 0x20000; ++code) {
        if (code >= 0xD800 && code <= 0xDFFF)
            continue;
        bool ok = false;
        const std::string text =
            Iconv(std::string(reinterpret_cast<const char*>(&code), 4), "UTF-32LE", "UTF-8", ok);
        ASSERT_TRUE(ok) << std::hex << static_cast<unsigned long>(code);
        const std::string expected = Iconv(text, "UTF-8", "CP1251", ok);
        ASSERT_EQ(Utf8_To_Cp1251(text), ok ? expected : "?")
            << std::hex << static_cast<unsigned long>(code);
    }
}

TEST(Codepage, BrokenSequencesCostOneMarkAndNothingAfterThem) {
    // Cut short, before an ASCII letter and at the end.
    EXPECT_EQ(Utf8_To_Cp1251(std::string("\xD0") + "A"), "?A");
    EXPECT_EQ(Utf8_To_Cp1251(std::string("\xE2\x84") + "B"), "?B");
    EXPECT_EQ(Utf8_To_Cp1251("\xD0\x90\xD0"), "\xC0?");
    // A stray continuation byte, an overlong slash, a surrogate, a lead no sequence has.
    EXPECT_EQ(Utf8_To_Cp1251("a\x80z"), "a?z");
    EXPECT_EQ(Utf8_To_Cp1251("\xC0\xAF"), "?");
    EXPECT_EQ(Utf8_To_Cp1251("\xED\xA0\x80"), "?");
    EXPECT_EQ(Utf8_To_Cp1251(std::string("\xFF") + "x"), "?x");
    // Beyond the last code point.
    EXPECT_EQ(Utf8_To_Cp1251("\xF4\x90\x80\x80"), "?");
    EXPECT_EQ(Cp1251_To_Utf8(""), "");
    EXPECT_EQ(Utf8_To_Cp1251(""), "");
}

} // namespace
