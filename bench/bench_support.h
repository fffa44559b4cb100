// What the benchmark programs share: a silent Ui, a real clock, opening a generated installation
// the way start-up leaves it for a pass, and the plain read that all figures are compared with.
#pragma once

#include "base/ports.h"

#include <cstdint>
#include <map>
#include <string>
#include <tuple>

namespace td {
struct Program_State;
}

namespace td::bench {

// Answers every box with Ok (Yes for questions) and remembers what it was asked; a fatal screen
// is printed and ends the process, as there is nobody to resume it.
class Silent_Ui : public Ui {
public:
    int Message_Box(const std::string& text, int flags, const std::string& title) override;
    void Show_Fatal_Screen(const std::string& module_path, const std::string& code) override;
    void Splash_Caption(const std::string&) override {}
    void Splash_Progress(int) override { ++progress_reports; }
    void Search_Progress_Show(const std::string&) override {}
    void Search_Progress_Set(int) override { ++progress_reports; }
    void Search_Progress_Hide() override {}
    void Main_Window_Enabled(bool) override {}
    void Pump_Events() override {}
    void Close_All_Children() override {}
    [[noreturn]] void End_Process(int exit_code) override;

    long boxes = 0;
    long progress_reports = 0;
    std::string last_box;
};

// The machine's clock, as the desktop program uses it.
class Wall_Clock : public Clock {
public:
    double Seconds_Since_Midnight() override;
    double Today() override;
};

// A clock that stands still: no progress gate ever opens, so a timing holds no painting.
class Still_Clock : public Clock {
public:
    double Seconds_Since_Midnight() override { return 36000.0; }
    double Today() override { return 46349.0; }
};

// The per-user store in memory: a benchmark never touches the user's own.
class Map_Settings : public User_Settings {
public:
    std::string Get(const std::string& application, const std::string& section,
                    const std::string& key, const std::string& default_value) override {
        auto it = values_.find({application, section, key});
        return it == values_.end() ? default_value : it->second;
    }
    void Save(const std::string& application, const std::string& section, const std::string& key,
              const std::string& value) override {
        values_[{application, section, key}] = value;
    }

private:
    std::map<std::tuple<std::string, std::string, std::string>, std::string> values_;
};

// Seconds on a monotonic clock.
double Now();
// CPU seconds (user and system) this process has used.
double Cpu_Now();

// Fills `state` as start-up leaves it just before its pass: settings from home/td.ini, the data
// folder, the header's count and offset, the company table and the generator's working date.
// Ticket table and entry counts are emptied. The current folder becomes the data folder.
bool Open_Installation(Program_State& state, Ui& ui, const std::string& home, std::string& error);

// Puts the state back to what a fresh process has before its first pass: no entry counts, no
// ticket table (its memory given back), no number index files on disk.
void Forget_Derived_State(Program_State& state);

// One plain read of the whole file with read() in chunks of `chunk` bytes. Returns the bytes read
// (0 on failure).
std::uint64_t Read_Whole_File(const std::string& path, std::size_t chunk = 1 << 20);

// Copies a file through the kernel (no user-space buffer); with `sync`, forces it to disk so that
// its write-back does not fall into a later measurement.
bool Copy_File(const std::string& from, const std::string& to, bool sync, std::string& error);

// A work installation beside the master one (td.ini and the reference files; the database is
// copied separately by the caller with Copy_File, since a pass such as defragmentation replaces
// it).
bool Prepare_Work_Installation(const std::string& master_home, const std::string& work_home,
                               std::string& error);

// Resident set size now, and its peak so far, in kilobytes.
long Current_Rss_Kb();
long Peak_Rss_Kb();

} // namespace td::bench
