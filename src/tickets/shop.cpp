#include "tickets/shop.h"

#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "browsers/browser_refresh.h"
#include "browsers/resolve_tickets.h"
#include "kernel/state.h"
#include "tickets/result_log.h"
#include "tickets/ticket_lists.h"

#include <algorithm>
#include <cmath>

namespace td {
namespace {

constexpr const char* Station_Key_Prefix = "Est:";
constexpr const char* Clear_Title = "Очистка списка";
// Rows of a list with one blank row for input: the header and that row.
constexpr int Empty_List_Rows = 2;
// Rows from which entering a cell scrolls it to the top.
constexpr int Scroll_From_Row = 6;

// The text less its last character, a UTF-8 sequence counted as one.
std::string Without_Last(const std::string& text) {
    std::size_t end = text.size();
    while (end > 0 && (static_cast<unsigned char>(text[end - 1]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end > 0 ? end - 1 : 0);
}

} // namespace

std::optional<double> Litres_Of(const std::string& text) {
    if (text.find(',') != std::string::npos)
        return Regional_Number(text);
    return Leading_Number(text);
}

Shop::Shop(Program_State& state, Ui& ui, Clock& clock, Open_Browsers& browsers)
    : state_(state), ui_(ui), clock_(clock), browsers_(browsers) {}

void Shop::Changed() const {
    if (listener_)
        listener_();
}

int Shop::Volume_Litres() const {
    return static_cast<int>(std::nearbyint(Leading_Number(Combo3.Text())));
}

int Shop::Station_Number() const {
    const int index = ListView1.List_Index();
    if (index < 0 || index >= ListView1.Count())
        return 0;
    return static_cast<int>(Leading_Number(ListView1.Key(index).substr(4)));
}

int Shop::Station_Top() const {
    // The list stands for the stations by number: with a blank record between named ones the
    // top is the highest station listed, so that no listed station escapes the mask's test.
    int top = 0;
    for (int e = 0; e < ListView1.Count(); ++e)
        top = std::max(top, static_cast<int>(Leading_Number(ListView1.Key(e).substr(4))));
    return std::max(top, ListView1.Count());
}

namespace {

// The grid's columns from the usable part of one width to that of another.
void Rescale_Columns(Grid& grid, int old_twips, int new_twips) {
    const long long before = old_twips - Log_Grid_Margin;
    const long long after = new_twips - Log_Grid_Margin;
    if (before <= 0 || after <= 0 || before == after)
        return;
    for (int col = 0; col < grid.Cols(); ++col)
        grid.Set_Column_Width(col, static_cast<int>(grid.Column_Width(col) * after / before));
}

} // namespace

void Shop::Set_Grid_Widths(int list_twips, int result_twips) {
    Rescale_Columns(MSFlexGrid1, list_width_, list_twips);
    Rescale_Columns(MSFlexGrid2, result_width_, result_twips);
    list_width_ = list_twips;
    result_width_ = result_twips;
}

// ---- Opening and closing ---------------------------------------------------------------------

void Shop::Prepare_List() {
    Grid& list = MSFlexGrid1;
    list.Set_Rows(Empty_List_Rows);
    list.Clear();
    const int half = (list_width_ - Log_Grid_Margin) / 2;
    list.Set_Column_Width(Number_Col, half);
    list.Set_Column_Width(Litres_Col, half);
    list.Set_Text(0, Number_Col, "Номер талона");
    list.Set_Text(0, Litres_Col, "Талон/Литры");
    list.Set_Top_Row(1);
    list.Set_Row(1);
    list.Set_Col(Number_Col);
}

void Shop::Prepare_Log() {
    Reset_Log_Grid(MSFlexGrid2, result_width_, "Номер талона", "Результат списания", 2, 2);
}

void Shop::Form_Load() {
    Prepare_List();
    Prepare_Log();
    Combo2.Clear();
    Combo3.Clear();
    Add_Standard_Volumes(Combo3);
    Add_User_Volumes(Combo3, state_);
    Rebuild_If_Stale(state_, ui_, clock_);
    Add_Fuels(Combo2, state_);
    // The fuel of the browser's column; a value past the list leaves the first grade below.
    if (state_.Redemption_Column >= 0 && state_.Redemption_Column < Combo2.Count())
        Combo2_Click(state_.Redemption_Column);
    ListView1.Clear();
    Add_Stations(ListView1, state_, Station_Key_Prefix);
    if (ListView1.Count() > 0) {
        ListView1.Set_List_Index(0);
        Label7 = ListView1.Text(0);
    }
    // The station of the station browser's current row, when that browser is open.
    if (const Resolve_Tickets* station = browsers_.Station()) {
        const Grid& grid = station->MSFlexGrid1;
        const std::string name = Trim_Text(grid.Text(grid.Row(), 0));
        for (int e = 0; e < ListView1.Count(); ++e)
            if (Trim_Text(ListView1.Text(e)) == name) {
                Label7 = ListView1.Text(e);
                ListView1.Set_Checked(e, true);
                ListView1.Set_List_Index(e);
            }
    }
    if (Combo2.List_Index() < 0 && Combo2.Count() > 0)
        Combo2_Click(0);
    if (Combo3.Count() > 0)
        Combo3_Click(0);
    Changed();
}

void Shop::Form_Unload() {
    Rebuild_If_Stale(state_, ui_, clock_);
}

// ---- Station, fuel, volume -------------------------------------------------------------------

void Shop::ListView1_ItemClick(int index) {
    if (index < 0 || index >= ListView1.Count())
        return;
    // The marks act as a single choice; what counts is the selected entry.
    for (int e = 0; e < ListView1.Count(); ++e)
        ListView1.Set_Checked(e, e == index);
    ListView1.Set_List_Index(index);
    Label7 = ListView1.Text(index);
    Changed();
}

void Shop::Combo2_Click(int index) {
    Combo2.Set_List_Index(index);
    if (MSFlexGrid1.Rows() > Empty_List_Rows) {
        state_.Answer =
            ui_.Message_Box("Вы изменили тип топлива! Удалить записи талонов из списка?",
                            box::Question | box::Yes_No, Clear_Title);
        if (state_.Answer != box::Answer_Yes) {
            Changed();
            return;
        }
    }
    Prepare_List();
    Changed();
}

void Shop::Combo3_Click(int index) {
    Combo3.Set_List_Index(index);
    if (MSFlexGrid1.Rows() > Empty_List_Rows) {
        state_.Answer =
            ui_.Message_Box("Вы изменили литраж топлива! Удалить записи талонов из списка?",
                            box::Question | box::Yes_No, Clear_Title);
        if (state_.Answer != box::Answer_Yes) {
            state_.Answer = ui_.Message_Box("Обновить стандартный литраж топлива?",
                                            box::Question | box::Yes_No, Clear_Title);
            if (state_.Answer == box::Answer_Yes)
                for (int row = 1; row < MSFlexGrid1.Rows(); ++row)
                    MSFlexGrid1.Set_Text(row, Litres_Col, Combo3.Text());
            Changed();
            return;
        }
    }
    Prepare_List();
    Changed();
}

void Shop::Check1_Click(bool ticked) {
    Check1 = ticked;
    state_.Cache_Stale = ticked;
}

// ---- The number list -------------------------------------------------------------------------

void Shop::Recount() {
    double total = 0;
    for (int row = 1; row < MSFlexGrid1.Rows(); ++row)
        total += Litres_Of(MSFlexGrid1.Text(row, Litres_Col)).value_or(0.0);
    Frame_Caption =
        "Номера талонов." + std::string(10, ' ') + "К списанию: " + Format_Number(total) + "л.";
    Changed();
}

void Shop::Remove_List_Row(int row) {
    // The list never falls below its header and one row.
    if (row < 1 || MSFlexGrid1.Rows() <= Empty_List_Rows)
        return;
    MSFlexGrid1.Remove_Item(row);
    if (MSFlexGrid1.Row() < 1)
        MSFlexGrid1.Set_Row(1);
}

void Shop::MSFlexGrid1_KeyPress(int key) {
    Grid& list = MSFlexGrid1;
    const int row = list.Row();
    const int col = list.Col();
    if (row < 1)
        return;
    if (key == Key_Backspace) {
        const bool number_empty = list.Text(row, Number_Col).empty();
        if (number_empty && list.Rows() > Empty_List_Rows) {
            Remove_List_Row(row);
            Changed();
            return;
        }
        if (number_empty && row == 1) {
            list.Set_Text(row, Litres_Col, "");
            Changed();
            return;
        }
        const std::string& text = list.Text(row, col);
        if (!text.empty())
            list.Set_Text(row, col, Without_Last(text));
        Recount();
        return;
    }
    if (key == Key_Enter) {
        const bool last = row == list.Rows() - 1;
        const bool has_number = !list.Text(row, Number_Col).empty();
        if (last) {
            if (col == Number_Col && has_number && list.Text(row, Litres_Col).empty())
                list.Set_Text(row, Litres_Col, Combo3.Text());
            if (has_number) {
                list.Add_Item("\t");
                if (list.Text(row, Litres_Col).empty())
                    MSFlexGrid1_Move_To(row, Litres_Col);
                else
                    MSFlexGrid1_Move_To(list.Rows() - 1, Number_Col);
            }
        } else {
            if (has_number && list.Text(row, Litres_Col).empty())
                list.Set_Text(row, Litres_Col, Combo3.Text());
            MSFlexGrid1_Move_To(row + 1, Number_Col);
        }
        Recount();
        return;
    }
    const bool digit = key >= '0' && key <= '9';
    const bool mark = key == ',' || key == '.';
    if (col == Number_Col) {
        if (mark)
            return;
        if (digit) {
            const std::string& text = list.Text(row, col);
            if (Utf8_Length(text) < static_cast<std::size_t>(Number_Max_Length))
                list.Set_Text(row, col, text + static_cast<char>(key));
            Changed();
            return;
        }
        Recount();
        return;
    }
    if (digit || mark) {
        list.Set_Text(row, col, list.Text(row, col) + static_cast<char>(key));
        Changed();
        return;
    }
    Recount();
}

void Shop::MSFlexGrid1_KeyUp(List_Key key) {
    Grid& list = MSFlexGrid1;
    const int row = list.Row();
    if (key == List_Key::Insert && row >= 1 && !list.Text(row, Number_Col).empty())
        list.Add_Item("\t", row);
    if (key == List_Key::Delete && row >= 1) {
        if (row == 1 && list.Rows() == Empty_List_Rows) {
            list.Set_Text(1, Number_Col, "");
            list.Set_Text(1, Litres_Col, "");
        } else {
            Remove_List_Row(row);
        }
    }
    Recount();
}

void Shop::Leave_Cell() {
    Grid& list = MSFlexGrid1;
    const int row = list.Row();
    if (row < 1 || list.Col() != Number_Col)
        return;
    const std::string& number = list.Text(row, Number_Col);
    // An empty row can't stay above others; the last one of the list stays (errors ignored).
    if (number.empty())
        Remove_List_Row(row);
    else
        list.Set_Text(row, Number_Col, Zeros_In_Front(number, Number_Max_Length));
}

void Shop::Enter_Cell() {
    const int row = MSFlexGrid1.Row();
    if (row > Scroll_From_Row)
        MSFlexGrid1.Set_Top_Row(row);
}

void Shop::MSFlexGrid1_Move_To(int row, int col) {
    Grid& list = MSFlexGrid1;
    // Staying in the cell is no leaving of it.
    if (row == list.Row() && col == list.Col())
        return;
    Leave_Cell();
    list.Set_Row(std::clamp(row, 1, list.Rows() - 1));
    list.Set_Col(std::clamp(col, 0, 1));
    Enter_Cell();
    Changed();
}

void Shop::MSFlexGrid1_LostFocus() {
    Leave_Cell();
    Grid& list = MSFlexGrid1;
    const int row = list.Row();
    if (list.Col() == Number_Col && row >= 1 && !list.Text(row, Number_Col).empty() &&
        list.Text(row, Litres_Col).empty())
        list.Set_Text(row, Litres_Col, Combo3.Text());
    Recount();
}

void Shop::MSFlexGrid1_GotFocus() {
    Recount();
}

// ---- Buttons and menus -----------------------------------------------------------------------

void Shop::Command1_Click() {
    if (!busy_)
        Check_Redemption(*this);
}

void Shop::Command2_Click() {
    if (!busy_)
        Commit_Redemption(*this);
}

bool Shop::MSFlexGrid2_DblClick() const {
    return !Trim_Text(MSFlexGrid2.Text(MSFlexGrid2.Row(), Log_Record_Col)).empty();
}

void Shop::Clear_Log() {
    Reset_Log_Grid(MSFlexGrid2, result_width_, "Номер талона", "Результат списания", 1, 3);
    Changed();
}

void Shop::Clear_List() {
    Prepare_List();
    Changed();
}

} // namespace td
