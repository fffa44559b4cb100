#include "maintenance/delete_records.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "kernel/unhandled.h"
#include "maintenance/deletion_pass.h"
#include "maintenance/maintenance_views.h"
#include "storage/file_safety.h"
#include "storage/record_file.h"
#include "storage/reference.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <map>
#include <sys/stat.h>

namespace td {

namespace {

// The system's failure numbers met here.
constexpr long Bad_Record_Number = 63;
constexpr long Subscript_Out_Of_Range = 9;

// Absolute difference of the clock, which wraps at midnight.
bool Gate_Passed(Clock& clock, double& last, double gate) {
    double now = clock.Seconds_Since_Midnight();
    if (std::fabs(now - last) < gate)
        return false;
    last = now;
    return true;
}

// Tickets between two lets of the event loop: the bar lives, and the pass is not held up by one
// turn of the loop per ticket.
constexpr long Pump_Every = 4096;

// The clock is asked about a thousand times a pass: at millions of tickets a reading per ticket
// would cost more than the rest of the pass.
long Clock_Stride(long count) {
    return std::max(1L, count / 1024);
}

} // namespace

std::string Cleared_Folder_Name(double day, double seconds) {
    const Calendar_Day parts = Date_Parts(day);
    long s = static_cast<long>(seconds);
    char name[40];
    std::snprintf(name, sizeof name, "Cleared-%04d%02d%02d-%02ld%02ld%02ld", parts.year,
                  parts.month, parts.day, (s / 3600) % 24, (s / 60) % 60, s % 60);
    return name;
}

const std::vector<std::string>& Delete_records::Forms_To_Close() {
    static const std::vector<std::string> names{"Register_ticket", "Reports",     "Reports_S",
                                                "Resolve_Tickets", "Sell_Ticets", "Shop"};
    return names;
}

Delete_records::Delete_records(Program_State& state, Ui& ui, Clock& clock, Maintenance_Views& views)
    : state_(state), ui_(ui), clock_(clock), views_(views) {}

void Delete_records::Form_Load() {
    for (int v = 10; v <= 100; v += 10) {
        char text[8];
        std::snprintf(text, sizeof text, "%03d", v);
        Combo2.Add_Item(text);
    }
    for (double litres : Read_User_Volumes(state_.Path_Of(state_.settings.User_Volume_File))) {
        std::string text = Format_Number(litres);
        if (text.size() < 3)
            text.insert(0, 3 - text.size(), '0');
        Combo2.Add_Item(text);
    }
    for (const Fuel_Record& fuel : Read_Fuel_Slots(state_.Path_Of(state_.settings.Fuel_File))) {
        std::string name = Trim_Text(fuel.Name);
        if (!name.empty())
            Combo1.Add_Item(name);
    }
    Combo1.Set_List_Index(0);
    Combo2.Set_List_Index(0);
    option2_caption_ = Option2_Prefix + Format_Date(state_.Current_Date);
    fields_enabled_ = false;
}

void Delete_records::Option1_Click() {
    option_ = 1;
    fields_enabled_ = false;
}

void Delete_records::Option2_Click() {
    option_ = 2;
    fields_enabled_ = false;
    views_.Show_Calendar_Single();
    option2_caption_ = Option2_Prefix + Format_Date(state_.Current_Date);
}

void Delete_records::Option2_DblClick() {
    views_.Show_Calendar_Single();
    option2_caption_ = Option2_Prefix + Format_Date(state_.Current_Date);
}

void Delete_records::Option3_Click() {
    option_ = 3;
    fields_enabled_ = false;
}

void Delete_records::Option4_Click() {
    option_ = 4;
    fields_enabled_ = true;
}

void Delete_records::Set_Progress(int value) {
    progress_ = value;
    if (On_Progress)
        On_Progress();
}

void Delete_records::Command1_Click() {
    state_.Answer =
        ui_.Message_Box("Вы точно хотите удалить талоны?", box::Yes_No + box::Question, "Удаление");
    if (state_.Answer == box::Answer_No)
        return;
    state_.Answer = ui_.Message_Box(
        "Статистическая информация по удалёным талонам будет недоступна!\r\nПродолжить?",
        box::Yes_No + box::Information, "Информация");
    if (state_.Answer == box::Answer_No)
        return;
    views_.Close_Forms(Forms_To_Close());
    Set_Progress(0);
    last_count_ = 0;
    if (option_ == 1)
        Delete_Redeemed(false);
    if (option_ == 2)
        Delete_Redeemed(true);
    if (option_ == 3)
        Clear_Database();
    if (option_ == 4)
        Delete_Range();
    Set_Progress(0);
}

void Delete_records::Rebuild() {
    Rebuild_All(state_, ui_, clock_, Progress_Target::Form);
    ui_.Search_Progress_Hide();
    ui_.Main_Window_Enabled(true);
}

void Delete_records::Delete_Redeemed(bool on_current_date) {
    const std::string database = state_.Path_Of(state_.settings.Database_File);
    const std::string used_file = state_.Path_Of(state_.settings.Cache_Used_File);
    // The station totals lose what each marked ticket took. They are derived data, rebuilt at the
    // end (and at the next start should the run end before): kept in memory, written at the end.
    std::map<long, Cache_Record> station_totals;
    Record_File used(used_file, Cache_Record_Size);
    auto station_total = [&](long station) -> Cache_Record& {
        auto it = station_totals.find(station);
        if (it == station_totals.end()) {
            std::vector<std::uint8_t> raw(Cache_Record_Size, 0);
            used.Read(static_cast<std::uint64_t>(station), raw.data());
            it = station_totals.emplace(station, Decode_Cache(raw.data())).first;
        }
        return it->second;
    };
    auto write_station_totals = [&] {
        std::uint8_t raw[Cache_Record_Size];
        for (const auto& [station, record] : station_totals) {
            Encode(record, raw);
            used.Write(static_cast<std::uint64_t>(station), raw);
        }
    };

    long failure_number = 0;
    std::string failure_text;
    double last = clock_.Seconds_Since_Midnight();
    Deletion_Pass pass;
    const double date = state_.Current_Date;
    pass.select = [&](long, const Ticket_Record& t) {
        if (t.Deleted == 1 || t.Used != 1)
            return false;
        return !on_current_date || t.Validation_Date == date;
    };
    pass.marked = [&](long i, const Ticket_Record& t) {
        if (i >= 1 && static_cast<std::size_t>(i) < state_.Ticket_Table.size()) {
            Ticket_Record entry = state_.Ticket_Table[static_cast<std::size_t>(i)];
            entry.Deleted = 1;
            state_.Ticket_Table[static_cast<std::size_t>(i)] = entry;
        }
        // The redemption-date option takes the station from an empty record: station 0, a record
        // number the file can't have. The run ends there, the ticket already marked.
        const long station = on_current_date ? 0 : t.Establishment;
        if (station < 1) {
            failure_number = Bad_Record_Number;
            failure_text = "Bad record number";
            return false;
        }
        if (t.Fuel > 9) {
            failure_number = Subscript_Out_Of_Range;
            failure_text = "Subscript out of range";
            return false;
        }
        Cache_Record& total = station_total(station);
        total.Fuel_Total[t.Fuel] -= t.Real_Volume;
        return true;
    };
    pass.progress = [&](long i, long count) {
        if (i % Clock_Stride(count) == 0 && Gate_Passed(clock_, last, 0.2))
            Set_Progress(count > 0 ? static_cast<int>(100LL * i / count) : 0);
        if (i % Pump_Every == 0)
            ui_.Pump_Events();
    };
    const Deletion_Result result = Run_Deletion_Pass(database, pass);
    last_count_ = result.count;
    write_station_totals();
    used.Sync();
    used.Close();
    if (result.outcome == Deletion_Result::Outcome::Stopped)
        Unhandled_Failure(ui_, failure_number, failure_text);
    if (result.outcome != Deletion_Result::Outcome::Done)
        Unhandled_Failure(ui_, result.outcome == Deletion_Result::Outcome::Busy ? 70 : 57,
                          result.outcome == Deletion_Result::Outcome::Busy
                              ? "Permission denied: another process writes " + database
                              : result.failure.Text());
    Set_Progress(100);
    if (on_current_date)
        ui_.Message_Box("Все списанные талоны за " + Format_Date(state_.Current_Date) +
                            ", в количестве " + std::to_string(result.count) + " шт - удалены!",
                        box::Ok_Only, "Удаление завершено");
    else
        ui_.Message_Box("Все списанные талоны, в количестве " + std::to_string(result.count) +
                            " шт - удалены!",
                        box::Ok_Only, "Удаление завершено");
    Rebuild();
}

void Delete_records::Clear_Database() {
    const std::string database = state_.Path_Of(state_.settings.Database_File);
    std::string folder = state_.Data_Folder + "/" +
                         Cleared_Folder_Name(clock_.Today(), clock_.Seconds_Since_Midnight());
    // Two clearings in one second go to folders of their own.
    for (int n = 2; ::mkdir(folder.c_str(), 0755) != 0; ++n) {
        if (errno != EEXIST || n > 99)
            Unhandled_Failure(
                ui_, 75, "Path/File access error: " + folder + " (" + System_Reason(errno) + ")");
        folder = state_.Data_Folder + "/" +
                 Cleared_Folder_Name(clock_.Today(), clock_.Seconds_Since_Midnight()) + "-" +
                 std::to_string(n);
    }
    Sync_Folder_Of(folder);
    {
        Database_Lock lock(database);
        if (lock.Status() == Database_Lock::State::Busy)
            Unhandled_Failure(ui_, 70, "Permission denied: another process writes " + database);
        for (const std::string& name :
             {state_.settings.Database_File, state_.settings.Cache_Diff_File,
              state_.settings.Cache_Used_File, state_.settings.Cache_User_File}) {
            const std::string from = state_.Path_Of(name);
            if (!File_Exists(from))
                continue;
            const std::string to = folder + "/" + name.substr(name.find_last_of("/\\") + 1);
            if (::rename(from.c_str(), to.c_str()) != 0)
                Unhandled_Failure(
                    ui_, 75, "Path/File access error: " + from + " (" + System_Reason(errno) + ")");
        }
        Sync_Folder_Of(folder + "/x");
        Sync_Folder_Of(database);
    }
    if (On_Cleared)
        On_Cleared(folder);
    ui_.Message_Box("База данных очищена.\r\nУдалено: 0\r\nНеобходимо перезапустить программу!",
                    box::Ok_Only, "Удаление завершено");
    End_Process_Now(ui_, 0);
}

void Delete_records::Delete_Range() {
    const std::string database = state_.Path_Of(state_.settings.Database_File);
    const int fuel = Combo1.Find(Combo1.Text()) + 1;
    const long volume = std::lround(Leading_Number(Combo2.Text()));
    const double first_number = Leading_Number(Text1.substr(0, 6));
    const double span = Leading_Number(Text2) - Leading_Number(Text1);
    if (Leading_Number(Text2) == 0 || span < 0 || Trim_Text(Text1).empty()) {
        Set_Progress(0);
        return;
    }
    double last = clock_.Seconds_Since_Midnight();
    Deletion_Pass pass;
    pass.select = [&](long, const Ticket_Record& t) {
        const double serial = Leading_Number(t.Serial_Text());
        return serial >= first_number && serial <= first_number + span && t.Fuel == fuel &&
               t.Volume == volume;
    };
    pass.progress = [&](long i, long count) {
        if (i % Clock_Stride(count) == 0 && Gate_Passed(clock_, last, 0.34))
            Set_Progress(count > 0 ? static_cast<int>(100LL * i / count) : 0);
        if (i % Pump_Every == 0)
            ui_.Pump_Events();
    };
    const Deletion_Result result = Run_Deletion_Pass(database, pass);
    last_count_ = result.count;
    if (result.outcome != Deletion_Result::Outcome::Done)
        Unhandled_Failure(ui_, result.outcome == Deletion_Result::Outcome::Busy ? 70 : 57,
                          result.outcome == Deletion_Result::Outcome::Busy
                              ? "Permission denied: another process writes " + database
                              : result.failure.Text());
    Set_Progress(100);
    ui_.Message_Box("Удалено: " + std::to_string(result.count) +
                        " талонов\r\nНеобходима полная переиндексация!",
                    box::Ok_Only, "Удаление талонов");
    Rebuild();
}

} // namespace td
