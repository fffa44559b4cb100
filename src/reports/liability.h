// What the company still owes in fuel on a date: the litres on coupons sold up to that date and
// neither redeemed nor deleted, per fuel grade at its current price, per level 1 section, and the
// litres whose validity ends within 30 days.
#pragma once

#include <string>
#include <vector>

namespace td {

struct Program_State;

struct Liability_Report {
    std::string title;
    std::vector<std::string> headers;
    std::vector<std::string> rows; // tab-separated, numbers in the system's number text
};

Liability_Report Build_Liability_Report(const Program_State& state, double at);

} // namespace td
