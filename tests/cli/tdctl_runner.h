// Runs tdctl as a user would, with its own settings store, so the user's own is never touched; and
// the fixture the black-box tests share: a settings store, a program folder, and the byte layouts
// of tickets and totals, written here from the documented layouts rather than by the program.
#pragma once

#include "storage/header.h"
#include "support/temp_folder.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

namespace td::test {

struct Run_Result {
    int exit_code = -1;
    std::string out;
    std::string err;
};

enum class Runtime_Folder { Config, None };

// The settings store of the run is `config`, and so is its runtime folder, unless the run has
// none at all (as under cron or ssh). `shell_prefix` is shell text put in front of the command (a
// limit, a tracer, a change of folder); `cwd`, when given, is the folder the run starts in.
// Standard input is never a terminal. A run that blocks ends in the time limit (exit 124) rather
// than hang the suite.
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
                                " " + arguments + " </dev/null >'" + capture.File("out") + "' 2>'" +
                                capture.File("err") + "'";
    const int status = std::system(command.c_str());
    Run_Result result;
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = capture.Read("out");
    result.err = capture.Read("err");
    return result;
}

inline bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

inline bool Strace_Present() {
    static const bool present = std::system("strace -V >/dev/null 2>&1") == 0;
    return present;
}

// A tracer that makes the `when`-th of `calls` on one of `paths` do `action` ("signal=KILL",
// "error=ENOSPC").
inline std::string Inject(const std::string& calls, const std::string& action, int when,
                          const std::vector<std::string>& paths) {
    std::string prefix = "strace -f -qq -o /dev/null -e trace=" + calls + " -e inject=" + calls +
                         ":" + action + ":when=" + std::to_string(when);
    for (const std::string& path : paths)
        prefix += " -P '" + path + "'";
    return prefix;
}

// ---- The database's bytes ----------------------------------------------------------------------

constexpr std::size_t Header_Page = 350;
constexpr std::size_t Ticket_Size = 72;
constexpr std::size_t First_Ticket = 432; // six records of 72 bytes before the first ticket
constexpr double Working_Date = 45366;    // 15.03.2024, in days since 30.12.1899

