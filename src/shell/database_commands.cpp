#include "shell/database_commands.h"

#include "base/ports.h"
#include "kernel/cache_passes.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "storage/defragmentation.h"
#include "storage/record_file.h"

namespace td {

namespace {
// Defragmentation shows its progress at most every half second.
constexpr double Defrag_Progress_Interval = 0.5;
} // namespace

std::string SE_Defragmentation(Program_State& state, Ui& ui, Clock& clock,
                               const std::string& database_file, Defrag_Outcome* outcome) {
    auto ended = [outcome](Defrag_Outcome how) {
        if (outcome != nullptr)
            *outcome = how;
        return std::string("$ERROR$");
    };
    const std::string work_path = state.Path_Of(Defrag_Work_File);
    if (Defrag_File_Busy(work_path)) {
        ui.Message_Box("Невозможно провести дефрагментацию!", box::Stop, "Ошибка!");
        return ended(Defrag_Outcome::Refused);
    }
    Ui_Progress_Display display(ui, Progress_Target::Form, false);
    Pass_Progress progress(display, clock, Progress_Target::Form, Defrag_Progress_Interval);
    Defrag_Failure failure;
    long long kept = 0;
    if (!Compact_Database(state.Path_Of(database_file), work_path, progress, failure, kept)) {
        // The work file stays: the next attempt clears it.
        Fatal_Error(ui, std::string(fatal_site::Defrag_Module) + "\r\n" + failure.description,
                    std::string(fatal_site::Defrag_Code) + Hex_Number(failure.number),
                    failure.path + ": " + failure.description);
        return ended(Defrag_Outcome::Failed);
    }
    Remove_File(work_path);
    ui.Search_Progress_Set(0);
    ui.Search_Progress_Hide();
    ui.Message_Box("Дефрагментация завершена, необходима полная переиндексация!", box::Information,
                   "Дефрагментация");
    Rebuild_All(state, ui, clock, Progress_Target::Form);
    ui.Main_Window_Enabled(true);
    return ended(Defrag_Outcome::Done);
}

void Reindex_Database(Program_State& state, Ui& ui, Clock& clock) {
    ui.Close_All_Children();
    state.Ticket_Table.assign(1, Ticket_Record{});
    Rebuild_All(state, ui, clock, Progress_Target::Form);
    ui.Search_Progress_Set(0);
    ui.Search_Progress_Hide();
    ui.Main_Window_Enabled(true);
}

} // namespace td
