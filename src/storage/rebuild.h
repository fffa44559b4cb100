// The one pass over the database that derives everything else from it: the ticket table, the
// entry counts, the number index files and, in the full mode, the three cache files.
#pragma once

#include "storage/file_failure.h"
#include "storage/number_index.h"
#include "storage/pass_progress.h"
#include "storage/ticket_array.h"

#include <string>

namespace td {

// The files of one installation a pass reads and writes, as full paths.
struct Pass_Files {
    std::string data_folder; // where the number index files go
    std::string database;
    std::string company;
    std::string cache_diff;
    std::string cache_used;
    std::string cache_user;
};

enum class Rebuild_Mode {
    Full,      // the table, the counts, the index and the three cache files
    Index_Only // the table, the counts and the index, then every index header; caches untouched
};

struct Rebuild_Result {
    enum class Outcome {
        Done,
        No_Header,    // the header can't be read: the table keeps only its element 0
        Too_Large,    // record numbers beyond what the index can hold: the fatal path
        Out_Of_Memory // the table can't be had: the fatal path
    } outcome = Outcome::Done;
    long long first_deleted = 0; // position of the first deleted ticket of the table; 0: none
    long long tickets = 0; // tickets the pass took: the header's count, or 0 for a count_fault
    // What is wrong with the header's count when it can't be a number of tickets (negative, more
    // than 8 digits): the pass then ran as for an empty database. Empty when the count is sound.
    std::string count_fault;
    double header_count = 0;    // the count as the header gave it
    File_Failure write_failure; // also a read of the database that failed
};

// Rebuilds `table` (element 0 unused) and adds to `counts` from the database. Every statement
// after the table is had fends for itself: a bad value or a failed write skips its own update
// only, and the first failed write is reported.
Rebuild_Result Rebuild_Derived_Data(const Pass_Files& files, Rebuild_Mode mode, double current_date,
                                    Ticket_Array& table, Z_Count_Table& counts,
                                    Pass_Progress& progress);

} // namespace td
