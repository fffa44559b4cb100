// "Справочник покупателей - продажа таллонов": the buyer browser. One level of the client
// hierarchy at a time in the grid; the hierarchy itself in a tree that is never shown.
#pragma once

#include "browsers/browser_frame.h"
#include "storage/records.h"
#include "ui/tree.h"

#include <string>

namespace td {

// What a click in the grid decides about the popup mnu_popup.
struct Buyer_Popup {
    bool show = false;
    // mnu_popup_user_stat and mnu_popup_user_stat_range; switched on only with `show`.
    bool enable_statistics = false;
};

class Sell_Ticets : public Browser_Frame {
public:
    static constexpr const char* Caption = "Справочник покупателей - продажа таллонов";
    // Column widths are kept under this prefix and the column number.
    static constexpr const char* Settings_Prefix = "SlTsC";
    static constexpr const char* Root_Key = "root\\";
    static constexpr int Sort_Key_Col = 11;
    static constexpr std::size_t Deferred_Limit = 201;

    Sell_Ticets(Program_State& state, Ui& ui, Clock& clock, User_Settings& settings,
                Browser_Shell* shell);

    Tree TreeView1; // hidden for good

    // Opening. False when the fatal screen was shown and resumed: the window is then unusable.
    bool Form_Load();
    // Fills the grid for the node with this key.
    void TreeView1_NodeClick(const std::string& key);
    // Moves down or up when the current cell is in column 0.
    void MSFlexGrid1_DblClick();
    bool Double_Click() override {
        MSFlexGrid1_DblClick();
        return true;
    }
    Buyer_Popup MSFlexGrid1_Click();
    Browser_Popup Popup_For_Click() override;
    // The longest code path of any level (level 3 has the longest) and the longest name.
    std::vector<Fitted_Column> First_Layout_Texts() const override;

    void Sort_Asc() override;
    void Sort_Des() override;
    // Ctrl+1 (by code) and Ctrl+2 (by name); other digits do nothing, but are taken.
    void Key_Ctrl_Digit(int digit);
    bool Ctrl_Digit(int digit) override {
        Key_Ctrl_Digit(digit);
        return true;
    }

    // The node click again for Current_Node_Key, the current cell left as the caller restores it.
    void Refresh_Current_Node() { TreeView1_NodeClick(Current_Key()); }

    // The working date moved: label "На текущую дату: ", then the same node filled again with the
    // current cell put back.
    void Date_Changed(double date);

protected:
    void Unloading() override;

private:
    const std::string& Current_Key() const;
    void Add_Node(const Company_Record& record, int& error);
    void Gate_Progress(double& last, int value);
    void Sort(Sort_Order order);
};

// Key of the parent of a node: the key less its last piece ("root\" stays "root\").
std::string Parent_Key_Of(const std::string& key);

} // namespace td
