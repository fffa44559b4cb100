#include "reports/rep_reg.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "kernel/state.h"
#include "reports/reference_snapshot.h"
#include "reports/statistics.h"
#include "storage/file_failure.h"
#include "storage/file_safety.h"
#include "storage/header.h"
#include "storage/record_file.h"

#include <cmath>
#include <cstring>

namespace td {

namespace {

constexpr long Scan_Block = 8192; // records read at once by the scan

bool Passes(const Ticket_Record& ticket, const Ticket_Info_Request& request) {
    return ticket.Deleted == 0 && Trim_Text(ticket.Serial_Text()) == Trim_Text(request.serial) &&
           ticket.Fuel == request.fuel_slot && ticket.Volume == request.volume;
}

} // namespace

Rep_Reg::Rep_Reg(Program_State& state, Ui& ui, Clock& clock)
    : state_(state), ui_(ui), clock_(clock) {}

bool Rep_Reg::Show_Ticket(const Ticket_Info_Request& request) {
    Command1_Enabled = false;
    Command2_Enabled = false;

    const std::string database = state_.Path_Of(state_.settings.Database_File);
    Header_Info header;
    Read_Header(database, header);
    const long count = header.count > 0 ? static_cast<long>(header.count) : 0;
    const long offset = static_cast<long>(header.records_offset);
    Record_File file(database, Ticket_Record_Size, Record_File::Mode::Read_Only);
    const Reference_Snapshot references(state_);

    Caption = "Информация по талону ГСМ '" + request.fuel_name + "' на " +
              Format_Date(state_.Current_Date);
    MSFlexGrid1.Clear();
    MSFlexGrid1.Set_Cols(10);
    MSFlexGrid1.Set_Rows(2);
    const auto& headers = Ticket_Column_Headers();
    for (int c = 0; c < 10; ++c)
        MSFlexGrid1.Set_Text(0, c, headers[static_cast<std::size_t>(c)]);

    ui_.Main_Window_Enabled(false);
    ui_.Search_Progress_Show("");
    ui_.Search_Progress_Set(0);

    bool shown = false;
    auto show = [&](const Ticket_Record& ticket) {
        if (ticket.Used == 1) {
            Label1 = "Талон был списан!";
            Command1_Enabled = Command2_Enabled = true;
        } else {
            Label1 = "Талон был продан!";
            Command1_Enabled = true;
        }
        Label1 += "\nИнформация по талону ГСМ '" + request.fuel_name + "'";
        MSFlexGrid1.Add_Item(Ticket_Cells(ticket, references, false));
        shown = true;
    };

    const std::string record_text = Trim_Text(request.record_text);
    if (!record_text.empty()) {
        Text1 = record_text;
        std::uint8_t raw[Ticket_Record_Size];
        const double number = std::nearbyint(Leading_Number(record_text));
        if (number >= 1 && file.Read(static_cast<std::uint64_t>(number), raw)) {
            const Ticket_Record ticket = Decode_Ticket(raw);
            if (Passes(ticket, request))
                show(ticket);
        }
    } else if (file.Is_Open()) {
        std::vector<std::uint8_t> block(static_cast<std::size_t>(Scan_Block) * Ticket_Record_Size);
        double gate = clock_.Seconds_Since_Midnight();
        for (long first = 1; first <= count && !shown; first += Scan_Block) {
            const long n = std::min(Scan_Block, count - first + 1);
            if (!file.Read_Block(static_cast<std::uint64_t>(first + offset),
                                 static_cast<std::uint64_t>(n), block.data()))
                break;
            for (long i = 0; i < n; ++i) {
                const Ticket_Record ticket = Decode_Ticket(block.data() + i * Ticket_Record_Size);
                if (Passes(ticket, request)) {
                    Text1 = std::to_string(first + i + offset);
                    show(ticket);
                    break;
                }
            }
            const double now = clock_.Seconds_Since_Midnight();
            if (std::fabs(now - gate) > 0.2) {
                gate = now;
                ui_.Search_Progress_Set(static_cast<int>(100.0 * (first + n - 1) / count));
                ui_.Pump_Events();
            }
        }
    }

    ui_.Search_Progress_Set(0);
    ui_.Search_Progress_Hide();
    ui_.Main_Window_Enabled(true);
    return shown;
}

bool Rep_Reg::Rewrite(long number, const std::string& title, void (*change)(Ticket_Record&)) {
    const std::string database = state_.Path_Of(state_.settings.Database_File);
    write_failure.clear();
    std::string shown; // the same in Russian, for the box
    constexpr int No_Error = -1;
    auto fail = [&](const std::string& english, const std::string& russian, int error) {
        write_failure = english;
        shown = russian;
        if (error != No_Error) {
            write_failure += std::string(": ") + std::strerror(error);
            shown += " (код ошибки " + std::to_string(error) + ")";
        }
    };
    Database_Lock lock(database);
    if (!lock.Held()) {
        if (lock.Status() == Database_Lock::State::Busy)
            fail("the database is being written by another process",
                 "база данных занята: в неё пишет другая программа", No_Error);
        else
            fail("cannot lock the database", "не удалось занять базу данных", lock.Error());
    } else if (number < 1) {
        fail("no ticket record is named", "не указана запись талона", No_Error);
    } else {
        Record_File file(database, Ticket_Record_Size, Record_File::Mode::Read_Write);
        std::uint8_t raw[Ticket_Record_Size];
        if (!file.Is_Open() || !file.Read(static_cast<std::uint64_t>(number), raw)) {
            fail("cannot read the database", "не удалось прочитать базу данных", file.Error());
        } else {
            Ticket_Record ticket = Decode_Ticket(raw);
            change(ticket);
            Encode(ticket, raw);
            if (!file.Write(static_cast<std::uint64_t>(number), raw) || !file.Sync())
                fail("cannot write the database", "не удалось записать базу данных", file.Error());
        }
    }
    if (write_failure.empty())
        return true;
    ui_.Message_Box("Талон не изменён: " + shown + " (" + database + ").", box::Ok_Only | box::Stop,
                    title);
    return false;
}

void Rep_Reg::Command1_Click() {
    state_.Answer = ui_.Message_Box("Вы точно хотите удалить талон? Его удаление может привести к "
                                    "искажению статистики продаж и списаний!!!",
                                    box::Yes_No | box::Question, "Удаление талона");
    if (state_.Answer != box::Answer_Yes)
        return;
    const std::string number = Trim_Text(Text1);
    if (number.empty()) {
        ui_.Message_Box("Внутренняя ошибка!", box::Ok_Only | box::Stop, "Удаление талона");
        return;
    }
    if (!Rewrite(static_cast<long>(std::nearbyint(Leading_Number(number))), "Удаление талона",
                 [](Ticket_Record& t) { t.Deleted = 1; }))
        return;
    // The deletion's message carries the restoring title: so the window has always said it.
    ui_.Message_Box("Талон удалён. Необходима переиндексация!!! ", box::Ok_Only | box::Information,
                    "Восстановление талона");
    state_.Cache_Stale = true;
}

void Rep_Reg::Command2_Click() {
    state_.Answer = ui_.Message_Box("Вы точно хотите восстановить талон? Его восстановление может "
                                    "привести к искажению статистики продаж и списаний  ",
                                    box::Yes_No | box::Question, "Восстановление талона");
    if (state_.Answer != box::Answer_Yes)
        return;
    if (!Rewrite(static_cast<long>(std::nearbyint(Leading_Number(Trim_Text(Text1)))),
                 "Восстановление талона", [](Ticket_Record& t) { t.Used = 0; }))
        return;
    ui_.Message_Box("Талон восстановлен. Необходима переиндексация!!! ",
                    box::Ok_Only | box::Information, "Восстановление талона");
    state_.Cache_Stale = true;
}

} // namespace td
