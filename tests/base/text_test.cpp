#include "base/text.h"
#include "support/fakes.h"

#include <gtest/gtest.h>

namespace td {
namespace {

TEST(Count_Char, EmptyInputsAndCounts) {
    EXPECT_EQ(Count_Char("", "a"), -2);
    EXPECT_EQ(Count_Char("data", ""), -1);
    EXPECT_EQ(Count_Char("data", "a"), 2);
    EXPECT_EQ(Count_Char("data", "x"), 0);
    EXPECT_EQ(Count_Char("root\\12\\5", "\\"), 2);
    // A Cyrillic letter is two bytes here and still counts once per occurrence.
    EXPECT_EQ(Count_Char("мама", "а"), 2);
}

// The wanted piece (a negative number taken as positive), the pieces found, and the array from
// element 1 on, the rest of its room empty; no delimiter, or one never found, gives the whole
// source; a trailing delimiter gives an empty last piece.
TEST(Extract_String, WantedPieceFoundCountAndArrayLayout) {
    const struct {
        const char *source, *delimiter;
        int wanted;
        const char* piece;
        int found;
        std::vector<std::string> parts;
    } rows[] = {
        {"root\\12\\5", "\\", 2, "12", 3, {"", "root", "12", "5", "", "", "", "", "", ""}},
        {"a,b,c", ",", 3, "c", 3, {"", "a", "b", "c", "", "", "", "", "", ""}},
        {"a,b,c", ",", -1, "a", 3, {"", "a", "b", "c", "", "", "", "", "", ""}},
        {"a,b,c", ",", 4, "", 3, {"", "a", "b", "c", "", "", "", "", "", ""}},
        {"a,b", "", 1, "a,b", 1, {"", "a,b", "", "", "", "", "", "", "", ""}},
        {"x::y::", "::", 2, "y", 3, {"", "x", "y", "", "", "", "", "", "", ""}},
        {"abc", "\\", 1, "abc", 1, {"", "abc", "", "", "", "", "", "", "", ""}},
        {"", "\\", 1, "", 1, {"", "", "", "", "", "", "", "", "", ""}},
    };
    for (const auto& row : rows) {
        std::vector<std::string> parts{"stale", "stale"};
        const Extract_Result r =
            Extract_String(row.source, row.wanted, parts, 10, 1, row.delimiter, nullptr);
        EXPECT_EQ(r.piece, row.piece) << row.source;
        EXPECT_EQ(r.found, row.found) << row.source;
        EXPECT_FALSE(r.overflow) << row.source;
        EXPECT_EQ(parts, row.parts) << row.source;
        EXPECT_GE(r.elapsed, 0.0);
    }
}

TEST(Extract_String, OverflowReportsInModeOneAndIsQuietInModeZero) {
    test::Fake_Ui ui;
    std::vector<std::string> parts;
    // Room for elements 1 and 2 only: the third piece overflows.
    Extract_Result r = Extract_String("a,b,c,d", 2, parts, 3, 1, ",", &ui);
    EXPECT_TRUE(r.overflow);
    EXPECT_EQ(r.piece, "b");
    EXPECT_EQ(parts, (std::vector<std::string>{"", "a", "b"}));
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].flags, 16);
    EXPECT_EQ(ui.boxes[0].title, "String extract function - Error!");
    EXPECT_EQ(ui.boxes[0].text, "Buffer too small!!!\r\nExiting...");

    // The wanted piece lies beyond the overflow: nothing is returned.
    r = Extract_String("a,b,c,d", 4, parts, 3, 0, ",", &ui);
    EXPECT_TRUE(r.overflow);
    EXPECT_EQ(r.piece, "");
    EXPECT_EQ(ui.boxes.size(), 1u);

    // Exactly enough room is no overflow.
    r = Extract_String("a,b", 2, parts, 3, 1, ",", &ui);
    EXPECT_FALSE(r.overflow);
    EXPECT_EQ(r.piece, "b");
    EXPECT_EQ(ui.boxes.size(), 1u);

    // No room at all.
    r = Extract_String("a", 1, parts, 0, 0, ",", &ui);
    EXPECT_TRUE(r.overflow);
    EXPECT_TRUE(parts.empty());
}

// Both ways round; single digits padded to two; text that isn't a number counts as 0.
TEST(Parse_Serial_Range, CountsBothWaysAndPadsSingleDigits) {
    const struct {
        const char* text;
        const char *first, *last;
        long count;
    } rows[] = {{"123-130", "123", "130", 7}, {"130-123", "130", "123", 7},
                {"5-9", "05", "09", 4},       {"000100-000250", "000100", "000250", 150},
                {"7-7", "07", "07", 0},       {"abc-12", "abc", "12", 12}};
    for (const auto& row : rows) {
        std::vector<std::string> parts;
        long count = -1;
        ASSERT_TRUE(Parse_Serial_Range(row.text, parts, count)) << row.text;
        EXPECT_EQ(parts[0], row.first) << row.text;
        EXPECT_EQ(parts[1], row.last) << row.text;
        EXPECT_EQ(count, row.count) << row.text;
    }
}

TEST(Parse_Serial_Range, SecondDashFailsOnTheArrayBound) {
    std::vector<std::string> parts;
    long count = -1;
    EXPECT_FALSE(Parse_Serial_Range("1-2-3", parts, count));
    EXPECT_EQ(parts, (std::vector<std::string>{"1", "2"}));
    EXPECT_FALSE(Parse_Serial_Range("123", parts, count));
}

TEST(Trim_Text, BlanksOnly) {
    EXPECT_EQ(Trim_Text("  TD.cdb   "), "TD.cdb");
    EXPECT_EQ(Trim_Text("     "), "");
    EXPECT_EQ(Trim_Text("\tx "), "\tx");
    EXPECT_EQ(Lower_Ascii("Tally DEPOT Бета"), "tally depot Бета");
}

} // namespace
} // namespace td
