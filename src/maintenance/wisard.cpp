#include "maintenance/wisard.h"

#include "base/ports.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "maintenance/maintenance_views.h"
#include "storage/file_safety.h"
#include "storage/header.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace td {

int Wizard_Mode = 0;
bool Restore_From_Menu = false;

void Mnu_Create_Backup() {
    Wizard_Mode = 0;
    Restore_From_Menu = false;
}

bool Mnu_Restore_From_Backup(Ui& ui) {
    State().Answer = ui.Message_Box(
        "Вы уверены в том, что хотите восстановить старую базу данных. Все изменения внесённые с "
        "момента создания резервной копии будут удалены!",
        box::Yes_No + box::Question, "Восстановление базы данных с резервной копии");
    if (State().Answer == box::Answer_No)
        return false;
    Wizard_Mode = 1;
    Restore_From_Menu = true;
    ui.Close_All_Children();
    return true;
}

namespace {

std::string Slashes(std::string text) {
    for (char& c : text)
        if (c == '\\')
            c = '/';
    return text;
}

// A drive prefix ("C:") has no meaning here and goes.
std::string Without_Drive(const std::string& text) {
    return text.size() >= 2 && text[1] == ':' ? text.substr(2) : text;
}

std::string Normal(const std::string& path) {
    std::string normal = fs::path(path).lexically_normal().string();
    while (normal.size() > 1 && normal.back() == '/')
        normal.pop_back();
    return normal;
}

} // namespace

std::string Backup_Folder_Path(const std::string& bkr_path, const std::string& program_folder) {
    std::string path = Slashes(Without_Drive(bkr_path));
    if (path.empty() || path[0] != '/')
        path = program_folder + "/" + path;
    return Normal(path);
}

Wisard::Wisard(Program_State& state, Ui& ui, Clock& clock, User_Settings& user_settings,
               Maintenance_Views& views)
    : state_(state), ui_(ui), clock_(clock), user_settings_(user_settings), views_(views) {}

void Wisard::Form_Load() {
    state_.Wizard_Page = 1;
    back_enabled_ = false;
    // The folder of the data joined under the program's folder, whatever the data folder is, as
    // the wizard always proposed it.
    const std::string fallback =
        Normal(state_.Program_Folder + "/" +
               Slashes(Without_Drive(state_.settings.Databases_Path)) + "/BackUp");
    bkr_path_ = user_settings_.Get(Settings_Application, "Kernel", "Wisard", fallback);
    Show_Page();
}

int Wisard::Page() const {
    return state_.Wizard_Page;
}

int Wisard::Frame_Shown() const {
    return state_.Wizard_Page >= 1 && state_.Wizard_Page <= 3 ? state_.Wizard_Page : 0;
}

void Wisard::OKButton_Click() {
    state_.Wizard_Page += 1;
    if (state_.Wizard_Page > 5)
        state_.Wizard_Page = 3;
    Show_Page();
}

void Wisard::CancelButton_Click() {
    state_.Wizard_Page -= 1;
    if (state_.Wizard_Page < 1)
        state_.Wizard_Page = 1;
    Show_Page();
}

void Wisard::Show_Page() {
    switch (state_.Wizard_Page) {
    case 1:
        finish_enabled_ = false;
        back_enabled_ = false;
        forward_enabled_ = true;
        break;
    case 2:
        finish_enabled_ = false;
        back_enabled_ = true;
        forward_enabled_ = !bkr_path_.empty();
        break;
    case 3:
        finish_enabled_ = true;
        back_enabled_ = true;
        forward_enabled_ = false;
        if (!bkr_path_.empty() && (bkr_path_.back() == '\\' || bkr_path_.back() == '/') &&
            bkr_path_ != "/")
            bkr_path_.pop_back();
        lblcomplete_ = "Мастер завершил подготовку к ";
        if (Wizard_Mode == 0)
            lblcomplete_ += "резервному копированию базы данных в директорию: '" + bkr_path_ + "'";
        else if (Wizard_Mode == 1)
            lblcomplete_ += "восстановлению базы данных из директории: '" + bkr_path_ + "'";
        break;
    default:
        break;
    }
}

