// What the two browsers share: the main window pieces they switch on activation, the
// activation itself (with the rebuild of stale caches), and the column widths kept per user.
#pragma once

#include <functional>
#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Grid;

// The parts of the main window a browser reaches: the sort menu (mnu_sort) and the two sort
// buttons of the main toolbar (buttons 12 and 13). The shell implements it.
class Browser_Shell {
public:
    virtual ~Browser_Shell() = default;
    virtual void Sort_Menu_Visible(bool visible) = 0;
    virtual void Sort_Buttons_Enabled(bool enabled) = 0;
};

// What a click on the window's toolbar leads to.
enum class Toolbar_Result { Done, Close_Window };

// What a browser does for the keys of its toolbar other than "exit".
struct Toolbar_Actions {
    std::function<void()> sort_ascending;
    std::function<void()> sort_descending;
    std::function<void()> sum;
};

// Carries out one toolbar key: "exit" closes the window, the sort keys (in both spellings, since
// the main toolbar passes its own buttons through) and "Sum" run their action; any other key does
// nothing.
Toolbar_Result Run_Toolbar_Key(const std::string& key, const Toolbar_Actions& actions);

// Activation or focus of a browser: the sort menu and buttons come on; stale caches are rebuilt
// in full ("new", progress "null") and the mark cleared; the progress form is hidden and zeroed;
// the main window enabled.
void Browser_Activate(Program_State& state, Ui& ui, Clock& clock, Browser_Shell* shell);
// Deactivation or loss of focus: the sort menu and buttons go off.
void Browser_Deactivate(Browser_Shell* shell);

// Column widths under "Tally Depot", section "Windows", key prefix + column number.
// Restoring gives every column its saved width (960 when missing), then 0 to any column above 0
// whose header is empty.
void Restore_Column_Widths(Grid& grid, User_Settings& settings, const std::string& prefix);
// The same, with the grid hidden meanwhile, as a resize of the window does it.
void Refit_Column_Widths(Grid& grid, User_Settings& settings, const std::string& prefix);
void Save_Column_Widths(const Grid& grid, User_Settings& settings, const std::string& prefix);

// The "Sum" key: columns from `first_data_col` with a non-empty trimmed header share the width
// left of `grid_width` after the columns before them, less 400; then all widths are saved.
void Even_Out_Columns(Grid& grid, int grid_width, int first_data_col, User_Settings& settings,
                      const std::string& prefix);

} // namespace td
