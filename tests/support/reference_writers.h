// Reference files as tests lay them out, through the storage encoders: the fuel grades, the
// stations and the companies of a small installation.
#pragma once

#include <string>
#include <vector>

namespace td::test {

struct Company_Row {
    std::string code;
    std::string group;
    std::string subgroup;
    std::string name;
    std::string kind = "1";
};

// All eight fuel slots, each existing, named from `names` and blank past them. False when a
// record can't be written.
bool Write_Fuels(const std::string& path, const std::vector<std::string>& names);
// Stations from record 1, each existing (a blank name stays blank).
bool Write_Stations(const std::string& path, const std::vector<std::string>& names);
// Companies from record 1, each existing.
bool Write_Companies(const std::string& path, const std::vector<Company_Row>& rows);

} // namespace td::test
