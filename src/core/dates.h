// Dates are day numbers: days since 30 December 1899, time of day as fraction.
#pragma once

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
