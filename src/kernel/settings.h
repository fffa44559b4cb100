// The settings file td.ini: read once at start, never written by the running program.
#pragma once

#include "base/td_ini.h"

#include <functional>
#include <string>
#include <string_view>

namespace td {

class Ui;

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

} // namespace td
