#include "storage/cache_builder.h"

#include "core/dates.h"
#include "core/fatal.h"
#include "core/ports.h"
#include "core/state.h"
#include "core/text.h"
#include "storage/defrag_hook.h"
#include "storage/header.h"
#include "storage/huge_memory.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/ticket_reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <unordered_set>
#include <utility>
#include <vector>

namespace td {

namespace defrag_hook {
void (*After_Step)() = nullptr;
std::size_t Block_Tickets = 65536;
} // namespace defrag_hook

namespace {

// The header can't hold more than 8 digits; anything above is a damaged header.
constexpr long long Max_Ticket_Count = 99999999;

std::string Key_Text(std::string_view text) {
    return Lower_Ascii(Trim_Text(text));
}

// The offset and count of the database header, as whole numbers.
struct Extent {
    bool ok = false; // "Ok" from the header and numbers that make sense
    long long offset = 0;
    long long count = -1;
};

bool Whole_Number(double value, long long& out) {
    if (!(value > -2147483648.0 && value < 2147483648.0))
        return false;
    out = static_cast<long long>(std::floor(value));
    return true;
}

Extent Read_Extent(const std::string& database_path) {
    Header_Info info;
    Extent extent;
    const bool read = Read_Header(database_path, info) == "Ok";
    long long offset = 0, count = -1;
    const bool numbers =
        Whole_Number(info.records_offset, offset) && Whole_Number(info.count, count);
    extent.offset = numbers ? offset : 0;
    extent.count = numbers ? count : -1;
    extent.ok = read && numbers;
    return extent;
}

// Progress of a pass: the splash bar (10..100) or the progress form (0..100), at most once per
// interval of clock time. The clock wraps at midnight, hence the absolute difference.
class Pass_Progress {
public:
    Pass_Progress(Ui& ui, Clock& clock, Progress_Target target, double interval)
        : ui_(ui), clock_(clock), target_(target), interval_(interval) {}

    void Open() {
        if (target_ == Progress_Target::Splash) {
            ui_.Splash_Progress(10);
        } else {
            ui_.Main_Window_Enabled(false);
            ui_.Search_Progress_Show("");
            ui_.Search_Progress_Set(0);
        }
    }

    // The clock is read at most about a thousand times per pass: at millions of tickets a reading
    // per ticket costs more than the rest of the pass. Up to 1024 tickets it is read per ticket.
    void Note_Time() { last_ = clock_.Seconds_Since_Midnight(); }
    void Expect_Tickets(long long tickets) {
        stride_ = std::max(1LL, tickets / 1024);
        countdown_ = stride_;
    }

    void Tick(long long i, long long denominator) {
        if (--countdown_ > 0)
            return;
        countdown_ = stride_;
        const double now = clock_.Seconds_Since_Midnight();
        if (std::fabs(now - last_) > interval_) {
            last_ = now;
            Report(i, denominator);
            ui_.Pump_Events();
        }
    }

    // A zero denominator or a value off the bar is a failed statement: nothing is shown.
    void Report(long long i, long long denominator) {
        if (denominator == 0)
            return;
        const long long value =
            target_ == Progress_Target::Splash ? 10 + 90 * i / denominator : 100 * i / denominator;
        if (value < 0 || value > 100)
            return;
        if (target_ == Progress_Target::Splash)
            ui_.Splash_Progress(static_cast<int>(value));
        else
            ui_.Search_Progress_Set(static_cast<int>(value));
    }

private:
    Ui& ui_;
    Clock& clock_;
    Progress_Target target_;
    double interval_;
    double last_ = 0.0;
    long long stride_ = 1;
    long long countdown_ = 1;
};

// The pairs whose index file gets a header: the standard volumes of every fuel slot.
bool Has_Z_Header(int fuel, int volume) {
    return fuel >= 1 && fuel <= Fuel_Slots && volume >= 10 && volume <= 100 && volume % 10 == 0;
}

template <typename Visit> void Each_Z_Header_Pair(Visit visit) {
    for (int fuel = 1; fuel <= Fuel_Slots; ++fuel)
        for (int volume = 10; volume <= 100; volume += 10)
            visit(fuel, volume);
}

// Record 1 of the pair's index file: its count as the pass leaves it.
void Write_Z_Header(const Program_State& state, Record_File& file, int fuel, int volume) {
    Z_Header header;
    header.Z_Count = state.Z_Counts.Get(fuel, volume);
    std::array<std::uint8_t, Z_Record_Size> bytes{};
    Encode(header, bytes.data());
    file.Write(1, bytes.data());
}

// The number index entries of one pass, kept per pair and written at the end, each file once, at
// the record numbers the running counts gave. A pair's file is opened (and so created) as soon as
// a ticket of it comes, even when its count can't take the entry.
class Index_Batch {
public:
    // Entries are kept in pieces of a fixed size, taken in turn from one block of memory sized for
    // the whole pass: nothing is copied as a pair grows.
    static constexpr std::size_t Piece_Entries = 2048;
    static constexpr std::size_t Piece_Bytes = Piece_Entries * Z_Record_Size;

