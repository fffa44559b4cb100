#include "base/td_ini.h"

#include "base/codepage.h"

namespace td {
namespace {

std::string_view Trim_View(std::string_view text) {
    std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    std::size_t last = text.find_last_not_of(' ');
    return text.substr(first, last - first + 1);
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool Same_Ignoring_Case(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (Lower(a[i]) != Lower(b[i]))
            return false;
    return true;
}

std::string Join(const std::string& folder, std::string_view relative) {
    if (folder.empty())
        return std::string(relative);
    return folder + "/" + std::string(relative);
}

} // namespace

bool Valid_Utf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        auto c = static_cast<unsigned char>(text[i]);
        std::size_t length = c < 0x80           ? 1
                             : (c >> 5) == 0x6  ? 2
                             : (c >> 4) == 0xE  ? 3
                             : (c >> 3) == 0x1E ? 4
                                                : 0;
        if (length == 0 || i + length > text.size())
            return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        i += length;
    }
    return true;
}

std::string Setting_Value_Text(const std::string& value) {
    // A file written on another system may be in code page 1251 rather than UTF-8.
    return Valid_Utf8(value) ? value : Cp1251_To_Utf8(value);
}

std::optional<std::string> Find_Setting(std::string_view file_text, std::string_view section,
                                        std::string_view key) {
    // An editor on the other system may have put a byte order mark in front of the first line.
    if (file_text.substr(0, 3) == "\xEF\xBB\xBF")
        file_text.remove_prefix(3);

    bool section_seen = false;
    std::string_view current_section;
    std::size_t at = 0;
    while (at < file_text.size()) {
        // Lines end in LF, CR LF, or a lone CR.
        std::size_t end = file_text.find_first_of("\r\n", at);
        std::string_view line =
            file_text.substr(at, end == std::string_view::npos ? std::string_view::npos : end - at);
        if (end == std::string_view::npos)
            at = file_text.size();
        else if (file_text[end] == '\r' && end + 1 < file_text.size() && file_text[end + 1] == '\n')
            at = end + 2;
        else
            at = end + 1;

        if (line.find_first_of("#'/") != std::string_view::npos)
            continue;
        if (Trim_View(line).empty())
            continue;
        if (line.front() == '[') {
            std::size_t close = line.find(']');
            // "]" at the third position or later: "[]" names no section.
            if (close != std::string_view::npos && close >= 2) {
                current_section = Trim_View(line.substr(1, close - 1));
                section_seen = true;
                continue;
            }
        }
        if (!section_seen || !Same_Ignoring_Case(current_section, section))
            continue;
        std::size_t equals = line.find('=');
        if (equals == std::string_view::npos)
            continue;
        if (Same_Ignoring_Case(Trim_View(line.substr(0, equals)), key))
            return std::string(Trim_View(line.substr(equals + 1)));
    }
    return std::nullopt;
}

std::string Translate_Path(std::string_view value, const std::string& base_folder) {
    std::string path;
    if (!value.empty() && value.front() == '/') {
        // Already a path of this system (the program's folder as a default, never a td.ini
        // value: a slash makes a line of td.ini a comment).
        path = std::string(value);
    } else {
        std::string converted(value);
        for (char& c : converted)
            if (c == '\\')
                c = '/';
        bool drive = converted.size() >= 2 && converted[1] == ':' &&
                     ((converted[0] >= 'A' && converted[0] <= 'Z') ||
                      (converted[0] >= 'a' && converted[0] <= 'z'));
        if (drive)
            path = "/" + converted.substr(2);
        else if (!converted.empty() && converted.front() == '/')
            path = Join(base_folder, std::string_view(converted).substr(1));
        else if (converted.empty())
            path = base_folder;
        else
            path = Join(base_folder, converted);
    }

    std::string normal;
    normal.reserve(path.size());
    for (char c : path)
        if (c != '/' || normal.empty() || normal.back() != '/')
            normal += c;
    if (normal.size() > 1 && normal.back() == '/')
        normal.pop_back();
    return normal;
}

std::string Data_File_Path(const std::string& data_folder, std::string_view file_name) {
    return Translate_Path(file_name, data_folder);
}

} // namespace td
