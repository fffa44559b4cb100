// "Списание талонов": the screen on which a station's operator enters the coupons handed in. The
// model of its lists and grids and the key rules of its number list, edited in place; the check
// and the commit read only this model and write their rows into its result grid.
#pragma once

#include "ui/check_list.h"
#include "ui/drop_list.h"
#include "ui/grid.h"

#include <functional>
#include <optional>
#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class Open_Browsers;

// How the last operation of the screen ended, for whoever drives it without reading the rows.
enum class Redemption_Outcome {
    None,     // nothing ran yet
    Accepted, // the check refused nothing
    Refused,  // the check or the commit refused a number or met an unknown one
    Booked,   // the commit booked every listed number
    Stopped,  // ended early without judging: an empty list, "no" to the question
    Failed,   // nothing could be judged or written: no station, the database busy or unreadable
};

// Keys the number list reacts to on their release.
enum class List_Key { Insert, Delete, Other };

class Shop {
public:
    static constexpr const char* Caption = "Списание талонов";
    static constexpr int Number_Max_Length = 6;
    static constexpr int Number_Col = 0;
    static constexpr int Litres_Col = 1;
    // Character codes of the two control keys that arrive as key presses.
    static constexpr int Key_Backspace = 8;
    static constexpr int Key_Enter = 13;

    Shop(Program_State& state, Ui& ui, Clock& clock, Open_Browsers& browsers);

    // ---- The model, as the window shows it --------------------------------------------------
    Check_List ListView1;   // the stations, one choice
    std::string Label7;     // the chosen station's name
    Drop_List Combo2;       // fuel grades
    Drop_List Combo3;       // volumes
    Grid MSFlexGrid1{2, 2}; // the number list: number, litres
    Grid MSFlexGrid2{2, 3}; // the result grid: number, result, record number
    std::string Frame_Caption = "Номера талонов";
    bool Check1 = false; // "Reindex all", off screen

    Redemption_Outcome Last_Outcome() const { return outcome_; }
    bool Busy() const { return busy_; }

    // Widths in twips, as the view lays the two grids out. The columns already laid out follow a
    // new width in proportion.
    void Set_Grid_Widths(int list_twips, int result_twips);
    int Result_Width() const { return result_width_; }

    // Called after anything a view shows changed.
    void On_Change(std::function<void()> listener) { listener_ = std::move(listener); }

    // ---- Events -----------------------------------------------------------------------------
    void Form_Load();
    void Form_Unload();

    // A click on a station: it becomes the one chosen, marked and selected.
    void ListView1_ItemClick(int index);
    void Combo2_Click(int index);
    void Combo3_Click(int index);
    void Check1_Click(bool ticked);

    // The number list. A typed character (its code; Backspace 8, Enter 13).
    void MSFlexGrid1_KeyPress(int key_ascii);
    // A key let go: Insert and Delete act, every key recounts.
    void MSFlexGrid1_KeyUp(List_Key key);
    // The current cell moves (mouse, arrows): the cell left and the cell entered have their rules.
    void MSFlexGrid1_Move_To(int row, int col);
    void MSFlexGrid1_LostFocus();
    void MSFlexGrid1_GotFocus();

    void Command1_Click(); // "Проверить"
    void Command2_Click(); // "Списать талон"

    // A double click on the result grid: whether "Информация" is allowed for the current row.
    bool MSFlexGrid2_DblClick() const;
    // "Очистить" of the two grids' menus.
    void Clear_Log();
    void Clear_List();

    // ---- What the check and the commit share ------------------------------------------------
    Program_State& State() { return state_; }
    Ui& User_Interface() { return ui_; }
    Clock& Time() { return clock_; }
    Open_Browsers& Browsers() { return browsers_; }
    // Position of the chosen fuel from 1; 0 with none chosen.
    int Fuel_Number() const { return Combo2.List_Index() + 1; }
    // The volume text's value, to a whole number.
    int Volume_Litres() const;
    // The chosen station's record number; 0 with none chosen.
    int Station_Number() const;
    // The station numbers the list stands for: 1 to the highest listed.
    int Station_Top() const;
    void Set_Outcome(Redemption_Outcome outcome) { outcome_ = outcome; }
    void Set_Busy(bool busy) { busy_ = busy; }
    // Sum of the litres column into the frame's caption.
    void Recount();
    void Changed() const;

private:
    void Prepare_List();
    void Prepare_Log();
    void Leave_Cell();
    void Enter_Cell();
    void Remove_List_Row(int row);
    const std::string& List_Text(int row, int col) const { return MSFlexGrid1.Text(row, col); }

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    Open_Browsers& browsers_;
    Redemption_Outcome outcome_ = Redemption_Outcome::None;
    bool busy_ = false;
    int list_width_ = 6000;
    int result_width_ = 8000;
    std::function<void()> listener_;
};

// The litres of a list cell: a text holding "," by the decimal comma, any other by its leading
// number. No value when a text with "," does not convert.
std::optional<double> Litres_Of(const std::string& text);

// "Проверить": judges every listed number for the chosen fuel, volume and station on the working
// date, without writing.
void Check_Redemption(Shop& screen);
// "Списать талон": the same tests, and each accepted ticket booked at once, in place, with the
// buyer's and the station's totals.
void Commit_Redemption(Shop& screen);

} // namespace td
