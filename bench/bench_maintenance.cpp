// Maintenance timed on generated installations against its floors:
//   backup and restore (the copy through a work file, flushed and renamed) against `cp` of the
//   same file, and `cp` followed by `sync` of the copy;
//   the deletion of all redeemed tickets against one read of the database plus one write of the
//   bytes of the records it marks;
//   the audit against one "proection" pass.
//
//     bench_maintenance [--td_sizes=1000000,10000000] [--td_cache=/var/tmp/td-bench]
//
// Each figure is the median of a few runs, wall-clock milliseconds, printed as one table.
#include "bench_support.h"
#include "installation_generator.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "maintenance/audit.h"
#include "maintenance/deletion_pass.h"
#include "maintenance/safe_copy.h"
#include "storage/number_index.h"
#include "storage/record_file.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace td::bench;

namespace {

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

template <typename F> double Time_Ms(int runs, F&& body, const std::function<void()>& before = {}) {
    std::vector<double> times;
    for (int r = 0; r < runs; ++r) {
        if (before)
            before();
        const double start = Now();
        body();
        times.push_back((Now() - start) * 1000.0);
    }
    return Median(times);
}

void Shell(const std::string& command) {
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "bench_maintenance: failed: %s\n", command.c_str());
        std::exit(1);
    }
}

std::string Quote(const std::string& path) {
    return "'" + path + "'";
}

} // namespace

int main(int argc, char** argv) {
    std::vector<long> sizes{1000000, 10000000};
    std::string cache = "/var/tmp/td-bench";
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg.rfind("--td_sizes=", 0) == 0) {
            sizes.clear();
            std::string list = arg.substr(11);
            for (std::size_t at = 0; at < list.size();) {
                std::size_t comma = list.find(',', at);
                sizes.push_back(std::stol(list.substr(at, comma - at)));
                at = comma == std::string::npos ? list.size() : comma + 1;
            }
        } else if (arg.rfind("--td_cache=", 0) == 0) {
            cache = arg.substr(11);
        }
    }
    std::printf("%-10s %-34s %10s %10s\n", "tickets", "figure", "ms", "x floor");
    for (long n : sizes) {
        const std::string home = cache + "/" + std::to_string(n);
        bool generated = false;
        std::string error;
        if (!Ensure_Installation(home, n, generated, error)) {
            std::fprintf(stderr, "bench_maintenance: %s\n", error.c_str());
            return 1;
        }
        const std::string database = Database_Of(home);
        const std::string work = cache + "/" + std::to_string(n) + "-maint";
        fs::create_directories(work);
        const int runs = n > 2000000 ? 3 : 5;
        auto row = [n](const char* name, double ms, double floor) {
            std::printf("%-10ld %-34s %10.0f %10.2f\n", n, name, ms, floor > 0 ? ms / floor : 0.0);
            std::fflush(stdout);
        };

        // Backup and restore against cp. The target is removed first each time, as cp's own
        // target would be replaced.
        const std::string target = work + "/TD.cbk";
        // Each copy starts with nothing dirty in the page cache: a flush then writes its own file
        // alone, and no run pays for the write-back of the one before.
        auto clear_target = [&] {
            fs::remove(target);
            Shell("sync");
        };
        const double cp = Time_Ms(
            runs, [&] { Shell("cp " + Quote(database) + " " + Quote(target)); }, clear_target);
        const double cp_sync = Time_Ms(
            runs,
            [&] {
                Shell("cp " + Quote(database) + " " + Quote(target) + " && sync " + Quote(target));
            },
            clear_target);
        const double backup = Time_Ms(
            runs,
            [&] {
                if (!td::Copy_File_Whole(database, target).Ok())
                    std::exit(1);
            },
            clear_target);
        // Restore: the backup copied over a database in the work folder.
        const std::string restored = work + "/TD.cdb";
        Shell("cp " + Quote(database) + " " + Quote(restored));
        const double restore = Time_Ms(
            runs,
            [&] {
                if (!td::Copy_File_Whole(target, restored).Ok())
                    std::exit(1);
            },
            [] { Shell("sync"); });
        row("cp", cp, cp);
        row("cp && sync", cp_sync, cp);
        row("backup (work file, fsync, rename)", backup, cp);
        row("restore (the same copy back)", restore, cp);

        // Deletion of every redeemed ticket, on a fresh copy each run.
        long marked = 0;
        auto fresh_copy = [&] {
            Shell("cp " + Quote(database) + " " + Quote(restored) + " && sync " + Quote(restored));
        };
        const double deletion = Time_Ms(
            runs,
            [&] {
                td::Deletion_Pass pass;
                pass.select = [](long, const td::Ticket_Record& t) {
                    return t.Deleted == 0 && t.Used == 1;
                };
                marked = td::Run_Deletion_Pass(restored, pass).count;
            },
            fresh_copy);
        // The floor: one read of the database, and the marked records' bytes written once.
        const std::string scratch = work + "/scratch.bin";
        const double floor = Time_Ms(runs, [&] {
            Read_Whole_File(database);
            std::vector<std::uint8_t> bytes(static_cast<std::size_t>(marked) * 72, 1);
            int fd = ::open(scratch.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd < 0 || ::write(fd, bytes.data(), bytes.size()) < 0 || ::fsync(fd) != 0)
                std::exit(1);
            ::close(fd);
        });
        row("read + write of marked (floor)", floor, floor);
        row(("delete redeemed (" + std::to_string(marked) + ")").c_str(), deletion, floor);

        // Audit against one proection pass, both on the installation as generated.
        Silent_Ui ui;
        Wall_Clock clock;
        td::Program_State& state = td::State();
        double proection = Time_Ms(
            runs,
            [&] {
                td::CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, "proection",
                                    0, "", state.settings.Database_File, "null");
            },
            [&] {
                td::Reset_State();
                std::string why;
                if (!Open_Installation(state, ui, home, why))
                    std::exit(1);
                Forget_Derived_State(state);
            });
        td::Audit_Files files{database, state.Path_Of(state.settings.Company_File),
                              state.Path_Of(state.settings.Establishments_File),
                              state.Path_Of(state.settings.Cache_Diff_File),
                              state.Path_Of(state.settings.Cache_Used_File)};
        std::size_t findings = 0;
        const double audit = Time_Ms(runs, [&] {
            findings = td::Audit_Installation(files, Generated_Working_Date()).findings.size();
        });
        Forget_Derived_State(state);
        row("proection pass", proection, proection);
        row(("audit (" + std::to_string(findings) + " findings)").c_str(), audit, proection);
        fs::remove_all(work);
    }
    return 0;
}
