#include "shell/database_commands.h"

#include "base/ports.h"
#include "kernel/cache_passes.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "storage/defragmentation.h"
#include "storage/file_safety.h"
#include "storage/record_file.h"

#include <cstring>

namespace td {

namespace {
// Defragmentation shows its progress at most every half second.
constexpr double Defrag_Progress_Interval = 0.5;
} // namespace

std::string Defrag_Refusal_Text(const Defrag_Refusal& refusal) {
    std::string text = "Дефрагментация не проведена: база данных не сходится со своим заголовком.";
    if (refusal.uncounted_records > 0)
        text += "\nЗаписей в файле сверх числа в заголовке (" + std::to_string(refusal.count) +
                "): " + std::to_string(refusal.uncounted_records) +
                ". Дефрагментация удалила бы их.";
    if (refusal.checksum_disagrees)
        text += "\nКонтрольная сумма заголовка не совпадает: числу записей в нём нельзя верить.";
    text += "\nФайл базы данных оставлен без изменений.";
    return text;
}

std::string SE_Defragmentation(Program_State& state, Ui& ui, Clock& clock,
                               const std::string& database_file, Defrag_Uncounted uncounted,
                               Defrag_Refusal* refusal_out, Defrag_Outcome* outcome) {
    auto ended = [outcome](Defrag_Outcome how) {
        if (outcome != nullptr)
            *outcome = how;
        return std::string("$ERROR$");
    };
    const std::string database_path = state.Path_Of(database_file);
    // Taken before the work file is cleared: a process defragmenting the same database from
    // elsewhere uses the same work file, and it is left alone unless the lock is held.
    Database_Lock lock(database_path);
    const std::string work_path = Defrag_Work_Path(database_path);
    if (lock.Status() == Database_Lock::State::Busy ||
        (lock.Held() && Defrag_File_Busy(work_path))) {
        ui.Message_Box("Невозможно провести дефрагментацию!", box::Stop, "Ошибка!");
        return ended(Defrag_Outcome::Refused);
    }
    Ui_Progress_Display display(ui, Progress_Target::Form, false);
    Pass_Progress progress(display, clock, Progress_Target::Form, Defrag_Progress_Interval);
    Defrag_Failure failure;
    Defrag_Refusal refusal;
    long long kept = 0;
    bool compacted = false;
    if (lock.Held())
        compacted = Compact_Database(database_path, work_path, lock, uncounted, progress, failure,
                                     refusal, kept);
    else
        failure = {std::strerror(lock.Error()), lock.Error(), database_path};
    if (refusal_out != nullptr)
        *refusal_out = refusal;
    if (refusal.refused) {
        ui.Message_Box(Defrag_Refusal_Text(refusal), box::Stop, "Ошибка!");
        return ended(Defrag_Outcome::Refused);
    }
    if (!compacted) {
        // The work file stays: the next attempt clears it.
        Fatal_Error(ui, std::string(fatal_site::Defrag_Module) + "\r\n" + failure.description,
                    std::string(fatal_site::Defrag_Code) + Hex_Number(failure.number),
                    failure.path + ": " + failure.description);
        return ended(Defrag_Outcome::Failed);
    }
    Remove_File(work_path);
    // The box below may wait on the user for long: other writers go on meanwhile.
    lock.Release();
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
