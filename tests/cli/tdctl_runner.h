// Runs tdctl as a user would, with its own settings store, so the user's own is never touched.
#pragma once

#include "support/temp_folder.h"

#include <cstdlib>
#include <string>
#include <sys/wait.h>

namespace td::test {

struct Run_Result {
    int exit_code = -1;
    std::string out;
    std::string err;
};

enum class Runtime_Folder { Config, None };

// The settings store of the run is `config`, and so is its runtime folder, unless the run has
// none at all (as under cron or ssh). `shell_prefix` is shell text put in front of the command (a
// limit, a tracer, a change of folder); `cwd`, when given, is the folder the run starts in. A run
// that blocks ends in the time limit (exit 124) rather than hang the suite.
inline Run_Result Run_Tdctl(const std::string& arguments, const Temp_Folder& config,
                            Runtime_Folder runtime = Runtime_Folder::Config,
                            const std::string& shell_prefix = "", const std::string& cwd = "") {
    Temp_Folder capture;
    const std::string runtime_setting = runtime == Runtime_Folder::Config
                                            ? "XDG_RUNTIME_DIR='" + config.Path() + "' "
                                            : std::string("-u XDG_RUNTIME_DIR ");
    // The leak checker of a sanitized build can't work under a tracer: it is left out there.
    const std::string untraced_leaks =
        shell_prefix.empty()
            ? ""
            : "export ASAN_OPTIONS=\"${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0\"; ";
    const std::string command = (cwd.empty() ? "" : "cd '" + cwd + "' 2>/dev/null; ") +
                                untraced_leaks + shell_prefix + " env " + runtime_setting +
                                "XDG_CONFIG_HOME='" + config.Path() + "' timeout 60 " + TDCTL_PATH +
                                " " + arguments + " >'" + capture.File("out") + "' 2>'" +
                                capture.File("err") + "'";
    const int status = std::system(command.c_str());
    Run_Result result;
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = capture.Read("out");
    result.err = capture.Read("err");
    return result;
}

} // namespace td::test
