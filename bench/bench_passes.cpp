// The passes over the database, timed on generated installations and compared with the floor: one
// plain read of the whole database file with a warm page cache.
//
//     bench_passes [--td_sizes=150000,1000000] [--td_cache=/var/tmp/td-bench]
//                  [--td_iterations=K] [--td_summary=FILE] [--td_clock=wall|qt]
//                  [--benchmark_... flags]
//
// The passes ask the clock about a thousand times each whether to report progress. --td_clock=qt
// gives them the desktop program's clock (Qt) instead of the plain system clock; clock/wall and
// clock/qt show what one question costs with each.
// Installations are generated once under the cache folder (one folder per size) and reused while
// the generator's version is unchanged. Each pass iteration starts as a fresh process would: no
// entry counts, no ticket table, no number index files. Defragmentation works on a copy of the
// database, made (and forced to disk) outside the measured time.
#include "bench_support.h"
#include "installation_generator.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "qt/system_clock.h"
#include "shell/database_commands.h"
#include "storage/defrag_hook.h"
#include "storage/defragmentation.h"
#include "storage/header.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/ticket_array.h"
#include "storage/ticket_reader.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using namespace td::bench;

namespace {

struct Config {
    std::vector<long> sizes{150000, 1000000, 10000000};
    std::string cache = "/var/tmp/td-bench";
    long iterations = 0; // 0: by size
    std::string summary;
    bool qt_clock = false; // the passes consult the desktop program's clock instead
};
Config config;

// Milliseconds per iteration (median), by size and figure name.
std::map<long, std::map<std::string, double>> figures;

std::string Home_Of(long n) {
    return config.cache + "/" + std::to_string(n);
}
std::string Work_Of(long n) {
    return config.cache + "/" + std::to_string(n) + "-work";
}

long Pass_Iterations(long n) {
    if (config.iterations > 0)
        return config.iterations;
    return n <= 200000 ? 20 : n <= 2000000 ? 7 : 3;
}
long Floor_Iterations(long n) {
    return n <= 200000 ? 200 : n <= 2000000 ? 50 : 10;
}

[[noreturn]] void Die(const std::string& why) {
    std::fprintf(stderr, "bench_passes: %s\n", why.c_str());
    std::exit(1);
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t k = values.size();
    return k % 2 == 1 ? values[k / 2] : (values[k / 2 - 1] + values[k / 2]) / 2;
}

// Wall-clock and CPU time (user and system, this process) of each iteration. On a busy machine the
// wall-clock times include waits for a processor; the CPU times do not, so both are kept.
struct Samples {
    std::vector<double> wall, cpu;
    double wall0 = 0, cpu0 = 0;
    void Start() {
        wall0 = Now();
        cpu0 = Cpu_Now();
    }
    void Stop() {
        wall.push_back(Now() - wall0);
        cpu.push_back(Cpu_Now() - cpu0);
    }
};

void Measure_Floor(long n) {
    // The floor benchmark was filtered out: measure it here, a few warm reads.
    const std::string database = Database_Of(Home_Of(n));
    Read_Whole_File(database);
    Samples samples;
    for (int i = 0; i < 9; ++i) {
        samples.Start();
        Read_Whole_File(database);
        samples.Stop();
    }
    figures[n]["floor"] = Median(samples.wall) * 1e3;
    figures[n]["floor_cpu"] = Median(samples.cpu) * 1e3;
}

double Floor_Ms(long n, bool cpu = false) {
    if (figures[n].find("floor") == figures[n].end())
        Measure_Floor(n);
    return figures[n][cpu ? "floor_cpu" : "floor"];
}

// Figures are the median of the iterations: a busy machine disturbs a few of them, not the middle.
void Record(benchmark::State& bs, long n, const std::string& name, const Samples& samples) {
    if (samples.wall.empty())
        return;
    const double ms = Median(samples.wall) * 1e3;
    const double cpu_ms = Median(samples.cpu) * 1e3;
    figures[n][name] = ms;
    figures[n][name + "_cpu"] = cpu_ms;
    bs.counters["median_ms"] = ms;
    bs.counters["min_ms"] = *std::min_element(samples.wall.begin(), samples.wall.end()) * 1e3;
    bs.counters["cpu_ms"] = cpu_ms;
    if (name != "floor") {
        bs.counters["x_floor"] = ms / Floor_Ms(n);
        bs.counters["x_floor_cpu"] = cpu_ms / Floor_Ms(n, true);
    }
}

// ---- the floor -----------------------------------------------------------------------------

void BM_Floor(benchmark::State& bs, long n, std::size_t chunk) {
    const std::string database = Database_Of(Home_Of(n));
    const std::uint64_t bytes = Read_Whole_File(database, chunk); // warms the page cache
    Samples times;
    for (auto _ : bs) {
        times.Start();
        benchmark::DoNotOptimize(Read_Whole_File(database, chunk));
        times.Stop();
    }
    bs.SetBytesProcessed(static_cast<std::int64_t>(bytes) * bs.iterations());
    Record(bs, n, chunk == (1u << 20) ? "floor" : "floor_" + std::to_string(chunk >> 10) + "k",
           times);
}

// Reading in the passes' blocks and decoding every ticket: what any pass pays before it does its
// own work.
void BM_Scan_Decode(benchmark::State& bs, long n) {
    const std::string database = Database_Of(Home_Of(n));
    Read_Whole_File(database);
    constexpr std::uint64_t Block = 65536;
    std::vector<std::uint8_t> buffer(Block * td::Ticket_Record_Size);
    Samples times;
    for (auto _ : bs) {
        times.Start();
        td::Record_File file(database, td::Ticket_Record_Size, td::Record_File::Mode::Read_Only);
        std::int64_t litres = 0;
        for (std::uint64_t first = 1; first <= static_cast<std::uint64_t>(n); first += Block) {
            std::uint64_t k =
                std::min<std::uint64_t>(Block, static_cast<std::uint64_t>(n) - first + 1);
            file.Read_Block(first + td::Header_Records_Offset, k, buffer.data());
            for (std::uint64_t j = 0; j < k; ++j)
                litres += td::Decode_Ticket(buffer.data() + j * td::Ticket_Record_Size).Volume;
        }
        benchmark::DoNotOptimize(litres);
        times.Stop();
    }
    Record(bs, n, "scan_decode", times);
}

// What a dated-totals pass could cost at best: the company totals of one date straight from the
// record bytes (no decoding into a ticket, whole days compared as numbers, no clock), in the same
// blocks. A yardstick for the request cache, not a replacement for it.
void BM_Raw_Request(benchmark::State& bs, long n) {
    const std::string database = Database_Of(Home_Of(n));
    Read_Whole_File(database);
    constexpr std::uint64_t Block = 65536;
    std::vector<std::uint8_t> buffer(Block * td::Ticket_Record_Size);
    std::vector<td::Cache_Record> totals(td::Max_Companies + 1);
    const double day = Generated_Working_Date();
    Samples times;
    for (auto _ : bs) {
        times.Start();
        std::fill(totals.begin(), totals.end(), td::Cache_Record{});
        td::Record_File file(database, td::Ticket_Record_Size, td::Record_File::Mode::Read_Only);
        for (std::uint64_t first = 1; first <= static_cast<std::uint64_t>(n); first += Block) {
            std::uint64_t k =
                std::min<std::uint64_t>(Block, static_cast<std::uint64_t>(n) - first + 1);
            file.Read_Block(first + td::Header_Records_Offset, k, buffer.data());
            for (std::uint64_t j = 0; j < k; ++j) {
                const std::uint8_t* r = buffer.data() + j * td::Ticket_Record_Size;
                if (r[1] != 0 || r[0] != 0 || std::floor(td::bytes::Get_F64(r + 36)) > day)
                    continue;
                const std::int32_t company = td::bytes::Get_I32(r + 22);
                const int fuel = r[3];
                if (company >= 1 && company <= td::Max_Companies && fuel < 10)
                    totals[static_cast<std::size_t>(company)]
                        .Fuel_Total[static_cast<std::size_t>(fuel)] += td::bytes::Get_I32(r + 4);
            }
        }
        benchmark::DoNotOptimize(totals.data());
        times.Stop();
    }
    Record(bs, n, "raw_request", times);
}

// Loading the ticket table alone, as "new" and "proection" do before their own work: memory of
// its own, fresh from the system, and the whole database read into it in the passes' blocks, on
// one thread. Beside the floor (one buffer, used again and again) this shows what any pass that
// keeps every ticket in memory pays for the memory itself.
void BM_Table_Load(benchmark::State& bs, long n) {
    const std::string database = Database_Of(Home_Of(n));
    Read_Whole_File(database);
    constexpr std::uint64_t Block = td::Ticket_Reader::Block_Tickets;
    Samples times;
    for (auto _ : bs) {
        td::Ticket_Array table;
        times.Start();
        table.Resize_For_Overwrite(static_cast<std::size_t>(n) + 1);
        td::Record_File file(database, td::Ticket_Record_Size, td::Record_File::Mode::Read_Only);
        for (std::uint64_t first = 1; first <= static_cast<std::uint64_t>(n); first += Block) {
            std::uint64_t k =
                std::min<std::uint64_t>(Block, static_cast<std::uint64_t>(n) - first + 1);
            file.Read_Block(first + td::Header_Records_Offset, k,
                            reinterpret_cast<std::uint8_t*>(table.data() + first));
        }
        benchmark::DoNotOptimize(table.data());
        times.Stop();
        bs.PauseTiming();
        table.Release();
        bs.ResumeTiming();
    }
    bs.counters["table_mb"] = static_cast<double>((n + 1) * sizeof(td::Ticket_Record)) / 1e6;
    Record(bs, n, "table_load", times);
}

// ---- the passes ----------------------------------------------------------------------------

enum class Pass { New, Proection, Request, Range, Defrag };

const char* Pass_Name(Pass pass) {
    switch (pass) {
    case Pass::New:
        return "new";
    case Pass::Proection:
        return "proection";
    case Pass::Request:
        return "request";
    case Pass::Range:
        return "range";
    case Pass::Defrag:
        return "defrag";
    }
    return "?";
}

// Time of the last step of the compaction (the folder's sync after the rename): what comes after
// it is the message and the full rebuild.
double compaction_done = 0;
void Note_Step() {
    compaction_done = Now();
}

void BM_Pass(benchmark::State& bs, long n, Pass pass) {
    td::Program_State& state = td::State();
    Silent_Ui ui;
    Wall_Clock wall;
    td::System_Clock system;
    td::Clock& clock = config.qt_clock ? static_cast<td::Clock&>(system) : wall;
    std::string error;
    const std::string home = pass == Pass::Defrag ? Work_Of(n) : Home_Of(n);
    if (pass == Pass::Defrag &&
        (!Prepare_Work_Installation(Home_Of(n), home, error) ||
         !Copy_File(Database_Of(Home_Of(n)), Database_Of(home), true, error)))
        Die(error);
    td::Reset_State();
    if (!Open_Installation(state, ui, home, error))
        Die(error);
    const std::string database = state.Path_Of(state.settings.Database_File);
    Read_Whole_File(Database_Of(Home_Of(n))); // warm page cache, as for the floor
    Floor_Ms(n);

    Samples times;
    std::vector<double> compaction;
    long boxes_before = ui.boxes;
    for (auto _ : bs) {
        bs.PauseTiming();
        Forget_Derived_State(state);
        if (pass == Pass::Defrag) {
            td::Remove_File(state.Path_Of(td::Defrag_Work_File));
            if (!Copy_File(Database_Of(Home_Of(n)), database, true, error))
                Die(error);
            state.Ticket_Count = n;
        }
        bs.ResumeTiming();

        times.Start();
        switch (pass) {
        case Pass::New:
            td::CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, "new", 0, "",
                                database, "null");
            break;
        case Pass::Proection:
            td::CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, "proection", 0,
                                "", database, "splash");
            break;
        case Pass::Request:
            td::CreateCacheFileForRequest(state, ui, clock, state.settings.Cache_Diff_File,
                                          state.Current_Date, database, "pr");
            break;
        case Pass::Range:
            td::CreateCacheFileForRange(state, ui, clock, state.settings.Cache_Used_File,
                                        state.Current_Date, state.Current_Date, database, "ps");
            break;
        case Pass::Defrag:
            compaction_done = 0;
            td::defrag_hook::After_Step = &Note_Step;
            td::SE_Defragmentation(state, ui, clock, state.settings.Database_File,
                                   td::Defrag_Uncounted::Refuse);
            td::defrag_hook::After_Step = nullptr;
            compaction.push_back(compaction_done - times.wall0);
            break;
        }
        times.Stop();
    }
    if (pass == Pass::New || pass == Pass::Proection || pass == Pass::Defrag) {
        const long tickets = static_cast<long>(state.Ticket_Table.size()) - 1;
        if (!times.wall.empty() && pass != Pass::Defrag && tickets != n)
            Die(std::string(Pass_Name(pass)) + " filled " + std::to_string(tickets) +
                " tickets of " + std::to_string(n));
        bs.counters["tickets"] = static_cast<double>(tickets);
    }
    if (pass == Pass::Defrag) {
        if (ui.boxes - boxes_before != static_cast<long>(times.wall.size()))
            Die("defragmentation answered with \"" + ui.last_box + "\"");
        if (!compaction.empty()) {
            figures[n]["defrag_compaction"] = Median(compaction) * 1e3;
            bs.counters["compaction_ms"] = figures[n]["defrag_compaction"];
        }
    }
    Record(bs, n, Pass_Name(pass), times);
    Forget_Derived_State(state);
    td::Reset_State();
}

