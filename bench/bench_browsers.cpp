// The buyer browser on a large installation: opening (the hidden tree of 16 384 companies and the
// root's grid) and a node click on a group of 2 000 companies. The goal is below 0.3 s each.
//
//     bench_browsers [--benchmark_... flags]
//
// The installation is generated into a temporary folder at start and removed at the end. The
// ports are silent: no progress form, no event pump, a clock that stands still, so the figures
// are the browser's own work.
#include "base/ports.h"
#include "bench_support.h"
#include "browsers/sell_ticets.h"
#include "kernel/state.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/reference.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

using td::bench::Map_Settings;
using td::bench::Silent_Ui;
using td::bench::Still_Clock;

constexpr int Companies = 16384;
constexpr int Big_Group = 2000;

// Group 1 holds 2 000 companies; the others spread over 200 groups, a tenth of them on a third
// level under the group's first member.
struct Installation {
    std::string folder;
    td::Program_State state;

    Installation() {
        folder = (fs::temp_directory_path() / ("td-bench-browsers-" + std::to_string(getpid())))
                     .string();
        fs::create_directories(folder);
        state.Data_Folder = folder;
        state.Current_Date = 46349.0;

        std::vector<std::uint8_t> companies(Companies * td::Company_Record_Size);
        std::vector<std::uint8_t> totals(td::Max_Companies * td::Cache_Record_Size);
        int number = 0;
        auto put = [&](const std::string& code, const std::string& group,
                       const std::string& subgroup, const std::string& name) {
            td::Company_Record c;
            c.Exists = 1;
            c.Code = code;
            c.Group_Code = group;
            c.Subgroup_Code = subgroup;
            c.Name = name;
            td::Encode(c, companies.data() + number * td::Company_Record_Size);
            td::Cache_Record t;
            for (int k = 1; k <= 8; ++k)
                t.Fuel_Total[static_cast<std::size_t>(k)] = (number % 97) * 10.0 + k;
            td::Encode(t, totals.data() + number * td::Cache_Record_Size);
            ++number;
        };
        const int groups = 201;
        for (int g = 1; g <= groups; ++g)
            put(std::to_string(g), "", "", "Группа клиентов номер " + std::to_string(g));
        for (int i = 1; i <= Big_Group; ++i)
            put(std::to_string(i), "1", "000", "Предприятие большой группы " + std::to_string(i));
        std::map<int, std::string> first_member;
        int next = 1;
        while (number < Companies) {
            int g = 2 + (next % (groups - 1));
            std::string code = std::to_string(1000 + next);
            auto first = first_member.find(g);
            if (first != first_member.end() && next % 10 == 0) {
                put(code, std::to_string(g), first->second, "Филиал " + code);
            } else {
                put(code, std::to_string(g), "", "Покупатель " + code);
                first_member.emplace(g, code);
            }
            ++next;
        }
        td::Record_File(td::Data_File_Path(folder, state.settings.Company_File),
                        td::Company_Record_Size)
            .Write_Block(1, Companies, companies.data());
        td::Record_File(td::Data_File_Path(folder, state.settings.Cache_Diff_File),
                        td::Cache_Record_Size)
            .Write_Block(1, td::Max_Companies, totals.data());
        std::vector<std::uint8_t> fuel(td::Fuel_Record_Size);
        td::Record_File fuels(td::Data_File_Path(folder, state.settings.Fuel_File),
                              td::Fuel_Record_Size);
        for (int k = 1; k <= 8; ++k) {
            td::Fuel_Record f;
            f.Exists = 1;
            f.Name = "Топливо " + std::to_string(k);
            td::Encode(f, fuel.data());
            fuels.Write(static_cast<std::uint64_t>(k), fuel.data());
        }
        state.Company_Count = td::Load_Company_Table(
            td::Data_File_Path(folder, state.settings.Company_File), state.Company_Table);
    }
    ~Installation() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
};

Installation& Shared() {
    static Installation installation;
    return installation;
}

void BM_Buyer_Open(benchmark::State& bench) {
    Installation& in = Shared();
    Silent_Ui ui;
    Still_Clock clock;
    Map_Settings settings;
    int nodes = 0;
    for (auto _ : bench) {
        td::Sell_Ticets browser(in.state, ui, clock, settings, nullptr);
        if (!browser.Form_Load())
            bench.SkipWithError("opening failed");
        nodes = browser.TreeView1.Count();
        benchmark::DoNotOptimize(browser.MSFlexGrid1.Rows());
    }
    bench.counters["companies"] = static_cast<double>(in.state.Company_Count - 1);
    bench.counters["tree_nodes"] = nodes;
}

void BM_Buyer_Node_Click_2000(benchmark::State& bench) {
    Installation& in = Shared();
    Silent_Ui ui;
    Still_Clock clock;
    Map_Settings settings;
    td::Sell_Ticets browser(in.state, ui, clock, settings, nullptr);
    browser.Form_Load();
    for (auto _ : bench) {
        browser.TreeView1_NodeClick("root\\1\\");
        benchmark::DoNotOptimize(browser.MSFlexGrid1.Rows());
    }
    bench.counters["rows"] = browser.MSFlexGrid1.Rows() - 2;
}

BENCHMARK(BM_Buyer_Open)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(BM_Buyer_Node_Click_2000)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

} // namespace

BENCHMARK_MAIN();
