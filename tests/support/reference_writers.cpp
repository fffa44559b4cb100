#include "support/reference_writers.h"

#include "storage/record_file.h"
#include "storage/records.h"

#include <cstdint>

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

bool Write_Stations(const std::string& path, const std::vector<std::string>& names) {
    Record_File file(path, Name_Record_Size);
    std::vector<std::uint8_t> raw(Name_Record_Size);
    bool ok = file.Is_Open();
    for (std::size_t i = 0; i < names.size(); ++i) {
        Encode(Name_Record{1, names[i]}, raw.data());
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

} // namespace td::test
