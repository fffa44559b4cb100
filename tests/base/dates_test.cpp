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

TEST(Dates, DayNumbersOfKnownDays) {
    EXPECT_EQ(Date_Serial(1899, 12, 30), 0.0);
    EXPECT_EQ(Date_Serial(1899, 12, 31), 1.0);
    EXPECT_EQ(Date_Serial(1900, 1, 1), 2.0);
    // 1900 was no leap year: 1 March follows 28 February.
    EXPECT_EQ(Date_Serial(1900, 3, 1), 61.0);
    EXPECT_EQ(Date_Serial(2000, 1, 1), 36526.0);
    EXPECT_EQ(Date_Serial(2026, 11, 23), 46349.0);
    EXPECT_EQ(Date_Serial(1899, 12, 29), -1.0);
    EXPECT_EQ(Date_Serial(1800, 1, 1), -36522.0);
}

TEST(Dates, LeapYearsAndMonthLengths) {
    EXPECT_EQ(Date_Serial(2024, 3, 1) - Date_Serial(2024, 2, 28), 2.0);
    EXPECT_EQ(Date_Serial(2023, 3, 1) - Date_Serial(2023, 2, 28), 1.0);
    EXPECT_EQ(Date_Serial(2000, 3, 1) - Date_Serial(2000, 2, 28), 2.0);
    EXPECT_EQ(Date_Serial(2100, 3, 1) - Date_Serial(2100, 2, 28), 1.0);
    EXPECT_EQ(Date_Serial(2025, 1, 1) - Date_Serial(2024, 1, 1), 366.0);
    Expect_Day(Date_Serial(2024, 2, 28) + 1, 2024, 2, 29);
    Expect_Day(Date_Serial(2024, 4, 30) + 1, 2024, 5, 1);
    Expect_Day(Date_Serial(2024, 12, 31) + 1, 2025, 1, 1);
    // Months and days outside their range carry over.
    EXPECT_EQ(Date_Serial(2024, 13, 1), Date_Serial(2025, 1, 1));
    EXPECT_EQ(Date_Serial(2024, 3, 0), Date_Serial(2024, 2, 29));
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

TEST(Dates, TimeOfDayNeverChangesTheDay) {
    double day = Date_Serial(2024, 5, 17);
    Expect_Day(day + 0.999, 2024, 5, 17);
    EXPECT_TRUE(Date_Not_After(day + 0.25, day + 0.75));
    EXPECT_TRUE(Date_Not_After(day + 0.75, day + 0.25));
    EXPECT_FALSE(Date_Before(day + 0.25, day + 0.75));
    EXPECT_FALSE(Date_Before(day + 0.75, day + 0.25));
    EXPECT_TRUE(Date_Before(day + 0.9, day + 1));
    EXPECT_FALSE(Date_Before(day + 1, day + 0.9));
    EXPECT_FALSE(Date_Not_After(day + 1, day + 0.9));
    // Year before month before day.
    EXPECT_TRUE(Date_Before(Date_Serial(2023, 12, 31), Date_Serial(2024, 1, 1)));
    EXPECT_TRUE(Date_Before(Date_Serial(2024, 1, 31), Date_Serial(2024, 2, 1)));
    // Before day 0 the whole part toward zero is the day and the fraction is the time.
    Expect_Day(-1.0, 1899, 12, 29);
    Expect_Day(-1.25, 1899, 12, 29);
    Expect_Day(-0.5, 1899, 12, 30);
    EXPECT_TRUE(Date_Not_After(-1.75, -1.25));
    EXPECT_TRUE(Date_Before(-1.25, 0));
    // Damaged records: no date is day 0, and days far out are held to the same bound.
    EXPECT_TRUE(Date_Not_After(std::nan(""), 0.9));
    EXPECT_FALSE(Date_Before(std::nan(""), 0.9));
    EXPECT_TRUE(Date_Before(std::nan(""), 1.0));
    EXPECT_FALSE(Date_Before(1e300, std::numeric_limits<double>::infinity()));
    EXPECT_FALSE(Date_Before(-std::numeric_limits<double>::infinity(), -1e15));
    EXPECT_TRUE(Date_Before(-1e15, 0));
    EXPECT_EQ(Day_Of(-1.25), -1);
    EXPECT_EQ(Day_Of(Date_Serial(2024, 5, 17) + 0.999), Day_Of(Date_Serial(2024, 5, 17)));
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

    for (const char* bad : {"",
                            "  ",
                            "abc",
                            "31.02.2024",
                            "29.02.2023",
                            "32.01.2024",
                            "01.13.2024",
                            "00.01.2024",
                            "01.00.2024",
                            "1.2.24",
                            "01.02.20245",
                            "01.02.2024x",
                            "01.02.2024 25:00:00",
                            "01.02.2024 12:60:00",
                            "01.02.2024 12:00",
                            "24:00:00",
                            "1:2:3",
                            "01..2024",
                            "01.02.0000",
                            "-1.02.2024",
                            "01.02.2024 12:00:00x"})
        EXPECT_FALSE(Parse_Date(bad).has_value()) << bad;
}

TEST(Dates, DamagedDayNumbersStayHarmless) {
    // Day numbers from a damaged record: anything goes, nothing may crash.
    for (double junk :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity(), 1e300, -1e300, 4e18, -4e18}) {
        std::string text = Format_Date(junk);
        EXPECT_FALSE(text.empty());
        EXPECT_TRUE(Date_Not_After(junk, junk));
        EXPECT_FALSE(Date_Before(junk, junk));
    }
    EXPECT_TRUE(Date_Before(0, 1e300));
    EXPECT_TRUE(Date_Before(-1e300, 0));
}

} // namespace
} // namespace td
