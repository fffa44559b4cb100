// Raw_DB_Edit, "Raw db editor...": one ticket record of the database shown field by field and
// written back as typed, with no check. Reached only from Eggs. It edits the file alone, so leaving
// it ends the run: the next start rebuilds everything from the edited file.
#pragma once

#include "storage/record_file.h"
#include "storage/records.h"

#include <functional>
#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;

class Raw_DB_Edit {
public:
    static constexpr const char* Caption = "Raw db editor...";
    static constexpr const char* Record_Frame = "Gas ticket";
    static constexpr const char* Dates_Frame = "Dates...";
    static constexpr const char* Limits_Frame = "Establishment limitations...";

    Raw_DB_Edit(Program_State& state, Ui& ui, Clock& clock);

    void Form_Load();
    void Command6_Click();              // "|<"
    void Command3_Click();              // "<< Prev"
    void Command4_Click();              // "Next >>"
    void Command5_Click();              // ">|"
    void Command2_Click();              // "Update"
    [[noreturn]] void Command1_Click(); // "Exit"
    // Enter in Text1.
    void Text1_Enter();
    // Key-up in Text2; Ctrl+F starts the search.
    void Text2_KeyUp(int key_code, bool ctrl);
    // The check boxes were clicked (their new values already in place).
    void Check1_Click();
    void Check3_Click();
    void Check4_Click();

    // The fields, as typed.
    std::string Text1, Text2, Text3, Text4, Text5, Text6, Text7, Text8, Text9, Text10, Text11,
        Text12;
    bool Check1 = false, Check2 = false, Check3 = false, Check4 = false, Check5 = false;
    bool Text5_Enabled() const { return text5_enabled_; }
    bool Text8_Enabled() const { return dates_enabled_; }
    bool Text9_Enabled() const { return dates_enabled_; }
    bool Text12_Enabled() const { return mask_enabled_; }
    bool Progress_Visible() const { return progress_visible_; }
    int Progress() const { return progress_; }
    bool Closed() const { return closed_; }

    long long Raw_Current_Record = 0;
    long long Raw_Offset = 0;
    long long Raw_Count = 0;

    // Called after the fields changed (the view copies them to the widgets).
    std::function<void()> On_Change;

    // A day number as the editor shows it: "dd.MM.yyyy", with the time of day when there is one;
    // 0 alone is "0:00:00".
    static std::string Date_Text(double date);

private:
    void Show(long long record);
    void Changed() const;

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    Record_File file_;
    bool text5_enabled_ = false;
    bool dates_enabled_ = false;
    bool mask_enabled_ = false;
    bool progress_visible_ = false;
    int progress_ = 0;
    bool closed_ = false;
};

} // namespace td
