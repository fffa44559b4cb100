// The screen "Импорт базы данных 1С...": the 1C table updates the company file, replaces it, or
// is compared with it.
#pragma once

#include "import/company_import.h"
#include "import/table_reader.h"

#include <functional>
#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;

class Import_1C {
public:
    static constexpr const char* Caption = "Импорт базы данных 1С...";
    static constexpr const char* Frame1_Caption = "Местоположение базы данных 1С";
    static constexpr const char* Frame2_Caption = "Настройки импорта";
    static constexpr const char* Frame3_Caption = "Результаты сравнения";
    static constexpr const char* Option1_Caption = "Обновить текущую базу (рекомендуется)";
    static constexpr const char* Option2_Caption = "Заменить текущую базу";
    static constexpr const char* Option3_Caption = "Сравнить с базой данных 1С";
    static constexpr const char* Browse_Caption = "Обзор";
    static constexpr const char* Import_Caption = "Импорт";
    static constexpr const char* Compare_Caption = "Сравнить";
    static constexpr const char* Cancel_Caption = "Отмена";
    static constexpr const char* File_Filter =
        "dBASE 3,4,5 DataBases (*.dbf)|*.dbf|All files (*.*)|*.*";
    static constexpr const char* Replace_Question =
        "Внимание! старая база данных будет УНИЧТОЖЕНА! Восстановление будет невозможно! Вы "
        "уверены втом что хотите продолжить?";
    static constexpr const char* Replace_Title = "Подтвердение удаления текущих баз данных";
    static constexpr const char* Updated_Message = "Импорт в базу данных успешо завершён!";
    static constexpr const char* Replaced_Message = "Импорт новой базы данных успешо завершён!";
    static constexpr const char* Compared_Message = "Сравнение баз данных завершено!";
    static constexpr const char* Result_Title = "Импорт";

    Import_1C(Program_State& state, Ui& ui, Clock& clock, User_Settings& user_settings,
              Table_Reader& table);

    // What the screen shows.
    std::string Text1; // the table's full path
    std::string Text2; // its file name
    std::string Text3; // the comparison's report
    int Option = 1;    // 1 update, 2 replace, 3 compare
    bool Import_Visible = true;
    bool Compare_Visible = false;
    bool Results_Visible = false; // the frame of results; the screen grows to show it
    bool Import_Enabled = false;
    bool Compare_Enabled = false;
    int ProgressBar1 = 0;
    bool closed = false;

    // Told after the progress bar moved, so that a view can paint it during the operation.
    std::function<void()> progress_changed;

    void Form_Load();
    void Text1_Change(const std::string& text);
    void Option_Click(int option);
    // The file dialog's choice (the view shows the dialog with File_Filter).
    void Browse_Chosen(const std::string& path);
    // "Импорт": update or replace by the option.
    void Command_Import_Click();
    // "Сравнить".
    void Command_Compare_Click();
    void Command_Cancel_Click() { closed = true; }

    // What the last operation did, for tdctl: where a replace moved the old files (empty if
    // nothing was there), and the counts of an update.
    const std::string& Replaced_Folder() const { return replaced_folder_; }
    const Update_Result& Updated() const { return updated_; }

private:
    void Set_Progress(int value);
    // Loads the table into rows; false after a failure, which `failure` then holds.
    bool Load_Table(std::vector<Import_Row>& rows, Table_Failure& failure);
    void Import_Failed(const std::string& description, long number, const std::string& cause);
    void Reload_Company_Table();
    std::string Replace_Stamp();
    void Save_Path();

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& user_settings_;
    Table_Reader& table_;
    std::string replaced_folder_;
    Update_Result updated_;
};

// What follows the last "\" (or "/") of a path.
std::string Import_File_Name(const std::string& path);

} // namespace td
