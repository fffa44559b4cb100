#include "core/codepage.h"

#include <cerrno>
#include <iconv.h>

namespace td {
namespace {

// One conversion; bytes the target can't hold are replaced by `replacement`, and one input unit
// (a byte, or a whole UTF-8 sequence) is skipped.
std::string Convert(std::string_view input, const char* from, const char* to, bool from_utf8,
                    const char* replacement) {
    std::string out;
    if (input.empty())
        return out;
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1))
        return std::string(input);
    out.reserve(input.size() * 2);
    char* in_ptr = const_cast<char*>(input.data());
    size_t in_left = input.size();
    char buffer[1024];
    while (in_left > 0) {
        char* out_ptr = buffer;
        size_t out_left = sizeof buffer;
        size_t rc = iconv(cd, &in_ptr, &in_left, &out_ptr, &out_left);
        out.append(buffer, static_cast<size_t>(out_ptr - buffer));
        if (rc != static_cast<size_t>(-1))
            continue;
        if (errno == E2BIG)
            continue;
        // EILSEQ or EINVAL: skip one unit of input.
        out += replacement;
        size_t skip = 1;
        if (from_utf8) {
            auto lead = static_cast<unsigned char>(*in_ptr);
            skip = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
            if (skip > in_left)
                skip = in_left;
        }
        in_ptr += skip;
        in_left -= skip;
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
    }
    iconv_close(cd);
    return out;
}

bool Plain_Ascii(std::string_view text) {
    for (unsigned char c : text)
        if (c >= 0x80)
            return false;
    return true;
}

} // namespace

std::string Cp1251_To_Utf8(std::string_view bytes) {
    if (Plain_Ascii(bytes))
        return std::string(bytes);
    // 0x98 is the one byte code page 1251 leaves unassigned.
    return Convert(bytes, "CP1251", "UTF-8", false, "\xEF\xBF\xBD");
}

std::string Utf8_To_Cp1251(std::string_view text) {
    if (Plain_Ascii(text))
        return std::string(text);
    return Convert(text, "UTF-8", "CP1251", true, "?");
}

} // namespace td
