#include "base/dates.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace td {
namespace {

void Expect_Day(double date, int year, int month, int day) {
    Calendar_Day parts = Date_Parts(date);
    EXPECT_EQ(parts.year, year) << date;
    EXPECT_EQ(parts.month, month) << date;
    EXPECT_EQ(parts.day, day) << date;
}

// Day numbers counted independently (days since 30.12.1899): both sides of the leap days and the
// century rules (1900 and 2100 have no 29 February, 2000 has one) and of a year's end.
TEST(Dates, DayNumbersOfKnownDays) {
    const struct {
        int year, month, day;
        double serial;
    } days[] = {{1899, 12, 30, 0},    {1899, 12, 31, 1},     {1900, 1, 1, 2},
                {1900, 2, 28, 60},    {1900, 3, 1, 61},      {2000, 1, 1, 36526},
                {2000, 2, 29, 36585}, {2000, 3, 1, 36586},   {2023, 3, 1, 44986},
                {2024, 2, 29, 45351}, {2024, 3, 1, 45352},   {2024, 5, 1, 45413},
                {2025, 1, 1, 45658},  {2026, 11, 23, 46349}, {2100, 2, 28, 73109},
                {2100, 3, 1, 73110},  {1899, 12, 29, -1},    {1800, 1, 1, -36522}};
    for (const auto& d : days) {
        EXPECT_EQ(Date_Serial(d.year, d.month, d.day), d.serial);
        Expect_Day(d.serial, d.year, d.month, d.day);
    }
    // Months and days outside their range carry over.
    EXPECT_EQ(Date_Serial(2024, 13, 1), 45658.0);
    EXPECT_EQ(Date_Serial(2024, 3, 0), 45351.0);
    EXPECT_EQ(Date_Serial(2024, 0, 1), Date_Serial(2023, 12, 1));
}

TEST(Dates, RoundTripOverTwoCenturies) {
    double first = Date_Serial(1890, 1, 1);
    double last = Date_Serial(2101, 1, 1);
    Calendar_Day previous = Date_Parts(first - 1);
    for (double d = first; d <= last; ++d) {
        Calendar_Day parts = Date_Parts(d);
        ASSERT_EQ(Date_Serial(parts.year, parts.month, parts.day), d);
        // Each day follows the one before: same month and the next day, or the first of the next
        // month.
        bool next_day = parts.year == previous.year && parts.month == previous.month &&
                        parts.day == previous.day + 1;
        bool next_month =
            parts.day == 1 &&
            ((parts.year == previous.year && parts.month == previous.month + 1) ||
             (parts.year == previous.year + 1 && parts.month == 1 && previous.month == 12));
        ASSERT_TRUE(next_day || next_month) << Format_Date(d);
        ASSERT_EQ(Parse_Date(Format_Date(d)), d) << Format_Date(d);
        previous = parts;
    }
}

// Only the calendar day counts: the time of day never changes it, before day 0 the whole part
// toward zero is the day, and damaged records (no date, days far out) compare without harm.
TEST(Dates, TimeOfDayNeverChangesTheDay) {
    const double day = Date_Serial(2024, 5, 17), nan = std::nan("");
    const double inf = std::numeric_limits<double>::infinity();
    Expect_Day(day + 0.999, 2024, 5, 17);
    Expect_Day(-1.25, 1899, 12, 29);
    Expect_Day(-0.5, 1899, 12, 30);
    EXPECT_EQ(Day_Of(-1.25), -1);
    const struct {
        double a, b;
        bool before, not_after;
    } pairs[] = {{day + 0.25, day + 0.75, false, true},
                 {day + 0.75, day + 0.25, false, true},
                 {day + 0.9, day + 1, true, true},
                 {day + 1, day + 0.9, false, false},
                 {Date_Serial(2023, 12, 31), Date_Serial(2024, 1, 1), true, true},
                 {Date_Serial(2024, 1, 31), Date_Serial(2024, 2, 1), true, true},
                 {-1.75, -1.25, false, true},
                 {-1.25, 0, true, true},
                 {nan, 0.9, false, true},
                 {nan, 1.0, true, true},
                 {nan, nan, false, true},
                 {1e300, inf, false, true},
                 {-inf, -1e15, false, true},
                 {-1e15, 0, true, true},
                 {0, 1e300, true, true},
                 {-1e300, 0, true, true},
                 {4e18, 4e18, false, true}};
    for (const auto& p : pairs) {
        SCOPED_TRACE(testing::Message() << p.a << " " << p.b);
        EXPECT_EQ(Date_Before(p.a, p.b), p.before);
        EXPECT_EQ(Date_Not_After(p.a, p.b), p.not_after);
    }
    // A damaged day number still formats as some text.
    for (double junk : {nan, inf, -inf, 1e300, -4e18})
        EXPECT_FALSE(Format_Date(junk).empty()) << junk;
}

TEST(Dates, FormatAndParse) {
    EXPECT_EQ(Format_Date(Date_Serial(2024, 3, 5)), "05.03.2024");
    EXPECT_EQ(Format_Date(Date_Serial(2024, 3, 5) + 0.7), "05.03.2024");
    EXPECT_EQ(Format_Date(0), "30.12.1899");

    EXPECT_EQ(Parse_Date("05.03.2024"), Date_Serial(2024, 3, 5));
    EXPECT_EQ(Parse_Date("5.3.2024"), Date_Serial(2024, 3, 5));
    EXPECT_EQ(Parse_Date(" 29.02.2024 "), Date_Serial(2024, 2, 29));
    EXPECT_EQ(Parse_Date("0:00:00"), 0.0);
    EXPECT_EQ(Parse_Date("12:00:00"), 0.5);
    EXPECT_EQ(Parse_Date("05.03.2024 18:00:00"), Date_Serial(2024, 3, 5) + 0.75);
    EXPECT_EQ(Parse_Date("29.12.1899 6:00:00"), -1.25);
    std::optional<double> with_seconds = Parse_Date("1.1.2000 0:00:01");
    ASSERT_TRUE(with_seconds);
    EXPECT_NEAR((*with_seconds - 36526.0) * 86400.0, 1.0, 1e-6);

    // Blanks at either end, and more than one before the time, are allowed.
    EXPECT_EQ(Parse_Date("1.2.2024 "), Date_Serial(2024, 2, 1));
    EXPECT_EQ(Parse_Date("1.2.2024  6:00:00"), Date_Serial(2024, 2, 1) + 0.25);

    // Not a date, or a day, month or year that can't be; then times that can't be, or junk behind.
    for (const char* bad :
         {"", "  ", "abc", "31.02.2024", "29.02.2023", "32.01.2024", "01.13.2024", "00.01.2024",
          "01.00.2024", "1.2.24", "01.02.20245", "01..2024", "01.02.0000", "-1.02.2024"})
        EXPECT_FALSE(Parse_Date(bad).has_value()) << bad;
    for (const char* bad : {"01.02.2024x", "01.02.2024 25:00:00", "01.02.2024 12:60:00",
                            "01.02.2024 12:00", "24:00:00", "1:2:3", "01.02.2024 12:00:00x"})
        EXPECT_FALSE(Parse_Date(bad).has_value()) << bad;
}

} // namespace
} // namespace td
