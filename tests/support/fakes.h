// Scriptable fakes of the ports, so that screens and operations run headless in tests.
#pragma once

#include "base/ports.h"

#include <deque>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace td::test {

// Thrown by Fake_Ui::End_Process so that a test can see that the process would have ended.
struct Process_Ended : std::runtime_error {
    int exit_code;
    explicit Process_Ended(int code) : std::runtime_error("process ended"), exit_code(code) {}
};

struct Recorded_Box {
    std::string text;
    int flags;
    std::string title;
    int answer;
};

struct Recorded_Fatal {
    std::string module_path;
    std::string code;
    std::string cause; // what the port was told ahead of the screen, if anything
};

// Records every message box and answers from a script; a box with no scripted answer gets Yes
// for Yes/No boxes and Ok otherwise. The fatal screen resumes only when told to.
class Fake_Ui : public Ui {
public:
    std::vector<Recorded_Box> boxes;
    std::deque<int> scripted_answers;
    std::vector<Recorded_Fatal> fatals;
    bool resume_fatal = false;
    std::vector<std::string> splash_captions;
    std::vector<int> splash_progress;
    std::vector<int> progress_values;
    std::vector<std::string> progress_labels;
    bool progress_visible = false;
    bool main_window_enabled = true;
    int pumps = 0;

    void Answer_Next(int answer) { scripted_answers.push_back(answer); }

    int Message_Box(const std::string& text, int flags, const std::string& title) override;
    void Show_Fatal_Screen(const std::string& module_path, const std::string& code) override;
    void Fatal_Cause(const std::string& cause) override { pending_cause_ = cause; }
    void Splash_Caption(const std::string& caption) override { splash_captions.push_back(caption); }
    void Splash_Progress(int value) override { splash_progress.push_back(value); }
    void Search_Progress_Show(const std::string& label) override {
        progress_visible = true;
        progress_labels.push_back(label);
    }
    void Search_Progress_Set(int value) override { progress_values.push_back(value); }
    void Search_Progress_Hide() override { progress_visible = false; }
    void Main_Window_Enabled(bool enabled) override { main_window_enabled = enabled; }
    void Pump_Events() override { ++pumps; }
    int children_closed = 0;
    void Close_All_Children() override { ++children_closed; }
    [[noreturn]] void End_Process(int exit_code) override { throw Process_Ended(exit_code); }

    // Texts of all boxes shown so far, in order.
    std::vector<std::string> Box_Texts() const;

private:
    std::string pending_cause_;
};

// A clock that the test moves by hand; each reading can advance it by a step.
class Fake_Clock : public Clock {
public:
    double seconds = 36000.0;
    double step = 0.0;
    double today = 46349.0; // 23.11.2026
    double Seconds_Since_Midnight() override {
        double now = seconds;
        seconds += step;
        return now;
    }
    double Today() override { return today; }
};

// The per-user store in memory.
class Memory_Settings : public User_Settings {
public:
    std::map<std::tuple<std::string, std::string, std::string>, std::string> values;
    std::string Get(const std::string& application, const std::string& section,
                    const std::string& key, const std::string& default_value) override {
        auto it = values.find({application, section, key});
        return it == values.end() ? default_value : it->second;
    }
    void Save(const std::string& application, const std::string& section, const std::string& key,
              const std::string& value) override {
        values[{application, section, key}] = value;
    }
};

} // namespace td::test
