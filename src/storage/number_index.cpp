#include "storage/number_index.h"

#include "storage/record_file.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <dirent.h>
#include <string_view>

namespace td {

namespace {

// Records per read in the long scans: large enough that a scan is a few system calls.
constexpr std::uint64_t Index_Block_Records = 8192;
constexpr std::uint64_t Database_Block_Records = 4096;

using Serial_Bytes = std::array<char, 6>;

// The whole six characters are compared as text; a wanted number is taken as Set_Serial would
// store it, so "123" looks for "123   " and not for a prefix.
Serial_Bytes As_Serial(const std::string& text) {
    Ticket_Record r;
    r.Set_Serial(text);
    return r.Serial;
}

// The wanted numbers and which of them were found, to stop as soon as the last one is.
class Wanted_Set {
public:
    explicit Wanted_Set(const std::vector<std::string>& wanted) {
        for (const std::string& text : wanted) {
            Serial_Bytes serial = As_Serial(text);
            auto same = [&](const Entry& e) { return e.serial == serial; };
            if (std::find_if(entries_.begin(), entries_.end(), same) == entries_.end())
                entries_.push_back({serial, text, false});
        }
        missing_ = entries_.size();
    }
    bool All_Found() const { return missing_ == 0; }
    // The wanted text matching `serial`, marking it found; nullptr if not wanted.
    const std::string* Match(const Serial_Bytes& serial) {
        for (Entry& e : entries_) {
            if (e.serial != serial)
                continue;
            if (!e.found) {
                e.found = true;
                --missing_;
            }
            return &e.text;
        }
        return nullptr;
    }

private:
    struct Entry {
        Serial_Bytes serial;
        std::string text;
        bool found;
    };
    std::vector<Entry> entries_;
    std::size_t missing_ = 0;
};

std::string Join(const std::string& folder, const std::string& name) {
    if (folder.empty())
        return name;
    return folder.back() == '/' ? folder + name : folder + "/" + name;
}

void Scan_Index(const std::string& index_path, const Record_File& database, int fuel, int volume,
                const Z_Count_Table& z_counts, Wanted_Set& wanted, std::vector<Number_Hit>& hits) {
    Record_File index;
    if (!index.Open(index_path, Z_Record_Size, Record_File::Mode::Read_Only))
        return;
    const std::uint64_t count = static_cast<std::uint64_t>(std::max(0, z_counts.Get(fuel, volume)));
    std::vector<std::uint8_t> block;
    std::vector<std::uint8_t> ticket(Ticket_Record_Size);
    Seen_Records seen(static_cast<std::int64_t>(database.Record_Count()));
    // Entry k is record k + 1; record 1 is the header.
    for (std::uint64_t k = 1; k <= count && !wanted.All_Found();) {
        const std::uint64_t n = std::min(Index_Block_Records, count - k + 1);
        block.resize(n * Z_Record_Size);
        if (!index.Read_Block(k + 1, n, block.data()))
            return;
        for (std::uint64_t j = 0; j < n && !wanted.All_Found(); ++j) {
            const Z_Record entry = Decode_Z_Record(block.data() + j * Z_Record_Size);
            const std::string* text = wanted.Match(entry.Serial);
            if (text == nullptr || !seen.First(entry.Record_No))
                continue;
            // Record_No is absolute: the offset is already in it. The entry's Used and Deleted
            // bytes are a copy from indexing time; the caller judges the live record.
            if (!database.Read(static_cast<std::uint64_t>(std::max(0, entry.Record_No)),
                               ticket.data()))
                continue;
            hits.push_back({*text, entry.Record_No, Decode_Ticket(ticket.data())});
        }
        k += n;
    }
}

void Scan_Database(const Record_File& database, int fuel, int volume, long ticket_count,
                   long records_offset, Wanted_Set& wanted, std::vector<Number_Hit>& hits) {
    // Ticket i is record i + offset; a garbage offset can put the first tickets before record 1,
    // where nothing can be read.
    const std::int64_t first_ticket = std::max<std::int64_t>(1, 1 - std::int64_t{records_offset});
    std::vector<std::uint8_t> block;
    for (std::int64_t i = first_ticket; i <= ticket_count && !wanted.All_Found();) {
        const std::int64_t n =
            std::min<std::int64_t>(Database_Block_Records, std::int64_t{ticket_count} - i + 1);
        block.resize(static_cast<std::size_t>(n) * Ticket_Record_Size);
        const std::int64_t first_record = i + records_offset;
        if (!database.Read_Block(static_cast<std::uint64_t>(first_record),
                                 static_cast<std::uint64_t>(n), block.data()))
            return;
        for (std::int64_t j = 0; j < n && !wanted.All_Found(); ++j) {
            const std::uint8_t* raw = block.data() + j * Ticket_Record_Size;
            Ticket_Record ticket = Decode_Ticket(raw);
            if (ticket.Fuel != fuel || ticket.Volume != volume)
                continue;
            const std::string* text = wanted.Match(ticket.Serial);
            if (text != nullptr)
                hits.push_back({*text, first_record + j, ticket});
        }
        i += n;
    }
}

} // namespace

void Remove_Number_Index_Files(const std::string& folder) {
    DIR* dir = ::opendir(folder.c_str());
    if (dir == nullptr)
        return;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name = entry->d_name;
        if (name.size() < 5 || (name[0] != 'z' && name[0] != 'Z'))
            continue;
        std::string tail(name.substr(name.size() - 4));
        for (char& c : tail)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (tail == ".dat")
            Remove_File(folder + "/" + std::string(name));
    }
    ::closedir(dir);
}

std::string Z_File_Name(int fuel, int volume) {
    return "z" + std::to_string(fuel) + "_" + std::to_string(volume) + ".dat";
}

bool Z_Index_Used_For_Lookup(int volume) {
    return volume % 10 == 0 && volume < 100;
}

std::vector<Number_Hit> Lookup_Numbers(const std::string& data_folder,
                                       const std::string& database_file, int fuel, int volume,
                                       const std::vector<std::string>& wanted,
                                       const Z_Count_Table& z_counts, long ticket_count,
                                       long records_offset) {
    std::vector<Number_Hit> hits;
    Wanted_Set set(wanted);
    if (set.All_Found())
        return hits;
    Record_File database;
    if (!database.Open(database_file, Ticket_Record_Size, Record_File::Mode::Read_Only))
        return hits;
    if (Z_Index_Used_For_Lookup(volume))
        Scan_Index(Join(data_folder, Z_File_Name(fuel, volume)), database, fuel, volume, z_counts,
                   set, hits);
    else
        Scan_Database(database, fuel, volume, ticket_count, records_offset, set, hits);
    return hits;
}

Seen_Records::Seen_Records(std::int64_t highest)
    : low_(static_cast<std::size_t>(std::clamp<std::int64_t>(highest + 1, 0, 1 << 26))) {}

bool Seen_Records::First(std::int32_t record) {
    if (record >= 0 && static_cast<std::size_t>(record) < low_.size()) {
        if (low_[static_cast<std::size_t>(record)])
            return false;
        low_[static_cast<std::size_t>(record)] = true;
        return true;
    }
    return others_.insert(record).second;
}

} // namespace td
