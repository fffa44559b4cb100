// The sale's check and commit on generated installations, against their yardsticks: one plain read
// of the database (the check is a plain scan) and one "proection" pass (the pass a range commit
// ends with). The single-ticket commit is timed on the append path, after a defragmentation has
// taken every free slot away; the peak memory of a commit is compared with the start-up's, each in
// a process of its own.
//
//     bench_sale [SIZES] [CACHE]
//
// SIZES: ticket counts separated by commas (default 150000,1000000,10000000); CACHE: where the
// generated installations live (default /var/tmp/td-bench, shared with bench/run.sh). Work copies
// go to CACHE/N-sale.
#include "bench_support.h"
#include "browsers/browser_refresh.h"
#include "browsers/sell_ticets.h"
#include "installation_generator.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "shell/database_commands.h"
#include "storage/header.h"
#include "storage/records.h"
#include "tickets/register_ticket.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace td;
using namespace td::bench;

namespace {

[[noreturn]] void Die(const std::string& why) {
    std::fprintf(stderr, "bench_sale: %s\n", why.c_str());
    std::exit(1);
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t k = values.size();
    return k % 2 == 1 ? values[k / 2] : (values[k / 2 - 1] + values[k / 2]) / 2;
}

// A fresh work installation with the master's database, and the state as start-up leaves it.
struct Work {
    Program_State& state = td::State();
    Silent_Ui ui;
    Wall_Clock clock;
    Map_Settings settings;
    Open_Browsers browsers;
    std::unique_ptr<Sell_Ticets> buyer;
    std::unique_ptr<Register_ticket> screen;

    void Open(const std::string& master, const std::string& home) {
        std::string error;
        if (!Prepare_Work_Installation(master, home, error) ||
            !Copy_File(Database_Of(master), Database_Of(home), true, error))
            Die(error);
        Reset_State();
        if (!Open_Installation(state, ui, home, error))
            Die(error);
        Rebuild_Index(state, ui, clock, Progress_Target::Splash);
    }

    // The screen on the first buyer of the buyer browser's first group, as an operator opens it.
    void Open_Screen() {
        // The grid of a group is all the sale reads of the browser; the tree it builds at
        // opening is not needed for that.
        buyer = std::make_unique<Sell_Ticets>(state, ui, clock, settings, nullptr);
        browsers.Set_Buyer(buyer.get());
        buyer->TreeView1_NodeClick(Sell_Ticets::Root_Key);
        const std::string group = buyer->MSFlexGrid1.Text(2, 1).substr(2);
        state.Current_Node_Key = std::string(Sell_Ticets::Root_Key) + group + "\\";
        buyer->TreeView1_NodeClick(state.Current_Node_Key);
        buyer->MSFlexGrid1.Set_Row(2);
        buyer->MSFlexGrid1.Set_Col(3);
        screen = std::make_unique<Register_ticket>(state, ui, clock, settings, browsers);
        screen->Form_Load();
        screen->Combo3_Click(screen->Combo3.Find("020"));
    }

    void Range(long first, long count) {
        screen->Option_Click(7);
        screen->Focus_To(Sale_Focus::Text4);
        screen->Text_Change(4, std::to_string(first));
        screen->Focus_To(Sale_Focus::Text5);
        screen->Text_Change(5, std::to_string(count));
        screen->Focus_To(Sale_Focus::Command1);
    }
    void One(long number) {
        screen->Option_Click(5);
        screen->Text_Change(1, std::to_string(number));
        screen->Focus_To(Sale_Focus::Command1);
    }
};

// Peak resident memory of a child that starts the installation and then does `after`.
long Child_Peak_Kb(const std::string& master, const std::string& home,
                   const std::function<void(Work&)>& after) {
    int pipe_fds[2];
    if (::pipe(pipe_fds) != 0)
        Die("no pipe");
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(pipe_fds[0]);
        Work work;
        work.Open(master, home);
        after(work);
        const long peak = Peak_Rss_Kb();
        if (::write(pipe_fds[1], &peak, sizeof peak) != sizeof peak)
            std::_Exit(1);
        std::_Exit(0);
    }
    ::close(pipe_fds[1]);
    long peak = 0;
    if (::read(pipe_fds[0], &peak, sizeof peak) != sizeof peak)
        peak = -1;
    ::close(pipe_fds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return peak;
}

// A number range of `count` numbers that the check accepts for the screen's fuel and volume.
long Free_Range(Work& work, long count) {
    for (long first = 990000 - count; first > 0; first -= 10 * count) {
        work.Range(first, count);
        Check_Sale(*work.screen);
        if (work.screen->Last_Outcome() == Sale_Outcome::Accepted)
            return first;
    }
    Die("no free range of numbers");
}

} // namespace

