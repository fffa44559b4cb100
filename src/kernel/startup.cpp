#include "kernel/startup.h"

#include "base/dates.h"
#include "base/ports.h"
#include "kernel/cache_passes.h"
#include "kernel/fatal.h"
#include "kernel/settings.h"
#include "kernel/state.h"
#include "storage/commit_journal.h"
#include "storage/file_failure.h"
#include "storage/file_safety.h"
#include "storage/header.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/redemption_note.h"
#include "storage/reference.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <utility>

namespace td {
namespace {

constexpr const char* Error_Source = "Tally_depot";

// The fatal handler of start-up: the failure's source, "\Main\", its description; "0x" and the
// number in hexadecimal.
[[noreturn]] void Startup_Failure(Ui& ui, const std::string& description, long number) {
    Fatal_Error(ui, std::string(Error_Source) + "\\Main\\" + description,
                "0x" + Hex_Number(number));
    End_Process_Now(ui, 1);
}

// The error number the system reports for a failure of the operating system's kind.
long Error_Number_Of(int error) {
    return Run_Time_Error_Of(error).number;
}

bool Is_Directory(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// A totals file that is empty gets `records` zero records. The system's error number, 0 when done.
int Ensure_Totals_File(const std::string& path, std::size_t records) {
    Record_File file(path, Cache_Record_Size);
    if (!file.Is_Open())
        return file.Error();
    if (file.Size() != 0)
        return 0;
    std::vector<std::uint8_t> zeros(records * Cache_Record_Size, 0);
    return file.Write_Block(1, records, zeros.data()) && file.Sync() ? 0 : file.Error();
}

// The totals files must exist before anything else is read; a failure ends the start with the
// file and the reason.
void Ensure_Totals_Files(Program_State& state, Ui& ui) {
    for (const auto& [name, records] : {std::pair{state.settings.Cache_Used_File, 16384},
                                        std::pair{state.settings.Cache_Diff_File, 256}}) {
        const std::string path = state.Path_Of(name);
        if (const int error = Ensure_Totals_File(path, static_cast<std::size_t>(records)))
            Startup_Failure(ui, "Cannot open " + path + ": " + System_Reason(error),
                            Error_Number_Of(error));
    }
}

// Step 12: the database header. Only a file that is missing, or whose head does not parse, gets a
// new header; a file that exists but can't be opened or read keeps every byte, and the start ends
// with the reason. A passing read error must never cost the user the header and its count.
Header_Info Database_Header(const std::string& database, Ui& ui) {
    Header_Info header;
    int error = 0;
    if (Read_Header(database, header, &error) == "Ok")
        return header;
    if (error != 0 && error != ENOENT)
        Startup_Failure(ui, "Cannot read " + database + ": " + System_Reason(error),
                        Error_Number_Of(error));
    errno = 0;
    if (!Create_Header(database, std::nullopt)) {
        error = errno != 0 ? errno : EIO;
        Startup_Failure(
            ui, "Cannot create the database header of " + database + ": " + System_Reason(error),
            Error_Number_Of(error));
    }
    if (Read_Header(database, header, &error) != "Ok")
        Startup_Failure(ui,
                        "Cannot create the database header of " + database +
                            (error != 0 ? ": " + System_Reason(error) : std::string()),
                        Error_Number_Of(error != 0 ? error : EIO));
    return header;
}

void Reference_Checks(Program_State& state, Ui& ui) {
    if (First_Record_Undefined(state.Path_Of(state.settings.Towns_File), 33))
        ui.Message_Box("Error, no towns defined in database!", box::Ok_Only, "");
    ui.Splash_Progress(10);

    if (First_Record_Undefined(state.Path_Of(state.settings.Company_File), Company_Record_Size))
        ui.Message_Box("Error, no companys defined in database!", box::Ok_Only, "");
    state.Company_Count =
        Load_Company_Table(state.Path_Of(state.settings.Company_File), state.Company_Table);
    ui.Splash_Progress(10);

    if (First_Record_Undefined(state.Path_Of(state.settings.Establishments_File), 33))
        ui.Message_Box("Error, no establishments defined in database!", box::Ok_Only, "");
    ui.Splash_Progress(10);
}

} // namespace

std::string Databases_Folder(const std::string& program_folder, const std::string& databases) {
    return Translate_Path(databases, program_folder);
}

void Main_Startup(Program_State& state, Startup_Ports& ports, const std::string& program_folder) {
    Ui& ui = ports.ui;
    state.Fatal_Countdown = 30;

    const Instance_Guard::Result lock = ports.instance_guard.Acquire();
    if (lock.outcome == Instance_Guard::Outcome::Already_Running) {
        ui.Message_Box("Программа уже запущена", box::Ok_Only, "");
        End_Process_Now(ui, 1);
    }
    if (lock.outcome == Instance_Guard::Outcome::Cannot_Lock) {
        // Not a second instance: whether one runs is unknown, so nothing may be touched.
        ui.Message_Box("cannot create the lock file " + lock.lock_path + ": " + lock.reason,
                       box::Stop, "");
        End_Process_Now(ui, 1);
    }

    state.Program_Folder = program_folder;
    state.Data_Folder = program_folder;

    // The working date: the stored one, or the machine's when none was ever saved. The clock is
    // not consulted again: books are kept per working day.
    std::string stored = ports.user_settings.Get(Settings_Application, "Kernel", "Date", "0:00:00");
    std::optional<double> stored_date = Parse_Date(stored);
    state.Current_Date = (stored_date && *stored_date != 0.0) ? *stored_date : ports.clock.Today();

    state.System_Date_At_Start = ports.clock.Today();
    state.Sale_Checked = false;
    state.Redemption_Checked = false;
    state.Cache_Stale = false;
    state.Wizard_Page = 1;

    ui.Splash_Caption("Загрузка настроек");
    state.settings = Read_Settings(program_folder + "/" + Settings_File_Name, program_folder, ui,
                                   [&ui](int value) { ui.Splash_Progress(value); });

    // The data folder. On the run that has to create it the program stays in its own folder,
    // and all relative file names land there: kept as it stands.
    std::string data_folder = Databases_Folder(program_folder, state.settings.Databases_Path);
    if (Is_Directory(data_folder)) {
        state.Data_Folder = data_folder;
    } else if (mkdir(data_folder.c_str(), 0777) != 0 && !Is_Directory(data_folder)) {
        Startup_Failure(ui, "Path not found: " + data_folder + ": " + System_Reason(errno), 76);
    }

    Ensure_Totals_Files(state, ui);
    Reference_Checks(state, ui);

    // A sale that died between its tickets and its header: the tickets it appended are counted.
    const Commit_Recovery recovery = Finish_Interrupted_Commit(state.Data_Folder);
    if (recovery.failure.Failed())
        ui.Message_Box("Ошибка при работе с файлом " + recovery.failure.Text() +
                           ".\r\nТалоны, записанные перед неожиданным завершением программы, "
                           "будут учтены при следующем запуске.",
                       box::Stop, "Ошибка");

    // A redemption that died while writing a ticket: a record booked in part is put back.
    const Redemption_Repair redemption = Finish_Interrupted_Redemption(state.Data_Folder);
    if (redemption.failure.Failed())
        ui.Message_Box("Ошибка при работе с файлом " + redemption.failure.Text() +
                           ".\r\nТалон, списание которого было прервано, записан не полностью.",
                       box::Stop, "Ошибка");

    // A missing database, or one whose head is damaged, gets a new header with zero tickets.
    const Header_Info header = Database_Header(state.Path_Of(state.settings.Database_File), ui);
    // A damaged head can hold any number; what no count of the format can be is taken as none.
    auto whole = [](double value, double limit) {
        return (value >= -limit && value <= limit) ? static_cast<long>(value) : 0L;
    };
    state.Ticket_Count = whole(header.count, 99999999.0);
    state.Records_Offset = whole(header.records_offset, 99999999.0);

    ui.Splash_Caption("Индексация базы данных");
    std::string marker = state.Path_Of(Work_Marker_File);
    if (!File_Exists(marker)) {
        Record_File created(marker, 1);
        created.Sync();
        // The marker's name lives in its folder: a power cut must not take it away again, or
        // the start after it would skip the full rebuild.
        Sync_Folder_Of(marker);
        Rebuild_Index(state, ui, ports.clock, Progress_Target::Splash);
    } else {
        ui.Message_Box("Программа была завершена неожиданно.", box::Ok_Only, "");
        Rebuild_All(state, ui, ports.clock, Progress_Target::Splash);
    }

    ui.Splash_Caption("Загрузка завершена");
    ui.Splash_Progress(100);
}

void Shutdown_Steps(Program_State& state, User_Settings& user_settings) {
    // Derived data that a pass could not write whole are rebuilt at the next start: the marker
    // stays to say so.
    if (!state.Derived_Failure.Failed())
        Remove_File(state.Path_Of(Work_Marker_File));
    Remove_Number_Index_Files(state.Data_Folder);
    user_settings.Save(Settings_Application, "Kernel", "Date", Format_Date(state.Current_Date));
}

void Shutdown(Program_State& state, Ui& ui, User_Settings& user_settings) {
    Shutdown_Steps(state, user_settings);
    End_Process_Now(ui, 0);
}

bool Confirm_Exit(Program_State& state, Ui& ui, User_Settings& user_settings) {
    state.Answer = ui.Message_Box("Вы уверены, что хотите выйти?", box::Yes_No | box::Question,
                                  "Подтверждение выхода из программы");
    if (state.Answer == box::Answer_Yes)
        Shutdown(state, ui, user_settings);
    return false;
}

} // namespace td
