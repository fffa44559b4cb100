// The text of the settings file td.ini and the paths it gives: parsing only, no file is read here.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace td {

inline constexpr const char* Settings_File_Name = "td.ini";
inline constexpr const char* Settings_Section = "Tally depot beta";

// Searches the text of a settings file for `key` in `section` by the rules of the file:
// comment characters ("#", "'", "/") anywhere make a line a comment; section lines start with
// "[" and have "]" at position 3 or later; keys and sections compare without regard to case;
// the first equal key wins; a value keeps everything after the first "=".
std::optional<std::string> Find_Setting(std::string_view file_text, std::string_view section,
                                        std::string_view key);

// A value as the program keeps it: UTF-8, whether the file was written in UTF-8 or in code page
// 1251 on another system.
std::string Setting_Value_Text(const std::string& value);

// Paths from td.ini use "\" as separator. A drive prefix ("C:") has no meaning here: what follows
// it is an absolute path. A leading "\" (without a drive) means relative to `base_folder`, and so
// does a path without one.
std::string Translate_Path(std::string_view value, const std::string& base_folder);

// Joins a folder and a file name given in td.ini (which may itself hold "\" separators).
std::string Data_File_Path(const std::string& data_folder, std::string_view file_name);

} // namespace td
