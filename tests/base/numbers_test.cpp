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

// Reads up to the first character foreign to a number, blanks anywhere skipped; a decimal comma
// is foreign, a "D" exponent is not, and what overflows a double is 0, never an infinity.
TEST(Leading_Number, ReadsUpToTheFirstForeignCharacter) {
    const struct {
        const char* text;
        double value;
    } rows[] = {{"12.5abc", 12.5},
                {"  350 bytes", 350},
                {"-4.5e2x", -450},
                {"1D3", 1000},
                {"2E-2", 0.02},
                {"+.5", 0.5},
                {"000072", 72},
                {"1.2.3", 1.2},
                {"12,5", 12},
                {" 1 2 3", 123},
                {"\t\n- 7\r\n", -7},
                {"1e", 1},
                {"1e+", 1},
                {"5-", 5},
                {"", 0},
                {"abc", 0},
                {".", 0},
                {"+-5", 0},
                {"e5", 0},
                {"1e999", 0}};
    for (const auto& row : rows)
        EXPECT_DOUBLE_EQ(Leading_Number(row.text), row.value) << row.text;
    EXPECT_DOUBLE_EQ(Leading_Number(std::string(400, '9')), 0.0);
}

// A decimal comma, exponents as the number text writes them, the edges of the doubles: the largest
// double in fifteen digits reads a little above it (still the largest), the smallest denormal as
// fifteen digits, and what lies below every double.
TEST(Regional_Number, ConvertsTheNumberTextAndNothingElse) {
    const double max = std::numeric_limits<double>::max();
    const double least = std::numeric_limits<double>::denorm_min();
    const struct {
        const char* text;
        double value;
    } rows[] = {{"12,50", 12.5},
                {"  -3 ", -3},
                {"+7", 7},
                {",5", 0.5},
                {"12,", 12},
                {"0", 0},
                {"2,5E-07", 2.5e-7},
                {"-2,5E-07", -2.5e-7},
                {"1E+15", 1e15},
                {"1e5", 1e5},
                {"1,5E3", 1500},
                {" 7,74860418548935E-304 ", 7.74860418548935e-304},
                {"1,79769313486232E+308", max},
                {"-1,79769313486232E+308", -max},
                {"4,94065645841247E-324", least},
                {"1E-400", 0}};
    for (const auto& row : rows)
        EXPECT_EQ(Regional_Number(row.text), row.value) << row.text;

    for (const char* text : {"12.50", "", "   ", "abc", "12a", "1,2,3", ",", "-", "1 000", "--1",
                             "٣", "inf", "nan", "1D5"})
        EXPECT_FALSE(Regional_Number(text).has_value()) << text;
    for (const char* text :
         {"E5", ",E5", "1E", "1E+", "1E5,5", "1E5E5", "1E 5", "1,79769313486233E+308", "1E400"})
        EXPECT_FALSE(Regional_Number(text).has_value()) << text;
    EXPECT_FALSE(Regional_Number(std::string(400, '9')).has_value());
}

// Fifteen significant digits hide the binary noise of sums; exponent form where they don't reach.
TEST(Format_Number, DefaultNumberText) {
    const struct {
        double value;
        const char* text;
    } rows[] = {{12, "12"},
                {10.5, "10,5"},
                {-3, "-3"},
                {0.004, "0,004"},
                {0, "0"},
                {-0.0, "0"},
                {1234567, "1234567"},
                {0.1 + 0.2, "0,3"},
                {1.0 / 3.0, "0,333333333333333"},
                {123456789012345.0, "123456789012345"},
                {1e15, "1E+15"},
                {0.00001, "1E-05"},
                {-2.5e-7, "-2,5E-07"},
                {0.0001, "0,0001"}};
    for (const auto& row : rows)
        EXPECT_EQ(Format_Number(row.value), row.text) << row.value;
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
    std::vector<double> values;
    values.insert(values.end(),
                  {max, -max, min_normal, -min_normal, denorm, -denorm, denorm * 3,
                   min_normal - denorm, 1e15, 1e-5, 1e16 - 2, 0.1 + 0.2, 1.0 / 3.0, 2.0 / 3.0e300,
                   9.99999999999999e14, 9.999999999999995e14, 5e-324 * 12345, 1.7976931348623e308});
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