    class Pieces {
    public:
        explicit Pieces(long long tickets) {
            // At most one entry per ticket, plus a part-filled last piece per pair.
            const auto pieces = static_cast<std::size_t>(std::max(tickets, 0LL)) / Piece_Entries +
                                (Max_Fuel + 1) * (Max_Volume + 1) + 1;
            try {
                memory_ = Huge_Memory(pieces * Piece_Bytes);
            } catch (const std::bad_alloc&) {
                // Pieces then come one by one from the heap.
            }
        }
        std::uint8_t* Take() {
            if (used_ + Piece_Bytes <= memory_.size()) {
                std::uint8_t* piece = static_cast<std::uint8_t*>(memory_.data()) + used_;
                used_ += Piece_Bytes;
                return piece;
            }
            spare_.push_back(std::make_unique<std::uint8_t[]>(Piece_Bytes));
            return spare_.back().get();
        }

    private:
        Huge_Memory memory_;
        std::size_t used_ = 0;
        std::vector<std::unique_ptr<std::uint8_t[]>> spare_;
    };

    struct Pair_Entries {
        // Entries for consecutive index records from `first` on.
        struct Run {
            std::int64_t first = 0;
            std::int64_t count = 0;
            std::vector<std::uint8_t*> pieces;
        };
        std::vector<Run> runs;

        void Add(Pieces& pieces, std::int64_t record, const Ticket_Record& ticket,
                 std::int32_t record_no) {
            if (runs.empty() || runs.back().first + runs.back().count != record)
                runs.push_back({record, 0, {}});
            Run& run = runs.back();
            const auto slot = static_cast<std::size_t>(run.count) % Piece_Entries;
            if (slot == 0)
                run.pieces.push_back(pieces.Take());
            std::uint8_t* entry = run.pieces.back() + slot * Z_Record_Size;
            // A Z_Record: the number, the record, the two marks.
            std::memcpy(entry, ticket.Serial.data(), ticket.Serial.size());
            bytes::Put_I32(entry + 6, record_no);
            entry[10] = ticket.Used;
            entry[11] = ticket.Deleted;
            ++run.count;
        }
    };

    explicit Index_Batch(long long tickets) : pieces_(tickets) {}

    // The pair's entries. Pairs inside the count table are found by position, since with a
    // realistic mix the pair changes at nearly every ticket; any other pair through the map.
    Pair_Entries& Open(int fuel, int volume) {
        if (!Z_Count_Table::In_Bounds(fuel, volume))
            return pairs_[{fuel, volume}];
        Pair_Entries*& slot =
            by_position_[static_cast<std::size_t>(fuel * (Max_Volume + 1) + volume)];
        if (slot == nullptr)
            slot = &pairs_[{fuel, volume}];
        return *slot;
    }

    void Add(Pair_Entries& pair, std::int64_t record, const Ticket_Record& ticket,
             std::int32_t record_no) {
        pair.Add(pieces_, record, ticket, record_no);
    }

