// "Справочник покупателей - продажа таллонов": the buyer browser. One level of the client
// hierarchy at a time in the grid; the hierarchy itself in a tree that is never shown.
#pragma once

#include "browsers/browser_frame.h"
#include "storage/records.h"
#include "ui/grid.h"
#include "ui/tree.h"

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;

// What a click in the grid decides about the popup mnu_popup.
struct Buyer_Popup {
    bool show = false;
    // mnu_popup_user_stat and mnu_popup_user_stat_range; switched on only with `show`.
    bool enable_statistics = false;
};

class Sell_Ticets {
public:
    static constexpr const char* Caption = "Справочник покупателей - продажа таллонов";
    static constexpr const char* Root_Key = "root\\";
    static constexpr int Sort_Key_Col = 11;
    static constexpr std::size_t Deferred_Limit = 201;

    Sell_Ticets(Program_State& state, Ui& ui, Clock& clock, User_Settings& settings,
                Browser_Shell* shell);

    Tree TreeView1;     // hidden for good
    Grid MSFlexGrid1;   // 12 columns, one fixed header row
    std::string Label1; // the date label

    // Opening. False when the fatal screen was shown and resumed: the window is then unusable.
    bool Form_Load();
    // Fills the grid for the node with this key.
    void TreeView1_NodeClick(const std::string& key);
    // Moves down or up when the current cell is in column 0.
    void MSFlexGrid1_DblClick();
    Buyer_Popup MSFlexGrid1_Click();

    void Sort_Asc();
    void Sort_Des();
    // Ctrl+1 (by code) and Ctrl+2 (by name); other digits do nothing.
    void Key_Ctrl_Digit(int digit);
    // A toolbar key, as the window's own toolbar or the main toolbar passes it.
    Toolbar_Result Morvo_GLOBAL(const std::string& key);
    // The width of the grid is the view's; the "Sum" key needs it.
    void Set_Grid_Width(int twips) { grid_width_ = twips; }

    void Form_Resize();
    void MSFlexGrid1_MouseUp();
    void Form_Activate();
    void Form_Deactivate();
    void Form_Unload();

    // The node click again for Current_Node_Key, the current cell left as the caller restores it.
    void Refresh_Current_Node() { TreeView1_NodeClick(Current_Key()); }

    // The working date moved: label "На текущую дату: ", then the same node filled again with the
    // current cell put back.
    void Date_Changed(double date);

private:
    const std::string& Current_Key() const;
    void Add_Node(const Company_Record& record, int& error);
    void Gate_Progress(double& last, int value);

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& settings_;
    Browser_Shell* shell_;
    int grid_width_ = 12000;
};

// Key of the parent of a node: the key less its last piece ("root\" stays "root\").
std::string Parent_Key_Of(const std::string& key);

} // namespace td
