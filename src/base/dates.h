// Dates are day numbers: days since 30 December 1899, time of day as fraction.
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>

namespace td {

struct Calendar_Day {
    int year = 1899;
    int month = 12;
    int day = 30;
};

double Date_Serial(int year, int month, int day);
Calendar_Day Date_Parts(double date);

// The calendar day of a date as a whole number that orders as the days do: the whole part toward
// zero (-1.25 is 29.12.1899, 6:00), held to about two million years either side; no date (NaN)
// is day 0, 30.12.1899. Passes over millions of tickets compare these instead of calendar parts.
inline long long Day_Of(double date) {
    constexpr double limit = 800'000'000.0;
    if (std::isnan(date))
        return 0;
    return static_cast<long long>(std::clamp(date, -limit, limit));
}

// True if calendar day a is earlier than b. Times of day never matter.
bool Date_Before(double a, double b);
// True if calendar day a is earlier than or the same as b.
bool Date_Not_After(double a, double b);

// "dd.MM.yyyy".
std::string Format_Date(double date);

// Accepts "d.M.yyyy" (one or two digits for day and month, optional time "h:mm:ss" behind a blank)
// and a bare time "h:mm:ss" (a date of 0 plus that time). Returns no value for anything else.
std::optional<double> Parse_Date(std::string_view text);

} // namespace td
