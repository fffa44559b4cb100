// The windows of the two browsers, "Справочник покупателей - продажа таллонов" and "Справочник
// заправок - списание талонов", as children of the main window. Each window maps its toolbar, grid
// and date label to its model and forwards events; the models decide everything.
#pragma once

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Qt_MDI_Form;
class Open_Browsers;

// Attaches "Справочник покупателей", "Справочник по заправкам за текущую дату", the toolbar's
// "Продажа таллонов" and "Списание таллонов" and the sort entries and buttons to the main
// window's commands. `browsers` is the registry the working date picker refreshes; it must
// outlive the window.
void Attach_Browser_Views(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                          User_Settings& user_settings, Open_Browsers& browsers);

// Opens (or brings to the front) the buyer or the station browser, as the hooks and tests do.
void Open_Buyer_Browser(Qt_MDI_Form& window);
void Open_Station_Browser(Qt_MDI_Form& window);

} // namespace td
