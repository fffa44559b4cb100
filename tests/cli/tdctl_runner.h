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
// none at all (as under cron or ssh).
inline Run_Result Run_Tdctl(const std::string& arguments, const Temp_Folder& config,
                            Runtime_Folder runtime = Runtime_Folder::Config) {
    Temp_Folder capture;
    std::string runtime_setting = runtime == Runtime_Folder::Config
                                      ? "XDG_RUNTIME_DIR='" + config.Path() + "' "
                                      : std::string("-u XDG_RUNTIME_DIR ");
    std::string command = "env " + runtime_setting + "XDG_CONFIG_HOME='" + config.Path() + "' " +
                          TDCTL_PATH + " " + arguments + " >'" + capture.File("out") + "' 2>'" +
                          capture.File("err") + "'";
    int status = std::system(command.c_str());
    Run_Result result;
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = capture.Read("out");
    result.err = capture.Read("err");
    return result;
}

} // namespace td::test
