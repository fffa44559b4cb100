#include "catalogues/date_pickers.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"

#include <array>
#include <optional>
#include <utility>

namespace td {

std::string Month_Name(int month) {
    static const std::array<const char*, 12> names = {"Январь",   "Февраль", "Март",   "Апрель",
                                                      "Май",      "Июнь",    "Июль",   "Август",
                                                      "Сентябрь", "Октябрь", "Ноябрь", "Декабрь"};
    if (month < 1 || month > 12)
        return "";
    return names[static_cast<std::size_t>(month - 1)];
}

std::string Month_Calendar::Month_Caption() const {
    Calendar_Day day = Date_Parts(value);
    return Month_Name(day.month) + " " + std::to_string(day.year);
}

// ---- Calendar_Single ------------------------------------------------------------------------

Calendar_Single::Calendar_Single(Program_State& state, Ui& ui, Clock& clock, Date_Panel* panel,
                                 Browser_Refresh* browsers)
    : state_(state), ui_(ui), clock_(clock), panel_(panel), browsers_(browsers) {}

void Calendar_Single::Form_Load() {
    Calendar1.value = state_.Current_Date;
}

void Calendar_Single::Command3_Click() {
    Calendar1.value = clock_.Today();
}

void Calendar_Single::Command1_Click() {
    state_.Current_Date = Calendar1.value;
    std::string date = Format_Date(state_.Current_Date);
    if (panel_ != nullptr)
        panel_->Set_Date_Panel_Text("Текущая дата: " + date);
    bool buyer_open = state_.Buyer_Browser_Open;
    bool station_open = state_.Station_Browser_Open;

    // Both dated totals follow the working date, whether a browser shows them or not.
    Rebuild_Company_Totals(state_, ui_, clock_, state_.Current_Date, Progress_Target::Form);
    Rebuild_Station_Totals(state_, ui_, clock_, state_.Current_Date, state_.Current_Date,
                           Progress_Target::Form);

    if (buyer_open && browsers_ != nullptr) {
        browsers_->Buyer_Show();
        browsers_->Buyer_Set_Label("На текущую дату: " + date);
        int row = browsers_->Buyer_Grid_Row();
        int col = browsers_->Buyer_Grid_Col();
        browsers_->Buyer_Node_Click_Again();
        browsers_->Buyer_Set_Grid_Cell(row, col);
    }
    if (station_open && browsers_ != nullptr) {
        browsers_->Station_Show();
        browsers_->Station_Set_Label("За текущую дату: " + date);
        browsers_->Station_Refresh_Data(state_.Current_Date);
    }
    closed = true;
}

// ---- Cld_Usr --------------------------------------------------------------------------------

Cld_Usr::Cld_Usr(Program_State& state, Clock& clock, User_Settings& settings)
    : state_(state), clock_(clock), settings_(settings) {}

void Cld_Usr::Calendar_Change() {
    Label1 = "Выбран период: [" + Format_Date(Calendar2.value) + " - " +
             Format_Date(Calendar1.value) + "]";
}

void Cld_Usr::Set_Start(double date) {
    Calendar2.value = date;
    Calendar_Change();
}

void Cld_Usr::Set_End(double date) {
    Calendar1.value = date;
    Calendar_Change();
}

void Cld_Usr::Command1_Click() {
    state_.Low_Date = Calendar2.value;
    state_.High_Date = Calendar1.value;
    settings_.Save(Settings_Application, "Kernel", "Low Date", Format_Date(state_.Low_Date));
    settings_.Save(Settings_Application, "Kernel", "High Date", Format_Date(state_.High_Date));
    closed = true;
}

void Cld_Usr::Command2_Click() {
    state_.Low_Date = -1;
    state_.High_Date = -1;
    closed = true;
}

void Cld_Usr::Command3_Click() {
    Set_Start(clock_.Today());
}

void Cld_Usr::Command4_Click() {
    Set_End(clock_.Today());
}

namespace {

// A remembered date: a date text, or the number -1 when none was chosen.
double Remembered_Date(const std::string& text) {
    if (std::optional<double> date = Parse_Date(text))
        return *date;
    return Leading_Number(text);
}

} // namespace

bool Ask_Period(Program_State& state, Clock& clock, User_Settings& settings,
                const std::function<void(Cld_Usr&)>& show) {
    state.Low_Date = -1;
    state.High_Date = -1;
    double low = Remembered_Date(settings.Get(Settings_Application, "Kernel", "Low Date", "-1"));
    double high = Remembered_Date(settings.Get(Settings_Application, "Kernel", "High Date", "-1"));
    Cld_Usr dialog(state, clock, settings);
    if (low == -1 && high == -1) {
        double today = clock.Today();
        dialog.Set_Start(Date_Serial(Date_Parts(today).year, 1, 1));
        dialog.Set_End(today);
    } else {
        dialog.Set_Start(low);
        dialog.Set_End(high);
    }
    show(dialog);
    if (state.Low_Date == -1 && state.High_Date == -1)
        return false;
    // A reversed period is never an error.
    if (!Date_Not_After(state.Low_Date, state.High_Date))
        std::swap(state.Low_Date, state.High_Date);
    return true;
}

// ---- Calendar -------------------------------------------------------------------------------

Calendar::Calendar(Program_State& state, Clock& clock, Validity_Option* option)
    : state_(state), clock_(clock), option_(option) {}

void Calendar::Command1_Click() {
    state_.Valid_From = Calendar2.value;
    state_.Valid_To = Calendar1.value;
    if (!Check1 && option_ != nullptr)
        option_->Set_Limited_Caption("Действителен с: " + Format_Date(state_.Valid_From) +
                                     " по: " + Format_Date(state_.Valid_To));
    closed = true;
}

void Calendar::Command2_Click() {
    if (option_ != nullptr)
        option_->Select_Unlimited();
    closed = true;
}

void Calendar::Command3_Click() {
    Calendar2.value = clock_.Today();
}

void Calendar::Command4_Click() {
    Calendar1.value = clock_.Today();
}

} // namespace td
