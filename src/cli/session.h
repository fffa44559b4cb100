// What the verbs of tdctl share: the arguments, failing with a reason, and a session that starts
// the installation as the desktop program does and shuts it down cleanly.
#pragma once

#include "cli/cli_ui.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "qt/qt_instance_guard.h"
#include "qt/qt_user_settings.h"
#include "qt/system_clock.h"

#include <string>
#include <vector>

namespace td::cli {

struct Arguments {
    std::string verb;
    std::string home;
    bool demo = false;
    std::vector<std::string> rest;
};

Arguments Parse_Arguments(int argc, char** argv);

// Prints "tdctl VERB: reason" on standard error and ends with `code`.
[[noreturn]] void Fail(const std::string& verb, const std::string& reason, int code = 1);

// Takes `flag` out of `rest`; true if it was there.
bool Take_Flag(std::vector<std::string>& rest, const std::string& flag);

// A change that can't be taken back goes ahead with --yes, or when the person at the terminal
// says yes to `question`; with neither nothing is changed (exit 2 off a terminal, 1 on a no).
// `action` names the change in the refusal ("add --yes to ACTION").
void Confirm(const std::string& verb, bool yes, const std::string& question,
             const std::string& action = "go ahead");

class Session {
public:
    explicit Session(const std::string& home);
    Program_State& State() { return state_; }
    Cli_Ui& Ui() { return ui_; }
    td::Clock& Clock() { return clock_; }
    Qt_User_Settings& User_Settings() { return user_settings_; }
    // Shuts down as the program does and ends the process: with 0 when all went well, or with 1
    // after saying on standard error what did not: `failure` when given, a pass that left derived
    // data not whole (the work marker then stays, so the next start rebuilds), a working date
    // that could not be saved.
    // `exit_code` is the code when nothing failed (a refusal of the verb's own, say).
    [[noreturn]] void Shutdown(const std::string& failure = {}, int exit_code = 0);

private:
    Program_State& state_ = td::State();
    Cli_Ui ui_;
    System_Clock clock_;
    Qt_User_Settings user_settings_;
    Qt_Instance_Guard guard_;
    Startup_Ports ports_;
};

} // namespace td::cli
