#include "base/dates.h"

#include <cmath>
#include <cstdio>

namespace td {
namespace {

// Days since 01.01.1970 of a proleptic Gregorian date, and back (the well-known civil calendar
// algorithms; months 1..12, any year).
long long Days_From_Civil(long long y, long long m, long long d) {
    y -= m <= 2 ? 1 : 0;
    long long era = (y >= 0 ? y : y - 399) / 400;
    long long yoe = y - era * 400;
    long long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

Calendar_Day Civil_From_Days(long long z) {
    z += 719468;
    long long era = (z >= 0 ? z : z - 146096) / 146097;
    long long doe = z - era * 146097;
    long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long long mp = (5 * doy + 2) / 153;
    long long d = doy - (153 * mp + 2) / 5 + 1;
    long long m = mp < 10 ? mp + 3 : mp - 9;
    long long y = yoe + era * 400 + (m <= 2 ? 1 : 0);
    return {static_cast<int>(y), static_cast<int>(m), static_cast<int>(d)};
}

const long long Day_Zero = Days_From_Civil(1899, 12, 30);

bool Is_Digit(char c) {
    return c >= '0' && c <= '9';
}

// One to `max_digits` digits from `text` at `at`; no value when there are none or too many.
bool Read_Number(std::string_view text, std::size_t& at, int min_digits, int max_digits,
                 int& value) {
    int digits = 0;
    value = 0;
    while (at < text.size() && Is_Digit(text[at])) {
        if (++digits > max_digits)
            return false;
        value = value * 10 + (text[at] - '0');
        ++at;
    }
    return digits >= min_digits;
}

bool Expect(std::string_view text, std::size_t& at, char c) {
    if (at < text.size() && text[at] == c) {
        ++at;
        return true;
    }
    return false;
}

// "h:mm:ss" from `at` to the end of the text, as a fraction of a day.
std::optional<double> Parse_Time(std::string_view text, std::size_t at) {
    int hours = 0, minutes = 0, seconds = 0;
    if (!Read_Number(text, at, 1, 2, hours) || !Expect(text, at, ':') ||
        !Read_Number(text, at, 2, 2, minutes) || !Expect(text, at, ':') ||
        !Read_Number(text, at, 2, 2, seconds) || at != text.size())
        return std::nullopt;
    if (hours > 23 || minutes > 59 || seconds > 59)
        return std::nullopt;
    return (hours * 3600.0 + minutes * 60.0 + seconds) / 86400.0;
}

int Days_In_Month(int year, int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : days[month - 1];
}

} // namespace

double Date_Serial(int year, int month, int day) {
    // Months and days outside their range carry over, as the classic date routine does
    // (month 13 is January of the next year, day 0 the last day of the month before).
    long long months = static_cast<long long>(year) * 12 + (month - 1);
    long long y = months >= 0 ? months / 12 : (months - 11) / 12;
    long long m = months - y * 12 + 1;
    return static_cast<double>(Days_From_Civil(y, m, 1) + (static_cast<long long>(day) - 1) -
                               Day_Zero);
}

Calendar_Day Date_Parts(double date) {
    return Civil_From_Days(Day_Of(date) + Day_Zero);
}

bool Date_Before(double a, double b) {
    return Day_Of(a) < Day_Of(b);
}

bool Date_Not_After(double a, double b) {
    return Day_Of(a) <= Day_Of(b);
}

std::string Format_Date(double date) {
    Calendar_Day parts = Date_Parts(date);
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%02d.%02d.%04d", parts.day, parts.month, parts.year);
    return buffer;
}

std::optional<double> Parse_Date(std::string_view text) {
    std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return std::nullopt;
    std::size_t last = text.find_last_not_of(' ');
    text = text.substr(first, last - first + 1);

    // A bare time: the date 0 plus that time.
    if (text.find('.') == std::string_view::npos)
        return Parse_Time(text, 0);

    std::size_t at = 0;
    int day = 0, month = 0, year = 0;
    if (!Read_Number(text, at, 1, 2, day) || !Expect(text, at, '.') ||
        !Read_Number(text, at, 1, 2, month) || !Expect(text, at, '.') ||
        !Read_Number(text, at, 4, 4, year))
        return std::nullopt;
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > Days_In_Month(year, month))
        return std::nullopt;
    double serial = Date_Serial(year, month, day);
    if (at == text.size())
        return serial;
    if (!Expect(text, at, ' '))
        return std::nullopt;
    while (at < text.size() && text[at] == ' ')
        ++at;
    std::optional<double> time = Parse_Time(text, at);
    if (!time)
        return std::nullopt;
    // Before day 0 the time counts away from zero, so that the whole part stays the day.
    return serial < 0 ? serial - *time : serial + *time;
}

} // namespace td
