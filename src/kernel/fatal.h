// The fatal report: the last resort of routines that can't go on.
#pragma once

#include <string>

namespace td {

class Ui;

// Fixed codes of the fatal sites.
namespace fatal_site {
inline constexpr const char* Get_Var_Module = "Std_Functions\\Get_Var";
inline constexpr const char* Get_Var_Code = "0x07331056FFAD";
inline constexpr const char* Cache_Module = "Core\\CreateCacheFile";
inline constexpr const char* Cache_Code = "0xEE0035453";
inline constexpr const char* Request_Module = "Core\\CreateCacheFileForRequest";
inline constexpr const char* Request_Code = "0x003747FFDE";
inline constexpr const char* Range_Module = "Core\\CreateCacheFileForRange";
inline constexpr const char* Range_Code = "0x0FEEAA03165";
inline constexpr const char* Defrag_Module = "Core\\SE_Defragmentation";
inline constexpr const char* Defrag_Code = "0xFDAABCC00";
inline constexpr const char* Import_Module = "DB Import";
inline constexpr const char* Import_Code = "0x0FEAA";
inline constexpr const char* Sell_Load_Module = "Sell tickets\\Load";
inline constexpr const char* Sell_Load_Code = "0x4590";
} // namespace fatal_site

// The run-time error the system raises for a failure: its number and its description.
struct Run_Time_Error {
    long number = 0;
    std::string description;
};
inline constexpr long Subscript_Out_Of_Range = 9;
inline constexpr long Bad_Record_Number = 63;
// The error a failed file operation raises, by the system's error number.
Run_Time_Error Run_Time_Error_Of(int system_error);

// The fatal screen for a failure that the operation meeting it has no handler for: the error's
// description as the module and its number as the code; `cause` names the file and the reason.
void Fatal_Run_Time_Error(Ui& ui, const Run_Time_Error& error, const std::string& cause = {});

// Upper-case hexadecimal of an error number, as appended to a code.
std::string Hex_Number(long number);

// Shows the fatal screen through the port. An empty module path becomes the current error's value
// followed by ":"; an empty code becomes the current error's number as text. A `cause` (which file,
// and the system's reason) goes to the port ahead of the screen. Returns only if resumed.
void Fatal_Error(Ui& ui, std::string module_path = {}, std::string code = {},
                 const std::string& cause = {});

} // namespace td
