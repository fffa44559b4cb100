#include "core/settings.h"

#include "core/codepage.h"
#include "core/fatal.h"
#include "core/ports.h"
#include "core/text.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

// A file written on another system may be in code page 1251 rather than UTF-8.
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

enum class Read_Outcome { Ok, Missing_Or_Unreadable, Empty };

Read_Outcome Read_Whole_File(const std::string& path, std::string& text) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return Read_Outcome::Missing_Or_Unreadable;
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return Read_Outcome::Missing_Or_Unreadable;
    }
    text.clear();
    char buffer[65536];
    for (;;) {
        ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            ::close(fd);
            return Read_Outcome::Missing_Or_Unreadable;
        }
        if (got == 0)
            break;
        text.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    return text.empty() ? Read_Outcome::Empty : Read_Outcome::Ok;
}

std::string Join(const std::string& folder, std::string_view relative) {
    if (folder.empty())
        return std::string(relative);
    return folder + "/" + std::string(relative);
}

} // namespace

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

std::string Get_Var(const std::string& file, std::string_view section, std::string_view key,
                    const std::string& default_value, Ui& ui) {
    std::string text;
    if (Read_Whole_File(file, text) != Read_Outcome::Ok) {
        Fatal_Error(ui, fatal_site::Get_Var_Module, fatal_site::Get_Var_Code);
        // Back here only if the user resumed: the program can't run without its settings.
        ui.End_Process(1);
    }
    std::optional<std::string> value = Find_Setting(text, section, key);
    if (!value)
        return default_value;
    if (!Valid_Utf8(*value))
        return Cp1251_To_Utf8(*value);
    return *value;
}

Settings Read_Settings(const std::string& ini_file, const std::string& program_folder, Ui& ui,
                       const std::function<void(int)>& progress) {
    auto move_bar = [&progress](int value) {
        if (progress)
            progress(value);
    };
    // The file is read anew for every key, in the order start-up has always read them.
    auto get = [&](std::string_view key, const std::string& default_value) {
        return Get_Var(ini_file, Settings_Section, key, default_value, ui);
    };

    Settings s;
    s.User_Name = get("User", s.User_Name);
    s.Company_Name = get("Company", s.Company_Name);
    move_bar(2);
    move_bar(3);
    s.Databases_Path = get("Databases", program_folder);
    move_bar(4);
    s.Company_File = get("Company_DB", s.Company_File);
    move_bar(4);
    s.Towns_File = get("Towns_DB", s.Towns_File);
    move_bar(5);
    s.Establishments_File = get("Establishment_DB", s.Establishments_File);
    move_bar(6);
    s.DB_Extension = get("DB_Ext", s.DB_Extension);
    s.Database_File = get("Database", s.Database_File);
    move_bar(7);
    s.Fuel_File = get("Fuel_DB", s.Fuel_File);
    move_bar(8);
    s.Backup_File = get("BackUp", s.Backup_File);
    s.User_Volume_File = get("User_Volume", s.User_Volume_File);
    s.CS_Program_Path = get("CS_PATH", s.CS_Program_Path);
    s.Cache_Diff_File = get("Cache_Diff", s.Cache_Diff_File);
    s.Cache_Used_File = get("Cache_Used", s.Cache_Used_File);
    s.Cache_User_File = get("Cache_User", s.Cache_User_File);
    move_bar(9);

    if (s.CS_Program_Path != "Not define") {
        if (s.CS_Program_Path.empty() || s.CS_Program_Path.back() != '\\')
            s.CS_Program_Path += '\\';
        s.CS_Program_Path += "Cloud sculptor.exe";
    }
    return s;
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
