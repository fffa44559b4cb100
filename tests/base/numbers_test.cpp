#include "base/numbers.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <vector>

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

TEST(Regional_Number, ExponentsAsTheNumberTextWritesThem) {
    EXPECT_EQ(Regional_Number("2,5E-07"), 2.5e-7);
    EXPECT_EQ(Regional_Number("-2,5E-07"), -2.5e-7);
    EXPECT_EQ(Regional_Number("1E+15"), 1e15);
    EXPECT_EQ(Regional_Number("1e5"), 1e5);
    EXPECT_EQ(Regional_Number("1,5E3"), 1500.0);
    EXPECT_EQ(Regional_Number(" 7,74860418548935E-304 "), 7.74860418548935e-304);
    // The largest double in fifteen digits reads a little above it: still the largest double.
    EXPECT_EQ(Regional_Number("1,79769313486232E+308"), std::numeric_limits<double>::max());
    EXPECT_EQ(Regional_Number("-1,79769313486232E+308"), -std::numeric_limits<double>::max());
    // The smallest denormal as fifteen digits, and what lies below every double.
    EXPECT_EQ(Regional_Number("4,94065645841247E-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(Regional_Number("1E-400"), 0.0);
}

TEST(Regional_Number, AnythingElseIsAConversionFailure) {
    for (const char* text : {"12.50",
                             "",
                             "   ",
                             "abc",
                             "12a",
                             "1,2,3",
                             ",",
                             "-",
                             "1 000",
                             "--1",
                             "٣",
                             "E5",
                             ",E5",
                             "1E",
                             "1E+",
                             "1E5,5",
                             "1E5E5",
                             "1E 5",
                             "1,79769313486233E+308",
                             "1E400",
                             "inf",
                             "nan",
                             "1D5"})
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

    // Whatever the number text writes for a finite double converts back: to a number that
    // writes the same text again and differs from the first by the rounding to fifteen digits
    // only. Edges, then every exponent, then scattered bit patterns.
    const double max = std::numeric_limits<double>::max();
    const double min_normal = std::numeric_limits<double>::min();
    const double denorm = std::numeric_limits<double>::denorm_min();
    std::vector<double> values = {max,
                                  -max,
                                  min_normal,
                                  -min_normal,
                                  denorm,
                                  -denorm,
                                  denorm * 3,
                                  min_normal - denorm,
                                  1e15,
                                  1e-5,
                                  1e16 - 2,
                                  0.1 + 0.2,
                                  1.0 / 3.0,
                                  2.0 / 3.0e300,
                                  9.99999999999999e14,
                                  9.999999999999995e14,
                                  5e-324 * 12345,
                                  1.7976931348623e308};
    for (int exponent = -1074; exponent <= 1023; ++exponent) {
        values.push_back(std::ldexp(1.0, exponent));
        values.push_back(-std::ldexp(1.2345678901234567, exponent));
    }
    std::uint64_t bits = 0x9E3779B97F4A7C15ull;
    for (int i = 0; i < 200000; ++i) {
        bits ^= bits << 13;
        bits ^= bits >> 7;
        bits ^= bits << 17;
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value))
            values.push_back(value);
    }
    int failures = 0;
    for (double value : values) {
        const std::string text = Format_Number(value);
        const std::optional<double> back = Regional_Number(text);
        const bool ok = back.has_value() && Format_Number(*back) == text &&
                        std::fabs(*back - value) <= std::max(std::fabs(value) * 1e-14, denorm);
        if (!ok && ++failures <= 10)
            ADD_FAILURE() << std::hexfloat << value << " writes " << text;
    }
    EXPECT_EQ(failures, 0) << "of " << values.size();
}

} // namespace
} // namespace td
