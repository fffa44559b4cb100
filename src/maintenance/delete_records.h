// Delete_records, "Уничтожение талонов": mass deletion of tickets by one of four options. Tickets
// are marked Deleted in place (defragmentation drops them later); "Очистить базу данных." moves the
// database and the caches into a folder "Cleared-YYYYMMDD-HHMMSS" of the data folder and ends the
// run.
#pragma once

#include "ui/drop_list.h"

#include <functional>
#include <string>
#include <vector>

namespace td {

struct Program_State;
class Ui;
class Clock;
class Maintenance_Views;

class Delete_records {
public:
    static constexpr const char* Caption = "Уничтожение талонов";
    static constexpr const char* Frame_Caption = "Удаление списанных талонов...";
    static constexpr const char* Option1_Caption = "Удалить все списанные талоны";
    static constexpr const char* Option2_Prefix = "Удалить все списанные талоны за ";
    static constexpr const char* Option3_Caption = "Очистить базу данных.";
    static constexpr const char* Option4_Caption = "Удалить ошибочно зарегистрированные талоны ГСМ";
    static constexpr const char* Combo1_Label = "Тип ГСМ";
    static constexpr const char* Combo2_Label = "Литраж";
    static constexpr const char* Text1_Label = "С номера:";
    static constexpr const char* Text2_Label = "По номер:";
    static constexpr const char* Progress_Frame_Caption = "Удаление...";
    static constexpr const char* Command1_Caption = "Удалить";
    static constexpr const char* Command2_Caption = "Отмена";

    // The screens that show ticket data and are closed before a deletion.
    static const std::vector<std::string>& Forms_To_Close();

    Delete_records(Program_State& state, Ui& ui, Clock& clock, Maintenance_Views& views);

    void Form_Load();
    void Option1_Click();
    void Option2_Click();
    void Option2_DblClick();
    void Option3_Click();
    void Option4_Click();
    // "Удалить".
    void Command1_Click();
    // "Отмена".
    void Command2_Click() { closed_ = true; }

    Drop_List Combo1; // fuel names
    Drop_List Combo2; // volumes
    std::string Text1;
    std::string Text2;

    int Option_Selected() const { return option_; }
    const std::string& Option2_Caption() const { return option2_caption_; }
    bool Fields_Enabled() const { return fields_enabled_; }
    int Progress() const { return progress_; }
    bool Closed() const { return closed_; }

    // What the last deletion did, for tdctl: the count and, after "Очистить", where the files went.
    long Last_Count() const { return last_count_; }
    // Called with the folder the files were moved into, before the message of "Очистить".
    std::function<void(const std::string&)> On_Cleared;
    // Called whenever the bar changes (the view repaints it).
    std::function<void()> On_Progress;

private:
    void Set_Progress(int value);
    void Delete_Redeemed(bool on_current_date);
    void Clear_Database();
    void Delete_Range();
    void Rebuild();

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    Maintenance_Views& views_;
    int option_ = 1;
    std::string option2_caption_;
    bool fields_enabled_ = false;
    int progress_ = 0;
    bool closed_ = false;
    long last_count_ = 0;
};

// "Cleared-YYYYMMDD-HHMMSS" for a day number and seconds since midnight.
std::string Cleared_Folder_Name(double day, double seconds);

} // namespace td
