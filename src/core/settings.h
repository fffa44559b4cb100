// The settings file td.ini: read once at start, never written by the running program.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace td {

class Ui;

inline constexpr const char* Settings_File_Name = "td.ini";
inline constexpr const char* Settings_Section = "Tally depot beta";

// Searches the text of a settings file for `key` in `section` by the rules of the file:
// comment characters ("#", "'", "/") anywhere make a line a comment; section lines start with
// "[" and have "]" at position 3 or later; keys and sections compare without regard to case;
// the first equal key wins; a value keeps everything after the first "=".
std::optional<std::string> Find_Setting(std::string_view file_text, std::string_view section,
                                        std::string_view key);

// Reads `key` from the settings file. A file that is missing, empty or unreadable takes the fatal
// path ("Std_Functions\Get_Var", "0x07331056FFAD") and then ends the process through the port.
std::string Get_Var(const std::string& file, std::string_view section, std::string_view key,
                    const std::string& default_value, Ui& ui);

// The values of td.ini, as the program keeps them.
struct Settings {
    std::string User_Name;
    std::string Company_Name;
    std::string Databases_Path;
    std::string Company_File = "Company_Db.dat";
    std::string Towns_File = "Towns.dat";
    std::string Establishments_File = "Establishments.dat";
    std::string DB_Extension = "ddb";
    std::string Database_File = "TD.cdb";
    std::string Fuel_File = "Fuel.dat";
    std::string Backup_File = "TD.cbk";
    std::string User_Volume_File = "UsVol.dat";
    std::string CS_Program_Path = "Not define";
    std::string Cache_Diff_File = "Cache_d.dat";
    std::string Cache_Used_File = "Cache_u.dat";
    std::string Cache_User_File = "Cache_Users.dat";
};

// Reads the 15 keys in the order start-up reads them, calling `progress` with the splash bar
// values 2, 3, 4, 4, 5, 6, 7, 8, 9 where start-up moves it. `program_folder` is the default of
// `Databases`. CS_PATH other than "Not define" is completed to the sibling program's path.
Settings Read_Settings(const std::string& ini_file, const std::string& program_folder, Ui& ui,
                       const std::function<void(int)>& progress = {});

// Paths from td.ini use "\" as separator. A drive prefix ("C:") has no meaning here: what follows
// it is an absolute path. A leading "\" (without a drive) means relative to `base_folder`, and so
// does a path without one.
std::string Translate_Path(std::string_view value, const std::string& base_folder);

// Joins a folder and a file name given in td.ini (which may itself hold "\" separators).
std::string Data_File_Path(const std::string& data_folder, std::string_view file_name);

} // namespace td
