// The three date pickers: the working date (Calendar_Single), the period of a report (Cld_Usr)
// and the validity of coupons being sold (Calendar); and the one routine that asks for a period.
#pragma once
#include <functional>
#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;

// A month calendar: the chosen day, shown under the month's Russian name.
struct Month_Calendar {
    double value = 0.0;
    // "Ноябрь 2026".
    std::string Month_Caption() const;
};

// Russian name of month 1..12 ("Январь"); empty outside.
std::string Month_Name(int month);

// The status panel of the main window that shows the working date; the shell implements it.
class Date_Panel {
public:
    virtual ~Date_Panel() = default;
    virtual void Set_Date_Panel_Text(const std::string& text) = 0;
};

// The two browsers as the working date reaches them; the browsers implement it. Each method is
// called only while the flag of its browser is set.
class Browser_Refresh {
public:
    virtual ~Browser_Refresh() = default;
    // The buyer browser: brought to the front, its label set, then its tree's selection handler
    // run again on the selected node with the grid's current cell put back afterwards.
    virtual void Buyer_Show() = 0;
    virtual void Buyer_Set_Label(const std::string& text) = 0;
    virtual int Buyer_Grid_Row() const = 0;
    virtual int Buyer_Grid_Col() const = 0;
    virtual void Buyer_Node_Click_Again() = 0;
    virtual void Buyer_Set_Grid_Cell(int row, int col) = 0;
    // The station browser: brought to the front, its label set, its public refresh run.
    virtual void Station_Show() = 0;
    virtual void Station_Set_Label(const std::string& text) = 0;
    virtual void Station_Refresh_Data(double date) = 0;
};

// The sale screen's validity option; the sale screen implements it.
class Validity_Option {
public:
    virtual ~Validity_Option() = default;
    virtual void Set_Limited_Caption(const std::string& caption) = 0;
    // Selects "Срок действия не ограничен" again.
    virtual void Select_Unlimited() = 0;
};

// "Выбор текущей даты".
class Calendar_Single {
public:
    static constexpr const char* Caption = "Выбор текущей даты";

    // `panel` and `browsers` may be null: nothing to tell.
    Calendar_Single(Program_State& state, Ui& ui, Clock& clock, Date_Panel* panel,
                    Browser_Refresh* browsers);

    Month_Calendar Calendar1;
    bool closed = false;

    // Opens on the working date.
    void Form_Load();
    // Sets the working date: status panel, both dated totals, the open browsers.
    void Command1_Click();
    void Command2_Click() { closed = true; }
    void Command3_Click();

private:
    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    Date_Panel* panel_;
    Browser_Refresh* browsers_;
};

// "Календарь" of a report's period.
class Cld_Usr {
public:
    static constexpr const char* Caption = "Календарь";

    Cld_Usr(Program_State& state, Clock& clock, User_Settings& settings);

    Month_Calendar Calendar2; // start
    Month_Calendar Calendar1; // end
    std::string Label1;
    bool Check1 = false; // never shown, never set
    bool closed = false;

    // Either calendar changed (a click, another month or year): the label follows.
    void Calendar_Change();
    void Set_Start(double date);
    void Set_End(double date);
    void Command1_Click();
    void Command2_Click();
    void Command3_Click();
    void Command4_Click();

private:
    Program_State& state_;
    Clock& clock_;
    User_Settings& settings_;
};

// Asks for the period of a report, as every period report does before anything else. `show`
// shows the dialog modally and returns once it is closed. False: the user cancelled and the
// report ends silently. On true Low_Date is not after High_Date; the settings keep the period as
// chosen.
bool Ask_Period(Program_State& state, Clock& clock, User_Settings& settings,
                const std::function<void(Cld_Usr&)>& show);

// "Календарь" of the validity of coupons being sold.
class Calendar {
public:
    static constexpr const char* Caption = "Календарь";

    Calendar(Program_State& state, Clock& clock, Validity_Option* option);

    Month_Calendar Calendar2; // "Действителен с..."
    Month_Calendar Calendar1; // "Действителен по..."
    bool Check1 = false;
    bool closed = false;

    void Command1_Click();
    void Command2_Click();
    void Command3_Click();
    void Command4_Click();

private:
    Program_State& state_;
    Clock& clock_;
    Validity_Option* option_;
};

} // namespace td
