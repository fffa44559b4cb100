#include "base/numbers.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace td {
namespace {

TEST(Leading_Number, ReadsUpToTheFirstForeignCharacter) {
    EXPECT_DOUBLE_EQ(Leading_Number("12.5abc"), 12.5);
    EXPECT_DOUBLE_EQ(Leading_Number("  350 bytes"), 350.0);
    EXPECT_DOUBLE_EQ(Leading_Number("-4.5e2x"), -450.0);
    EXPECT_DOUBLE_EQ(Leading_Number("1D3"), 1000.0);
    EXPECT_DOUBLE_EQ(Leading_Number("2E-2"), 0.02);
    EXPECT_DOUBLE_EQ(Leading_Number("+.5"), 0.5);
    EXPECT_DOUBLE_EQ(Leading_Number("000072"), 72.0);
    EXPECT_DOUBLE_EQ(Leading_Number("1.2.3"), 1.2);
    // A decimal comma is not part of this kind of number.
    EXPECT_DOUBLE_EQ(Leading_Number("12,5"), 12.0);
}

TEST(Leading_Number, BlanksAnywhereAndIncompleteParts) {
    EXPECT_DOUBLE_EQ(Leading_Number(" 1 2 3"), 123.0);
    EXPECT_DOUBLE_EQ(Leading_Number("\t\n- 7\r\n"), -7.0);
    EXPECT_DOUBLE_EQ(Leading_Number("1e"), 1.0);
    EXPECT_DOUBLE_EQ(Leading_Number("1e+"), 1.0);
    EXPECT_DOUBLE_EQ(Leading_Number("5-"), 5.0);
    EXPECT_DOUBLE_EQ(Leading_Number(""), 0.0);
    EXPECT_DOUBLE_EQ(Leading_Number("abc"), 0.0);
    EXPECT_DOUBLE_EQ(Leading_Number("."), 0.0);
    EXPECT_DOUBLE_EQ(Leading_Number("+-5"), 0.0);
    EXPECT_DOUBLE_EQ(Leading_Number("e5"), 0.0);
    // Out of range for a double: no infinity leaks out.
    EXPECT_DOUBLE_EQ(Leading_Number("1e999"), 0.0);
    EXPECT_DOUBLE_EQ(Leading_Number(std::string(400, '9')), 0.0);
}

TEST(Regional_Number, DecimalCommaConverts) {
    EXPECT_EQ(Regional_Number("12,50"), 12.5);
    EXPECT_EQ(Regional_Number("  -3 "), -3.0);
    EXPECT_EQ(Regional_Number("+7"), 7.0);
    EXPECT_EQ(Regional_Number(",5"), 0.5);
    EXPECT_EQ(Regional_Number("12,"), 12.0);
    EXPECT_EQ(Regional_Number("0"), 0.0);
}

TEST(Regional_Number, AnythingElseIsAConversionFailure) {
    for (const char* text :
         {"12.50", "", "   ", "abc", "12a", "1,2,3", ",", "-", "1e5", "1 000", "--1", "٣"})
        EXPECT_FALSE(Regional_Number(text).has_value()) << text;
    EXPECT_FALSE(Regional_Number(std::string(400, '9')).has_value());
}

TEST(Format_Number, DefaultNumberText) {
    EXPECT_EQ(Format_Number(12), "12");
    EXPECT_EQ(Format_Number(10.5), "10,5");
    EXPECT_EQ(Format_Number(-3), "-3");
    EXPECT_EQ(Format_Number(0.004), "0,004");
    EXPECT_EQ(Format_Number(0), "0");
    EXPECT_EQ(Format_Number(-0.0), "0");
    EXPECT_EQ(Format_Number(1234567), "1234567");
    // Fifteen significant digits hide the binary noise of sums.
    EXPECT_EQ(Format_Number(0.1 + 0.2), "0,3");
    EXPECT_EQ(Format_Number(1.0 / 3.0), "0,333333333333333");
    EXPECT_EQ(Format_Number(123456789012345.0), "123456789012345");
    // Exponent form where fifteen digits don't reach.
    EXPECT_EQ(Format_Number(1e15), "1E+15");
    EXPECT_EQ(Format_Number(0.00001), "1E-05");
    EXPECT_EQ(Format_Number(-2.5e-7), "-2,5E-07");
    EXPECT_EQ(Format_Number(0.0001), "0,0001");
}

TEST(Format_Number, ReadsBackThroughTheRegionalConversion) {
    for (double value : {0.0, 1.0, -1.0, 10.5, 0.004, 123.456, -98765.4321, 999999999.99})
        EXPECT_EQ(Regional_Number(Format_Number(value)), value) << value;
}

} // namespace
} // namespace td
