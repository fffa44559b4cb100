// The number index files z<fuel>_<volume>.dat: per fuel grade and nominal volume, each ticket's
// number and record position, so that a number can be found without reading the database.
#pragma once

#include "storage/records.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

namespace td {

// "z" fuel "_" volume ".dat", decimal without leading zeros.
std::string Z_File_Name(int fuel, int volume);

// Removes every number index file of `folder`: the names "z*.dat", matched as the system's file
// pattern did, without regard to case.
void Remove_Number_Index_Files(const std::string& folder);

// Lookups go through the index only for 10, 20, ... 90 litres: a whole multiple of ten below 100.
bool Z_Index_Used_For_Lookup(int volume);

// Entries per fuel (0..8) and volume (0..210). Cumulative over the passes of one run.
class Z_Count_Table {
public:
    static bool In_Bounds(long fuel, long volume) {
        return fuel >= 0 && fuel <= Max_Fuel && volume >= 0 && volume <= Max_Volume;
    }
    std::int32_t Get(long fuel, long volume) const {
        return In_Bounds(fuel, volume) ? counts_[fuel][volume] : 0;
    }
    // Returns false (and changes nothing) outside the bounds.
    bool Increment(long fuel, long volume) {
        if (!In_Bounds(fuel, volume))
            return false;
        ++counts_[fuel][volume];
        return true;
    }
    // Adds `amount` entries at once, short of overflowing; false (and nothing changed) outside the
    // bounds.
    bool Add(long fuel, long volume, std::int64_t amount) {
        if (!In_Bounds(fuel, volume))
            return false;
        const std::int64_t sum = std::int64_t{counts_[fuel][volume]} + amount;
        counts_[fuel][volume] = static_cast<std::int32_t>(
            std::clamp<std::int64_t>(sum, 0, std::numeric_limits<std::int32_t>::max()));
        return true;
    }
    void Clear() { counts_ = {}; }

private:
    std::array<std::array<std::int32_t, Max_Volume + 1>, Max_Fuel + 1> counts_{};
};

// The records a walk over an index file has reached. The counts of a pair are cumulative and a
// pass over a single sale adds the pair's entries again, so one record can be named by several
// entries: a walk judges each record once.
class Seen_Records {
public:
    // Records 0 to `highest` are kept in a bit each; others (damaged entries) in a set.
    explicit Seen_Records(std::int64_t highest);
    // True the first time `record` is offered.
    bool First(std::int32_t record);

private:
    std::vector<bool> low_;
    std::unordered_set<std::int32_t> others_;
};

struct Number_Hit {
    std::string serial;     // the wanted number that matched
    std::int64_t record_no; // absolute record number in the database file
    Ticket_Record ticket;   // the live record read from the database
};

// Finds tickets of one fuel and volume by number. Indexed volumes scan the pair's index file
// (entries 1 to the count, in order) and read each hit directly at its Record_No; other volumes
// scan the database, tickets 1 to ticket_count, comparing Serial, Fuel and Volume. The scan stops
// once every wanted number was found. The caller judges the live records returned.
std::vector<Number_Hit> Lookup_Numbers(const std::string& data_folder,
                                       const std::string& database_file, int fuel, int volume,
                                       const std::vector<std::string>& wanted,
                                       const Z_Count_Table& z_counts, long ticket_count,
                                       long records_offset);

} // namespace td
