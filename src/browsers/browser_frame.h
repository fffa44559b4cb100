// What the two browsers share: the main window pieces they switch on activation, the
// activation itself (with the rebuild of stale caches), and the column widths kept per user.
#pragma once

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

// The keys of a browser's toolbar; the sort keys come in two spellings, because the main
// toolbar passes its own buttons through.
enum class Toolbar_Key { Exit, Sort_Ascending, Sort_Descending, Sum, Other };
Toolbar_Key Toolbar_Key_Of(const std::string& key);

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
void Save_Column_Widths(const Grid& grid, User_Settings& settings, const std::string& prefix);

// The "Sum" key: columns from `first_data_col` with a non-empty trimmed header share the width
// left of `grid_width` after the columns before them, less 400; then all widths are saved.
void Even_Out_Columns(Grid& grid, int grid_width, int first_data_col, User_Settings& settings,
                      const std::string& prefix);

} // namespace td
