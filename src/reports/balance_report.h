// The balance report and its family: for every client company and fuel grade what was sold,
// redeemed and left, in sections by level 1 company, with section and grand totals. The six
// commands differ only in the tickets they take (by Sell_Date: up to the working date, or within
// the period) and in the figure they show.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace td {

struct Program_State;
class Clock;
class User_Settings;
class Cld_Usr;

// Shows the period picker modally; returns once it is closed.
using Period_Dialog = std::function<void(Cld_Usr&)>;

enum class Balance_Figure { All, Sold, Redeemed, Left };

struct Balance_Command {
    const char* command;  // the menu command
    const char* cli_name; // tdctl report NAME
    Balance_Figure figure;
    bool period;         // Sell_Date within Low_Date..High_Date, else up to Current_Date
    const char* title;   // followed by the date, or by the period and "]"
    const char* heading; // the second heading cell of a section
    const char* total;   // the grand total row
};

// The six commands, in the order of the menus.
const std::vector<Balance_Command>& Balance_Commands();
const Balance_Command* Find_Balance_Command(const std::string& command);
// The command that tdctl names `cli_name`, with or without a period; null if none.
const Balance_Command* Find_Balance_Command(const std::string& cli_name, bool period);

inline constexpr const char* Section_Total_Text = "        Итого по разделу:";

struct Balance_Report {
    bool ok = false;
    // What stopped the run (a code or an index out of range), naming the ticket or company:
    // in English for tdctl, and in Russian for the desktop's box.
    std::string failure;
    std::string screen_failure;
    std::string title;
    std::vector<std::string> fuel_names; // the named fuels in slot order, without gaps
    std::vector<std::string> rows;
};

// Builds the report of `command` from Ticket_Table, the company file and the fuel file. The
// period commands take Low_Date and High_Date as they stand (the caller asked for them and put
// them in order).
Balance_Report Build_Balance_Report(const Program_State& state, const Balance_Command& command);

// The command as the menu runs it: a period command asks for the period first, and builds
// nothing when the picker is cancelled (no value; the rows on show stay). A report that was
// built replaces Report_Rows; a failed one leaves them empty.
std::optional<Balance_Report> Run_Balance_Command(Program_State& state, Clock& clock,
                                                  User_Settings& settings,
                                                  const Balance_Command& command,
                                                  const Period_Dialog& dialog);

} // namespace td