void Wisard::BkR_Path_Change(const std::string& text) {
    bkr_path_ = text;
    // A network path, a drive path, or a path from the root of this platform's file system.
    forward_enabled_ = !text.empty() && (text.rfind("\\\\", 0) == 0 ||
                                         (text.size() >= 2 && text[1] == ':') || text[0] == '/');
}

void Wisard::Command3_Click() {
    std::string chosen;
    if (!views_.Save_Dialog(Backup_Folder_Path(bkr_path_, state_.Program_Folder), Browse_File_Name,
                            chosen))
        return; // the dialog's cancel, raised and ignored
    std::string folder = chosen.substr(
        0, chosen.find_last_of("/\\") == std::string::npos ? 0 : chosen.find_last_of("/\\") + 1);
    if (folder.size() > 1 && (folder.back() == '/' || folder.back() == '\\'))
        folder.pop_back();
    BkR_Path_Change(folder);
}

std::string Wisard::Database_Path() const {
    return state_.Path_Of(state_.settings.Database_File);
}

std::string Wisard::Backup_Path() const {
    return Backup_Folder_Path(bkr_path_, state_.Program_Folder) + "/" + state_.settings.Backup_File;
}

void Wisard::Show_Copy_Failure(const Copy_Outcome& outcome) {
    ui_.Message_Box("Ошибка! \r\n" + outcome.description + " (" + std::to_string(outcome.number) +
                        ")",
                    box::Stop, "Ошибка!");
}

bool Wisard::Copy_With_Retry(const std::string& source, const std::string& target) {
    last_copy_ = Copy_File_Whole(source, target);
    if (last_copy_.number == copy_failure::Path_Not_Found) {
        // Once per press: the backup folder is made (one level only) and the copy tried again.
        const std::string folder = Backup_Folder_Path(bkr_path_, state_.Program_Folder);
        if (::mkdir(folder.c_str(), 0755) == 0)
            Sync_Folder_Of(folder);
        last_copy_ = Copy_File_Whole(source, target);
    }
    if (!last_copy_.Ok()) {
        Show_Copy_Failure(last_copy_);
        return false;
    }
    return true;
}

void Wisard::Command1_Click() {
    succeeded_ = false;
    if (Wizard_Mode == 0) {
        if (!Copy_With_Retry(Database_Path(), Backup_Path()))
            return;
        succeeded_ = true;
        ui_.Message_Box("Резервное копирование базы данных успешно завершено!", box::Ok_Only,
                        "Резервное копирование базы данных");
        Close();
        return;
    }
    if (Wizard_Mode != 1)
        return; // the check is offered and does nothing

    if (Restore_From_Menu)
        ui_.Close_All_Children();
    // Nobody else writes the database while it is replaced. A database that is not there has
    // nothing to protect (a cleared installation is restored so).
    Database_Lock lock(Database_Path());
    if (!lock.Held() &&
        !(lock.Status() == Database_Lock::State::Failed && lock.Error() == ENOENT)) {
        Copy_Outcome busy;
        busy.number = copy_failure::Permission_Denied;
        busy.error = lock.Error();
        busy.description =
            "Permission denied: " + Database_Path() +
            (lock.Status() == Database_Lock::State::Busy ? " (another process writes the database)"
                                                         : " (the database can't be locked)");
        last_copy_ = busy;
        Show_Copy_Failure(busy);
        return;
    }
    if (!Copy_With_Retry(Backup_Path(), Database_Path()))
        return; // the database is as it was
    lock.Release();
    // The program's own count and offset follow the database now in place, so that nothing
    // appends behind the old count.
    Header_Info header;
    if (Read_Header(Database_Path(), header) == "Ok" && Ticket_Count_Fault(header.count).empty()) {
        state_.Ticket_Count = static_cast<long>(header.count);
        state_.Records_Offset = static_cast<long>(header.records_offset);
    }
    succeeded_ = true;
    ui_.Message_Box("Восстановление баз данных успешно проведено!", box::Ok_Only,
                    "Восстановление базы данных");
    Close();
    Rebuild_All(state_, ui_, clock_, Progress_Target::Form);
    ui_.Search_Progress_Hide();
    ui_.Main_Window_Enabled(true);
}

void Wisard::Close() {
    if (closed_)
        return;
    closed_ = true;
    user_settings_.Save(Settings_Application, "Kernel", "Wisard", bkr_path_);
}

} // namespace td
