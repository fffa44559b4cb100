// Feeds arbitrary bytes to the readers of the database as the whole file: the extent from the
// header, the tickets read in blocks (into a table and through the reader's own buffers), then the
// rebuild pass on a folder of its own. Besides crashes and sanitizer reports it checks what they
// promise: every ticket the file holds is read as its bytes, the table has one element per counted
// ticket, and a full pass leaves both totals files at their full size.
#include "fuzz_support.h"
#include "storage/header.h"
#include "storage/rebuild.h"
#include "storage/record_file.h"
#include "storage/ticket_reader.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace td::fuzz;

// A folder of its own per process, emptied after every input. Under /dev/shm when there is one:
// the pass writes more than a megabyte of totals each time.
const std::string& Work_Folder() {
    static const std::string path = [] {
        std::string folder = Scratch_Path("tickets", "");
        std::filesystem::create_directories(folder);
        return folder;
    }();
    return path;
}

class Quiet_Display : public td::Progress_Display {
public:
    void Begin() override {}
    void Show(int value) override { Check(value >= 0 && value <= 100); }
    void Pump() override {}
};

// Half a second a reading: the pass reports progress often, on every path.
class Fast_Clock : public td::Clock {
public:
    double Seconds_Since_Midnight() override { return now_ += 0.5; }
    double Today() override { return 45366.0; }

private:
    double now_ = 86000.0; // wraps at midnight within a pass
};

// Counts the pass would have to read past the end of the file for nothing, and tables of that
// many tickets, are the header damage handled elsewhere; the readers still see the bytes.
constexpr long long Max_Counted_Beyond_File = 4096;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& folder = Work_Folder();
    struct Empty_After {
        const std::string& folder;
        ~Empty_After() {
            std::error_code ignored;
            for (const auto& entry : std::filesystem::directory_iterator(folder, ignored))
                std::filesystem::remove(entry.path(), ignored);
        }
    } empty_after{folder};
    const std::string database = folder + "/TD.cdb";
    if (!Write_File(database, data, size))
        return 0;

    const td::Database_Extent extent = td::Read_Database_Extent(database);
    if (!extent.ok)
        Check(extent.count == -1);
    const long long in_file = static_cast<long long>(size / td::Ticket_Record_Size);
    if (!extent.ok || extent.count < 0 || extent.count > in_file + Max_Counted_Beyond_File)
        return 0;
    const long long count = extent.count;
    const long long offset = extent.offset;
    // Record numbers are 32-bit in the index; the pass refuses anything beyond (Too_Large).
    const long long limit = std::numeric_limits<std::int32_t>::max();
    const bool numbered = offset > -limit && offset + count <= limit;

    // Ticket i is record i + offset: its bytes where the file has them, zeros past the end.
    if (numbered) {
        td::Record_File file(database, td::Ticket_Record_Size, td::Record_File::Mode::Read_Only);
        Check(file.Is_Open());
        std::vector<td::Ticket_Record> table(static_cast<std::size_t>(count) + 1);
        td::Ticket_Reader into_table(file, offset, count, table.data());
        for (long long block = 0; block < into_table.Blocks(); ++block)
            Check(into_table.Next() != nullptr);
        td::Ticket_Reader through_ring(file, offset, count);
        for (long long block = 0; block < through_ring.Blocks(); ++block) {
            const td::Ticket_Record* tickets = through_ring.Next();
            const long long first = through_ring.First_Of(block);
            for (long long k = 0; k < through_ring.Count_Of(block); ++k) {
                const long long i = first + k;
                Check(std::memcmp(&tickets[k], &table[static_cast<std::size_t>(i)],
                                  td::Ticket_Record_Size) == 0);
                const long long record = i + offset;
                if (record < 1)
                    continue;
                std::uint8_t expected[td::Ticket_Record_Size] = {};
                const std::uint64_t at =
                    static_cast<std::uint64_t>(record - 1) * td::Ticket_Record_Size;
                if (at < size)
                    std::memcpy(expected, data + at,
                                std::min<std::uint64_t>(td::Ticket_Record_Size, size - at));
                Check(std::memcmp(&tickets[k], expected, td::Ticket_Record_Size) == 0);
            }
        }
    }

    // The pass itself, in the mode the size picks.
    td::Pass_Files files{folder,
                         database,
                         folder + "/Company_Db.dat",
                         folder + "/Cache_d.dat",
                         folder + "/Cache_u.dat",
                         folder + "/Cache_Users.dat"};
    const bool full = size % 2 == 0;
    Quiet_Display display;
    Fast_Clock clock;
    td::Pass_Progress progress(
        display, clock, size % 3 == 0 ? td::Progress_Target::Splash : td::Progress_Target::Form,
        0.4);
    td::Ticket_Array table;
    td::Z_Count_Table counts;
    const td::Rebuild_Result result = td::Rebuild_Derived_Data(
        files, full ? td::Rebuild_Mode::Full : td::Rebuild_Mode::Index_Only, 45366.0, table, counts,
        progress);
    if (result.outcome != td::Rebuild_Result::Outcome::Done)
        return 0;
    Check(result.tickets == count);
    Check(table.size() == static_cast<std::size_t>(count) + 1);
    if (full && result.write_failure.path.empty()) {
        Check(std::filesystem::file_size(files.cache_diff) == 16384u * td::Cache_Record_Size);
        Check(std::filesystem::file_size(files.cache_used) == 256u * td::Cache_Record_Size);
    }
    return 0;
}
