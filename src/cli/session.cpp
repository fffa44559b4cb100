#include "cli/session.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace fs = std::filesystem;

namespace td::cli {

extern const char* Usage;

namespace {
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
    Main_Startup(state_, ports_, home);
    ui_.Search_Progress_Hide();
}

void Session::Shutdown(const std::string& failure) {
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
    End_Process_Now(ui_, failures.empty() ? 0 : 1);
}

} // namespace td::cli
