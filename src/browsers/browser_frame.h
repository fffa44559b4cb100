// What the two browsers share: the frame of their child window (the grid, the date label, the
// toolbar with its four keys, the popup of the main window after a click, the column widths kept
// per user) and the activation with the rebuild of stale caches. The window of the desktop
// program drives either browser through Browser_Frame alone.
#pragma once

#include "ui/grid.h"

#include <string>
#include <vector>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;

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

// The popup of the main window after a click in a browser's grid: which menu, whether it comes
// up, and the main window's entries the click decides on (the popup's, and for the station
// browser Mnu_Shop_Range_s of the main menu), each with whether this click allows it (the main
// window may still keep an entry off).
struct Popup_Entry {
    const char* name;
    bool allowed;
};
struct Browser_Popup {
    const char* menu = "";
    bool show = false;
    std::vector<Popup_Entry> entries;
};

// Section of the per-user store that keeps the column widths.
inline constexpr const char* Windows_Section = "Windows";

class Browser_Frame {
public:
    // What sets one browser's frame apart.
    struct Layout {
        const char* settings_prefix; // a column's width is kept under prefix + column number
        int rows;
        int cols;
        int name_col;       // the column of names
        int first_data_col; // the first of the fuel columns
    };

    Browser_Frame(const Layout& layout, Program_State& state, Ui& ui, Clock& clock,
                  User_Settings& settings, Browser_Shell* shell);
    virtual ~Browser_Frame() = default;
    Browser_Frame(const Browser_Frame&) = delete;
    Browser_Frame& operator=(const Browser_Frame&) = delete;

    Grid MSFlexGrid1;   // one fixed header row
    std::string Label1; // the date label

    const char* Widths_Prefix() const { return layout_.settings_prefix; }
    int Name_Col() const { return layout_.name_col; }

    virtual void Sort_Asc() = 0;
    virtual void Sort_Des() = 0;
    // A toolbar key, as the window's own toolbar or the main toolbar passes it: "exit" closes the
    // window, the sort keys (in both spellings, since the main toolbar passes its own buttons
    // through) sort, "Sum" evens out the fuel columns; any other key does nothing.
    Toolbar_Result Morvo_GLOBAL(const std::string& key);
    // The width of the grid is the view's; the "Sum" key needs it.
    void Set_Grid_Width(int twips) { grid_width_ = twips; }

    // A click in the grid at its current cell: what the main window's popup offers.
    virtual Browser_Popup Popup_For_Click() = 0;
    // A double click in the grid at its current cell. False when this browser takes none: the
    // event is not the browser's.
    virtual bool Double_Click() { return false; }
    // Ctrl with a digit key. False when this browser has no such keys.
    virtual bool Ctrl_Digit(int /*digit*/) { return false; }

    // Column widths under "Tally Depot", section "Windows". Restoring gives every column its saved
    // width (960 when missing), then 0 to any column above 0 whose header is empty. A resize does
    // it with the grid hidden meanwhile; a mouse release over the grid saves them.
    void Form_Resize();
    void MSFlexGrid1_MouseUp() { Save_Widths(); }
    // Whether this desk ever kept widths for this browser (the width of its names is there).
    bool Widths_Kept() const;
    // The columns that must read whole from the first opening on (codes and names), each with the
    // widest text it will show at any level, besides what the grid holds now.
    struct Fitted_Column {
        int col;
        std::string widest;
    };
    virtual std::vector<Fitted_Column> First_Layout_Texts() const = 0;
    // A desk that never kept widths: each of those columns gets the width its texts need (the
    // names up to two fifths of the grid), kept at once so that the restore at every resize
    // finds it. Every other column keeps the rule of a missing key: 960.
    struct Column_Width {
        int col;
        int twips;
    };
    void First_Widths(const std::vector<Column_Width>& widths, int grid_twips);

    // Activation or focus: the sort menu and buttons come on; stale caches are rebuilt in full
    // ("new", progress "null") and the mark cleared; the progress form is hidden and zeroed; the
    // main window enabled.
    void Form_Activate();
    // Deactivation or loss of focus: the sort menu and buttons go off.
    void Form_Deactivate();
    // Unload: deactivation, what the browser itself keeps, then all column widths saved.
    void Form_Unload();

protected:
    // The browser's own part of unloading.
    virtual void Unloading() = 0;
    // Fuel.dat's names of slots 1 to 8 as the headers of the fuel columns, counted in Fuel_Count;
    // the column of a slot without a name gets width 0.
    void Fuel_Headers();
    void Restore_Widths();
    void Save_Widths();

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& settings_;
    Browser_Shell* shell_;

private:
    void Even_Out_Columns();

    Layout layout_;
    int grid_width_ = 12000;
};

} // namespace td
