// td_generate: writes a benchmark installation of N tickets.
//
//     td_generate --home DIR --tickets N [--if-missing] [--seed S]
#include "base/dates.h"
#include "bench_support.h"
#include "installation_generator.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

[[noreturn]] void Usage(const char* why) {
    if (why != nullptr)
        std::fprintf(stderr, "td_generate: %s\n", why);
    std::fputs("usage: td_generate --home DIR --tickets N [--if-missing] [--seed S]\n", stderr);
    std::exit(2);
}

} // namespace

int main(int argc, char** argv) {
    std::string home;
    long tickets = -1;
    bool if_missing = false;
    td::bench::Generator_Options options;
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc)
                Usage((word + " needs a value").c_str());
            return argv[++i];
        };
        if (word == "--home")
            home = value();
        else if (word == "--tickets")
            tickets = std::strtol(value().c_str(), nullptr, 10);
        else if (word == "--seed")
            options.seed = std::strtoull(value().c_str(), nullptr, 0);
        else if (word == "--if-missing")
            if_missing = true;
        else if (word == "-h" || word == "--help")
            Usage(nullptr);
        else
            Usage(("unknown argument " + word).c_str());
    }
    if (home.empty() || tickets < 0 || tickets > 99999999)
        Usage("--home and --tickets (0 to 99999999) are needed");
    home = std::filesystem::absolute(home).lexically_normal().string();
    while (home.size() > 1 && home.back() == '/')
        home.pop_back();

    if (if_missing && td::bench::Installation_Is_Current(home, tickets)) {
        std::printf("%s: %ld tickets, up to date\n", home.c_str(), tickets);
        return 0;
    }
    options.tickets = tickets;
    td::bench::Installation_Summary summary;
    std::string error;
    double started = td::bench::Now();
    if (!td::bench::Generate_Installation(home, options, summary, error)) {
        std::fprintf(stderr, "td_generate: %s\n", error.c_str());
        return 1;
    }
    double seconds = td::bench::Now() - started;
    std::printf("%s: %ld tickets in %ld batches, %.1f %% redeemed, %.2f %% deleted, "
                "(fuel, volume) changes at %.1f %% of the tickets, %ld companies (%ld bought), "
                "working date %s, database %.1f MB, written in %.1f s\n",
                home.c_str(), summary.tickets, summary.batches,
                summary.tickets ? 100.0 * summary.redeemed / summary.tickets : 0.0,
                summary.tickets ? 100.0 * summary.deleted / summary.tickets : 0.0,
                summary.tickets ? 100.0 * summary.pair_changes / summary.tickets : 0.0,
                summary.companies, summary.buyers_with_tickets,
                td::Format_Date(summary.working_date).c_str(),
                static_cast<double>(summary.database_bytes) / 1e6, seconds);
    return 0;
}
