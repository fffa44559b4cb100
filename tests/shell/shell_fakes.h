// A recording stand-in for the window system behind the shell.
#pragma once

#include "shell/shell_views.h"

#include <string>
#include <vector>

namespace td::test {

class Fake_Views : public Shell_Views {
public:
    std::vector<Arrange_Mode> arranged;
    int pages_printed = 0;
    std::string active_child_caption;
    std::vector<std::string> started;
    bool start_fails = true;

    void Arrange(Arrange_Mode mode) override { arranged.push_back(mode); }
    void Show_About() override {}
    void Show_Eggs() override {}
    int raw_editor_shown = 0;
    void Show_Raw_DB_Edit() override { ++raw_editor_shown; }
    std::string Active_Child_Caption() override { return active_child_caption; }
    void Print_Active_Page() override { ++pages_printed; }
    bool Start_Program(const std::string& path, long& number, std::string& description) override {
        started.push_back(path);
        if (!start_fails)
            return true;
        number = 53;
        description = "File not found";
        return false;
    }
};

} // namespace td::test
