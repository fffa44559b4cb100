#include "qt/test_hooks.h"

#include "base/ports.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace td::hooks {
namespace {

std::string Env(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

Settings Read() {
    Settings s;
    std::string answers = Env("TALLY_DEPOT_AUTO_ANSWER");
    if (!answers.empty()) {
        s.auto_answer = true;
        std::stringstream list(answers);
        std::string word;
        while (std::getline(list, word, ','))
            s.answers.push_back(word == "no" ? box::Answer_No : box::Answer_Yes);
    }
    s.screenshot = Env("TALLY_DEPOT_SCREENSHOT");
    s.open = Env("TALLY_DEPOT_OPEN");
    s.tour = Env("TALLY_DEPOT_TOUR");
    std::string close = Env("TALLY_DEPOT_AUTO_CLOSE");
    if (!close.empty())
        s.auto_close_ms = std::atoi(close.c_str());
    return s;
}

} // namespace

const Settings& Get() {
    static const Settings settings = Read();
    return settings;
}

void Log(const std::string& text) {
    std::fprintf(stderr, "tallydepot: %s\n", text.c_str());
    std::fflush(stderr);
}

} // namespace td::hooks
