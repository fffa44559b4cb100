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

// Upper-case hexadecimal of an error number, as appended to a code.
std::string Hex_Number(long number);

// Shows the fatal screen through the port. An empty module path becomes the current error's value
// followed by ":"; an empty code becomes the current error's number as text. A `cause` (which file,
// and the system's reason) goes to the port ahead of the screen. Returns only if resumed.
void Fatal_Error(Ui& ui, std::string module_path = {}, std::string code = {},
                 const std::string& cause = {});

} // namespace td
