#include "storage/dated_totals.h"

#include "base/dates.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/ticket_reader.h"
#include "storage/totals_image.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace td {
namespace {

// The common frame of the request and range caches: progress, header, deletion of the totals file,
// one scan, one write. `add` puts one ticket into the totals.
template <typename Add_Ticket>
Dated_Totals_Result Dated_Totals(const std::string& database_path, const std::string& company_file,
                                 const std::string& totals_path, int elements,
                                 Pass_Progress& progress, Add_Ticket add) {
    Dated_Totals_Result result;
    progress.Open();
    progress.Note_Time();
    // A header that can't be read leaves no tickets to count (its count reads -1).
    const Database_Extent extent = Read_Database_Extent(database_path);
    const long long n = std::min(extent.count, Max_Ticket_Count);
    Totals totals;
    try {
        totals = Totals(elements);
    } catch (const std::bad_alloc&) {
        result.out_of_memory = true;
        return result;
    }

    // From the deletion on, failures only cost the statement they happen in.
    Remove_File(totals_path);
    Record_File database(database_path, Ticket_Record_Size, Record_File::Mode::Read_Only);
    if (!company_file.empty())
        Open_Creating(company_file, Company_Record_Size);

    progress.Expect_Tickets(n);
    Ticket_Reader reader(database, extent.offset, n);
    long long i = 1;
    for (long long b = 0; b < reader.Blocks(); ++b) {
        const Ticket_Record* block = reader.Next();
        for (long long j = 0; j < reader.Count_Of(b); ++j, ++i) {
            add(totals, block[j]);
            progress.Tick(i, n + 1);
        }
    }

    // A database that could not be read leaves totals that are not whole.
    result.write_failure.Note(extent.read_error == 0, database_path, extent.read_error);
    result.write_failure.Note(reader.Read_Failure());
    result.write_failure.Note(totals.Write(totals_path));
    progress.Report(i, n + 1);
    return result;
}

} // namespace

Dated_Totals_Result Rebuild_Company_Totals(const std::string& database_file,
                                           const std::string& company_file,
                                           const std::string& totals_file, double date,
                                           Pass_Progress& progress) {
    return Dated_Totals(database_file, company_file, totals_file, Max_Companies, progress,
                        [day = Day_Of(date)](Totals& totals, const Ticket_Record& ticket) {
                            if (ticket.Deleted != 0 || Day_Of(ticket.Sell_Date) > day)
                                return;
                            if (ticket.Used != 0)
                                return;
                            totals.Add(ticket.Company, ticket.Fuel, ticket.Volume);
                        });
}

Dated_Totals_Result Rebuild_Station_Totals(const std::string& database_file,
                                           const std::string& totals_file, double date_from,
                                           double date_to, Pass_Progress& progress) {
    return Dated_Totals(database_file, "", totals_file, Max_Station_Totals, progress,
                        [from = Day_Of(date_from),
                         to = Day_Of(date_to)](Totals& totals, const Ticket_Record& ticket) {
                            // Less than a hundredth of a litre drawn counts as nothing drawn.
                            if (std::floor(100.0 * ticket.Real_Volume) == 0.0)
                                return;
                            if (ticket.Deleted != 0 || ticket.Used == 0)
                                return;
                            const long long validated = Day_Of(ticket.Validation_Date);
                            if (validated > to || validated < from)
                                return;
                            totals.Add(ticket.Establishment, ticket.Fuel, ticket.Real_Volume);
                        });
}

} // namespace td
