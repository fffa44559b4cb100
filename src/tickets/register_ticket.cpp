#include "tickets/register_ticket.h"

#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "browsers/browser_refresh.h"
#include "browsers/sell_ticets.h"
#include "kernel/state.h"
#include "tickets/result_log.h"
#include "tickets/ticket_lists.h"

#include <cctype>
#include <cmath>

namespace td {
namespace {

constexpr const char* Windows = "Windows";
// The buyer grid has a column per fuel grade from column 3 on.
constexpr int Buyer_First_Fuel_Col = 3;

std::string Option_Key(int n) {
    return "RTO" + std::to_string(n);
}

std::string Mark_Key(int n) {
    return "RTLV" + std::to_string(n);
}

// The group of an option: 1 and 2 validity, 3 and 4 stations, 5 to 7 the numbers.
int Group_Of(int n) {
    return n <= 2 ? 0 : (n <= 4 ? 1 : 2);
}

} // namespace

std::optional<bool> Stored_Truth(const std::string& text) {
    const std::string key = Lower_Ascii(Trim_Text(text));
    if (key == "true")
        return true;
    if (key == "false")
        return false;
    if (!key.empty() && (std::isdigit(static_cast<unsigned char>(key[0])) || key[0] == '-')) {
        std::size_t used = 0;
        try {
            const double value = std::stod(key, &used);
            if (used == key.size())
                return value != 0.0;
        } catch (const std::exception&) {
        }
    }
    return std::nullopt;
}

Register_ticket::Register_ticket(Program_State& state, Ui& ui, Clock& clock,
                                 User_Settings& settings, Open_Browsers& browsers)
    : state_(state), ui_(ui), clock_(clock), settings_(settings), browsers_(browsers) {}

Sell_Ticets* Register_ticket::Buyer_Browser() const {
    return browsers_.Buyer();
}

void Register_ticket::Changed() const {
    if (listener_)
        listener_();
}

bool Register_ticket::Text_Enabled(int n) const {
    switch (n) {
    case 1:
        return Option(5);
    case 2:
    case 3:
        return Option(6);
    case 4:
    case 5:
        return Option(7);
    default:
        return false;
    }
}

int Register_ticket::Volume_Litres() const {
    // The value of the text as the system reads a number, to the nearest whole litre (halves
    // to even).
    return static_cast<int>(std::nearbyint(Leading_Number(Combo3.Text())));
}

void Register_ticket::Prepare_Result_Grid() {
    Reset_Log_Grid(MSFlexGrid2, grid_width_, "Номер талона", "Результат регистрации", 2, 2);
    Changed();
}

void Register_ticket::Working(bool on) {
    // Nothing else of the program is offered while an operation runs: the bar is repainted by
    // letting events through, and no click of the user may come with them.
    if (busy_ != on)
        ui_.Main_Window_Enabled(!on);
    busy_ = on;
    Reglbl_Visible = on;
    RegProg1_Visible = on;
    MSFlexGrid2.Set_Visible(!on);
    Changed();
}

void Register_ticket::Gate_Progress(double& last, double interval, int value) {
    const double now = clock_.Seconds_Since_Midnight();
    // The clock wraps at midnight: the distance counts, not its sign.
    if (std::fabs(now - last) <= interval)
        return;
    last = now;
    RegProg1 = value;
    Changed();
    ui_.Pump_Events();
}

// ---- Opening and closing ---------------------------------------------------------------------

void Register_ticket::Form_Load() {
    Prepare_Result_Grid();
    Combo2.Clear();
    Combo3.Clear();
    Add_Standard_Volumes(Combo3);
    Rebuild_If_Stale(state_, ui_, clock_);
    Add_User_Volumes(Combo3, state_);
    Add_Fuels(Combo2, state_);
    Preset_Fuel();
    Combo3.Set_List_Index(0);
    Combo3_Click(0);
    Fill_Buyer_Line();
    ListView1.Clear();
    Add_Stations(ListView1, state_, "root\\");
    // The fields' enabled flags follow the options restored here.
    Restore_Settings();
    Changed();
}

void Register_ticket::Preset_Fuel() {
    if (Combo2.Count() == 0)
        return;
    int index = -1;
    if (const Sell_Ticets* buyer = Buyer_Browser())
        index = buyer->MSFlexGrid1.Col() - Buyer_First_Fuel_Col;
    // A column left of the grades, or past the list, gives the first grade.
    if (index < 0 || index >= Combo2.Count())
        index = 0;
    Combo2.Set_List_Index(index);
    Combo2_Click(index);
}

void Register_ticket::Fill_Buyer_Line() {
    Label7.clear();
    if (const Sell_Ticets* buyer = Buyer_Browser()) {
        const Grid& grid = buyer->MSFlexGrid1;
        Label7 = grid.Text(grid.Row(), 2) + "; " + grid.Text(grid.Row(), 1);
    }
}

void Register_ticket::Restore_Settings() {
    static constexpr const char* Defaults[Option_Count] = {"True", "False", "True", "False",
                                                           "True", "False", "False"};
    for (int n = 1; n <= Option_Count; ++n) {
        const std::optional<bool> value = Stored_Truth(
            settings_.Get(Settings_Application, Windows, Option_Key(n), Defaults[n - 1]));
        if (!value)
            continue;
        if (*value)
            Option_Click(n);
        else
            options_[Index(n)] = false;
    }
    for (int n = 1; n <= ListView1.Count(); ++n) {
        const std::optional<bool> mark =
            Stored_Truth(settings_.Get(Settings_Application, Windows, Mark_Key(n), "False"));
        if (mark)
            ListView1.Set_Checked(n - 1, *mark);
    }
}

void Register_ticket::Form_Unload() {
    for (int n = 1; n <= Option_Count; ++n)
        settings_.Save(Settings_Application, Windows, Option_Key(n), Option(n) ? "True" : "False");
    for (int n = 1; n <= ListView1.Count(); ++n)
        settings_.Save(Settings_Application, Windows, Mark_Key(n),
                       ListView1.Checked(n - 1) ? "True" : "False");
    Rebuild_If_Stale(state_, ui_, clock_);
}

// ---- Options and fields ----------------------------------------------------------------------

void Register_ticket::Select_Option(int n) {
    const int group = Group_Of(n);
    for (int other = 1; other <= Option_Count; ++other)
        if (Group_Of(other) == group)
            options_[Index(other)] = other == n;
}

void Register_ticket::Option_Click(int n) {
    if (n < 1 || n > Option_Count)
        return;
    Select_Option(n);
    switch (n) {
    case 2:
        Changed();
        if (Open_Calendar)
            Open_Calendar();
        break;
    case 3:
        ListView1_Enabled = false;
        break;
    case 4:
        ListView1_Enabled = true;
        break;
    case 5:
        Focus_To(Sale_Focus::Text1);
        break;
    default:
        break;
    }
    Changed();
}

void Register_ticket::Text_Mouse_Down(int n) {
    if (n < 1 || n > Text_Count || Text_Enabled(n))
        return;
    Option_Click(n == 1 ? 5 : (n <= 3 ? 6 : 7));
}

void Register_ticket::Text_Change(int n, const std::string& text) {
    if (n < 1 || n > Text_Count || texts_[Index(n)] == text)
        return;
    texts_[Index(n)] = text;
    state_.Sale_Checked = false;
    // The two forms of a range stay coupled: a first number and a count give the two ends.
    if ((n == 4 || n == 5) && !Text(5).empty() && (!Text(2).empty() || !Text(3).empty())) {
        Set_Text(2, Text(4));
        std::string last = Format_Number(Leading_Number(Text(4)) + Leading_Number(Text(5)) - 1);
        if (n == 5)
            last = Zeros_In_Front(last, Number_Max_Length);
        Set_Text(3, last);
    }
    Changed();
}

void Register_ticket::Text_KeyPress_Enter(int n) {
    if (n < 1 || n > Text_Count)
        return;
    Focus_To(Sale_Focus::Command1);
}

Sale_Focus Register_ticket::Focus_To(Sale_Focus target) {
    const Sale_Focus leaving = focus_;
    focus_ = target;
    if (leaving != target && leaving >= Sale_Focus::Text1 && leaving <= Sale_Focus::Text5)
        Text_LostFocus(static_cast<int>(leaving) - static_cast<int>(Sale_Focus::Text1) + 1);
    Changed();
    return focus_;
}

void Register_ticket::Text_LostFocus(int n) {
    if (n == 5)
        return;
    Set_Text(n, Zeros_In_Front(Text(n), Number_Max_Length));
    if (n == 2) {
        focus_ = Sale_Focus::Text3;
    } else if (n == 3) {
        // The ends become a first number and a count, both worked out from the ends as the user
        // left them. Reversed ends give a count two short: that stays as it always was.
        const double first = Leading_Number(Text(2));
        const double last = Leading_Number(Text(3));
        const std::string smaller = last > first ? Text(2) : Text(3);
        const std::string count = Format_Number(std::fabs(last - first + 1));
        Set_Text(4, smaller);
        Set_Text(5, count);
        Option_Click(7);
    }
}

// ---- Lists -----------------------------------------------------------------------------------

void Register_ticket::Combo2_Click(int index) {
    Combo2.Set_List_Index(index);
    Prepare_Result_Grid();
}

void Register_ticket::Combo3_Click(int index) {
    Combo3.Set_List_Index(index);
    Prepare_Result_Grid();
}

void Register_ticket::ListView1_Click(int index) {
    if (index < 0 || index >= ListView1.Count())
        return;
    ListView1.Set_Checked(index, !ListView1.Checked(index));
    Changed();
}

void Register_ticket::ListView1_ItemCheck(int index, bool checked) {
    if (index < 0 || index >= ListView1.Count())
        return;
    ListView1.Set_Checked(index, checked);
    ListView1.Set_List_Index(index);
    Changed();
}

// ---- Buttons and the result grid -------------------------------------------------------------

void Register_ticket::Command1_Click() {
    if (busy_)
        return;
    Check_Sale(*this);
}

void Register_ticket::Command2_Click() {
    if (busy_)
        return;
    Commit_Sale(*this);
}

bool Register_ticket::MSFlexGrid2_DblClick() const {
    return !Trim_Text(MSFlexGrid2.Text(MSFlexGrid2.Row(), Log_Record_Col)).empty();
}

void Register_ticket::Clear_Log() {
    Prepare_Result_Grid();
}

void Register_ticket::Set_Limited_Caption(const std::string& caption) {
    Option2_Caption = caption;
    Changed();
}

void Register_ticket::Select_Unlimited() {
    Option_Click(1);
}

} // namespace td