// ---- the clock the passes consult once per ticket ------------------------------------------

void BM_Clock(benchmark::State& bs, bool qt) {
    Wall_Clock wall;
    td::System_Clock system;
    td::Clock& clock = qt ? static_cast<td::Clock&>(system) : wall;
    for (auto _ : bs)
        benchmark::DoNotOptimize(clock.Seconds_Since_Midnight());
    bs.SetItemsProcessed(bs.iterations());
}

std::vector<long> Parse_Sizes(const std::string& text) {
    std::vector<long> sizes;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t comma = text.find(',', start);
        std::string part =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        if (!part.empty()) {
            char* end = nullptr;
            long n = std::strtol(part.c_str(), &end, 10);
            if (end == nullptr || *end != '\0' || n < 1 || n > 99999999)
                Die("bad size '" + part + "'");
            sizes.push_back(n);
        }
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    return sizes;
}

void Print_Summary() {
    const std::vector<std::string> names = {"floor", "scan_decode", "table_load",
                                            "new",   "proection",   "request",
                                            "range", "defrag",      "defrag_compaction"};
    std::ofstream tsv;
    if (!config.summary.empty()) {
        tsv.open(config.summary, std::ios::trunc);
        tsv << "n\tdb_mb";
        for (const auto& name : names)
            tsv << '\t' << name << '\t' << name << "_cpu";
        tsv << '\n';
    }
    std::printf("\nclock consulted by the passes: %s\n", config.qt_clock ? "qt" : "wall");
    std::printf("%10s %8s  %-17s", "N", "DB MB", "time");
    for (const auto& name : names)
        std::printf(" %18s", name.c_str());
    std::printf("\n");
    for (const auto& [n, f] : figures) {
        std::error_code ec;
        double db_mb = static_cast<double>(fs::file_size(Database_Of(Home_Of(n)), ec)) / 1e6;
        if (tsv)
            tsv << n << '\t' << db_mb;
        for (bool cpu : {false, true}) {
            std::printf("%10ld %8.1f  %-17s", n, db_mb,
                        cpu ? "cpu ms (x floor)" : "wall ms (x floor)");
            const std::string suffix = cpu ? "_cpu" : "";
            auto floor = f.find("floor" + suffix);
            for (const auto& name : names) {
                auto it = f.find(name + suffix);
                char cell[64] = "-";
                if (it != f.end() && floor != f.end())
                    std::snprintf(cell, sizeof cell, "%.1f (%.2f)", it->second,
                                  it->second / floor->second);
                std::printf(" %18s", cell);
            }
            std::printf("\n");
        }
        if (tsv) {
            for (const auto& name : names) {
                auto wall = f.find(name);
                auto cpu = f.find(name + "_cpu");
                tsv << '\t' << (wall == f.end() ? std::string("-") : std::to_string(wall->second))
                    << '\t' << (cpu == f.end() ? std::string("-") : std::to_string(cpu->second));
            }
            tsv << '\n';
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::vector<char*> rest{argv[0]};
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        auto value = [&word](const char* key) -> std::string {
            std::string prefix = std::string(key) + "=";
            return word.rfind(prefix, 0) == 0 ? word.substr(prefix.size()) : std::string();
        };
        if (!value("--td_sizes").empty())
            config.sizes = Parse_Sizes(value("--td_sizes"));
        else if (!value("--td_cache").empty())
            config.cache = value("--td_cache");
        else if (!value("--td_iterations").empty())
            config.iterations = std::strtol(value("--td_iterations").c_str(), nullptr, 10);
        else if (!value("--td_summary").empty())
            config.summary = value("--td_summary");
        else if (!value("--td_clock").empty())
            config.qt_clock = value("--td_clock") == "qt";
        else
            rest.push_back(argv[i]);
    }
    int rest_count = static_cast<int>(rest.size());
    if (benchmark::ReportUnrecognizedArguments(rest_count, rest.data()))
        return 1;

    for (long n : config.sizes) {
        bool generated = false;
        std::string error;
        double t0 = Now();
        if (!Ensure_Installation(Home_Of(n), n, generated, error))
            Die(error);
        if (generated)
            std::fprintf(stderr, "generated %s in %.1f s\n", Home_Of(n).c_str(), Now() - t0);
    }

    benchmark::RegisterBenchmark("clock/wall", BM_Clock, false);
    benchmark::RegisterBenchmark("clock/qt", BM_Clock, true);
    for (long n : config.sizes) {
        const std::string suffix = "/" + std::to_string(n);
        benchmark::RegisterBenchmark(("floor" + suffix).c_str(), BM_Floor, n, std::size_t{1} << 20)
            ->Iterations(Floor_Iterations(n))
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("floor_4M" + suffix).c_str(), BM_Floor, n,
                                     std::size_t{4} << 20)
            ->Iterations(Floor_Iterations(n))
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("scan_decode" + suffix).c_str(), BM_Scan_Decode, n)
            ->Iterations(Pass_Iterations(n))
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("raw_request" + suffix).c_str(), BM_Raw_Request, n)
            ->Iterations(Pass_Iterations(n))
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("table_load" + suffix).c_str(), BM_Table_Load, n)
            ->Iterations(Pass_Iterations(n))
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        for (Pass pass : {Pass::New, Pass::Proection, Pass::Request, Pass::Range, Pass::Defrag})
            benchmark::RegisterBenchmark((std::string(Pass_Name(pass)) + suffix).c_str(), BM_Pass,
                                         n, pass)
                ->Iterations(Pass_Iterations(n))
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    Print_Summary();
    return 0;
}
