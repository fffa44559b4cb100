// Numbers as the system reads and writes them on a Russian desktop.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace td {

// The leading number of a text with a point as decimal mark: blanks are skipped, reading stops at
// the first character that is not part of a number; empty or non-numeric gives 0.
double Leading_Number(std::string_view text);

// Conversion with the decimal comma, as the regional format does, with an optional exponent
// ("7,5E-07"): every text Format_Number writes for a finite number converts back. A text that
// does not convert gives no value (the conversion failure the system speaks of).
std::optional<double> Regional_Number(std::string_view text);

// The system's default number text: up to 15 significant digits, decimal comma, no trailing
// zeros, no grouping ("12", "10,5", "-3", "0,004").
std::string Format_Number(double value);

} // namespace td
