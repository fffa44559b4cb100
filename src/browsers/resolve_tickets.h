// "Справочник заправок - списание талонов": the station browser. One row per station (the row
// number is the station's record number), one column per fuel grade, the litres taken on the
// working date.
#pragma once

#include "browsers/browser_frame.h"
#include "ui/grid.h"

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Sell_Ticets;

// What a click in the grid decides about the popup mnu_popup_resolve.
struct Station_Popup {
    bool show = false;
    bool Mnu_Shop_Range_s = false;         // disabled first at every click
    bool mnu_popup_Res_stat = false;       // only on a cell whose value isn't 0
    bool mnu_popup_Res_stat_range = false; // whenever the popup shows
};

class Resolve_Tickets {
public:
    static constexpr const char* Caption = "Справочник заправок - списание талонов";
    static constexpr int Rows = 17; // header and 16 stations: the limit of this release

    Resolve_Tickets(Program_State& state, Ui& ui, Clock& clock, User_Settings& settings,
                    Browser_Shell* shell);

    Grid MSFlexGrid1;   // 9 columns, one fixed header row
    std::string Label1; // the date label

    // Opening. `buyer` is the open buyer browser, or null. False when the opening stopped
    // early (the grid then stays hidden).
    bool Form_Load(Sell_Ticets* buyer);
    // Refills the grid in station order and sets the date label.
    void Refresh_Data(double date);
    Station_Popup MSFlexGrid1_Click();

    void Sort_Asc();
    void Sort_Des();
    Toolbar_Result Morvo_GLOBAL(const std::string& key);
    void Set_Grid_Width(int twips) { grid_width_ = twips; }

    void Form_Resize();
    void MSFlexGrid1_MouseUp();
    void Form_Activate();
    void Form_Deactivate();
    void Form_Unload();

private:
    bool Fill_Stations();
    void Fuel_Headers();

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& settings_;
    Browser_Shell* shell_;
    int grid_width_ = 12000;
};

// mnu_Shop_Cur_date of the main window, less the window handling: the station totals of the
// working date (progress mark "sp"), the main window enabled, the browser opened and refreshed
// with the working date. The shell maximises the window and gives it focus.
bool Open_Stations_For_Current_Date(Program_State& state, Ui& ui, Clock& clock,
                                    Resolve_Tickets& station, Sell_Ticets* buyer);

// The amount text of the station grid: any text holding "0,", "-", "#" or "E" shows as "0".
// It hides 10,5 as well as negatives; so the system did, and so it stays.
std::string Station_Amount_Text(double amount);

} // namespace td
