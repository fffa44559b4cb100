#include "base/codepage.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace td {
namespace {

// The upper half of code page 1251. Its one unassigned byte, 0x98, reads as U+FFFD. A table
// rather than the C library's converter: every company name passes through here at start-up, and
// opening a converter per name cost more than the rest of the work.
constexpr std::array<char32_t, 128> Upper_Half = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, // 80
    0x20AC, 0x2030, 0x0409, 0x2039, 0x040A, 0x040C, 0x040B, 0x040F, // 88
    0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, // 90
    0xFFFD, 0x2122, 0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, // 98
    0x00A0, 0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6, 0x00A7, // A0
    0x0401, 0x00A9, 0x0404, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x0407, // A8
    0x00B0, 0x00B1, 0x0406, 0x0456, 0x0491, 0x00B5, 0x00B6, 0x00B7, // B0
    0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457, // B8
    0x0410, 0x0411, 0x0412, 0x0413, 0x0414, 0x0415, 0x0416, 0x0417, // C0
    0x0418, 0x0419, 0x041A, 0x041B, 0x041C, 0x041D, 0x041E, 0x041F, // C8
    0x0420, 0x0421, 0x0422, 0x0423, 0x0424, 0x0425, 0x0426, 0x0427, // D0
    0x0428, 0x0429, 0x042A, 0x042B, 0x042C, 0x042D, 0x042E, 0x042F, // D8
    0x0430, 0x0431, 0x0432, 0x0433, 0x0434, 0x0435, 0x0436, 0x0437, // E0
    0x0438, 0x0439, 0x043A, 0x043B, 0x043C, 0x043D, 0x043E, 0x043F, // E8
    0x0440, 0x0441, 0x0442, 0x0443, 0x0444, 0x0445, 0x0446, 0x0447, // F0
    0x0448, 0x0449, 0x044A, 0x044B, 0x044C, 0x044D, 0x044E, 0x044F, // F8
};

// The same table the other way round, sorted by code point.
struct Code_Byte {
    char32_t code;
    unsigned char byte;
};
constexpr std::array<Code_Byte, 127> Sorted_Upper_Half = [] {
    std::array<Code_Byte, 127> sorted{};
    std::size_t k = 0;
    for (std::size_t i = 0; i < Upper_Half.size(); ++i)
        if (Upper_Half[i] != 0xFFFD)
            sorted[k++] = {Upper_Half[i], static_cast<unsigned char>(0x80 + i)};
    std::sort(sorted.begin(), sorted.end(),
              [](const Code_Byte& a, const Code_Byte& b) { return a.code < b.code; });
    return sorted;
}();

void Append_Utf8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// The byte of code page 1251 for a code point, or 0 when it has none (NUL itself is ASCII and
// never asked for here).
unsigned char Byte_Of(char32_t code) {
    auto it = std::lower_bound(Sorted_Upper_Half.begin(), Sorted_Upper_Half.end(), code,
                               [](const Code_Byte& entry, char32_t c) { return entry.code < c; });
    return (it != Sorted_Upper_Half.end() && it->code == code) ? it->byte : 0;
}

// The length a lead byte announces; a stray continuation byte counts as one byte.
std::size_t Announced_Length(unsigned char lead) {
    return lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
}

// Decodes the UTF-8 sequence at the start of `text`; false when it is malformed, overlong, a
// surrogate or beyond U+10FFFF.
bool Decode_Utf8(std::string_view text, std::size_t length, char32_t& code) {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (length < 2 || length > text.size() || lead > 0xF4)
        return false;
    code = lead & (0x7F >> length);
    for (std::size_t k = 1; k < length; ++k) {
        const auto next = static_cast<unsigned char>(text[k]);
        if ((next & 0xC0) != 0x80)
            return false;
        code = (code << 6) | (next & 0x3F);
    }
    constexpr std::array<char32_t, 5> Smallest = {0, 0, 0x80, 0x800, 0x10000};
    return code >= Smallest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

} // namespace

std::string Cp1251_To_Utf8(std::string_view bytes) {
    // Sized exactly: names are read by the thousand, mostly in plain ASCII.
    std::size_t size = bytes.size();
    for (char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80)
            size += Upper_Half[byte - 0x80] < 0x800 ? 1 : 2;
    }
    if (size == bytes.size())
        return std::string(bytes);
    std::string out;
    out.reserve(size);
    for (char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80)
            out += c;
        else
            Append_Utf8(out, Upper_Half[byte - 0x80]);
    }
    return out;
}

std::string Utf8_To_Cp1251(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            out += static_cast<char>(lead);
            ++i;
            continue;
        }
        const std::size_t length = Announced_Length(lead);
        char32_t code = 0;
        if (Decode_Utf8(text.substr(i), length, code)) {
            const unsigned char byte = Byte_Of(code);
            out += byte != 0 ? static_cast<char>(byte) : '?';
            i += length;
            continue;
        }
        // A broken sequence is one "?"; what follows it is read again, so that a character cut
        // short doesn't take the next one with it.
        out += '?';
        std::size_t skipped = 1;
        while (skipped < length && i + skipped < text.size() &&
               (static_cast<unsigned char>(text[i + skipped]) & 0xC0) == 0x80)
            ++skipped;
        i += skipped;
    }
    return out;
}

} // namespace td
