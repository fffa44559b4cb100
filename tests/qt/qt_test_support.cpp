#include "qt_test_support.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace td::test {
namespace {

std::string& Folder() {
    static std::string folder;
    return folder;
}

void Remove_Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(Folder(), ignored);
}

} // namespace

void Isolate_User_Store() {
    char pattern[] = "/tmp/tdqt-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        std::perror("mkdtemp");
        std::exit(2);
    }
    Folder() = pattern;
    std::string config = Folder() + "/config";
    std::string runtime = Folder() + "/runtime";
    std::filesystem::create_directories(config);
    std::filesystem::create_directories(runtime);
    std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
    setenv("XDG_CONFIG_HOME", config.c_str(), 1);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    std::atexit(Remove_Folder);
}

std::string Isolated_Folder() {
    return Folder();
}

void Ending_Ui::End_Process(int exit_code) {
    std::fflush(nullptr);
    std::_Exit(exit_code);
}

int Exit_Code_Of(const std::function<void()>& action) {
    std::fflush(nullptr);
    pid_t child = fork();
    if (child == 0) {
        action();
        std::fflush(nullptr);
        std::_Exit(200);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace td::test
