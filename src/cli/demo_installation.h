// A believable installation for trying the program out: reference files and a few months of
// ticket history, written through the storage layer.
#pragma once

#include "storage/records.h"

#include <cstdint>
#include <string>
#include <vector>

namespace td {

// The text of the default td.ini.
const char* Default_Settings_Text();

struct Demo_Options {
    double today = 0;           // the last day of the history (a day number)
    int history_days = 120;     // how far back the history goes
    long target_tickets = 4000; // about how many tickets to sell
    std::uint32_t seed = 20261123;
};

// Writes the reference files (towns, about 200 companies in three levels, 8 stations, 4 fuel
// grades with prices, a few user volumes) into `data_folder` under the default file names.
// Returns false if a file could not be written.
bool Write_Demo_References(const std::string& data_folder);

// The companies of the demo, as written by Write_Demo_References (index = record number - 1).
std::vector<Company_Record> Demo_Companies();

// Sells, redeems and deletes tickets over the history and writes the database file with its
// header. Returns the number of tickets written, or -1 on a failure of the file.
long Write_Demo_Tickets(const std::string& data_folder, const Demo_Options& options);

} // namespace td
