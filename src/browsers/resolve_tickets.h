// "Справочник заправок - списание талонов": the station browser. One row per station (the row
// number is the station's record number), one column per fuel grade, the litres taken on the
// working date.
#pragma once

#include "browsers/browser_frame.h"

#include <string>

namespace td {

class Sell_Ticets;

// What a click in the grid decides about the popup mnu_popup_resolve.
struct Station_Popup {
    bool show = false;
    bool Mnu_Shop_Range_s = false;         // disabled first at every click
    bool mnu_popup_Res_stat = false;       // only on a cell whose value isn't 0
    bool mnu_popup_Res_stat_range = false; // whenever the popup shows
};

class Resolve_Tickets : public Browser_Frame {
public:
    static constexpr const char* Caption = "Справочник заправок - списание талонов";
    // Column widths are kept under this prefix and the column number.
    static constexpr const char* Settings_Prefix = "RsTsC";
    // The working date at which the window was last closed: "Tally Depot", "Kernel", "Date".
    static constexpr const char* Date_Section = "Kernel";
    static constexpr const char* Date_Key = "Date";
    static constexpr int Rows = 17; // header and 16 stations: the limit of this release

    Resolve_Tickets(Program_State& state, Ui& ui, Clock& clock, User_Settings& settings,
                    Browser_Shell* shell);

    // Opening. `buyer` is the open buyer browser, or null. False when the opening stopped
    // early (the grid then stays hidden).
    bool Form_Load(Sell_Ticets* buyer);
    // Whether Form_Load ran for this window, whether or not it went to the end.
    bool Loaded() const { return loaded_; }
    // Refills the grid in station order and sets the date label.
    void Refresh_Data(double date);
    Station_Popup MSFlexGrid1_Click();
    Browser_Popup Popup_For_Click() override;
    // The station names: the grid holds them all already.
    std::vector<Fitted_Column> First_Layout_Texts() const override { return {{0, ""}}; }

    void Sort_Asc() override;
    void Sort_Des() override;

protected:
    void Unloading() override;

private:
    bool Fill_Stations();

    bool loaded_ = false;
};

// mnu_Shop_Cur_date of the main window, less the window handling: the station totals of the
// working date (progress mark "sp"), the main window enabled, the browser opened unless it is
// open already, and refreshed with the working date. The shell maximises the window and gives it
// focus. False when the opening stopped early.
bool Open_Stations_For_Current_Date(Program_State& state, Ui& ui, Clock& clock,
                                    Resolve_Tickets& station, Sell_Ticets* buyer);

// The amount text of the station grid: any text holding "0,", "-", "#" or "E" shows as "0".
// It hides 10,5 as well as negatives; so the system did, and so it stays.
std::string Station_Amount_Text(double amount);

} // namespace td