    // Writes every pair's entries; with `headers`, also every header the index has, each in the
    // same open as its pair's entries where the pair got any.
    void Write(const Program_State& state, bool headers) {
        for (const auto& [pair, entries] : pairs_) {
            Record_File file(state.Path_Of(Z_File_Name(pair.first, pair.second)), Z_Record_Size);
            for (const auto& run : entries.runs)
                for (std::size_t k = 0; k < run.pieces.size(); ++k) {
                    const auto done = static_cast<std::int64_t>(k * Piece_Entries);
                    const auto count = std::min<std::int64_t>(Piece_Entries, run.count - done);
                    file.Write_Block(static_cast<std::uint64_t>(run.first + done),
                                     static_cast<std::uint64_t>(count), run.pieces[k]);
                }
            if (headers && Has_Z_Header(pair.first, pair.second))
                Write_Z_Header(state, file, pair.first, pair.second);
        }
        if (!headers)
            return;
        Each_Z_Header_Pair([&](int fuel, int volume) {
            if (pairs_.find({fuel, volume}) == pairs_.end()) {
                Record_File file(state.Path_Of(Z_File_Name(fuel, volume)), Z_Record_Size);
                Write_Z_Header(state, file, fuel, volume);
            }
        });
    }

private:
    Pieces pieces_;
    std::map<std::pair<int, int>, Pair_Entries> pairs_; // map nodes stay where they are
    std::vector<Pair_Entries*> by_position_ =
        std::vector<Pair_Entries*>((Max_Fuel + 1) * (Max_Volume + 1), nullptr);
};

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
        std::uint8_t* at = bytes_.data() +
                           static_cast<std::size_t>(element - 1) * Cache_Record_Size +
                           Totals_Offset + static_cast<std::size_t>(fuel) * sizeof(double);
        double total;
        std::memcpy(&total, at, sizeof total);
        total += litres;
        std::memcpy(at, &total, sizeof total);
    }

    void Write(const std::string& path) const {
        Record_File file(path, Cache_Record_Size);
        file.Write_Block(1, static_cast<std::uint64_t>(elements_), bytes_.data());
    }

private:
    static constexpr int Fuel_Totals =
        static_cast<int>(std::tuple_size_v<decltype(Cache_Record::Fuel_Total)>);
    static constexpr std::size_t Totals_Offset = 4; // behind Cache_Head

    int elements_ = 0;
    std::vector<std::uint8_t> bytes_;
};

// Opens a file the way the system's random-access open does, creating it when missing; a file
// that may only be read is still read.
Record_File Open_Creating(const std::string& path, std::size_t record_length) {
    Record_File file;
    if (!file.Open(path, record_length))
        file.Open(path, record_length, Record_File::Mode::Read_Only);
    return file;
}

// ---- "add" -------------------------------------------------------------------------------------

std::string Add_To_User_Cache(const std::string& path, long company, const std::string& name,
                              Ui& ui) {
    auto fail = [&ui]() {
        Fatal_Error(ui, fatal_site::Cache_Module, fatal_site::Cache_Code);
        return std::string("Error!");
    };
    Record_File file(path, Cache_User_Record_Size);
    if (!file.Is_Open())
        return fail();
    if (company == 0)
        return "1";
    if (company < std::numeric_limits<std::int32_t>::min() ||
        company > std::numeric_limits<std::int32_t>::max())
        return fail();
    const std::uint64_t stored = file.Record_Count();
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(stored + 1) * Cache_User_Record_Size,
                                    0);
    if (!file.Read_Block(1, stored + 1, bytes.data()))
        return fail();
    std::uint64_t slot = 1;
    while (slot <= stored &&
           bytes[static_cast<std::size_t>(slot - 1) * Cache_User_Record_Size] == 1)
        ++slot;
    // The record keeps what it held where the new values don't reach.
    std::uint8_t* record =
        bytes.data() + static_cast<std::size_t>(slot - 1) * Cache_User_Record_Size;
    bytes::Put_U8(record, 1);
    bytes::Put_I32(record + 1, static_cast<std::int32_t>(company));
    if (!name.empty())
        bytes::Put_Text(record + 5, Cache_User_Record_Size - 5, name);
    if (!file.Write(slot, record))
        return fail();
    return "0";
}