int main(int argc, char** argv) {
    std::vector<long> sizes{150000, 1000000, 10000000};
    if (argc > 1) {
        sizes.clear();
        for (std::string list = argv[1]; !list.empty();) {
            const std::size_t comma = list.find(',');
            sizes.push_back(std::stol(list.substr(0, comma)));
            list = comma == std::string::npos ? "" : list.substr(comma + 1);
        }
    }
    const std::string cache = argc > 2 ? argv[2] : "/var/tmp/td-bench";

    std::printf("%-10s %10s %10s %12s %7s %13s %7s %12s %10s %10s\n", "tickets", "read ms",
                "pass ms", "check1000", "x read", "commit1000", "x pass", "one append",
                "peak start", "peak sale");
    for (const long n : sizes) {
        const std::string master = cache + "/" + std::to_string(n);
        const std::string home = cache + "/" + std::to_string(n) + "-sale";
        bool generated = false;
        std::string error;
        if (!Ensure_Installation(master, n, generated, error))
            Die(error);
        const int runs = n <= 2000000 ? 5 : 3;

        // The yardsticks.
        std::vector<double> reads, passes;
        Read_Whole_File(Database_Of(master));
        for (int i = 0; i < runs; ++i) {
            const double t0 = Now();
            Read_Whole_File(Database_Of(master));
            reads.push_back(Now() - t0);
        }
        Work work;
        work.Open(master, home);
        for (int i = 0; i < runs; ++i) {
            Forget_Derived_State(work.state);
            const double t0 = Now();
            Rebuild_Index(work.state, work.ui, work.clock, Progress_Target::Splash);
            passes.push_back(Now() - t0);
        }

        // The check of a range of a thousand, then its commit, each commit on a fresh copy.
        work.Open_Screen();
        const long first = Free_Range(work, 1000);
        std::vector<double> checks, commits;
        for (int i = 0; i < runs; ++i) {
            work.Range(first, 1000);
            const double t0 = Now();
            Check_Sale(*work.screen);
            checks.push_back(Now() - t0);
        }
        for (int i = 0; i < runs; ++i) {
            Work fresh;
            fresh.Open(master, home);
            fresh.Open_Screen();
            fresh.Range(first, 1000);
            Check_Sale(*fresh.screen);
            const double t0 = Now();
            Commit_Sale(*fresh.screen);
            commits.push_back(Now() - t0);
            if (fresh.screen->Last_Outcome() != Sale_Outcome::Registered)
                Die("the range was not registered");
        }

        // One ticket on the append path: no deleted slot left after a defragmentation.
        Work single;
        single.Open(master, home);
        SE_Defragmentation(single.state, single.ui, single.clock,
                           single.state.settings.Database_File, Defrag_Uncounted::Refuse);
        Header_Info header;
        Read_Header(single.state.Path_Of(single.state.settings.Database_File), header);
        single.state.Ticket_Count = static_cast<long>(header.count);
        Rebuild_Index(single.state, single.ui, single.clock, Progress_Target::Splash);
        single.Open_Screen();
        const long number = Free_Range(single, runs + 1);
        std::vector<double> ones;
        for (int i = 0; i < runs; ++i) {
            single.One(number + i);
            single.state.Sale_Checked = true; // the check was made: only the commit is timed
            const double t0 = Now();
            Commit_Sale(*single.screen);
            ones.push_back(Now() - t0);
            if (single.state.Ticket_Count != static_cast<long>(header.count) + i + 1)
                Die("the single sale did not append");
        }

        // Peak memory: a start alone, and a start followed by the range commit.
        const long peak_start = Child_Peak_Kb(master, home, [](Work&) {});
        const long peak_sale = Child_Peak_Kb(master, home, [first](Work& w) {
            w.Open_Screen();
            w.Range(first, 1000);
            Check_Sale(*w.screen);
            Commit_Sale(*w.screen);
        });

        const double read_ms = Median(reads) * 1e3, pass_ms = Median(passes) * 1e3;
        const double check_ms = Median(checks) * 1e3, commit_ms = Median(commits) * 1e3;
        std::printf("%-10ld %10.1f %10.1f %12.1f %7.2f %13.1f %7.2f %12.2f %10ld %10ld\n", n,
                    read_ms, pass_ms, check_ms, check_ms / read_ms, commit_ms, commit_ms / pass_ms,
                    Median(ones) * 1e3, peak_start, peak_sale);
        std::fflush(stdout);
        fs::remove_all(home);
    }
    return 0;
}
