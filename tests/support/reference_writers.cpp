#include "support/reference_writers.h"

#include "storage/record_file.h"
#include "storage/records.h"

#include <cstdint>
#include <cstring>
#include <fstream>

namespace td::test {

namespace {

// Records 1, 2, ... of a file of `size`-byte records, through the storage encoders.
template <typename Record>
bool Write_Records(const std::string& path, std::size_t size, const std::vector<Record>& records) {
    Record_File file(path, size);
    std::vector<std::uint8_t> raw(size);
    bool ok = file.Is_Open();
    for (std::size_t i = 0; i < records.size(); ++i) {
        Encode(records[i], raw.data());
        ok = file.Write(i + 1, raw.data()) && ok;
    }
    return ok;
}

} // namespace

bool Write_Fuels(const std::string& path, const std::vector<std::string>& names) {
    std::vector<Fuel_Record> fuels(Fuel_Slots);
    for (std::size_t i = 0; i < fuels.size(); ++i) {
        fuels[i].Exists = 1;
        fuels[i].Name = i < names.size() ? names[i] : "";
    }
    return Write_Records(path, Fuel_Record_Size, fuels);
}

bool Write_Stations(const std::string& path, const std::vector<std::string>& names,
                    bool blank_is_free) {
    std::vector<Name_Record> stations;
    for (const std::string& name : names)
        stations.push_back(
            {static_cast<std::uint8_t>(blank_is_free && name.empty() ? 0 : 1), name});
    return Write_Records(path, Name_Record_Size, stations);
}

bool Write_Companies(const std::string& path, const std::vector<Company_Row>& rows) {
    std::vector<Company_Record> companies(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        companies[i].Exists = 1;
        companies[i].Code = rows[i].code;
        companies[i].Kind_Code = rows[i].kind;
        companies[i].Group_Code = rows[i].group;
        companies[i].Subgroup_Code = rows[i].subgroup;
        companies[i].Name = rows[i].name;
    }
    return Write_Records(path, Company_Record_Size, companies);
}

bool Write_User_Volumes(const std::string& path, const std::vector<double>& litres) {
    std::vector<User_Volume_Record> volumes(litres.size());
    for (std::size_t i = 0; i < litres.size(); ++i) {
        volumes[i].Exists = 1;
        volumes[i].Litres = litres[i];
    }
    return Write_Records(path, User_Volume_Record_Size, volumes);
}

bool Write_Totals(const std::string& path, const std::vector<std::vector<double>>& rows) {
    std::vector<Cache_Record> totals(rows.size());
    for (std::size_t r = 0; r < rows.size(); ++r)
        for (std::size_t k = 0; k < rows[r].size(); ++k)
            totals[r].Fuel_Total[k + 1] = rows[r][k];
    return Write_Records(path, Cache_Record_Size, totals);
}

double Read_Total(const std::string& path, long record, int fuel) {
    std::ifstream in(path, std::ios::binary);
    in.seekg((record - 1) * 84 + 4 + 8 * fuel);
    char raw[8] = {};
    double value = 0;
    if (record >= 1 && in.read(raw, 8))
        std::memcpy(&value, raw, 8);
    return value;
}

} // namespace td::test