// ---- "new" and "proection" ---------------------------------------------------------------------

void Rebuild(Program_State& state, Ui& ui, Clock& clock, const std::string& user_cache_file,
             const std::string& database_file, bool full, Progress_Target target) {
    Pass_Progress progress(ui, clock, target, 0.4);
    progress.Open();
    progress.Note_Time();

    const std::string database_path = state.Path_Of(database_file);
    const Extent extent = database_file.empty() ? Extent{} : Read_Extent(database_path);
    if (!extent.ok || extent.count < 0) {
        // Without a header there is nothing to index: the table keeps only its element 0.
        state.Ticket_Table.assign(1, Ticket_Record{});
        return;
    }
    const long long n = extent.count;
    const long long offset = extent.offset;
    progress.Expect_Tickets(n);
    if (n > Max_Ticket_Count || n + offset > std::numeric_limits<std::int32_t>::max()) {
        Fatal_Error(ui, fatal_site::Cache_Module, fatal_site::Cache_Code);
        return;
    }
    try {
        // Every element is overwritten below: the table is read straight from the database.
        state.Ticket_Table.clear();
        state.Ticket_Table.Resize_For_Overwrite(static_cast<std::size_t>(n) + 1);
    } catch (const std::exception&) {
        Fatal_Error(ui, fatal_site::Cache_Module, fatal_site::Cache_Code);
        return;
    }
    Ticket_Record* const table = state.Ticket_Table.data();
    table[0] = Ticket_Record{};

    // From here on every statement fends for itself: a bad value skips its own update only.
    const std::string diff_path = state.Path_Of(state.settings.Cache_Diff_File);
    const std::string used_path = state.Path_Of(state.settings.Cache_Used_File);
    const std::string user_path = state.Path_Of(user_cache_file);
    Record_File user_cache;
    if (full) {
        Remove_File(user_path);
        Remove_File(diff_path);
        Remove_File(used_path);
        user_cache.Open(user_path, Cache_User_Record_Size);
    }
    Record_File database(database_path, Ticket_Record_Size, Record_File::Mode::Read_Only);
    Record_File companies =
        Open_Creating(state.Path_Of(state.settings.Company_File), Company_Record_Size);

    Totals company_totals(full ? Max_Companies : 0);
    Totals station_totals(full ? Max_Station_Totals : 0);
    Seen_Companies seen;
    std::vector<std::uint8_t> user_records;
    std::array<std::uint8_t, Company_Record_Size> company_raw{};
    const long long current_day = Day_Of(state.Current_Date);

    Index_Batch index(n);
    int current_fuel = 0, current_volume = 0;
    Index_Batch::Pair_Entries* current = nullptr; // the pair (0, 0) starts with no file open

    Ticket_Reader reader(database, offset, n, table);
    for (long long block = 0; block < reader.Blocks(); ++block) {
        reader.Next();
        const long long first = reader.First_Of(block);
        for (long long i = first; i < first + reader.Count_Of(block); ++i) {
            const Ticket_Record& ticket = table[i];
            const int fuel = ticket.Fuel;
            const std::int32_t volume = ticket.Volume;

            const bool counted = state.Z_Counts.Increment(fuel, volume);
            if (fuel != current_fuel || volume != current_volume) {
                current_fuel = fuel;
                current_volume = volume;
                current = &index.Open(current_fuel, current_volume);
            }
            if (counted && current != nullptr)
                index.Add(*current, state.Z_Counts.Get(fuel, volume) + 1, ticket,
                          static_cast<std::int32_t>(i + offset));

            if (full) {
                const bool sold_by_now = Day_Of(ticket.Sell_Date) <= current_day;
                const std::int32_t company = ticket.Company;
                if (ticket.Deleted == 0 && sold_by_now) {
                    if (ticket.Used == 0)
                        company_totals.Add(company, fuel, volume);
                    else if (ticket.Validation_Date == state.Current_Date)
                        station_totals.Add(ticket.Establishment, fuel, ticket.Real_Volume);
                }
                if (sold_by_now && company != 0 && !seen.Contains(company)) {
                    if (company >= 1)
                        companies.Read(static_cast<std::uint64_t>(company), company_raw.data());
                    std::array<std::uint8_t, Cache_User_Record_Size> record{};
                    bytes::Put_U8(record.data(), 1);
                    bytes::Put_I32(record.data() + 1, company);
                    // The first 27 characters of the name, byte for byte as the company file has
                    // them.
                    std::memcpy(record.data() + 5, company_raw.data() + 21,
                                Cache_User_Record_Size - 5);
                    user_records.insert(user_records.end(), record.begin(), record.end());
                    seen.Insert(company);
                }
            }
            progress.Tick(i, n);
        }
    }

    index.Write(state, !full);
    if (full) {
        if (!user_records.empty())
            user_cache.Write_Block(1, user_records.size() / Cache_User_Record_Size,
                                   user_records.data());
        company_totals.Write(diff_path);
        station_totals.Write(used_path);
    }
}

