// Reference and totals files as tests lay them out, through the storage encoders: the fuel
// grades, the stations, the companies, the user volumes and the totals of a small installation.
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
// Stations from record 1, each existing (a blank name stays blank) or, with `blank_is_free`, a
// blank name a free slot.
bool Write_Stations(const std::string& path, const std::vector<std::string>& names,
                    bool blank_is_free = false);
// Companies from record 1, each existing.
bool Write_Companies(const std::string& path, const std::vector<Company_Row>& rows);
// User volumes from record 1, each existing.
bool Write_User_Volumes(const std::string& path, const std::vector<double>& litres);
// A totals file, balances or station totals: rows[r][k] is Fuel_Total[k + 1] of record r + 1.
bool Write_Totals(const std::string& path, const std::vector<std::vector<double>>& rows);
// Fuel_Total[fuel] of record `record` of a totals file, read from its bytes at the offsets of the
// layout (84-byte records, the totals from byte 4); 0 where the file ends before it.
double Read_Total(const std::string& path, long record, int fuel);

} // namespace td::test
