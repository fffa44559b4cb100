// "Проверить": whether the numbers of the fields can be sold. A plain read of the whole database,
// so that the verdict speaks of what is on disk; nothing is written.
#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "kernel/state.h"
#include "tickets/register_ticket.h"
#include "tickets/result_log.h"
#include "tickets/sale_common.h"

#include <string>
#include <vector>

namespace td {
namespace {

constexpr double Check_Progress_Interval = 0.4;

void Positive_Verdict(Register_ticket& screen) {
    Grid& grid = screen.MSFlexGrid2;
    Add_Blank_Row(grid);
    Add_Log_Row(grid, {"", "Талон(ы) могут быть зарегистрирован(ы).", ""}, log_colour::Acceptance);
    if (screen.Option(7))
        Add_Log_Row(grid, {"", Range_Row_Text(screen), ""});
    else if (screen.Option(5))
        Add_Log_Row(grid, {"", "Номер: " + screen.Text(1) + " кол-во: 1 шт.", ""});
    Scroll_To_Last(grid);
    screen.Set_Outcome(Sale_Outcome::Accepted);
}

// Tickets 1 to the count, with the bar every 0.4 seconds.
template <typename Visit> void Scan(Register_ticket& screen, Visit&& visit) {
    Program_State& state = screen.State();
    const long count = state.Ticket_Count;
    double shown = screen.Time().Seconds_Since_Midnight();
    Scan_Tickets(state, screen.User_Interface(), count, visit, [&](long position) {
        screen.Gate_Progress(shown, Check_Progress_Interval,
                             static_cast<int>(position * 100.0 / count));
    });
}

void Check_One(Register_ticket& screen, const Sale_Order& order) {
    Program_State& state = screen.State();
    state.Sale_Checked = true;
    const std::array<char, 6> wanted = Six_Characters(screen.Text(1));
    bool hit = false;
    Scan(screen, [&](long i, const Ticket_Record& ticket) {
        // Deleted is not looked at: a deleted ticket keeps its number for a single sale.
        if (ticket.Fuel != order.fuel || ticket.Volume != order.volume || ticket.Serial != wanted)
            return true;
        Log_Row row;
        if (!Taken_Row(ticket, std::to_string(i + state.Records_Offset), row))
            return true;
        Add_Log_Row(screen.MSFlexGrid2, row, log_colour::Refusal);
        hit = true;
        return false;
    });
    if (!hit) {
        Positive_Verdict(screen);
        return;
    }
    state.Sale_Checked = false;
    Add_Blank_Row(screen.MSFlexGrid2);
    Add_Log_Row(screen.MSFlexGrid2, {"", "Талон НЕ может быть зарегистрирован.", ""},
                log_colour::Refusal);
    screen.Set_Outcome(Sale_Outcome::Refused);
}

void Check_Range(Register_ticket& screen, const Sale_Order& order) {
    Program_State& state = screen.State();
    const double first = Leading_Number(screen.Text(4));
    const double count = Leading_Number(screen.Text(5));
    if (first == 0 && count == 0)
        return;
    state.Sale_Checked = true;
    const double last = first + count - 1;
    Grid& grid = screen.MSFlexGrid2;
    bool hit = false;
    Scan(screen, [&](long i, const Ticket_Record& ticket) {
        if (ticket.Fuel != order.fuel || ticket.Volume != order.volume || ticket.Deleted != 0)
            return true;
        const double value = Serial_Value(ticket);
        if (value < first || value > last)
            return true;
        Log_Row row;
        if (Taken_Row(ticket, std::to_string(i + state.Records_Offset), row)) {
            Add_Log_Row(grid, row, log_colour::Refusal);
            hit = true;
            Scroll_To_Last(grid);
        }
        return true;
    });
    if (!hit) {
        Positive_Verdict(screen);
        return;
    }
    Add_Blank_Row(grid);
    Add_Log_Row(grid, {"", "Талон(ы) НЕ могут быть зарегистрирован(ы).", ""}, log_colour::Refusal);
    Add_Log_Row(grid, {"", Range_Row_Text(screen), ""});
    Scroll_To_Last(grid);
    state.Sale_Checked = false;
    screen.Set_Outcome(Sale_Outcome::Refused);
}

} // namespace

void Check_Sale(Register_ticket& screen) {
    screen.Set_Outcome(Sale_Outcome::None);
    const Sale_Order order = Open_Sale_Rows(screen, "Проверка регистрации талонов");
    if (screen.Option(5)) {
        Check_One(screen, order);
    } else if (screen.Option(7)) {
        Check_Range(screen, order);
    } else if (screen.Option(6)) {
        // The end field was never left: nothing is scanned and the verdict means nothing. A
        // range in the first field is read and its result not used.
        if (screen.Text(2).find('-') != std::string::npos) {
            std::vector<std::string> parts;
            long ignored = 0;
            Parse_Serial_Range(screen.Text(2), parts, ignored);
        }
        Positive_Verdict(screen);
    }
    screen.Working(false);
}

} // namespace td
