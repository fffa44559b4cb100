// Thin views of the catalogue screens and the working date picker. Each maps widgets to its
// screen's model and forwards events; the models decide everything.
#pragma once

namespace td {

struct Program_State;
class Ui;
class Clock;
class Qt_MDI_Form;
class Browser_Refresh;

// Attaches "Справочник ГСМ", "Заправки", "Новая серия талонов по литражу" and the working date
// picker (menu and toolbar "Set date") to the main window's commands. `browsers`, when given,
// is told of a new working date so that the open browsers refresh.
void Attach_Catalogue_Views(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                            Browser_Refresh* browsers = nullptr);

} // namespace td
