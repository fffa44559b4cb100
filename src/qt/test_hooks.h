// Hooks for running the desktop program unattended: the program-level tests and the demo's
// screenshot use them. All are environment variables; none is set in ordinary use.
//
//   TALLY_DEPOT_AUTO_ANSWER=yes|no|LIST  boxes are not shown but written to standard error as
//       "tallydepot: box <flags> <title> | <text>" and answered: Yes/No boxes from the
//       comma-separated LIST in turn (the last answer repeats), other boxes with Ok. The fatal
//       screen is written as "tallydepot: fatal <code> | <module>" and ends the process at once.
//       The splash goes away at once.
//   TALLY_DEPOT_SCREENSHOT=FILE.png      once the main window is shown, grabs it into FILE.png.
//   TALLY_DEPOT_TOUR=DIR                 once the main window is shown, grabs it, each of its menus
//       opened, the About box, Eggs, a child window and the fatal screen into DIR/*.png; the fatal
//       screen ends the run.
//   TALLY_DEPOT_OPEN=buyers|stations    once the main window is shown, opens the buyer or the
//       station browser, before any grab. raw_editor opens the raw record editor, mnu_NAME
//       chooses that menu entry; a modal screen they open holds the hooks after it until closed
//       (for screenshots taken from outside).
//   TALLY_DEPOT_AUTO_CLOSE=MS            MS milliseconds after the main window is shown (and after
//       the grabs), closes it by its frame, which asks the exit question; writes "tallydepot:
//       close refused" when the window stays.
//
// Whenever a hook is set, the program also writes "tallydepot: shown | <caption> | <panel 1> |
// <panel 2>" once the main window is up.
#pragma once

#include <string>
#include <vector>

namespace td::hooks {

struct Settings {
    bool auto_answer = false;
    std::vector<int> answers; // box::Answer_Yes / Answer_No, in turn
    std::string screenshot;
    std::string tour;
    std::string open; // "buyers", "stations" or "shop"
    int auto_close_ms = -1;
    bool Any() const {
        return auto_answer || !screenshot.empty() || !tour.empty() || !open.empty() ||
               auto_close_ms >= 0;
    }
};

// Read once from the environment.
const Settings& Get();

// A line "tallydepot: <text>" on standard error, flushed.
void Log(const std::string& text);

} // namespace td::hooks
