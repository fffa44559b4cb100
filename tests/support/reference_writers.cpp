#include "support/reference_writers.h"

#include "storage/record_file.h"
#include "storage/records.h"

#include <cstdint>
#include <cstring>
#include <fstream>

namespace td::test {

bool Write_Fuels(const std::string& path, const std::vector<std::string>& names) {
    Record_File file(path, Fuel_Record_Size);
    std::vector<std::uint8_t> raw(Fuel_Record_Size);
    bool ok = file.Is_Open();
    for (std::size_t i = 0; i < Fuel_Slots; ++i) {
        Fuel_Record fuel;
        fuel.Exists = 1;
        fuel.Name = i < names.size() ? names[i] : "";
        Encode(fuel, raw.data());
        ok = file.Write(i + 1, raw.data()) && ok;
    }
    return ok;
}

bool Write_Stations(const std::string& path, const std::vector<std::string>& names,
                    bool blank_is_free) {
    Record_File file(path, Name_Record_Size);
    std::vector<std::uint8_t> raw(Name_Record_Size);
    bool ok = file.Is_Open();
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::uint8_t exists = blank_is_free && names[i].empty() ? 0 : 1;
        Encode(Name_Record{exists, names[i]}, raw.data());
        ok = file.Write(i + 1, raw.data()) && ok;
    }
    return ok;
}

bool Write_Companies(const std::string& path, const std::vector<Company_Row>& rows) {
    Record_File file(path, Company_Record_Size);
    std::vector<std::uint8_t> raw(Company_Record_Size);
    bool ok = file.Is_Open();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Company_Record record;
        record.Exists = 1;
        record.Code = rows[i].code;
        record.Kind_Code = rows[i].kind;
        record.Group_Code = rows[i].group;
        record.Subgroup_Code = rows[i].subgroup;
        record.Name = rows[i].name;
        Encode(record, raw.data());
        ok = file.Write(i + 1, raw.data()) && ok;
    }
    return ok;
}

bool Write_User_Volumes(const std::string& path, const std::vector<double>& litres) {
    Record_File file(path, User_Volume_Record_Size);
    std::vector<std::uint8_t> raw(User_Volume_Record_Size);
    bool ok = file.Is_Open();
    for (std::size_t i = 0; i < litres.size(); ++i) {
        User_Volume_Record record;
        record.Exists = 1;
        record.Litres = litres[i];
        Encode(record, raw.data());
        ok = file.Write(i + 1, raw.data()) && ok;
    }
    return ok;
}

bool Write_Totals(const std::string& path, const std::vector<std::vector<double>>& rows) {
    Record_File file(path, Cache_Record_Size);
    std::vector<std::uint8_t> raw(Cache_Record_Size);
    bool ok = file.Is_Open();
    for (std::size_t r = 0; r < rows.size(); ++r) {
        Cache_Record record;
        for (std::size_t k = 0; k < rows[r].size(); ++k)
            record.Fuel_Total[k + 1] = rows[r][k];
        Encode(record, raw.data());
        ok = file.Write(r + 1, raw.data()) && ok;
    }
    return ok;
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
