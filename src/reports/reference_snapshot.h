// The reference files a report reads, each read once into memory: the company file as raw
// records (a report reads a company by its number, whatever its Exists byte says, and a record
// past the end reads as zeros), the eight fuel slots and the station names.
#pragma once

#include "storage/records.h"

#include <cstdint>
#include <string>
#include <vector>

namespace td {

struct Program_State;

class Reference_Snapshot {
public:
    explicit Reference_Snapshot(const Program_State& state);

    // Raw company record `number` (from 1); a zero record past the end of the file.
    const std::uint8_t* Company_Raw(long number) const;
    long Company_Records() const {
        return static_cast<long>(companies_.size() / Company_Record_Size);
    }
    // Trimmed name of company `number`.
    std::string Company_Name(long number) const;
    // All NUL bytes in the name field: the record was never written.
    bool Company_Name_Unwritten(long number) const;

    const std::vector<Fuel_Record>& Fuels() const { return fuels_; }
    // Trimmed name of fuel slot 1..8; empty outside.
    std::string Fuel_Name(int slot) const;
    // Trimmed name of station 1..16 (read past the end as empty); empty outside.
    std::string Station_Name(long station) const;

private:
    std::vector<std::uint8_t> companies_;
    std::vector<std::uint8_t> zero_company_;
    std::vector<Fuel_Record> fuels_;
    std::vector<std::string> stations_;
};

} // namespace td
