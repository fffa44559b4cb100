// Rep_Reg: one coupon in a small window, found from a row of the sale or redemption result grid,
// with the two commands that alter it by hand ("Удалить", "Восстановить").
#pragma once

#include "storage/records.h"
#include "ui/grid.h"

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;

// What the "Информация" entry of a result grid hands over.
struct Ticket_Info_Request {
    std::string serial{}; // column 0 of the selected result row
    std::string
        record_text{};       // its hidden third cell: the ticket's record number in the file, or ""
    int fuel_slot = 0;       // the position of the fuel in the source form's list + 1
    double volume = 0.0;     // the value of the source form's volume box
    std::string fuel_name{}; // the fuel as the browser's grid names it, for the caption
};

class Rep_Reg {
public:
    Rep_Reg(Program_State& state, Ui& ui, Clock& clock);

    std::string Caption;
    std::string Label1;
    std::string Text1; // the record number in the database file, header records included
    Grid MSFlexGrid1{2, 10};
    bool Command1_Enabled = true; // "Удалить"
    bool Command2_Enabled = true; // "Восстановить"
    bool closed = false;
    // Why the last "Удалить" or "Восстановить" wrote nothing; empty when it wrote.
    std::string write_failure;

    // Fills the window for the row of a result grid: the first coupon of that number, fuel and
    // volume that isn't deleted, found at the record of the row or else by a scan of the file.
    // True if a coupon was shown.
    bool Show_Ticket(const Ticket_Info_Request& request);

    void Command1_Click(); // "Удалить"
    void Command2_Click(); // "Восстановить"
    void Command3_Click() { closed = true; }

private:
    // Reads the ticket at record `number`, lets `change` alter it and writes it back, under the
    // database lock and to the disk. False after telling the user why nothing was written.
    bool Rewrite(long number, const std::string& title, void (*change)(Ticket_Record&));

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
};

} // namespace td
