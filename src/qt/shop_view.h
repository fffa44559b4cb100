// The window of "Списание талонов" as a child of the main window: the station list, the fuel and
// volume lists, the number list edited in place by the model's key rules, the result grid and the
// three buttons, over one Shop model.
#pragma once

namespace td {

struct Program_State;
class Ui;
class Clock;
class Qt_MDI_Form;
class Open_Browsers;

// Attaches the two browsers' "Списание талонов" entries and the "Очистить" entries of the
// screen's own menus to the main window's commands. `browsers` must outlive the window.
void Attach_Shop_View(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                      Open_Browsers& browsers);

// Opens (or brings to the front) the screen with the fuel it last opened with, as the hooks and
// tests do.
void Open_Shop(Qt_MDI_Form& window);

} // namespace td
