// The screenshot tour of TALLY_DEPOT_TOUR (see test_hooks.h): every screen of the shell grabbed
// into PNG files, so that one run under Xvfb shows how they look.
#pragma once

#include <string>

namespace td {

struct Program_State;
class Qt_Ui;
class Qt_MDI_Form;

// splash.png, as start-up left it.
void Tour_Splash(Qt_Ui& ui, const std::string& folder);

// main.png, menu-<name>.png for each menu opened, about.png, eggs.png, grid.png (a child window
// with a grid), progress.png, and last fatal.png; the fatal screen then ends the process.
[[noreturn]] void Tour(Qt_MDI_Form& window, Qt_Ui& ui, Program_State& state,
                       const std::string& folder);

} // namespace td
