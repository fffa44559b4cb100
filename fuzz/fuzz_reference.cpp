// Feeds arbitrary bytes to the reference file loaders, the same bytes as each file in turn: the
// company table, the fuel slots, the user volumes, the station names, and adding a town and a
// company. Besides crashes and sanitizer reports it checks each against the rule worked out from
// the bytes themselves: where loading stops, what the slots hold, where an added record goes and
// that nothing else of the file changes.
#include "base/text.h"
#include "fuzz_support.h"
#include "storage/reference.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace td::fuzz;

const std::string& Work_File() {
    static const std::string path = Scratch_Path("reference", ".dat");
    return path;
}

// Byte `offset` of the file; a read past the end gives zeros.
std::uint8_t Byte(const std::uint8_t* data, std::size_t size, std::size_t offset) {
    return offset < size ? data[offset] : 0;
}

// Record `number` (from 1) of `length` bytes, zeros past the end.
std::vector<std::uint8_t> Record(const std::uint8_t* data, std::size_t size, std::size_t length,
                                 std::size_t number) {
    std::vector<std::uint8_t> record(length, 0);
    const std::size_t at = (number - 1) * length;
    if (at < size)
        std::memcpy(record.data(), data + at, std::min(length, size - at));
    return record;
}

// The first record whose Exists byte is 0 (past the end included): where an added record goes.
// A record holding any other value is taken, whatever the value.
std::size_t First_Free(const std::uint8_t* data, std::size_t size, std::size_t length) {
    std::size_t number = 1;
    while (Byte(data, size, (number - 1) * length) != 0)
        ++number;
    return number;
}

void Check_Added(const std::uint8_t* data, std::size_t size, std::size_t length, long slot,
                 const std::string& name, std::size_t name_offset) {
    const std::string& path = Work_File();
    Check(slot == static_cast<long>(First_Free(data, size, length)));
    const std::vector<std::uint8_t> after = Read_File(path);
    const std::size_t end = static_cast<std::size_t>(slot) * length;
    Check(after.size() == std::max(size, end));
    for (std::size_t i = 0; i < after.size(); ++i)
        if (i < end - length || i >= end)
            Check(after[i] == Byte(data, size, i));
    Check(after[end - length] == 1);
    const std::string stored(after.begin() + static_cast<long>(end - length + name_offset),
                             after.begin() + static_cast<long>(end));
    // "Тула" in code page 1251, then blanks.
    Check(stored.compare(0, 4, "\xD2\xF3\xEB\xE0") == 0);
    Check(stored.find_first_not_of(' ', 4) == std::string::npos);
    (void)name;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& path = Work_File();
    const Scratch_Input input(path, data, size);
    if (!input.Written())
        return 0;

    // Companies: loading stops at the first record whose Exists is 0.
    std::vector<td::Company_Record> table;
    const long company_count = td::Load_Company_Table(path, table);
    std::size_t used = 0;
    while (Byte(data, size, used * td::Company_Record_Size) != 0)
        ++used;
    Check(company_count == static_cast<long>(used) + 1);
    Check(table.size() == std::max<std::size_t>(used + 1, 2));
    Check(table[0].Exists == 0 && table[0].Name.empty());
    for (std::size_t n = 1; n <= used; ++n) {
        Check(table[n].Exists == Byte(data, size, (n - 1) * td::Company_Record_Size));
        Check(table[n].Code.size() >= td::Trim_Text(table[n].Code).size());
    }

    // Fuel: always eight slots, each its record or zeros.
    const std::vector<td::Fuel_Record> fuels = td::Read_Fuel_Slots(path);
    Check(fuels.size() == 8);
    for (std::size_t n = 1; n <= 8; ++n) {
        const std::vector<std::uint8_t> raw = Record(data, size, td::Fuel_Record_Size, n);
        const td::Fuel_Record& fuel = fuels[n - 1];
        Check(fuel.Exists == raw[0] && fuel.History_Index == raw[49]);
        Check(std::memcmp(&fuel.Price, raw.data() + 33, 8) == 0);
        Check(std::memcmp(fuel.Price_Date_History.data(), raw.data() + 298, 248) == 0);
    }

    // User volumes: up to the first record whose Exists is not 1, 200 at most.
    const std::vector<double> volumes = td::Read_User_Volumes(path);
    std::size_t declared = 0;
    while (declared < 200 && Byte(data, size, declared * td::User_Volume_Record_Size) == 1)
        ++declared;
    Check(volumes.size() == declared);
    for (std::size_t n = 1; n <= declared; ++n)
        Check(std::memcmp(&volumes[n - 1],
                          Record(data, size, td::User_Volume_Record_Size, n).data() + 1, 8) == 0);

    // Stations: sixteen slots, each its record or zeros.
    const std::vector<td::Name_Record> stations = td::Read_Name_Records(path, 16);
    Check(stations.size() == 16);
    for (std::size_t n = 1; n <= 16; ++n)
        Check(stations[n - 1].Exists == Byte(data, size, (n - 1) * td::Name_Record_Size));

    // Adding: the first record whose Exists is not 1 takes the new one; nothing else changes.
    Check_Added(data, size, td::Name_Record_Size, td::Add_Name_Record(path, "Тула"), "Тула", 1);
    if (!Write_File(path, data, size))
        return 0;
    td::Company_Record company;
    company.Name = "Тула";
    Check_Added(data, size, td::Company_Record_Size, td::Add_Company_Record(path, company), "Тула",
                21);
    return 0;
}
