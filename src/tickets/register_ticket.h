// "Продажа талонов": the screen on which a batch of coupons is sold to the buyer selected in the
// buyer browser. The model of its fields, lists and rules; the check and the commit read only
// this model and write their rows into its result grid.
#pragma once

#include "catalogues/date_pickers.h"
#include "ui/check_list.h"
#include "ui/drop_list.h"
#include "ui/grid.h"

#include <array>
#include <functional>
#include <optional>
#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Open_Browsers;
class Sell_Ticets;

// The controls of the screen that can hold the focus, as far as its rules care.
enum class Sale_Focus { Other, Text1, Text2, Text3, Text4, Text5, Command1, Command2, Command3 };

// How the last operation of the screen ended, for whoever drives it without looking at the rows.
enum class Sale_Outcome {
    None,              // nothing ran yet
    Accepted,          // the check's verdict is positive
    Refused,           // the check or the commit found numbers that are taken
    Registered,        // the commit wrote the batch (or, by design, reported it written)
    Partly_Registered, // a range that ran past 999999 stopped without a word after writing
    Stopped, // the commit ended early without writing (an empty field, a "no" to the question)
    Failed,  // the commit could not write: the database busy, damaged or not writable
};

class Register_ticket : public Validity_Option {
public:
    static constexpr const char* Caption = "Продажа талонов";
    static constexpr int Number_Max_Length = 6;
    static constexpr int Option_Count = 7;
    static constexpr int Text_Count = 5;

    // The buyer comes from the browser registered in `browsers` whenever it is needed.
    Register_ticket(Program_State& state, Ui& ui, Clock& clock, User_Settings& settings,
                    Open_Browsers& browsers);

    // ---- The model, as the window shows it --------------------------------------------------
    std::string Label7; // the buyer line
    Drop_List Combo2;   // fuel grades
    Drop_List Combo3;   // volumes
    Check_List ListView1;
    bool ListView1_Enabled = false;
    std::string Option2_Caption = "Действителен с ... по ... ";
    bool Reglbl_Visible = false;
    bool RegProg1_Visible = false;
    int RegProg1 = 0;
    Grid MSFlexGrid2{2, 3};

    bool Option(int n) const { return options_[Index(n)]; }
    const std::string& Text(int n) const { return texts_[Index(n)]; }
    bool Text_Enabled(int n) const;
    // The limit of a field as the user types into it; none for the count.
    static int Max_Length(int n) { return n == 5 ? 0 : Number_Max_Length; }
    Sale_Focus Focus() const { return focus_; }
    // True while a check or a commit runs: the screen offers nothing else meanwhile.
    bool Busy() const { return busy_; }
    Sale_Outcome Last_Outcome() const { return outcome_; }

    // The grid's width in twips, as the view lays it out.
    void Set_Grid_Width(int twips) { grid_width_ = twips; }
    int Grid_Width() const { return grid_width_; }

    // What the window does for the screen: shows the validity calendar without waiting for it.
    std::function<void()> Open_Calendar;
    // Called after anything a view shows changed.
    void On_Change(std::function<void()> listener) { listener_ = std::move(listener); }

    // ---- Events -----------------------------------------------------------------------------
    void Form_Load();
    // Writes the options and station marks to the settings, then the rebuild of stale caches.
    void Form_Unload();

    void Option_Click(int n);
    // The mouse pressed on field n: on a disabled field this selects the field's option.
    void Text_Mouse_Down(int n);
    // The user (or anyone) changed the text of field n.
    void Text_Change(int n, const std::string& text);
    // A key typed into field n; only Enter does anything.
    void Text_KeyPress_Enter(int n);
    // The focus moves to `target`: the field that had it is left first, and may send the focus
    // elsewhere. Answers where the focus ends.
    Sale_Focus Focus_To(Sale_Focus target);

    void Combo2_Click(int index);
    void Combo3_Click(int index);

    // A click on a row reverses its mark; ticking a box sets the mark and selects the row.
    void ListView1_Click(int index);
    void ListView1_ItemCheck(int index, bool checked);

    void Command1_Click(); // "Проверить"
    void Command2_Click(); // "Зарегистрировать заказ"

    // A double click on the result grid: whether "Информация" is allowed for the current row.
    bool MSFlexGrid2_DblClick() const;
    // "Очистить" of the result grid's menu.
    void Clear_Log();

    // Validity_Option, for the calendar.
    void Set_Limited_Caption(const std::string& caption) override;
    void Select_Unlimited() override;

    // ---- What the check and the commit share ------------------------------------------------
    Program_State& State() { return state_; }
    Ui& User_Interface() { return ui_; }
    Clock& Time() { return clock_; }
    // The open buyer browser, or null when it was closed.
    Sell_Ticets* Buyer_Browser() const;
    // Position of the chosen fuel from 1; 0 with none chosen.
    int Fuel_Number() const { return Combo2.List_Index() + 1; }
    // The volume text's value, to a whole number.
    int Volume_Litres() const;
    // The result grid emptied, its two headers, columns half and half.
    void Prepare_Result_Grid();
    // Shows or hides the working label and bar in the place of the result grid.
    void Working(bool on);
    // Moves the bar, at most as often as `interval` seconds allow.
    void Gate_Progress(double& last, double interval, int value);
    void Set_Outcome(Sale_Outcome outcome) { outcome_ = outcome; }
    // Sets a field as the program does: the change counts as any other.
    void Set_Text(int n, const std::string& text) { Text_Change(n, text); }
    void Changed() const;

private:
    static std::size_t Index(int n) { return static_cast<std::size_t>(n - 1); }
    void Select_Option(int n);
    void Text_LostFocus(int n);
    void Preset_Fuel();
    void Fill_Buyer_Line();
    void Restore_Settings();

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& settings_;
    Open_Browsers& browsers_;

    std::array<bool, Option_Count> options_{};
    std::array<std::string, Text_Count> texts_{};
    Sale_Focus focus_ = Sale_Focus::Other;
    bool busy_ = false;
    Sale_Outcome outcome_ = Sale_Outcome::None;
    int grid_width_ = 12000;
    std::function<void()> listener_;
};

// The check of "Проверить": whether the numbers of the fields can be sold, without writing.
void Check_Sale(Register_ticket& screen);
// "Зарегистрировать заказ": the duplicate test again, then the tickets, balances, index entries
// and header.
void Commit_Sale(Register_ticket& screen);

// A stored truth value of the settings: "True"/"False" in any case, or a number (not 0 is true).
// No value for anything else.
std::optional<bool> Stored_Truth(const std::string& text);

} // namespace td
