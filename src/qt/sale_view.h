// "Продажа талонов" as a child window of the main window, opened from the buyer browser's popup
// on the selected buyer. The window maps its widgets to the Register_ticket model and forwards
// every click, key and change of focus; the model decides everything.
#pragma once

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Qt_MDI_Form;
class Open_Browsers;

// Attaches mnu_popup_sell to the main window. `browsers` names the open buyer browser the
// screen takes its buyer from; it must outlive the window.
void Attach_Sale_View(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                      User_Settings& user_settings, Open_Browsers& browsers);

// Opens the sale screen (or brings it to the front), as the popup does.
void Open_Sale_Screen(Qt_MDI_Form& window);

} // namespace td
