// The totals for dated questions: the company totals as of one date (Cache_Diff) and the station
// totals of a period (Cache_Used), each rebuilt by one scan of the database.
#pragma once

#include "storage/file_failure.h"
#include "storage/pass_progress.h"

#include <string>

namespace td {

struct Dated_Totals_Result {
    bool out_of_memory = false; // the totals can't be had: nothing was touched
    File_Failure write_failure; // also a read of the database that failed
};

// Unredeemed litres sold not after `date`, per company, into `totals_file`. The company file is
// opened (and so created) as the pass always did.
Dated_Totals_Result Rebuild_Company_Totals(const std::string& database_file,
                                           const std::string& company_file,
                                           const std::string& totals_file, double date,
                                           Pass_Progress& progress);

// Litres drawn within [date_from, date_to], per station, into `totals_file`.
Dated_Totals_Result Rebuild_Station_Totals(const std::string& database_file,
                                           const std::string& totals_file, double date_from,
                                           double date_to, Pass_Progress& progress);

} // namespace td