// ---- dated totals ------------------------------------------------------------------------------

// The common frame of the request and range caches: progress, header, deletion of the totals file,
// one scan, one write. `add` puts one ticket into the totals.
template <typename Add_Ticket>
void Dated_Totals(Program_State& state, Ui& ui, Clock& clock, const std::string& database_file,
                  std::string_view target_text, const std::string& totals_file, int elements,
                  bool open_companies, const char* fatal_module, const char* fatal_code,
                  Add_Ticket add) {
    const Progress_Target target = Parse_Progress_Target(target_text);
    Pass_Progress progress(ui, clock, target, 0.4);
    progress.Open();
    progress.Note_Time();
    const std::string database_path = state.Path_Of(database_file);
    // A header that can't be read leaves no tickets to count (its count reads -1).
    const Extent extent = Read_Extent(database_path);
    const long long n = std::min(extent.count, Max_Ticket_Count);
    Totals totals;
    try {
        totals = Totals(elements);
    } catch (const std::bad_alloc&) {
        Fatal_Error(ui, fatal_module, fatal_code);
        return;
    }

    // From the deletion on, failures only cost the statement they happen in.
    const std::string totals_path = state.Path_Of(totals_file);
    Remove_File(totals_path);
    Record_File database(database_path, Ticket_Record_Size, Record_File::Mode::Read_Only);
    if (open_companies)
        Open_Creating(state.Path_Of(state.settings.Company_File), Company_Record_Size);

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

    totals.Write(totals_path);
    progress.Report(i, n + 1);
    if (target != Progress_Target::Splash) {
        ui.Search_Progress_Hide();
        ui.Main_Window_Enabled(true);
    }
    ui.Pump_Events();
}

// ---- defragmentation ---------------------------------------------------------------------------

struct Defrag_Failure {
    std::string description;
    long number = 0;
};

Defrag_Failure Failure_From_Errno(int error) {
    if (error == 0)
        error = EIO;
    return {std::strerror(error), error};
}

void Step_Done() {
    if (defrag_hook::After_Step != nullptr)
        defrag_hook::After_Step();
}

bool Sync_Path(const std::string& path, int flags, int& error) {
    int fd;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        error = errno;
        return false;
    }
    int rc;
    do {
        rc = ::fsync(fd);
    } while (rc != 0 && errno == EINTR);
    error = rc == 0 ? 0 : errno;
    ::close(fd);
    return rc == 0;
}