template <typename T> T Get(const std::string& bytes, std::size_t at) {
    T value{};
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}
template <typename T> void Put(std::string& bytes, std::size_t at, T value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

// A ticket record, field by field at its documented offsets.
struct Ticket {
    std::string serial;
    int fuel = 1;
    int volume = 20;
    int company = 1;
    double sold = Working_Date;
    int used = 0;
    int deleted = 0;
    int station = 0;
    double real = 0;
    double redeemed = 0;
    double valid_from = 0;
    double expire = 0;
    std::int32_t mask = 0;

    std::string Bytes() const {
        std::string r(Ticket_Size, '\0');
        r[0] = static_cast<char>(used);
        r[1] = static_cast<char>(deleted);
        r[3] = static_cast<char>(fuel);
        Put<std::int32_t>(r, 4, volume);
        Put<double>(r, 8, real);
        r.replace(16, 6, serial);
        Put<std::int32_t>(r, 22, company);
        Put<std::int32_t>(r, 26, 1); // sold
        Put<std::int32_t>(r, 30, station);
        r[34] = expire != 0 ? 1 : 0;
        r[35] = mask != 0 ? 1 : 0;
        Put<double>(r, 36, sold);
        Put<double>(r, 44, redeemed);
        Put<double>(r, 52, valid_from);
        Put<double>(r, 60, expire);
        Put<std::int32_t>(r, 68, mask);
        return r;
    }
};

// Record `position` (from 1) of the tickets; empty when the file ends before it.
inline std::string Ticket_At(const std::string& database, std::size_t position) {
    const std::size_t at = First_Ticket + (position - 1) * Ticket_Size;
    return at + Ticket_Size <= database.size() ? database.substr(at, Ticket_Size) : std::string();
}

// The count of line 6 of the header page: "Amount registered entrys: 00000020".
inline long Header_Count(const std::string& database) {
    const std::string label = "Amount registered entrys: ";
    const std::size_t at = database.find(label);
    return at < Header_Page ? std::stol(database.substr(at + label.size(), 9)) : -1;
}

// What defragmentation keeps of the records: the ones not deleted (byte 1), in their order.
inline std::string Live_Records(const std::string& database, std::size_t limit = SIZE_MAX) {
    std::string live;
    for (std::size_t at = First_Ticket, seen = 0;
         at + Ticket_Size <= database.size() && seen < limit; at += Ticket_Size, ++seen)
        if (database[at + 1] == 0)
            live += database.substr(at, Ticket_Size);
    return live;
}

// ---- Totals ------------------------------------------------------------------------------------

using Totals = std::map<std::pair<int, int>, double>; // (record, grade) -> litres, non-zero only

// A totals file: records of 84 bytes, ten litres of 8 bytes each behind 4 bytes.
inline Totals Totals_File(const std::string& bytes) {
    Totals totals;
    for (std::size_t r = 0; (r + 1) * 84 <= bytes.size(); ++r)
        for (std::size_t grade = 0; grade < 10; ++grade)
            if (const double value = Get<double>(bytes, r * 84 + 4 + grade * 8); value != 0)
                totals[{static_cast<int>(r + 1), static_cast<int>(grade)}] = value;
    return totals;
}

// What a rebuild on `date` leaves from the counted tickets alone: the nominal litres of the
// unredeemed per buyer (Cache_d.dat), the litres redeemed that day per station (Cache_u.dat).
inline std::pair<Totals, Totals> Expected_Totals(const std::string& database, double date) {
    Totals buyers, stations;
    for (long i = 1; i <= Header_Count(database); ++i) {
        const std::string t = Ticket_At(database, static_cast<std::size_t>(i));
        if (t.empty() || t[1] != 0 || Get<double>(t, 36) > date)
            continue;
        if (t[0] == 0)
            buyers[{Get<std::int32_t>(t, 22), t[3]}] += Get<std::int32_t>(t, 4);
        else if (Get<double>(t, 44) == date)
            stations[{Get<std::int32_t>(t, 30), t[3]}] += Get<double>(t, 8);
    }
    for (Totals* totals : {&buyers, &stations})
        std::erase_if(*totals, [](const auto& entry) { return entry.second == 0; });
    return {buyers, stations};
}

// ---- The fixture -------------------------------------------------------------------------------

class Tdctl_Test : public ::testing::Test {
protected:
    Temp_Folder config;
    Temp_Folder home;

    void SetUp() override { ::chmod(config.Path().c_str(), 0700); }

    // The installation of tests/data, with the data files of the fixture `overlay` over it, on
    // the working date its expected outputs were worked out for.
    void Install(const std::string& overlay = "") {
        namespace fs = std::filesystem;
        const std::string data = TD_TEST_DATA;
        fs::create_directories(home.File("data"));
        fs::copy_file(data + "/installation/td.ini", home.File("td.ini"));
        for (const std::string& from : {std::string("installation"), overlay})
            if (!from.empty())
                for (const auto& entry : fs::directory_iterator(data + "/" + from + "/data"))
                    fs::copy_file(entry.path(), Data(entry.path().filename().string()),
                                  fs::copy_options::overwrite_existing);
        const Run_Result date = Verb("date 15.03.2024");
        ASSERT_EQ(date.exit_code, 0) << date.err;
    }
    // From "/": a relative path must never find the test's own folder.
    Run_Result Verb(const std::string& arguments, const std::string& prefix = "") {
        return Run_Tdctl(arguments + " --home '" + home.Path() + "'", config,
                         Runtime_Folder::Config, prefix, "/");
    }
    std::string Data(const std::string& name) const { return home.File("data/" + name); }
    std::string Read(const std::string& name) const { return home.Read("data/" + name); }

    // A database of `tickets` alone, behind the header page the storage layer writes.
    void Write_Database(const std::vector<Ticket>& tickets) const {
        std::string bytes = td::Build_Header_Page(static_cast<long>(tickets.size()));
        bytes.resize(First_Ticket, '\0');
        for (const Ticket& ticket : tickets)
            bytes += ticket.Bytes();
        home.Write("data/TD.cdb", bytes);
    }

    // The data folder copied into `copy`, or put back from it as it was, and nothing else.
    void Keep_Data(const Temp_Folder& copy) const {
        std::filesystem::copy(home.File("data"), copy.Path(),
                              std::filesystem::copy_options::recursive);
    }
    void Put_Back_Data(const Temp_Folder& copy) const {
        std::filesystem::remove_all(home.File("data"));
        std::filesystem::copy(copy.Path(), home.File("data"),
                              std::filesystem::copy_options::recursive);
    }

    // Both totals files agree with the tickets now on disk.
    void Expect_Totals_Of_The_Tickets() {
        const auto [buyers, stations] = Expected_Totals(Read("TD.cdb"), Working_Date);
        EXPECT_EQ(Totals_File(Read("Cache_d.dat")), buyers);
        EXPECT_EQ(Totals_File(Read("Cache_u.dat")), stations);
    }
};

} // namespace td::test
