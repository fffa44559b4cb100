#include "storage/reference.h"

#include "storage/record_file.h"

#include <algorithm>

namespace td {

namespace {

// Records per read when walking a reference file from record 1.
constexpr std::uint64_t Block_Records = 256;

// Reference files are opened as the system's random-access open did, which creates a missing
// file; a file that can't be written (a read-only copy) is still read.
bool Open_Reference(Record_File& file, const std::string& path, std::size_t record_length) {
    return file.Open(path, record_length, Record_File::Mode::Read_Write) ||
           file.Open(path, record_length, Record_File::Mode::Read_Only);
}

// Calls `visit(number, bytes)` for records 1, 2, ... until it returns false. Past the end of the
// file the records read as zeros, and every caller stops on a zero Exists byte, so the walk ends
// within one block of the end. `limit` bounds the walk for files with a fixed number of slots.
template <typename Visit>
bool Walk_Records(const Record_File& file, std::uint64_t limit, Visit visit) {
    const std::size_t length = file.Record_Length();
    std::vector<std::uint8_t> block;
    for (std::uint64_t first = 1; first <= limit;) {
        const std::uint64_t n = std::min(Block_Records, limit - first + 1);
        block.resize(n * length);
        if (!file.Read_Block(first, n, block.data()))
            return false;
        for (std::uint64_t j = 0; j < n; ++j)
            if (!visit(first + j, block.data() + j * length))
                return true;
        first += n;
    }
    return true;
}

constexpr std::uint64_t No_Limit = ~std::uint64_t{0} >> 1;

// First record number whose Exists byte is 0: a free slot, or the end of the file. A slot that
// holds any other value is taken: a loaded company marks itself so, and tickets may point to it.
std::uint64_t First_Free_Slot(const Record_File& file) {
    std::uint64_t free_slot = 0;
    bool ok = Walk_Records(file, No_Limit, [&](std::uint64_t number, const std::uint8_t* raw) {
        if (bytes::Get_U8(raw) != 0)
            return true;
        free_slot = number;
        return false;
    });
    return ok ? free_slot : 0;
}

template <typename Record>
long Append_Record(const std::string& path, std::size_t record_length, const Record& record,
                   File_Failure* failure) {
    Record_File file;
    std::uint64_t slot = 0;
    std::vector<std::uint8_t> raw(record_length);
    Encode(record, raw.data());
    const bool ok = file.Open(path, record_length, Record_File::Mode::Read_Write) &&
                    (slot = First_Free_Slot(file)) != 0 && file.Write(slot, raw.data()) &&
                    file.Sync();
    if (!ok && failure != nullptr)
        failure->Note(false, path, file.Error());
    return ok ? static_cast<long>(slot) : 0;
}

} // namespace

long Load_Company_Table(const std::string& company_file, std::vector<Company_Record>& table) {
    table.assign(2, Company_Record{});
    Record_File file;
    if (!Open_Reference(file, company_file, Company_Record_Size))
        return 1;
    long next = 1;
    table.reserve(std::min<std::uint64_t>(file.Record_Count(), Max_Companies) + 1);
    // Loading stops at the first free slot: records behind a hole are not seen.
    Walk_Records(file, No_Limit, [&](std::uint64_t number, const std::uint8_t* raw) {
        if (bytes::Get_U8(raw) == 0)
            return false;
        table.resize(std::max<std::size_t>(table.size(), number + 1));
        table[number] = Decode_Company(raw);
        next = static_cast<long>(number) + 1;
        return true;
    });
    return next;
}

long Add_Name_Record(const std::string& file, const std::string& name, File_Failure* failure) {
    Name_Record record;
    record.Exists = 1;
    record.Name = name;
    return Append_Record(file, Name_Record_Size, record, failure);
}

long Add_Company_Record(const std::string& file, const Company_Record& record,
                        File_Failure* failure) {
    // A company added by hand has a name only; its four codes stay empty.
    Company_Record added;
    added.Exists = 1;
    added.Name = record.Name;
    return Append_Record(file, Company_Record_Size, added, failure);
}

std::vector<Fuel_Record> Read_Fuel_Slots(const std::string& fuel_file) {
    // A file that can't be read gives the same zero records as a file too short.
    std::vector<std::uint8_t> block(Fuel_Slots * Fuel_Record_Size, 0);
    Record_File file;
    if (!Open_Reference(file, fuel_file, Fuel_Record_Size) ||
        !file.Read_Block(1, Fuel_Slots, block.data()))
        std::fill(block.begin(), block.end(), std::uint8_t{0});
    std::vector<Fuel_Record> slots;
    for (int i = 0; i < Fuel_Slots; ++i)
        slots.push_back(Decode_Fuel(block.data() + i * Fuel_Record_Size));
    return slots;
}

std::vector<double> Read_User_Volumes(const std::string& user_volume_file) {
    std::vector<double> volumes;
    Record_File file;
    if (!Open_Reference(file, user_volume_file, User_Volume_Record_Size))
        return volumes;
    Walk_Records(file, Max_User_Volumes, [&](std::uint64_t, const std::uint8_t* raw) {
        const User_Volume_Record record = Decode_User_Volume(raw);
        if (record.Exists != 1)
            return false;
        volumes.push_back(record.Litres);
        return true;
    });
    return volumes;
}

std::vector<Name_Record> Read_Name_Records(const std::string& file, int count) {
    std::vector<Name_Record> records;
    if (count <= 0)
        return records;
    const auto n = static_cast<std::size_t>(count);
    std::vector<std::uint8_t> block(n * Name_Record_Size, 0);
    Record_File in;
    if (!Open_Reference(in, file, Name_Record_Size) || !in.Read_Block(1, n, block.data()))
        std::fill(block.begin(), block.end(), std::uint8_t{0});
    for (std::size_t i = 0; i < n; ++i)
        records.push_back(Decode_Name(block.data() + i * Name_Record_Size));
    return records;
}

bool First_Record_Undefined(const std::string& file, std::size_t record_length) {
    // Opened as the system's random-access open does: a missing file is created.
    Record_File records(file, record_length);
    std::vector<std::uint8_t> record(std::max<std::size_t>(record_length, 1), 0);
    if (records.Is_Open())
        records.Read(1, record.data());
    return Reference_Exists(record.data()) == 0;
}

} // namespace td
