// The Ui port of the command line: boxes go to standard error, progress too when it is a
// terminal, the fatal screen is a line and the end of the process.
#pragma once

#include "base/ports.h"

#include <functional>
#include <string>

namespace td {

class Cli_Ui : public Ui {
public:
    Cli_Ui();
    int Message_Box(const std::string& text, int flags, const std::string& title) override;
    void Show_Fatal_Screen(const std::string& module_path, const std::string& code) override;
    void Fatal_Cause(const std::string& cause) override { cause_ = cause; }
    void Splash_Caption(const std::string& caption) override;
    void Splash_Progress(int value) override;
    void Search_Progress_Show(const std::string& label) override;
    void Search_Progress_Set(int value) override;
    void Search_Progress_Hide() override;
    void Main_Window_Enabled(bool) override {}
    void Pump_Events() override {}
    void Close_All_Children() override {}
    [[noreturn]] void End_Process(int exit_code) override;
    // Run just before the process ends (the instance lock is let go there).
    void Set_Before_End(std::function<void()> action) { before_end_ = std::move(action); }
    // One more action before the end, run ahead of those set before it.
    void Also_Before_End(std::function<void()> action) {
        before_end_ = [first = std::move(action), then = std::move(before_end_)] {
            first();
            if (then)
                then();
        };
    }

private:
    void Show_Progress(int value);
    void End_Progress_Line();

    bool terminal_;
    bool progress_line_open_ = false;
    std::string caption_;
    std::string cause_;
    int last_value_ = -1;
    std::function<void()> before_end_;
};

} // namespace td
