// Small text routines shared by the whole program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace td {

// Both ends trimmed of blanks (fixed fields come padded with blanks).
std::string Trim_Text(std::string_view value);

// Number of times `ch` stands in `text`; -1 if `ch` is empty, -2 if `text` is empty.
int Count_Char(std::string_view text, std::string_view ch);

// Outcome of Extract_String besides its result.
struct Extract_Result {
    std::string piece;     // the wanted piece, or empty
    int found = 0;         // number of pieces seen
    bool overflow = false; // the pieces outran the array
    double elapsed = 0.0;  // seconds the call took; kept for historic reasons
};

// Splits `source` at `delimiter`. `parts` is resized to `capacity` empty texts first; the n-th
// piece goes to element n (element 0 stays empty), as long as n < capacity. An empty delimiter
// makes the whole source one piece. With stop_mode 1 an overflow is reported through the Ui
// port ("Buffer too small!!!"); with 0 it stops quietly.
class Ui;
Extract_Result Extract_String(std::string_view source, int wanted, std::vector<std::string>& parts,
                              std::size_t capacity, int stop_mode, std::string_view delimiter,
                              Ui* ui);

// Splits "123-130" at the first "-": parts[0] = "123", parts[1] = "130"; a part of exactly one
// character gets a "0" in front. count = |value(parts[1]) - value(parts[0])|. Returns false when
// a second "-" would need a third part (the array's bound).
bool Parse_Serial_Range(std::string_view text, std::vector<std::string>& parts, long& count);

// Upper-case ASCII letters to lower case; other bytes unchanged.
std::string Lower_Ascii(std::string_view text);

// Characters of a UTF-8 text, as the user counts them.
std::size_t Utf8_Length(std::string_view text);

// The text with zeros in front up to `width` characters; a longer text stays as it is.
std::string Zeros_In_Front(std::string_view text, std::size_t width);

} // namespace td