std::string Folder_Of(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Copies the live tickets into the work file, gives it its header and puts it in the database's
// place. The work file is complete and on disk before the one rename that replaces the database,
// so the database is at every moment either the old file or the new one, whole.
bool Compact_Database(Program_State& state, Ui& ui, Clock& clock, const std::string& database_path,
                      const std::string& work_path, Defrag_Failure& failure) {
    const Extent extent = Read_Extent(database_path);
    if (!extent.ok || extent.count < 0 || extent.count > Max_Ticket_Count) {
        // Compacting a database whose header can't be read would throw its tickets away.
        failure = File_Exists(database_path) ? Defrag_Failure{"Bad database header", EINVAL}
                                             : Failure_From_Errno(ENOENT);
        return false;
    }
    const long long n = extent.count;
    const long long offset = extent.offset;

    errno = 0;
    Record_File database(database_path, Ticket_Record_Size, Record_File::Mode::Read_Only);
    if (!database.Is_Open()) {
        failure = Failure_From_Errno(errno);
        return false;
    }
    errno = 0;
    Record_File work(work_path, Ticket_Record_Size);
    if (!work.Is_Open()) {
        failure = Failure_From_Errno(errno);
        return false;
    }
    ui.Main_Window_Enabled(false);
    ui.Search_Progress_Show("");

    Pass_Progress progress(ui, clock, Progress_Target::Form, 0.5);
    progress.Note_Time();
    progress.Expect_Tickets(n);
    const long long block =
        static_cast<long long>(std::max<std::size_t>(defrag_hook::Block_Tickets, 1));
    std::vector<std::uint8_t> in(static_cast<std::size_t>(std::clamp(n, 0LL, block)) *
                                 Ticket_Record_Size);
    std::vector<std::uint8_t> out;
    out.reserve(in.size());
    long long kept = 0;
    for (long long first = 1; first <= n; first += block) {
        const long long count = std::min(block, n - first + 1);
        errno = 0;
        if (first + offset < 1 ||
            !database.Read_Block(static_cast<std::uint64_t>(first + offset),
                                 static_cast<std::uint64_t>(count), in.data())) {
            failure = first + offset < 1 ? Defrag_Failure{"Bad record number", EINVAL}
                                         : Failure_From_Errno(errno);
            return false;
        }
        out.clear();
        const long long first_kept = kept + 1;
        for (long long j = 0; j < count; ++j) {
            const std::uint8_t* record =
                in.data() + static_cast<std::size_t>(j) * Ticket_Record_Size;
            if (record[1] == 0) { // Deleted
                ++kept;
                out.insert(out.end(), record, record + Ticket_Record_Size);
            }
            progress.Tick(first + j, n);
        }
        if (!out.empty()) {
            errno = 0;
            if (first_kept + offset < 1 ||
                !work.Write_Block(static_cast<std::uint64_t>(first_kept + offset),
                                  out.size() / Ticket_Record_Size, out.data())) {
                failure = first_kept + offset < 1 ? Defrag_Failure{"Bad record number", EINVAL}
                                                  : Failure_From_Errno(errno);
                return false;
            }
            Step_Done();
        }
    }
    ui.Search_Progress_Set(100);
    database.Close();
    work.Close();

    // The header of the new file carries the new count, while the program goes on with the old
    // one until the rebuild reads the new header.
    const long noted_count = state.Ticket_Count;
    state.Ticket_Count = static_cast<long>(kept);
    errno = 0;
    const bool header_written = Create_Header(work_path, state.Ticket_Count);
    const int header_error = errno;
    state.Ticket_Count = noted_count;
    if (!header_written) {
        failure = Failure_From_Errno(header_error);
        return false;
    }
    Step_Done();

    // The new database keeps the permissions of the old one.
    struct stat old_stat {};
    if (::stat(database_path.c_str(), &old_stat) == 0)
        ::chmod(work_path.c_str(), old_stat.st_mode & 07777);
    int error = 0;
    if (!Sync_Path(work_path, O_RDONLY, error)) {
        failure = Failure_From_Errno(error);
        return false;
    }
    Step_Done();
    if (::rename(work_path.c_str(), database_path.c_str()) != 0) {
        failure = Failure_From_Errno(errno);
        return false;
    }
    Step_Done();
    // The rename itself is made durable through the folder.
    Sync_Path(Folder_Of(database_path), O_RDONLY | O_DIRECTORY, error);
    Step_Done();
    return true;
}

} // namespace

Progress_Target Parse_Progress_Target(std::string_view target) {
    return Key_Text(target) == "splash" ? Progress_Target::Splash : Progress_Target::Form;
}

