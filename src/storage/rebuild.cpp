#include "storage/rebuild.h"

#include "base/dates.h"
#include "storage/header.h"
#include "storage/index_batch.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/ticket_reader.h"
#include "storage/totals_image.h"

#include <array>
#include <cstdint>
#include <limits>
#include <unordered_set>
#include <vector>

namespace td {
namespace {

// Companies already in the user cache, in the order of their first ticket. Numbers of the company
// file's range are looked up in a bitmap; any other value in a set, since the list compares the
// stored number whatever it is.
class Seen_Companies {
public:
    bool Contains(std::int32_t company) const {
        if (company >= 1 && company <= Max_Companies)
            return in_range_[static_cast<std::size_t>(company)];
        return others_.count(company) != 0;
    }
    void Insert(std::int32_t company) {
        if (company >= 1 && company <= Max_Companies)
            in_range_[static_cast<std::size_t>(company)] = true;
        else
            others_.insert(company);
    }

private:
    std::vector<bool> in_range_ = std::vector<bool>(Max_Companies + 1, false);
    std::unordered_set<std::int32_t> others_;
};

} // namespace

Rebuild_Result Rebuild_Derived_Data(const Pass_Files& files, Rebuild_Mode mode, double current_date,
                                    Ticket_Array& ticket_table, Z_Count_Table& counts,
                                    Pass_Progress& progress) {
    Rebuild_Result result;
    const bool full = mode == Rebuild_Mode::Full;
    progress.Open();
    progress.Note_Time();

    const std::string& database_path = files.database;
    const Database_Extent extent =
        database_path.empty() ? Database_Extent{} : Read_Database_Extent(database_path);
    result.header_count = extent.header_count;
    if (!extent.header_read || !extent.offset_whole) {
        // Without a header there is nothing to index: the table keeps only its element 0.
        result.tickets = extent.header_read ? extent.count : -1;
        ticket_table.assign(1, Ticket_Record{});
        result.outcome = Rebuild_Result::Outcome::No_Header;
        // A head that could not even be read leaves the derived data behind the database.
        result.write_failure.Note(extent.read_error == 0, database_path, extent.read_error);
        return result;
    }
    // A count no database can have (negative, beyond 8 digits) counts no tickets: the loop over
    // them does nothing, and the derived files are those of an empty database.
    result.count_fault = Ticket_Count_Fault(extent.header_count);
    const long long n = result.count_fault.empty() ? extent.count : 0;
    const long long offset = extent.offset;
    result.tickets = n;
    progress.Expect_Tickets(n);
    if (n + offset > std::numeric_limits<std::int32_t>::max()) {
        result.outcome = Rebuild_Result::Outcome::Too_Large;
        return result;
    }
    Record_File database(database_path, Ticket_Record_Size, Record_File::Mode::Read_Only);
    // Tickets whose records lie past the end of the file are zero records: they are neither read
    // nor stored one by one, so that a count far beyond the file costs what the file costs.
    const long long held = Tickets_In_File(database.Size(), offset, n);
    try {
        // Every element up to `held` is overwritten below: those are read straight from the
        // database.
        ticket_table.clear();
        ticket_table.Resize_With_Zero_Tail(static_cast<std::size_t>(n) + 1,
                                           static_cast<std::size_t>(held) + 1);
    } catch (const std::exception&) {
        result.outcome = Rebuild_Result::Outcome::Out_Of_Memory;
        return result;
    }
    Ticket_Record* const table = ticket_table.data();
    table[0] = Ticket_Record{};

    // From here on every statement fends for itself: a bad value skips its own update only.
    const std::string& diff_path = files.cache_diff;
    const std::string& used_path = files.cache_used;
    const std::string& user_path = files.cache_user;
    Record_File user_cache;
    if (full) {
        Remove_File(user_path);
        Remove_File(diff_path);
        Remove_File(used_path);
        user_cache.Open(user_path, Cache_User_Record_Size);
    }
    Record_File companies = Open_Creating(files.company, Company_Record_Size);

    Totals company_totals(full ? Max_Companies : 0);
    Totals station_totals(full ? Max_Station_Totals : 0);
    Seen_Companies seen;
    std::vector<std::uint8_t> user_records;
    std::array<std::uint8_t, Company_Record_Size> company_raw{};
    const long long current_day = Day_Of(current_date);

    Index_Batch index(held);
    int current_fuel = 0, current_volume = 0;
    Index_Batch::Pair_Entries* current = nullptr; // the pair (0, 0) starts with no file open

    // The work of the full mode on one ticket: totals and the user cache.
    auto account = [&](const Ticket_Record& ticket) {
        const int fuel = ticket.Fuel;
        const bool sold_by_now = Day_Of(ticket.Sell_Date) <= current_day;
        const std::int32_t company = ticket.Company;
        if (ticket.Deleted == 0 && sold_by_now) {
            if (ticket.Used == 0)
                company_totals.Add(company, fuel, ticket.Volume);
            else if (ticket.Validation_Date == current_date)
                station_totals.Add(ticket.Establishment, fuel, ticket.Real_Volume);
        }
        if (sold_by_now && company != 0 && !seen.Contains(company)) {
            if (company >= 1)
                companies.Read(static_cast<std::uint64_t>(company), company_raw.data());
            std::array<std::uint8_t, Cache_User_Record_Size> record{};
            Encode_Cache_User_From_Company(company, company_raw.data(), record.data());
            user_records.insert(user_records.end(), record.begin(), record.end());
            seen.Insert(company);
        }
    };

    Ticket_Reader reader(database, offset, held, table);
    for (long long block = 0; block < reader.Blocks(); ++block) {
        reader.Next();
        const long long first = reader.First_Of(block);
        for (long long i = first; i < first + reader.Count_Of(block); ++i) {
            const Ticket_Record& ticket = table[i];
            const int fuel = ticket.Fuel;
            const std::int32_t volume = ticket.Volume;

            if (ticket.Deleted == 1 && result.first_deleted == 0)
                result.first_deleted = i;
            const bool counted = counts.Increment(fuel, volume);
            if (fuel != current_fuel || volume != current_volume) {
                current_fuel = fuel;
                current_volume = volume;
                current = &index.Open(current_fuel, current_volume);
            }
            if (counted && current != nullptr)
                index.Add(*current, counts.Get(fuel, volume) + 1, ticket,
                          static_cast<std::int32_t>(i + offset));
            if (full)
                account(ticket);
            progress.Tick(i, n);
        }
    }

    // The zero records behind the end of the file, all of the pair (0, 0), in one step: the count
    // and the index entries as one by one, and the full mode's work once, since a zero record has
    // no company, is not redeemed and adds nothing: a second one would change nothing further.
    if (const long long tail = n - held; tail > 0) {
        const std::int32_t first_entry = counts.Get(0, 0) + 2;
        counts.Add(0, 0, tail);
        if (current_fuel != 0 || current_volume != 0) {
            current_fuel = current_volume = 0;
            current = &index.Open(0, 0);
        }
        if (current != nullptr)
            index.Add_Zero_Records(*current, first_entry, tail,
                                   static_cast<std::int32_t>(held + 1 + offset));
        if (full)
            account(Ticket_Record{});
        progress.Tick_Many(n, tail, n);
    }

    File_Failure& failure = result.write_failure;
    // Tickets that could not be read are missing from everything below.
    failure.Note(reader.Read_Failure());
    index.Write(files.data_folder, counts, !full, failure);
    if (full) {
        if (!user_records.empty())
            failure.Note(user_cache.Write_Block(1, user_records.size() / Cache_User_Record_Size,
                                                user_records.data()),
                         user_cache);
        failure.Note(company_totals.Write(diff_path));
        failure.Note(station_totals.Write(used_path));
    }
    return result;
}

} // namespace td
