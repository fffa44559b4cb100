// The three operations of the import over rows already read from the 1C table: update and
// replace of the company file, and the comparison of the two. Toolkit-free; they speak to nobody
// and return what happened.
#pragma once

#include "import/table_reader.h"
#include "storage/file_failure.h"
#include "storage/records.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace td {

// A row of the table as the company record it maps to, raw as on disk.
struct Import_Row {
    bool company = false; // the leading number of Kind_Code is exactly 1
    std::array<std::uint8_t, Company_Record_Size> raw{};
};

// Columns 1 to 4 of row `row` mapped to a company record: Code, Kind_Code, characters 1 to 5 and
// 6 to 10 of column 3 as Group_Code and Subgroup_Code, the name; each cut to its width in code
// page 1251 bytes.
Import_Row Map_Row(const Table_Reader& table, int row);
std::vector<Import_Row> Map_Rows(const Table_Reader& table);

// Called after each row with the whole part of 100 x r / N.
using Import_Progress = std::function<void(int percent)>;

struct Update_Result {
    long renamed = 0; // records whose name was rewritten
    long added = 0;   // rows written as new records
};

// The update: every record with a row's key takes the row's name; a row whose key no record has
// up to the first free one is written there. The file is read once and, when anything changed,
// put in place whole (see Company_Image::Save). False when the file can't be read or written:
// `failure` says which and why, and the file is as it was.
bool Update_Company_File(const std::vector<Import_Row>& rows, const std::string& company_file,
                         const Import_Progress& progress, Update_Result& result,
                         File_Failure& failure);

// The files a replace takes away, and where it keeps them.
struct Replace_Files {
    std::string data_folder;
    std::string company_file;        // full path
    std::vector<std::string> others; // full paths: the database and the three caches
    std::string stamp;               // YYYYMMDD-HHMMSS of the folder "Replaced-" + stamp
};

// The replace: the company rows become the company file, record after record, duplicates kept.
// The new file is written first, beside the old one; then the old company file and the others
// move into a new folder "Replaced-<stamp>" under the data folder (one that is missing or can't
// be moved stays where it is); then the new file takes the company file's place. `moved_to`
// names the folder, empty if nothing was there to move. False when the new file can't be written
// (nothing has moved then) or the folder can't be made.
bool Replace_Company_File(const std::vector<Import_Row>& rows, const Replace_Files& files,
                          const Import_Progress& progress, std::string& moved_to,
                          File_Failure& failure);

// The comparison: for every company row, the first record with its key up to the first free one;
// a name that differs, or no such record, is reported. The text of the report, with CRLF line
// ends, empty when the two agree. False when the company file can't be read.
bool Compare_Company_File(const std::vector<Import_Row>& rows, const std::string& company_file,
                          const Import_Progress& progress, std::string& report,
                          File_Failure& failure);

// The whole part of 100 x r / N.
int Import_Percent(std::size_t row, std::size_t rows);

} // namespace td
