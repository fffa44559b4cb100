// The reports on a generated installation, against the "proection" pass that loads the ticket
// table at start (the goal: a report or a statistics at most twice that pass), and the turning of
// a page in a viewer of 100 000 rows (the goal: under 20 ms).
//
//     bench_reports --home DIR [--benchmark_... flags]
//
// DIR is an installation of td_generate. The passes and builders run with silent ports: no
// progress form, no event pump.
#include "bench_support.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "reports/balance_report.h"
#include "reports/reference_snapshot.h"
#include "reports/report_store.h"
#include "reports/report_viewer.h"
#include "reports/statistics.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace td;
using namespace td::bench;

std::string home;
Silent_Ui ui;
Wall_Clock clock_port;

Program_State& Loaded() {
    Program_State& state = State();
    if (state.Ticket_Table.size() < 2) {
        CreateCacheFile(state, ui, clock_port, state.settings.Cache_User_File, "proection", 0, "",
                        state.Path_Of(state.settings.Database_File), "splash");
    }
    return state;
}

void Proection(benchmark::State& bs) {
    Program_State& state = State();
    for (auto _ : bs) {
        bs.PauseTiming();
        Forget_Derived_State(state);
        bs.ResumeTiming();
        CreateCacheFile(state, ui, clock_port, state.settings.Cache_User_File, "proection", 0, "",
                        state.Path_Of(state.settings.Database_File), "splash");
    }
    bs.counters["tickets"] = static_cast<double>(state.Ticket_Table.size() - 1);
}

void Balance(benchmark::State& bs, const char* command, bool period) {
    Program_State& state = Loaded();
    state.Low_Date = state.Current_Date - 365;
    state.High_Date = state.Current_Date;
    const Balance_Command& chosen = *Find_Balance_Command(command);
    (void)period;
    std::size_t rows = 0;
    for (auto _ : bs) {
        Balance_Report report = Build_Balance_Report(state, chosen);
        if (!report.ok) {
            bs.SkipWithError(report.failure.c_str());
            return;
        }
        rows = report.rows.size();
        benchmark::DoNotOptimize(report);
    }
    bs.counters["rows"] = static_cast<double>(rows);
}

void Statistics(benchmark::State& bs, bool station) {
    Program_State& state = Loaded();
    state.Low_Date = state.Current_Date - 365;
    state.High_Date = state.Current_Date;
    // The buyer of the first ticket, its fuel; station 1 and fuel 1.
    const Reference_Snapshot references(state);
    const Ticket_Record& first = state.Ticket_Table[1];
    const std::string key = Buyer_Key(references.Company_Raw(first.Company));
    std::size_t rows = 0;
    for (auto _ : bs) {
        Stat_Report report =
            station ? Build_Station_Statistics(state, 1, 1, Stat_Scope::Period)
                    : Build_Buyer_Statistics(state, key, first.Fuel, Stat_Scope::Period);
        rows = report.rows.size();
        benchmark::DoNotOptimize(report);
    }
    bs.counters["rows"] = static_cast<double>(rows);
}

void Page_Turn(benchmark::State& bs, Viewer_Kind kind) {
    Program_State& state = State();
    std::vector<std::string>& rows =
        kind == Viewer_Kind::Reports_F ? Report_Lists().Report_Rows : Report_Lists().Stat_Rows;
    rows.clear();
    for (int i = 1; i <= 100000; ++i) {
        if (kind == Viewer_Kind::Reports_F)
            rows.push_back("00010:" + std::to_string(i) +
                           " ООО Компания с длинным именем\t120,5  /  80  /  40,5\t0  /  0  /  "
                           "0\t35  /  35  /  0\t10  /  0  /  10");
        else
            rows.push_back(
                std::to_string(100000 + i) +
                "\t20 / 19,5\t01.06.2025\t\t\t\t03.06.2025\t19,5\tАЗС-1\tООО Компания\t*" +
                std::to_string(i % 2));
    }
    Report_Viewer viewer(kind, state, ui);
    viewer.Show_Report("c", "t", kind == Viewer_Kind::Reports_F ? 5 : 10, {}, 14000);
    int page = 1;
    for (auto _ : bs) {
        page = page % viewer.Pages() + 1;
        viewer.Set_Page(page);
        benchmark::DoNotOptimize(viewer.MSFlexGrid1.Text(1, 0));
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        if (word == "--home" && i + 1 < argc)
            home = argv[++i];
    }
    if (home.empty()) {
        std::fputs("usage: bench_reports --home DIR [--benchmark_... flags]\n", stderr);
        return 2;
    }
    std::string error;
    if (!Open_Installation(State(), ui, home, error)) {
        std::fprintf(stderr, "bench_reports: %s\n", error.c_str());
        return 1;
    }
    auto ms = [](benchmark::internal::Benchmark* b) {
        b->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
    };
    ms(benchmark::RegisterBenchmark("proection_pass", Proection));
    ms(benchmark::RegisterBenchmark("report_full", Balance, "mnu_full_report", false));
    ms(benchmark::RegisterBenchmark("report_full_period", Balance, "mnu_full_report_range", true));
    ms(benchmark::RegisterBenchmark("report_sales_period", Balance, "mnu_reports_Shop_Range",
                                    true));
    ms(benchmark::RegisterBenchmark("report_left", Balance, "mnu_ticket_diff", false));
    ms(benchmark::RegisterBenchmark("stats_buyer_period", Statistics, false));
    ms(benchmark::RegisterBenchmark("stats_station_period", Statistics, true));
    benchmark::RegisterBenchmark("page_turn_100k_balance", Page_Turn, Viewer_Kind::Reports_F)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("page_turn_100k_statistics", Page_Turn, Viewer_Kind::Reports)
        ->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    Forget_Derived_State(State());
    benchmark::Shutdown();
    return 0;
}
