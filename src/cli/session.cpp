#include "cli/session.h"

#include "storage/defrag_hook.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace td::cli {

extern const char* Usage;

namespace {

// Test hook, read by tdctl alone, for the tests of two processes at once:
// TDCTL_TEST_HOLD_DEFRAG=W,R holds a defragmentation in the middle of its copy. After the first
// ticket is written to the work file, "held" goes to file descriptor W, which is closed; the run
// goes on once descriptor R yields a byte or its end. The copy then goes one ticket a block, so
// that the hold falls mid-copy whatever the size of the database.
int Hold_Signal_Fd = -1;
int Hold_Release_Fd = -1;

void Hold_Defragmentation() {
    if (Hold_Signal_Fd < 0)
        return;
    static const char held[] = "held\n";
    ssize_t written;
    do {
        written = ::write(Hold_Signal_Fd, held, sizeof held - 1);
    } while (written < 0 && errno == EINTR);
    ::close(Hold_Signal_Fd);
    Hold_Signal_Fd = -1;
    char byte = 0;
    ssize_t got;
    do {
        got = ::read(Hold_Release_Fd, &byte, 1);
    } while (got < 0 && errno == EINTR);
    ::close(Hold_Release_Fd);
    Hold_Release_Fd = -1;
}

void Install_Test_Hooks() {
    const char* hold = std::getenv("TDCTL_TEST_HOLD_DEFRAG");
    if (hold == nullptr || std::sscanf(hold, "%d,%d", &Hold_Signal_Fd, &Hold_Release_Fd) != 2 ||
        Hold_Signal_Fd < 0 || Hold_Release_Fd < 0) {
        Hold_Signal_Fd = Hold_Release_Fd = -1;
        return;
    }
    defrag_hook::After_Step = Hold_Defragmentation;
    defrag_hook::Block_Tickets = 1;
}

// The verb of this run, for the messages of the session.
std::string Current_Verb;
} // namespace

void Fail(const std::string& verb, const std::string& reason, int code) {
    std::fprintf(stderr, "tdctl %s: %s\n", verb.c_str(), reason.c_str());
    std::exit(code);
}

Arguments Parse_Arguments(int argc, char** argv) {
    Arguments args;
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        if (word == "--home") {
            if (i + 1 >= argc)
                Fail("", "--home needs a folder", 2);
            args.home = argv[++i];
        } else if (word.rfind("--home=", 0) == 0) {
            args.home = word.substr(7);
        } else if (word == "--demo") {
            args.demo = true;
        } else if (word == "-h" || word == "--help") {
            std::fputs(Usage, stdout);
            std::exit(0);
        } else if (args.verb.empty()) {
            args.verb = word;
        } else {
            args.rest.push_back(word);
        }
    }
    Current_Verb = args.verb;
    if (args.home.empty()) {
        const char* env = std::getenv("TALLY_DEPOT_HOME");
        args.home = (env != nullptr && *env != '\0') ? env : ".";
    }
    // A relative home needs the current folder, which may have been deleted under us.
    std::error_code ec;
    fs::path absolute = fs::absolute(args.home, ec);
    if (ec || absolute.empty())
        Fail(args.verb, "cannot find the program's folder " + args.home + ": " + ec.message() +
                            " (give --home DIR)");
    args.home = absolute.lexically_normal().string();
    while (args.home.size() > 1 && args.home.back() == '/')
        args.home.pop_back();
    return args;
}

Session::Session(const std::string& home)
    : guard_(home), ports_{ui_, clock_, user_settings_, guard_} {
    // Without this the lock file would outlive every run, and each start would first have to
    // prove it stale.
    ui_.Set_Before_End([this] { guard_.Release(); });
    Install_Test_Hooks();
    Main_Startup(state_, ports_, home);
    ui_.Search_Progress_Hide();
}

bool Take_Flag(std::vector<std::string>& rest, const std::string& flag) {
    auto at = std::find(rest.begin(), rest.end(), flag);
    if (at == rest.end())
        return false;
    rest.erase(at);
    return true;
}

void Confirm(const std::string& verb, bool yes, const std::string& question,
             const std::string& action) {
    if (yes)
        return;
    if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1)
        Fail(verb, "not on a terminal: add --yes to " + action + "; nothing was changed", 2);
    std::fprintf(stderr, "%s [y/N] ", question.c_str());
    std::string answer;
    for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar())
        answer += static_cast<char>(c);
    if (answer != "y" && answer != "Y" && answer != "yes")
        Fail(verb, "nothing was changed");
}

void Session::Shutdown(const std::string& failure, int exit_code) {
    Shutdown_Steps(state_, user_settings_);
    std::vector<std::string> failures;
    if (!failure.empty())
        failures.push_back(failure);
    if (state_.Derived_Failure.Failed())
        failures.push_back("totals or index not built whole (" + state_.Derived_Failure.Text() +
                           "); the work marker stays and the next start rebuilds them");
    if (!user_settings_.Save_Failure().empty())
        failures.push_back("the working date was not saved: " + user_settings_.Save_Failure());
    for (const std::string& text : failures)
        std::fprintf(stderr, "tdctl %s: %s\n", Current_Verb.c_str(), text.c_str());
    End_Process_Now(ui_, failures.empty() ? exit_code : 1);
}

} // namespace td::cli
