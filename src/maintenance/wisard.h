// Wisard, "Мастер резервного копирования": the three-page wizard that copies the database file to
// a backup folder or back. The copy never leaves a half-written file (see safe_copy.h); a restore
// holds the database lock while it replaces the database, then rebuilds everything from it.
#pragma once

#include "maintenance/safe_copy.h"

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Maintenance_Views;

// How the wizard opens and what it does: 0 = backup, 1 = restore, 2 = check of the database.
extern int Wizard_Mode;
// Set when the wizard was opened by the restore entry of the menu.
extern bool Restore_From_Menu;

// mnu_create_backup: backup mode; the caller then opens the wizard, modal.
void Mnu_Create_Backup();
// mnu_restore_from_backup: asks, sets restore mode and closes all children. True when the
// caller is to open the wizard.
bool Mnu_Restore_From_Backup(Ui& ui);

class Wisard {
public:
    static constexpr const char* Caption = "Мастер резервного копирования";
    static constexpr const char* Frame1_Caption = "Выбор действия";
    static constexpr const char* Frame2_Caption = "Пути резервного копирования";
    static constexpr const char* Frame3_Caption = "Завершено";
    static constexpr const char* Option1_Caption = "Создать резервную копию базы данных";
    static constexpr const char* Option2_Caption = "Восстановить с  резервной копии базу данных";
    static constexpr const char* Option3_Caption = "Проверить целостность базы данных";
    static constexpr const char* Path_Label =
        "Выберите путь резервного копирования базы данных....";
    static constexpr const char* Browse_Caption = "Обзор";
    static constexpr const char* OKButton_Caption = "Далее  >>";
    static constexpr const char* CancelButton_Caption = "<<  Назад";
    static constexpr const char* Command1_Caption = "Готово";
    static constexpr const char* Command2_Caption = "Отмена";
    static constexpr const char* Frame_Err_Text =
        "Меньше жмешь на кнопки \r\n- дольше живёт мышь!!!!\r\n";
    static constexpr const char* Browse_File_Name = "$Директория РК";

    Wisard(Program_State& state, Ui& ui, Clock& clock, User_Settings& user_settings,
           Maintenance_Views& views);

    void Form_Load();
    void Option1_Click() { Wizard_Mode = 0; }
    void Option2_Click() { Wizard_Mode = 1; }
    void Option3_Click() { Wizard_Mode = 2; }
    // Forward and back.
    void OKButton_Click();
    void CancelButton_Click();
    // The folder box was typed in.
    void BkR_Path_Change(const std::string& text);
    // "Обзор".
    void Command3_Click();
    // "Готово": the copy of the chosen mode.
    void Command1_Click();
    // "Отмена".
    void Command2_Click() { Close(); }

    // What the screen shows.
    int Option_Selected() const { return Wizard_Mode + 1; } // 1..3
    int Page() const;
    // The frame shown: 1, 2, 3, or 0 for Frame_Err.
    int Frame_Shown() const;
    const std::string& BkR_Path() const { return bkr_path_; }
    const std::string& lblcomplete() const { return lblcomplete_; }
    bool OKButton_Enabled() const { return forward_enabled_; }
    bool CancelButton_Enabled() const { return back_enabled_; }
    bool Command1_Enabled() const { return finish_enabled_; }
    bool Closed() const { return closed_; }

    // The full paths the copy uses now.
    std::string Database_Path() const;
    std::string Backup_Path() const;
    // The last copy's outcome (for tdctl).
    const Copy_Outcome& Last_Copy() const { return last_copy_; }
    // The last press of "Готово" put its copy in place.
    bool Succeeded() const { return succeeded_; }

private:
    void Show_Page();
    void Close();
    // The copy with its one retry after creating the folder. True when the copy is in place.
    bool Copy_With_Retry(const std::string& source, const std::string& target);
    void Show_Copy_Failure(const Copy_Outcome& outcome);

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& user_settings_;
    Maintenance_Views& views_;
    std::string bkr_path_;
    std::string lblcomplete_;
    bool forward_enabled_ = true;
    bool back_enabled_ = false;
    bool finish_enabled_ = false;
    bool closed_ = false;
    bool succeeded_ = false;
    Copy_Outcome last_copy_;
};

// The backup folder as a path of this platform: "\" as separator, a drive prefix dropped, a
// relative folder under the program's folder.
std::string Backup_Folder_Path(const std::string& bkr_path, const std::string& program_folder);

} // namespace td
