// td_pass_probe: runs one pass in this fresh process and reports its time and the process's peak
// resident memory, so that the memory of a pass can be set against the size of the database.
//
//     td_pass_probe --home DIR --pass floor|new|proection|request|range|defrag [--work DIR]
//
// With --work, the installation is first copied there (reference files, td.ini, the database,
// forced to disk) and the pass runs on the copy: defragmentation replaces the database it runs on.
// Output, one line: pass=P tickets=N db_bytes=B ms=T peak_rss_kb=K before_kb=K0
#include "bench_support.h"
#include "installation_generator.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "shell/database_commands.h"
#include "storage/defragmentation.h"
#include "storage/number_index.h"
#include "storage/record_file.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

using namespace td::bench;

namespace {

[[noreturn]] void Fail(const std::string& why, int code = 1) {
    std::fprintf(stderr, "td_pass_probe: %s\n", why.c_str());
    std::exit(code);
}

} // namespace

int main(int argc, char** argv) {
    std::string home, pass, work;
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        if (i + 1 >= argc)
            Fail("usage: td_pass_probe --home DIR --pass NAME [--work DIR]", 2);
        if (word == "--home")
            home = argv[++i];
        else if (word == "--pass")
            pass = argv[++i];
        else if (word == "--work")
            work = argv[++i];
        else
            Fail("unknown argument " + word, 2);
    }
    if (home.empty() || pass.empty())
        Fail("usage: td_pass_probe --home DIR --pass NAME [--work DIR]", 2);
    home = std::filesystem::absolute(home).lexically_normal().string();
    std::string error;
    if (!work.empty()) {
        work = std::filesystem::absolute(work).lexically_normal().string();
        if (!Prepare_Work_Installation(home, work, error) ||
            !Copy_File(Database_Of(home), Database_Of(work), true, error))
            Fail(error);
        home = work;
    }

    td::Program_State& state = td::State();
    Silent_Ui ui;
    Wall_Clock clock;
    if (!Open_Installation(state, ui, home, error))
        Fail(error);
    const std::string database = state.Path_Of(state.settings.Database_File);
    td::Remove_File(state.Path_Of(td::Defrag_Work_File));
    std::uint64_t db_bytes = Read_Whole_File(database); // warm page cache

    long before = Peak_Rss_Kb();
    double t0 = Now();
    if (pass == "floor") {
        Read_Whole_File(database);
    } else if (pass == "new" || pass == "proection") {
        td::CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, pass, 0, "", database,
                            pass == "new" ? "null" : "splash");
    } else if (pass == "request") {
        td::CreateCacheFileForRequest(state, ui, clock, state.settings.Cache_Diff_File,
                                      state.Current_Date, database, "pr");
    } else if (pass == "range") {
        td::CreateCacheFileForRange(state, ui, clock, state.settings.Cache_Used_File,
                                    state.Current_Date, state.Current_Date, database, "ps");
    } else if (pass == "defrag") {
        td::SE_Defragmentation(state, ui, clock, state.settings.Database_File,
                               td::Defrag_Uncounted::Refuse);
    } else {
        Fail("unknown pass " + pass, 2);
    }
    double ms = (Now() - t0) * 1e3;
    long peak = Peak_Rss_Kb();
    std::printf("pass=%s tickets=%ld db_bytes=%llu ms=%.1f peak_rss_kb=%ld before_kb=%ld\n",
                pass.c_str(), static_cast<long>(state.Ticket_Table.size()) - 1,
                static_cast<unsigned long long>(db_bytes), ms, peak, before);
    td::Remove_Number_Index_Files(state.Data_Folder);
    return 0;
}
