// The redemption's check and commit of a list of 50 numbers on generated installations: on a pair
// the number index serves (the goal: under 50 ms each at 10 000 000 tickets) and on a pair it
// does not (the goal: at most 1.5x one plain read of the database). A commit never rewrites the
// header and runs no pass: the bytes it hands to the system are counted and the header compared.
//
//     bench_redemption [--td_sizes=150000,1000000,10000000] [--td_cache=/var/tmp/td-redeem-bench]
//                      [--benchmark_... flags]
//
// Installations are generated once under the cache folder and reused; each size gets a work copy
// of its database, on which the commits book tickets. The screen is driven as the window drives
// it: the list filled, then "Проверить" or "Списать талон". bench/run.sh runs it beside the passes.
#include "base/numbers.h"
#include "bench_support.h"
#include "browsers/browser_refresh.h"
#include "installation_generator.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "tickets/shop.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using namespace td::bench;

namespace {

constexpr int List_Length = 50;

struct Config {
    std::vector<long> sizes{150000, 1000000, 10000000};
    std::string cache = "/var/tmp/td-redeem-bench";
};
Config config;

[[noreturn]] void Die(const std::string& why) {
    std::fprintf(stderr, "bench_redemption: %s\n", why.c_str());
    std::exit(1);
}

// Bytes this process handed to write calls so far.
long long Written_Bytes() {
    std::ifstream io("/proc/self/io");
    std::string key;
    long long value = 0;
    while (io >> key >> value)
        if (key == "wchar:")
            return value;
    return 0;
}

std::string Header_Page(const std::string& database) {
    td::Record_File file(database, 1, td::Record_File::Mode::Read_Only);
    std::string page(350, '\0');
    file.Read_Bytes(0, page.size(), reinterpret_cast<std::uint8_t*>(page.data()));
    return page;
}

// One fuel and volume with the unused tickets whose numbers the lists take, in batches of 50.
struct Pair {
    int fuel = 0;
    int volume = 0;
    std::vector<std::string> serials;
};

// The installation of one size as a running program holds it after its start.
struct Installation {
    long n = 0;
    std::string home;
    std::string database;
    Silent_Ui ui;
    Wall_Clock clock;
    td::Open_Browsers browsers;
    std::unique_ptr<td::Shop> shop;
    Pair indexed, scanned;
    std::size_t next_indexed = 0, next_scanned = 0;
    double floor_ms = 0;
};

std::map<long, std::unique_ptr<Installation>> installations;
std::map<long, std::map<std::string, double>> figures;

Pair Best_Pair(const td::Program_State& state, bool indexed) {
    std::map<std::pair<int, int>, std::vector<std::string>> unused;
    std::map<std::pair<int, int>, std::set<std::string>> seen;
    for (std::size_t i = 1; i < state.Ticket_Table.size(); ++i) {
        const td::Ticket_Record& t = state.Ticket_Table[i];
        if (td::Z_Index_Used_For_Lookup(t.Volume) != indexed || t.Fuel < 1)
            continue;
        const std::pair<int, int> key{t.Fuel, t.Volume};
        // A number sold twice in a pair would be judged twice: such numbers are left out.
        if (!seen[key].insert(t.Serial_Text()).second) {
            auto& list = unused[key];
            list.erase(std::remove(list.begin(), list.end(), t.Serial_Text()), list.end());
            continue;
        }
        if (t.Used == 0 && t.Deleted == 0 && t.Date_Limits == 0 && t.Establishment_Limits == 0)
            unused[key].push_back(t.Serial_Text());
    }
    Pair best;
    for (auto& [key, serials] : unused)
        if (serials.size() > best.serials.size())
            best = {key.first, key.second, serials};
    return best;
}

Installation& Open(long n) {
    auto& slot = installations[n];
    if (slot)
        return *slot;
    slot = std::make_unique<Installation>();
    Installation& in = *slot;
    in.n = n;
    const std::string master = config.cache + "/" + std::to_string(n);
    bool generated = false;
    std::string error;
    if (!Ensure_Installation(master, n, generated, error))
        Die(error);
    in.home = config.cache + "/" + std::to_string(n) + "-redeem";
    if (!Prepare_Work_Installation(master, in.home, error))
        Die(error);
    in.database = Database_Of(in.home);
    if (!Copy_File(Database_Of(master), in.database, true, error))
        Die(error);

    td::Reset_State();
    td::Program_State& state = td::State();
    if (!Open_Installation(state, in.ui, in.home, error))
        Die(error);
    // As a start after a crash leaves it: table, index and both totals files from the database.
    td::CreateCacheFile(state, in.ui, in.clock, state.settings.Cache_User_File, "new", 0, "",
                        state.settings.Database_File, "null");
    in.indexed = Best_Pair(state, true);
    in.scanned = Best_Pair(state, false);
    std::fprintf(stderr, "N=%ld: indexed pair %d/%d with %zu unused, scanned pair %d/%d with %zu\n",
                 n, in.indexed.fuel, in.indexed.volume, in.indexed.serials.size(), in.scanned.fuel,
                 in.scanned.volume, in.scanned.serials.size());

    Read_Whole_File(in.database);
    std::vector<double> reads, cpu;
    for (int i = 0; i < 5; ++i) {
        const double t0 = Now();
        const double c0 = Cpu_Now();
        Read_Whole_File(in.database);
        reads.push_back(Now() - t0);
        cpu.push_back(Cpu_Now() - c0);
    }
    std::sort(reads.begin(), reads.end());
    std::sort(cpu.begin(), cpu.end());
    in.floor_ms = reads[2] * 1e3;
    figures[n]["floor"] = in.floor_ms;
    figures[n]["floor_cpu"] = cpu[2] * 1e3;

    in.shop = std::make_unique<td::Shop>(state, in.ui, in.clock, in.browsers);
    in.shop->Form_Load();
    in.shop->ListView1_ItemClick(0);
    return in;
}

// The list of the screen for a pair, 50 numbers from `next` on, each with the volume's litres.
void Fill(Installation& in, const Pair& pair, std::size_t& next) {
    td::Shop& shop = *in.shop;
    shop.Combo2_Click(pair.fuel - 1);
    int volume = -1;
    for (int i = 0; i < shop.Combo3.Count() && volume < 0; ++i)
        if (td::Leading_Number(shop.Combo3.Item(i)) == pair.volume)
            volume = i;
    if (volume < 0)
        Die("volume " + std::to_string(pair.volume) + " is not in the list");
    shop.Combo3_Click(volume); // also empties the list
    shop.Clear_Log();
    if (next + List_Length > pair.serials.size())
        next = 0; // the check writes nothing: its numbers can come round again
    td::Grid& list = shop.MSFlexGrid1;
    list.Set_Rows(List_Length + 1);
    for (int r = 1; r <= List_Length; ++r) {
        list.Set_Text(r, td::Shop::Number_Col, pair.serials[next++]);
        list.Set_Text(r, td::Shop::Litres_Col, shop.Combo3.Text());
    }
}

void Record(benchmark::State& bs, long n, const std::string& name, std::vector<double> ms,
            std::vector<double> cpu_ms) {
    if (ms.empty())
        return;
    std::sort(ms.begin(), ms.end());
    std::sort(cpu_ms.begin(), cpu_ms.end());
    const double median = ms[ms.size() / 2];
    figures[n][name] = median;
    figures[n][name + "_cpu"] = cpu_ms[cpu_ms.size() / 2];
    bs.counters["median_ms"] = median;
    bs.counters["x_floor"] = median / figures[n]["floor"];
    bs.counters["x_floor_cpu"] = cpu_ms[cpu_ms.size() / 2] / figures[n]["floor_cpu"];
}

void BM_Check(benchmark::State& bs, long n, bool indexed) {
    Installation& in = Open(n);
    const Pair& pair = indexed ? in.indexed : in.scanned;
    std::size_t& next = indexed ? in.next_indexed : in.next_scanned;
    if (pair.serials.size() < List_Length)
        Die("too few unused tickets in the pair");
    std::vector<double> ms, cpu;
    for (auto _ : bs) {
        bs.PauseTiming();
        Fill(in, pair, next);
        next -= List_Length; // a check leaves the numbers for the commit
        bs.ResumeTiming();
        const double t0 = Now();
        const double c0 = Cpu_Now();
        in.shop->Command1_Click();
        ms.push_back((Now() - t0) * 1e3);
        cpu.push_back((Cpu_Now() - c0) * 1e3);
        if (in.shop->Last_Outcome() != td::Redemption_Outcome::Accepted)
            Die("the check refused a number of the list");
    }
    Record(bs, n, indexed ? "check_indexed" : "check_scanned", ms, cpu);
}

void BM_Commit(benchmark::State& bs, long n, bool indexed) {
    Installation& in = Open(n);
    const Pair& pair = indexed ? in.indexed : in.scanned;
    std::size_t& next = indexed ? in.next_indexed : in.next_scanned;
    std::vector<double> ms, cpu;
    long long written = 0;
    for (auto _ : bs) {
        bs.PauseTiming();
        if (next + List_Length > pair.serials.size())
            Die("the pair has no unused tickets left for another commit");
        Fill(in, pair, next);
        td::State().Redemption_Checked = true;
        const std::string header = Header_Page(in.database);
        bs.ResumeTiming();
        const long long bytes0 = Written_Bytes();
        const double t0 = Now();
        const double c0 = Cpu_Now();
        in.shop->Command2_Click();
        ms.push_back((Now() - t0) * 1e3);
        cpu.push_back((Cpu_Now() - c0) * 1e3);
        written = Written_Bytes() - bytes0;
        bs.PauseTiming();
        if (in.shop->Last_Outcome() != td::Redemption_Outcome::Booked)
            Die("the commit did not book every number");
        if (Header_Page(in.database) != header)
            Die("the commit changed the header");
        bs.ResumeTiming();
    }
    bs.counters["bytes_written"] = static_cast<double>(written);
    figures[n][indexed ? "bytes_indexed" : "bytes_scanned"] = static_cast<double>(written);
    Record(bs, n, indexed ? "commit_indexed" : "commit_scanned", ms, cpu);
}

std::vector<long> Parse_Sizes(const std::string& text) {
    std::vector<long> sizes;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t comma = std::min(text.find(',', at), text.size());
        sizes.push_back(std::stol(text.substr(at, comma - at)));
        at = comma + 1;
    }
    return sizes;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("--td_sizes=", 0) == 0)
            config.sizes = Parse_Sizes(arg.substr(11));
        else if (arg.rfind("--td_cache=", 0) == 0)
            config.cache = arg.substr(11);
        else
            rest.push_back(argv[i]);
    }
    int rest_count = static_cast<int>(rest.size());
    benchmark::Initialize(&rest_count, rest.data());
    fs::create_directories(config.cache);
    for (long n : config.sizes) {
        const int iterations = n > 2000000 ? 3 : 7;
        for (bool indexed : {true, false}) {
            const std::string pair = indexed ? "indexed" : "scanned";
            benchmark::RegisterBenchmark(("check/" + pair + "/" + std::to_string(n)).c_str(),
                                         BM_Check, n, indexed)
                ->Iterations(iterations)
                ->Unit(benchmark::kMillisecond);
            benchmark::RegisterBenchmark(("commit/" + pair + "/" + std::to_string(n)).c_str(),
                                         BM_Commit, n, indexed)
                ->Iterations(iterations)
                ->Unit(benchmark::kMillisecond);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    for (const char* suffix : {"", "_cpu"}) {
        const std::string floor = std::string("floor") + suffix;
        std::printf("\n%s, ms (in brackets: multiple of the floor, one plain read of the "
                    "database)\n",
                    *suffix ? "CPU time (user + system)" : "wall-clock time");
        std::printf("%10s %9s %15s %15s %15s %15s %10s %10s\n", "N", "floor", "check idx",
                    "commit idx", "check scan", "commit scan", "bytes idx", "bytes scan");
        for (auto& [n, f] : figures) {
            auto cell = [&](const std::string& name) {
                char text[40];
                if (f.count(name) == 0)
                    return std::string("-");
                std::snprintf(text, sizeof text, "%.1f (%.2fx)", f[name], f[name] / f[floor]);
                return std::string(text);
            };
            std::printf("%10ld %9.1f %15s %15s %15s %15s %10.0f %10.0f\n", n, f[floor],
                        cell(std::string("check_indexed") + suffix).c_str(),
                        cell(std::string("commit_indexed") + suffix).c_str(),
                        cell(std::string("check_scanned") + suffix).c_str(),
                        cell(std::string("commit_scanned") + suffix).c_str(), f["bytes_indexed"],
                        f["bytes_scanned"]);
        }
    }
    std::printf("goals: indexed check and commit < 50 ms at 10 000 000; scanned <= 1.5x floor; "
                "bytes: 50 tickets x (72 + 84 + 84 + the note) and nothing else\n");
    benchmark::Shutdown();
}