std::string CreateCacheFile(Program_State& state, Ui& ui, Clock& clock,
                            const std::string& user_cache_file, std::string_view mode, long company,
                            const std::string& name, const std::string& database_file,
                            std::string_view target) {
    const std::string mode_key = Key_Text(mode);
    if (mode_key == "add")
        return Add_To_User_Cache(state.Path_Of(user_cache_file), company, name, ui);
    if (mode_key == "new" || mode_key == "proection")
        Rebuild(state, ui, clock, user_cache_file, database_file, mode_key == "new",
                Parse_Progress_Target(target));
    return "Error!";
}

void Write_Z_Headers(const Program_State& state) {
    Each_Z_Header_Pair([&](int fuel, int volume) {
        Record_File file(state.Path_Of(Z_File_Name(fuel, volume)), Z_Record_Size);
        Write_Z_Header(state, file, fuel, volume);
    });
}

std::string CreateCacheFileForRequest(Program_State& state, Ui& ui, Clock& clock,
                                      const std::string& cache_file, double date,
                                      const std::string& database_file, std::string_view target) {
    (void)cache_file; // the file of the setting is the one rebuilt, whatever is passed
    Dated_Totals(state, ui, clock, database_file, target, state.settings.Cache_Diff_File,
                 Max_Companies, true, fatal_site::Request_Module, fatal_site::Request_Code,
                 [day = Day_Of(date)](Totals& totals, const Ticket_Record& ticket) {
                     if (ticket.Deleted != 0 || Day_Of(ticket.Sell_Date) > day)
                         return;
                     if (ticket.Used != 0)
                         return;
                     totals.Add(ticket.Company, ticket.Fuel, ticket.Volume);
                 });
    return "Error!";
}

std::string CreateCacheFileForRange(Program_State& state, Ui& ui, Clock& clock,
                                    const std::string& cache_file, double date_from, double date_to,
                                    const std::string& database_file, std::string_view target) {
    (void)cache_file; // the file of the setting is the one rebuilt, whatever is passed
    Dated_Totals(state, ui, clock, database_file, target, state.settings.Cache_Used_File,
                 Max_Station_Totals, false, fatal_site::Range_Module, fatal_site::Range_Code,
                 [from = Day_Of(date_from), to = Day_Of(date_to)](Totals& totals,
                                                                  const Ticket_Record& ticket) {
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
    return "Error!";
}

bool Defrag_File_Busy(const Program_State& state) {
    const std::string path = state.Path_Of(Defrag_Work_File);
    // A leftover from a crash may be read-only: make it writable first.
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))
        ::chmod(path.c_str(), (st.st_mode & 07777) | S_IRUSR | S_IWUSR);
    if (::unlink(path.c_str()) == 0)
        return false;
    return errno != ENOENT && errno != ENOTDIR;
}

std::string SE_Defragmentation(Program_State& state, Ui& ui, Clock& clock,
                               const std::string& database_file) {
    if (Defrag_File_Busy(state)) {
        ui.Message_Box("Невозможно провести дефрагментацию!", box::Stop, "Ошибка!");
        return "$ERROR$";
    }
    const std::string work_path = state.Path_Of(Defrag_Work_File);
    Defrag_Failure failure;
    if (!Compact_Database(state, ui, clock, state.Path_Of(database_file), work_path, failure)) {
        // The work file stays: the next attempt clears it.
        Fatal_Error(ui, std::string(fatal_site::Defrag_Module) + "\r\n" + failure.description,
                    std::string(fatal_site::Defrag_Code) + Hex_Number(failure.number));
        return "$ERROR$";
    }
    Remove_File(work_path);
    ui.Search_Progress_Set(0);
    ui.Search_Progress_Hide();
    ui.Message_Box("Дефрагментация завершена, необходима полная переиндексация!", box::Information,
                   "Дефрагментация");
    CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, "new", 0, "", database_file,
                    "null");
    ui.Main_Window_Enabled(true);
    return "$ERROR$";
}

void Reindex_Database(Program_State& state, Ui& ui, Clock& clock) {
    ui.Close_All_Children();
    state.Ticket_Table.assign(1, Ticket_Record{});
    CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, "new", 0, "",
                    state.settings.Database_File, "progress");
    ui.Search_Progress_Set(0);
    ui.Search_Progress_Hide();
    ui.Main_Window_Enabled(true);
}

} // namespace td
