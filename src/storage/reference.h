// The reference files: towns, companies, stations, fuel grades, user volumes.
#pragma once

#include "storage/file_failure.h"
#include "storage/records.h"

#include <string>
#include <vector>

namespace td {

// Loads consecutive used company records from record 1; stops at the first free slot.
// `table` gets indices 0..n (element 0 empty; at least indices 0 and 1 allocated).
// Returns Company_Count = n + 1: the first free record number.
long Load_Company_Table(const std::string& company_file, std::vector<Company_Record>& table);

// True when record 1 of a reference file, read with `record_length`, has Exists = 0: nothing is
// defined (a missing or unreadable file included). Towns and stations are checked with 33-byte
// records, as start-up always did.
bool First_Record_Undefined(const std::string& file, std::size_t record_length);

// Reads records from 1 upward until one has Exists = 0 (a read past the end gives one) and writes
// the new name there with Exists = 1. Works for towns and stations (Name_Record). Returns the
// record number, or 0 on a failure of the file, which `failure` then names.
long Add_Name_Record(const std::string& file, const std::string& name,
                     File_Failure* failure = nullptr);
// The same for a company added by hand: only Exists and Name are set.
long Add_Company_Record(const std::string& file, const Company_Record& record,
                        File_Failure* failure = nullptr);

// The eight fuel slots (records 1 to 8); missing records come back as zero records.
std::vector<Fuel_Record> Read_Fuel_Slots(const std::string& fuel_file);

// User volumes from record 1 until the first record whose Exists is not 1 (at most 200).
std::vector<double> Read_User_Volumes(const std::string& user_volume_file);

// Station names of records 1..count (Name_Record), untrimmed as on disk.
std::vector<Name_Record> Read_Name_Records(const std::string& file, int count);

} // namespace td
