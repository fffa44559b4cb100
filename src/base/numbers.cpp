#include "base/numbers.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace td {
namespace {

// from_chars with the whole text; no value if it isn't all one finite number.
std::optional<double> Convert(const std::string& text) {
    if (text.empty())
        return std::nullopt;
    double value = 0.0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

bool Is_Digit(char c) {
    return c >= '0' && c <= '9';
}

// A number text that a double can't hold as it stands. The largest double written with fifteen
// digits reads a little above it ("1,79769313486232E+308"): that is still the largest double, so
// that every text the number format writes converts back. A number too small for a double is 0.
// Anything larger stays a conversion failure.
std::optional<double> Beyond_The_Range(const std::string& text) {
    long double wide = 0.0L;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), wide);
    if (error == std::errc::result_out_of_range) {
        // Out of range even for the wider type: decided by the sign of the exponent.
        const std::size_t e = text.find('e');
        return e != std::string::npos && e + 1 < text.size() && text[e + 1] == '-'
                   ? std::optional<double>(0.0)
                   : std::nullopt;
    }
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    constexpr long double Largest_Written = 1.79769313486232e308L;
    if (wide > static_cast<long double>(std::numeric_limits<double>::max()))
        return wide <= Largest_Written ? std::optional<double>(std::numeric_limits<double>::max())
                                       : std::nullopt;
    return static_cast<double>(wide);
}

} // namespace

double Leading_Number(std::string_view text) {
    // Blanks, tabs and line feeds are skipped wherever they stand, as the classic conversion
    // does ("1 2" is 12). What is left is gathered into a plain number text.
    std::string number;
    bool negative = false;
    bool sign_allowed = true;
    bool point_seen = false;
    bool digits_seen = false;
    enum class Part { Mantissa, Exponent_Sign, Exponent } part = Part::Mantissa;
    for (char c : text) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
            continue;
        if (part == Part::Mantissa) {
            if (sign_allowed && (c == '-' || c == '+')) {
                negative = c == '-';
                sign_allowed = false;
            } else if (Is_Digit(c)) {
                number += c;
                digits_seen = true;
                sign_allowed = false;
            } else if (c == '.' && !point_seen) {
                number += c;
                point_seen = true;
                sign_allowed = false;
            } else if (c == 'E' || c == 'e' || c == 'D' || c == 'd') {
                if (!digits_seen)
                    break;
                part = Part::Exponent_Sign;
            } else {
                break;
            }
        } else {
            if (part == Part::Exponent_Sign && (c == '-' || c == '+')) {
                number += 'e';
                number += c;
                part = Part::Exponent;
            } else if (Is_Digit(c)) {
                if (part == Part::Exponent_Sign)
                    number += 'e';
                number += c;
                part = Part::Exponent;
            } else {
                break;
            }
        }
    }
    if (!digits_seen)
        return 0.0;
    // An exponent sign without digits counts for nothing.
    if (!number.empty() && (number.back() == '-' || number.back() == '+'))
        number.resize(number.size() - 2);
    // A number beyond the range of a double (an overflow in the classic conversion) gives 0:
    // there is no error path here, and no caller should meet an infinity.
    std::optional<double> value = Convert(number);
    if (!value)
        return 0.0;
    return negative ? -*value : *value;
}

std::optional<double> Regional_Number(std::string_view text) {
    std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return std::nullopt;
    std::size_t last = text.find_last_not_of(' ');
    text = text.substr(first, last - first + 1);

    bool negative = false;
    if (text.front() == '-' || text.front() == '+') {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    // Digits with one decimal comma, then an optional exponent ("E", a sign, digits), which is
    // how the number text of the system writes what fifteen digits can't hold ("2,5E-07").
    std::string number;
    bool comma_seen = false;
    bool digits_seen = false;
    std::size_t at = 0;
    for (; at < text.size(); ++at) {
        const char c = text[at];
        if (Is_Digit(c)) {
            number += c;
            digits_seen = true;
        } else if (c == ',' && !comma_seen) {
            number += '.';
            comma_seen = true;
        } else if ((c == 'E' || c == 'e') && digits_seen) {
            break;
        } else {
            return std::nullopt;
        }
    }
    if (!digits_seen)
        return std::nullopt;
    if (at < text.size()) {
        number += 'e';
        ++at;
        if (at < text.size() && (text[at] == '-' || text[at] == '+'))
            number += text[at++];
        if (at == text.size())
            return std::nullopt;
        for (; at < text.size(); ++at) {
            if (!Is_Digit(text[at]))
                return std::nullopt;
            number += text[at];
        }
    }
    std::optional<double> value = Convert(number);
    if (!value)
        value = Beyond_The_Range(number);
    if (!value)
        return std::nullopt;
    return negative ? -*value : *value;
}

std::string Format_Number(double value) {
    // to_chars does not depend on the process locale (the desktop toolkit sets it).
    char buffer[64];
    auto [end, error] =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 15);
    if (error != std::errc())
        return "0";
    std::string text(buffer, end);
    for (char& c : text) {
        if (c == '.')
            c = ',';
        else if (c == 'e')
            c = 'E';
    }
    if (text == "-0")
        return "0";
    return text;
}

} // namespace td
