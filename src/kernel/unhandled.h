// The ordinary unhandled failure: a plain box with the failure's number and description, then
// the end of the process without shutdown (the work marker stays, so the next start rebuilds).
#pragma once

#include <exception>
#include <string>

namespace td {

class Ui;

// The number of the run-time conversion failure (a text that is no number).
inline constexpr long Type_Mismatch_Error = 13;

// The box's text: "Run-time error '<number>':", a blank line, the description.
std::string Unhandled_Failure_Text(long number, const std::string& description);

[[noreturn]] void Unhandled_Failure(Ui& ui, long number, const std::string& description);

// The same for an exception that reached the top: its number follows the kind of failure.
[[noreturn]] void Unhandled_Failure(Ui& ui, const std::exception& failure);

} // namespace td
