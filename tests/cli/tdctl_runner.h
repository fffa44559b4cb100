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

// The settings store and the runtime folder of the run are `config`.
inline Run_Result Run_Tdctl(const std::string& arguments, const Temp_Folder& config) {
    Temp_Folder capture;
    std::string command = "XDG_CONFIG_HOME='" + config.Path() + "' XDG_RUNTIME_DIR='" +
                          config.Path() + "' " + TDCTL_PATH + " " + arguments + " >'" +
                          capture.File("out") + "' 2>'" + capture.File("err") + "'";
    int status = std::system(command.c_str());
    Run_Result result;
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = capture.Read("out");
    result.err = capture.Read("err");
    return result;
}

} // namespace td::test
