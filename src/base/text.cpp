#include "base/text.h"

#include "base/numbers.h"
#include "base/ports.h"

#include <chrono>
#include <climits>
#include <cmath>
#include <exception>
#include <new>

namespace td {

std::string Trim_Text(std::string_view value) {
    std::size_t first = value.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    std::size_t last = value.find_last_not_of(' ');
    return std::string(value.substr(first, last - first + 1));
}

std::string Lower_Ascii(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return out;
}

int Count_Char(std::string_view text, std::string_view ch) {
    if (text.empty())
        return -2;
    if (ch.empty())
        return -1;
    // Counted as a substring so that a Cyrillic letter (two bytes in UTF-8) counts once.
    int count = 0;
    for (std::size_t at = text.find(ch); at != std::string_view::npos;
         at = text.find(ch, at + ch.size()))
        ++count;
    return count;
}

namespace {

constexpr const char* Extract_Title = "String extract function - Error!";

} // namespace

Extract_Result Extract_String(std::string_view source, int wanted, std::vector<std::string>& parts,
                              std::size_t capacity, int stop_mode, std::string_view delimiter,
                              Ui* ui) {
    auto started = std::chrono::steady_clock::now();
    Extract_Result result;
    // `wanted` is taken as whole and positive.
    long wanted_piece = std::labs(static_cast<long>(wanted));

    auto finish = [&]() {
        result.elapsed =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        return result;
    };

    try {
        parts.assign(capacity, std::string());
        std::size_t p = 0;
        for (;;) {
            std::size_t q = delimiter.empty() ? std::string_view::npos : source.find(delimiter, p);
            bool last = q == std::string_view::npos;
            ++result.found;
            if (static_cast<std::size_t>(result.found) >= capacity) {
                result.overflow = true;
                break;
            }
            std::string_view piece = last ? source.substr(p) : source.substr(p, q - p);
            parts[static_cast<std::size_t>(result.found)] = std::string(piece);
            if (result.found == wanted_piece)
                result.piece = std::string(piece);
            if (last)
                break;
            p = q + delimiter.size();
        }
    } catch (const std::exception& error) {
        // Only the allocation of `parts` can fail here (an absurd capacity).
        std::string description =
            dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? "Out of memory" : error.what();
        if (stop_mode == 1 && ui != nullptr)
            ui->Message_Box("Error is: " + description + "\r\n" + "Exiting...", box::Stop,
                            Extract_Title);
        return finish();
    }

    if (result.overflow && stop_mode == 1 && ui != nullptr)
        ui->Message_Box(std::string("Buffer too small!!!") + "\r\n" + "Exiting...", box::Stop,
                        Extract_Title);
    return finish();
}

namespace {

// Characters, not bytes: a UTF-8 continuation byte belongs to the character before it.
std::size_t Character_Count(std::string_view text) {
    std::size_t count = 0;
    for (unsigned char c : text)
        if ((c & 0xC0) != 0x80)
            ++count;
    return count;
}

} // namespace

bool Parse_Serial_Range(std::string_view text, std::vector<std::string>& parts, long& count) {
    parts.assign(2, std::string());
    count = 0;
    std::size_t dash = text.find('-');
    if (dash == std::string_view::npos)
        return false;
    parts[0] = std::string(text.substr(0, dash));
    std::string_view rest = text.substr(dash + 1);
    std::size_t second = rest.find('-');
    parts[1] = std::string(rest.substr(0, second));
    // A second "-" would need a third part: the array has only two.
    if (second != std::string_view::npos)
        return false;
    for (std::string& part : parts)
        if (Character_Count(part) == 1)
            part.insert(0, "0");
    double difference = std::fabs(Leading_Number(parts[1]) - Leading_Number(parts[0]));
    // A number is assigned to a whole by rounding to the nearest, ties to even.
    double whole = std::nearbyint(difference);
    if (!(whole <= static_cast<double>(LONG_MAX / 2)))
        return false;
    count = static_cast<long>(whole);
    return true;
}

std::size_t Utf8_Length(std::string_view text) {
    std::size_t count = 0;
    for (unsigned char c : text)
        if ((c & 0xC0) != 0x80)
            ++count;
    return count;
}

std::string Zeros_In_Front(std::string_view text, std::size_t width) {
    const std::size_t length = Utf8_Length(text);
    return length >= width ? std::string(text)
                           : std::string(width - length, '0') + std::string(text);
}

} // namespace td
