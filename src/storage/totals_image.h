// Totals files (Cache_Diff, Cache_Used) as they are built in memory by a pass.
#pragma once

#include "storage/file_failure.h"
#include "storage/record_file.h"
#include "storage/records.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace td {

// A totals file as it goes to disk: records 1..elements, Cache_Record laid out in bytes, every
// total starting at 0. Written in one block.
class Totals {
public:
    Totals() = default;
    explicit Totals(int elements)
        : elements_(std::max(elements, 0)),
          bytes_(static_cast<std::size_t>(elements_) * Cache_Record_Size, 0) {}

    void Add(long long element, int fuel, double litres) {
        if (element < 1 || element > elements_ || fuel < 0 || fuel >= Fuel_Totals)
            return;
        std::uint8_t* at =
            bytes_.data() + static_cast<std::size_t>(element - 1) * Cache_Record_Size +
            Cache_Record_Totals_Offset + static_cast<std::size_t>(fuel) * sizeof(double);
        double total;
        std::memcpy(&total, at, sizeof total);
        total += litres;
        std::memcpy(at, &total, sizeof total);
    }

    // Writes records 1..elements to `path` in one block.
    File_Failure Write(const std::string& path) const;

private:
    static constexpr int Fuel_Totals =
        static_cast<int>(std::tuple_size_v<decltype(Cache_Record::Fuel_Total)>);

    int elements_ = 0;
    std::vector<std::uint8_t> bytes_;
};

// Opens a file the way the system's random-access open does, creating it when missing; a file
// that may only be read is still read.
Record_File Open_Creating(const std::string& path, std::size_t record_length);

} // namespace td
