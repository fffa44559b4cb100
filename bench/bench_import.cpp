// The import of buyers at its largest: a 1C table of 16 384 companies against a company file of
// 16 384. The goal is below 1 s for the update and for the comparison.
//
//     bench_import [--benchmark_... flags]
//
// The table is written through shapelib (code page 866, names of 60 Cyrillic letters and digits)
// into a temporary folder, with the company file beside it. Each figure is the whole press of the
// screen's button: the table read and converted, the rows mapped, the scan, the write (update),
// the company table loaded again. The ports are silent.
#include "base/ports.h"
#include "bench_support.h"
#include "import/dbf_table.h"
#include "import/import_1c.h"
#include "kernel/state.h"
#include "storage/records.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iconv.h>
#include <map>
#include <shapefil.h>
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

std::string To_866(const std::string& utf8) {
    iconv_t converter = iconv_open("CP866", "UTF-8");
    std::string out(utf8.size(), '\0');
    char* in = const_cast<char*>(utf8.data());
    std::size_t in_left = utf8.size();
    char* at = out.data();
    std::size_t out_left = out.size();
    iconv(converter, &in, &in_left, &at, &out_left);
    iconv_close(converter);
    out.resize(out.size() - out_left);
    return out;
}

std::string Name(int i, const char* kind) {
    std::string name = std::string(kind) + " \"Предприятие номер " + std::to_string(i) + "\"";
    while (name.size() < 110)
        name += " Ж";
    return name;
}

struct Installation {
    std::string folder;
    std::string table_path;
    std::vector<std::uint8_t> companies; // the company file before each run
    td::Program_State state;

    Installation() {
        folder =
            (fs::temp_directory_path() / ("td-bench-import-" + std::to_string(getpid()))).string();
        fs::create_directories(folder);
        state.Data_Folder = folder;
        table_path = folder + "/SC1C.dbf";

        DBFHandle table = DBFCreateEx(table_path.c_str(), "LDID/101");
        DBFAddField(table, "CODE", FTString, 5, 0);
        DBFAddField(table, "KIND", FTString, 5, 0);
        DBFAddField(table, "GRP", FTString, 10, 0);
        DBFAddField(table, "NAME", FTString, 255, 0);
        companies.resize(static_cast<std::size_t>(Companies) * td::Company_Record_Size);
        for (int i = 0; i < Companies; ++i) {
            const std::string code = std::to_string(10000 + i);
            const std::string group = "000" + std::to_string(10 + i % 90) + "00001";
            // Every eighth company is renamed in 1C.
            const char* kind = i % 8 == 0 ? "ЗАО" : "ООО";
            DBFWriteStringAttribute(table, i, 0, code.c_str());
            DBFWriteStringAttribute(table, i, 1, "1");
            DBFWriteStringAttribute(table, i, 2, group.c_str());
            DBFWriteStringAttribute(table, i, 3, To_866(Name(i, kind)).c_str());
            td::Company_Record record;
            record.Exists = 1;
            record.Code = code;
            record.Kind_Code = "1";
            record.Group_Code = group.substr(0, 5);
            record.Subgroup_Code = group.substr(5);
            record.Name = Name(i, "ООО");
            td::Encode(record,
                       companies.data() + static_cast<std::size_t>(i) * td::Company_Record_Size);
        }
        DBFClose(table);
        Restore();
    }
    ~Installation() { fs::remove_all(folder); }

    void Restore() const {
        std::ofstream out(folder + "/Company_Db.dat", std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(companies.data()),
                  static_cast<std::streamsize>(companies.size()));
    }
};

Installation& Shared() {
    static Installation installation;
    return installation;
}

void Run(benchmark::State& bench, int option) {
    Installation& inst = Shared();
    Silent_Ui ui;
    Still_Clock clock;
    Map_Settings settings;
    td::Dbf_Table table;
    for (auto _ : bench) {
        bench.PauseTiming();
        inst.Restore();
        td::Import_1C screen(inst.state, ui, clock, settings, table);
        screen.Form_Load();
        screen.Text1_Change(inst.table_path);
        screen.Option_Click(option);
        bench.ResumeTiming();
        if (option == 3)
            screen.Command_Compare_Click();
        else
            screen.Command_Import_Click();
        benchmark::DoNotOptimize(screen.Text3.size());
        bench.PauseTiming();
        // 2 048 names differ: the update renames them, the comparison reports them.
        const long expected = Companies / 8;
        if ((option == 1 &&
             (screen.Updated().renamed != expected || screen.Updated().added != 0)) ||
            (option == 3 && screen.Text3.size() < static_cast<std::size_t>(expected) * 500)) {
            bench.SkipWithError("the operation did not find the 2 048 renamed companies");
            break;
        }
        bench.ResumeTiming();
    }
}

void BM_Update_16384(benchmark::State& bench) {
    Run(bench, 1);
}
void BM_Compare_16384(benchmark::State& bench) {
    Run(bench, 3);
}
// The table alone: reading and converting 16 384 rows.
void BM_Read_Table_16384(benchmark::State& bench) {
    Installation& inst = Shared();
    td::Dbf_Table table;
    for (auto _ : bench)
        benchmark::DoNotOptimize(table.Load(inst.table_path));
}

BENCHMARK(BM_Update_16384)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Compare_16384)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Read_Table_16384)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
