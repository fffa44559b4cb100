#include "import/import_1c.h"

#include "base/dates.h"
#include "base/ports.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "kernel/unhandled.h"
#include "storage/reference.h"

#include <cmath>
#include <cstdio>

namespace td {

std::string Import_File_Name(const std::string& path) {
    const std::size_t last = path.find_last_of("\\/");
    return last == std::string::npos ? path : path.substr(last + 1);
}

namespace {

// A path typed as on the system the table came from ("C:\1C\base\SC.DBF") names the same file
// here with "/" between its parts; the drive has no meaning on this platform.
std::string Local_Path(std::string path) {
    if (path.find('\\') == std::string::npos)
        return path;
    if (path.size() >= 2 && path[1] == ':')
        path.erase(0, 2);
    for (char& c : path)
        if (c == '\\')
            c = '/';
    return path;
}

} // namespace

Import_1C::Import_1C(Program_State& state, Ui& ui, Clock& clock, User_Settings& user_settings,
                     Table_Reader& table)
    : state_(state), ui_(ui), clock_(clock), user_settings_(user_settings), table_(table) {}

void Import_1C::Form_Load() {
    Option_Click(1);
    Text1_Change(user_settings_.Get(Settings_Application, "Kernel", "1C DB Path", ""));
}

void Import_1C::Text1_Change(const std::string& text) {
    Text1 = text;
    Import_Enabled = !Text1.empty();
    Compare_Enabled = !Text1.empty();
    if (!Text1.empty())
        Text2 = Import_File_Name(Text1);
}

void Import_1C::Option_Click(int option) {
    if (option < 1 || option > 3)
        return;
    Option = option;
    Import_Visible = option != 3;
    Compare_Visible = option == 3;
    Results_Visible = option == 3;
}

void Import_1C::Browse_Chosen(const std::string& path) {
    if (path.empty())
        return;
    Text1_Change(path);
    Text2 = Import_File_Name(path);
}

void Import_1C::Set_Progress(int value) {
    if (value == ProgressBar1)
        return;
    ProgressBar1 = value;
    if (progress_changed)
        progress_changed();
}

bool Import_1C::Load_Table(std::vector<Import_Row>& rows, Table_Failure& failure) {
    const std::string path = Local_Path(Text1);
    if (!table_.Load(path)) {
        failure = table_.Failure();
        return false;
    }
    if (table_.Column_Count() < 4) {
        failure = {path + ": the table has " + std::to_string(table_.Column_Count()) +
                       " columns; the import needs four: code, kind, group code and name",
                   table_error::Too_Few_Columns};
        return false;
    }
    rows = Map_Rows(table_);
    return true;
}

void Import_1C::Import_Failed(const std::string& description, long number,
                              const std::string& cause) {
    Fatal_Error(ui_, std::string(fatal_site::Import_Module) + "\r\n" + description,
                std::string(fatal_site::Import_Code) + Hex_Number(number), cause);
}

void Import_1C::Reload_Company_Table() {
    state_.Company_Count =
        Load_Company_Table(state_.Path_Of(state_.settings.Company_File), state_.Company_Table);
}

void Import_1C::Save_Path() {
    user_settings_.Save(Settings_Application, "Kernel", "1C DB Path", Text1);
}

std::string Import_1C::Replace_Stamp() {
    const Calendar_Day day = Date_Parts(clock_.Today());
    const long seconds = static_cast<long>(std::floor(clock_.Seconds_Since_Midnight())) % 86400;
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%04d%02d%02d-%02ld%02ld%02ld", day.year, day.month, day.day,
                  seconds / 3600, seconds / 60 % 60, seconds % 60);
    return stamp;
}

void Import_1C::Command_Import_Click() {
    Text2 = Import_File_Name(Text1);
    replaced_folder_.clear();
    updated_ = {};
    if (Option == 2) {
        state_.Answer = ui_.Message_Box(Replace_Question, box::Yes_No | box::Stop, Replace_Title);
        if (state_.Answer == box::Answer_No)
            return;
    }
    if (Option != 1 && Option != 2)
        return;

    std::vector<Import_Row> rows;
    Table_Failure table_failure;
    if (!Load_Table(rows, table_failure)) {
        Import_Failed(table_failure.description, table_failure.number, table_failure.description);
        return;
    }
    const Import_Progress progress = [this](int percent) { Set_Progress(percent); };
    const std::string company_file = state_.Path_Of(state_.settings.Company_File);
    File_Failure failure;
    if (Option == 1) {
        if (!Update_Company_File(rows, company_file, progress, updated_, failure)) {
            Import_Failed(System_Reason(failure.error), failure.error, failure.Text());
            return;
        }
    } else {
        const Settings& settings = state_.settings;
        Replace_Files files;
        files.data_folder = state_.Data_Folder.empty() ? "." : state_.Data_Folder;
        files.company_file = company_file;
        files.others = {
            state_.Path_Of(settings.Database_File), state_.Path_Of(settings.Cache_Diff_File),
            state_.Path_Of(settings.Cache_Used_File), state_.Path_Of(settings.Cache_User_File)};
        files.stamp = Replace_Stamp();
        if (!Replace_Company_File(rows, files, progress, replaced_folder_, failure)) {
            Import_Failed(System_Reason(failure.error), failure.error, failure.Text());
            return;
        }
    }
    Reload_Company_Table();
    ui_.Message_Box(Option == 1 ? Updated_Message : Replaced_Message, box::Ok_Only, Result_Title);
    Save_Path();
    Set_Progress(0);
    closed = true;
}

void Import_1C::Command_Compare_Click() {
    std::vector<Import_Row> rows;
    Table_Failure table_failure;
    std::string report;
    // The comparison has no handler of its own: a failure ends the run as any unhandled one.
    if (!Load_Table(rows, table_failure))
        Unhandled_Failure(ui_, table_failure.number, table_failure.description);
    File_Failure failure;
    if (!Compare_Company_File(
            rows, state_.Path_Of(state_.settings.Company_File),
            [this](int percent) { Set_Progress(percent); }, report, failure))
        Unhandled_Failure(ui_, failure.error, failure.Text());
    ui_.Message_Box(Compared_Message, box::Ok_Only, Result_Title);
    Save_Path();
    Set_Progress(0);
    Text3 = report;
}

} // namespace td
