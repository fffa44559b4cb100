// Text on disk is code page 1251; in memory it is UTF-8. Convert only at the storage boundary.
#pragma once

#include <string>
#include <string_view>

namespace td {

std::string Cp1251_To_Utf8(std::string_view bytes);
// Characters that code page 1251 cannot hold become "?".
std::string Utf8_To_Cp1251(std::string_view text);

} // namespace td
