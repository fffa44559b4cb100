// The report windows of the desktop program: the three viewers (Reports_F, Reports, Reports_S),
// the period picker Cld_Usr, and Rep_Reg; the menu and popup commands that open them.
#pragma once

#include "reports/rep_reg.h"

class QWidget;

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Open_Browsers;
class Qt_MDI_Form;
class Grid;

void Attach_Report_Views(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                         User_Settings& settings, Open_Browsers& browsers);

// Rep_Reg for one row of a result grid: what the "Информация" entries of the sale and
// redemption screens call. The window opens whether a coupon is found or not, as the search
// left it.
void Open_Ticket_Information(Qt_MDI_Form& window, const Ticket_Info_Request& request);

// The toolbar's "Печать" over the window in front: its grid and title label found by name,
// drawn in the simple layout. Nothing when the window has no such grid.
void Print_Window_Page(QWidget* window, Ui& ui);

} // namespace td
