#include "kernel/cache_passes.h"

#include "base/ports.h"
#include "base/text.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "storage/dated_totals.h"
#include "storage/index_batch.h"
#include "storage/rebuild.h"
#include "storage/user_cache.h"

namespace td {
namespace {

// Progress of the passes over the database: at most every 0.4 seconds.
constexpr double Pass_Progress_Interval = 0.4;

std::string Key_Text(std::string_view text) {
    return Lower_Ascii(Trim_Text(text));
}

// A pass that could not read or write a file whole: the run remembers it, so that shutdown keeps
// the work marker and the next start rebuilds, and the user learns which file and why.
File_Failure Pass_Failed(Program_State& state, Ui& ui, const File_Failure& failure) {
    if (!failure.Failed())
        return failure;
    state.Derived_Failure.Note(failure);
    ui.Message_Box(Pass_Failure_Text(failure), box::Stop, "Ошибка");
    return failure;
}

File_Failure Run_Rebuild(Program_State& state, Ui& ui, Clock& clock,
                         const std::string& user_cache_file, const std::string& database_file,
                         Rebuild_Mode mode, Progress_Target target) {
    Ui_Progress_Display display(ui, target);
    Pass_Progress progress(display, clock, target, Pass_Progress_Interval);
    Pass_Files files;
    files.data_folder = state.Data_Folder;
    files.database = database_file.empty() ? std::string() : state.Path_Of(database_file);
    files.company = state.Path_Of(state.settings.Company_File);
    files.cache_diff = state.Path_Of(state.settings.Cache_Diff_File);
    files.cache_used = state.Path_Of(state.settings.Cache_Used_File);
    files.cache_user = state.Path_Of(user_cache_file);
    const Rebuild_Result result = Rebuild_Derived_Data(
        files, mode, state.Current_Date, state.Ticket_Table, state.Z_Counts, progress);
    state.Deleted_Slot_Hint =
        result.first_deleted != 0 ? static_cast<long>(result.first_deleted)
                                  : static_cast<long>(state.Ticket_Table.size());
    switch (result.outcome) {
    case Rebuild_Result::Outcome::Too_Large:
    case Rebuild_Result::Outcome::Out_Of_Memory:
        Fatal_Error(ui, fatal_site::Cache_Module, fatal_site::Cache_Code);
        break;
    case Rebuild_Result::Outcome::Done:
    case Rebuild_Result::Outcome::No_Header:
        break;
    }
    return Pass_Failed(state, ui, result.write_failure);
}

// The frame of the dated totals around the pass: the form goes at the end, the main window comes
// back, and the events that waited are let through.
template <typename Pass>
File_Failure Run_Dated_Totals(Program_State& state, Ui& ui, Clock& clock, Progress_Target target,
                              const char* fatal_module, const char* fatal_code, Pass pass) {
    Ui_Progress_Display display(ui, target);
    Pass_Progress progress(display, clock, target, Pass_Progress_Interval);
    const Dated_Totals_Result result = pass(progress);
    if (result.out_of_memory) {
        Fatal_Error(ui, fatal_module, fatal_code);
        return {};
    }
    if (target != Progress_Target::Splash) {
        ui.Search_Progress_Hide();
        ui.Main_Window_Enabled(true);
    }
    ui.Pump_Events();
    return Pass_Failed(state, ui, result.write_failure);
}

File_Failure Company_Totals(Program_State& state, Ui& ui, Clock& clock,
                            const std::string& database_file, double date, Progress_Target target) {
    return Run_Dated_Totals(state, ui, clock, target, fatal_site::Request_Module,
                            fatal_site::Request_Code, [&](Pass_Progress& progress) {
                                return Rebuild_Company_Totals(
                                    state.Path_Of(database_file),
                                    state.Path_Of(state.settings.Company_File),
                                    state.Path_Of(state.settings.Cache_Diff_File), date, progress);
                            });
}

File_Failure Station_Totals(Program_State& state, Ui& ui, Clock& clock,
                            const std::string& database_file, double date_from, double date_to,
                            Progress_Target target) {
    return Run_Dated_Totals(state, ui, clock, target, fatal_site::Range_Module,
                            fatal_site::Range_Code, [&](Pass_Progress& progress) {
                                return Rebuild_Station_Totals(
                                    state.Path_Of(database_file),
                                    state.Path_Of(state.settings.Cache_Used_File), date_from,
                                    date_to, progress);
                            });
}

} // namespace

Progress_Target Parse_Progress_Target(std::string_view target) {
    return Key_Text(target) == "splash" ? Progress_Target::Splash : Progress_Target::Form;
}

void Ui_Progress_Display::Begin() {
    if (target_ == Progress_Target::Splash) {
        ui_.Splash_Progress(10);
    } else {
        ui_.Main_Window_Enabled(false);
        ui_.Search_Progress_Show("");
        if (reset_form_)
            ui_.Search_Progress_Set(0);
    }
}

void Ui_Progress_Display::Show(int value) {
    if (target_ == Progress_Target::Splash)
        ui_.Splash_Progress(value);
    else
        ui_.Search_Progress_Set(value);
}

void Ui_Progress_Display::Pump() {
    ui_.Pump_Events();
}

File_Failure Rebuild_All(Program_State& state, Ui& ui, Clock& clock, Progress_Target target) {
    return Run_Rebuild(state, ui, clock, state.settings.Cache_User_File,
                       state.settings.Database_File, Rebuild_Mode::Full, target);
}

File_Failure Rebuild_Index(Program_State& state, Ui& ui, Clock& clock, Progress_Target target) {
    return Run_Rebuild(state, ui, clock, state.settings.Cache_User_File,
                       state.settings.Database_File, Rebuild_Mode::Index_Only, target);
}

File_Failure Rebuild_Company_Totals(Program_State& state, Ui& ui, Clock& clock, double date,
                                    Progress_Target target) {
    return Company_Totals(state, ui, clock, state.settings.Database_File, date, target);
}

File_Failure Rebuild_Station_Totals(Program_State& state, Ui& ui, Clock& clock, double date_from,
                                    double date_to, Progress_Target target) {
    return Station_Totals(state, ui, clock, state.settings.Database_File, date_from, date_to,
                          target);
}

File_Failure Write_Z_Headers(Program_State& state) {
    const File_Failure failure = Write_Z_Headers(state.Data_Folder, state.Z_Counts);
    state.Derived_Failure.Note(failure);
    return failure;
}

std::string Pass_Failure_Text(const File_Failure& failure) {
    return "Ошибка при работе с файлом " + failure.Text() +
           ".\r\nИтоги и индексы построены не полностью; они будут перестроены при следующем "
           "запуске программы.";
}

std::string CreateCacheFile(Program_State& state, Ui& ui, Clock& clock,
                            const std::string& user_cache_file, std::string_view mode, long company,
                            const std::string& name, const std::string& database_file,
                            std::string_view target) {
    const std::string mode_key = Key_Text(mode);
    if (mode_key == "add") {
        switch (Add_To_User_Cache(state.Path_Of(user_cache_file), company, name)) {
        case User_Cache_Addition::Company_Zero:
            return "1";
        case User_Cache_Addition::Added:
            return "0";
        case User_Cache_Addition::Failed:
            break;
        }
        Fatal_Error(ui, fatal_site::Cache_Module, fatal_site::Cache_Code);
        return "Error!";
    }
    if (mode_key == "new" || mode_key == "proection")
        Run_Rebuild(state, ui, clock, user_cache_file, database_file,
                    mode_key == "new" ? Rebuild_Mode::Full : Rebuild_Mode::Index_Only,
                    Parse_Progress_Target(target));
    return "Error!";
}

std::string CreateCacheFileForRequest(Program_State& state, Ui& ui, Clock& clock,
                                      const std::string& cache_file, double date,
                                      const std::string& database_file, std::string_view target) {
    (void)cache_file;
    Company_Totals(state, ui, clock, database_file, date, Parse_Progress_Target(target));
    return "Error!";
}

std::string CreateCacheFileForRange(Program_State& state, Ui& ui, Clock& clock,
                                    const std::string& cache_file, double date_from, double date_to,
                                    const std::string& database_file, std::string_view target) {
    (void)cache_file;
    Station_Totals(state, ui, clock, database_file, date_from, date_to,
                   Parse_Progress_Target(target));
    return "Error!";
}

} // namespace td
