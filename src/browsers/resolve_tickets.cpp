#include "browsers/resolve_tickets.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "browsers/sell_ticets.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/reference.h"

#include <vector>

namespace td {

namespace {

constexpr const char* Widths_Prefix = "RsTsC";
constexpr int Columns = 9;

} // namespace

std::string Station_Amount_Text(double amount) {
    std::string s = Format_Number(amount);
    for (const char* hidden : {"0,", "-", "#", "E"})
        if (s.find(hidden) != std::string::npos)
            return "0";
    return s;
}

Resolve_Tickets::Resolve_Tickets(Program_State& state, Ui& ui, Clock& clock,
                                 User_Settings& settings, Browser_Shell* shell)
    : MSFlexGrid1(Rows, Columns), state_(state), ui_(ui), clock_(clock), settings_(settings),
      shell_(shell) {}

bool Resolve_Tickets::Fill_Stations() {
    Grid& grid = MSFlexGrid1;
    grid.Set_Rows(Rows + 1);
    Record_File stations(state_.Path_Of(state_.settings.Establishments_File), Name_Record_Size,
                         Record_File::Mode::Read_Only);
    Record_File totals(state_.Path_Of(state_.settings.Cache_Used_File), Cache_Record_Size,
                       Record_File::Mode::Read_Only);
    std::vector<std::uint8_t> raw(Name_Record_Size);
    std::vector<std::uint8_t> total(Cache_Record_Size);
    for (int r = 1;; ++r) {
        if (!stations.Read(static_cast<std::uint64_t>(r), raw.data()) || raw[0] != 1)
            break;
        // Rows end at 17: a station beyond them stops the fill where it stands.
        if (r >= grid.Rows())
            return false;
        std::string name = Trim_Text(Decode_Name(raw.data()).Name);
        if (name.empty()) {
            grid.Set_Row_Height(r, 0);
            continue;
        }
        ++state_.Station_Count;
        grid.Set_Text(r, 0, name);
        Cache_Record record;
        if (totals.Read(static_cast<std::uint64_t>(r), total.data()))
            record = Decode_Cache(total.data());
        for (int k = 1; k <= Fuel_Slots; ++k)
            grid.Set_Text(r, k,
                          Station_Amount_Text(record.Fuel_Total[static_cast<std::size_t>(k)]));
    }
    grid.Set_Rows(Rows);
    grid.Set_Text(0, 0, "Название заправки");
    return true;
}

void Resolve_Tickets::Fuel_Headers() {
    Grid& grid = MSFlexGrid1;
    state_.Fuel_Count = 0;
    std::vector<Fuel_Record> fuels = Read_Fuel_Slots(state_.Path_Of(state_.settings.Fuel_File));
    for (int slot = 1; slot <= Fuel_Slots; ++slot) {
        std::string name = Trim_Text(fuels[static_cast<std::size_t>(slot - 1)].Name);
        if (!name.empty()) {
            ++state_.Fuel_Count;
            grid.Set_Text(0, slot, name);
        } else {
            grid.Set_Column_Width(slot, 0);
        }
    }
}

bool Resolve_Tickets::Form_Load(Sell_Ticets* buyer) {
    std::string saved = settings_.Get(Settings_Application, "Kernel", "Date", "0:00:00");
    double saved_date = Parse_Date(Trim_Text(saved)).value_or(0.0);
    if (Date_Before(saved_date, state_.Current_Date)) {
        // The working date moved on since this window was last closed.
        if (state_.Buyer_Browser_Open && buyer != nullptr) {
            buyer->Label1 = "На текущую дату: " + Format_Date(state_.Current_Date);
            Rebuild_Company_Totals(state_, ui_, clock_, state_.Current_Date, Progress_Target::Form);
            ui_.Main_Window_Enabled(true);
            int row = buyer->MSFlexGrid1.Row();
            int col = buyer->MSFlexGrid1.Col();
            buyer->TreeView1_NodeClick(state_.Current_Node_Key);
            buyer->MSFlexGrid1.Set_Row(row);
            buyer->MSFlexGrid1.Set_Col(col);
        }
        Rebuild_Station_Totals(state_, ui_, clock_, state_.Current_Date, state_.Current_Date,
                               Progress_Target::Form);
        Refresh_Data(state_.Current_Date);
    }

    Grid& grid = MSFlexGrid1;
    grid.Set_Visible(false);
    grid.Clear();
    Restore_Column_Widths(grid, settings_, Widths_Prefix);
    state_.Station_Browser_Open = true;
    Label1 = "За текущую дату: " + Format_Date(state_.Current_Date);
    // No reset of Station_Count here: a second opening in a run counts on from the first.
    if (!Fill_Stations())
        return false;
    Restore_Column_Widths(grid, settings_, Widths_Prefix);
    Fuel_Headers();
    for (int col = 0; col < grid.Cols(); ++col)
        grid.Set_Bold(0, col, true);
    grid.Set_Visible(true);
    return true;
}

void Resolve_Tickets::Refresh_Data(double date) {
    Grid& grid = MSFlexGrid1;
    grid.Clear();
    state_.Station_Count = 0;
    Label1 = "За текущую дату: " + Format_Date(date);
    if (!Fill_Stations())
        return;
    // The headers went with the clearing; the fuel columns get theirs back.
    Fuel_Headers();
    for (int col = 0; col < grid.Cols(); ++col)
        grid.Set_Bold(0, col, true);
}

Station_Popup Resolve_Tickets::MSFlexGrid1_Click() {
    const Grid& grid = MSFlexGrid1;
    Station_Popup popup;
    int row = grid.Row();
    int col = grid.Col();
    if (col > 0 && col < state_.Fuel_Count + 1 && row > 0 && row < state_.Station_Count + 1) {
        popup.show = true;
        popup.Mnu_Shop_Range_s = true;
        popup.mnu_popup_Res_stat = Leading_Number(grid.Text(row, col)) != 0;
        popup.mnu_popup_Res_stat_range = true;
    }
    return popup;
}

void Resolve_Tickets::Sort_Asc() {
    MSFlexGrid1.Sort(1, MSFlexGrid1.Rows() - 1, MSFlexGrid1.Col(), Sort_Order::Ascending);
}

void Resolve_Tickets::Sort_Des() {
    MSFlexGrid1.Sort(1, MSFlexGrid1.Rows() - 1, MSFlexGrid1.Col(), Sort_Order::Descending);
}

Toolbar_Result Resolve_Tickets::Morvo_GLOBAL(const std::string& key) {
    return Run_Toolbar_Key(
        key, {[this] { Sort_Asc(); }, [this] { Sort_Des(); },
              [this] { Even_Out_Columns(MSFlexGrid1, grid_width_, 1, settings_, Widths_Prefix); }});
}

void Resolve_Tickets::Form_Resize() {
    Refit_Column_Widths(MSFlexGrid1, settings_, Widths_Prefix);
}

void Resolve_Tickets::MSFlexGrid1_MouseUp() {
    Save_Column_Widths(MSFlexGrid1, settings_, Widths_Prefix);
}

void Resolve_Tickets::Form_Activate() {
    Browser_Activate(state_, ui_, clock_, shell_);
}

void Resolve_Tickets::Form_Deactivate() {
    Browser_Deactivate(shell_);
}

void Resolve_Tickets::Form_Unload() {
    Browser_Deactivate(shell_);
    state_.Station_Browser_Open = false;
    settings_.Save(Settings_Application, "Kernel", "Date", Format_Date(state_.Current_Date));
    Save_Column_Widths(MSFlexGrid1, settings_, Widths_Prefix);
}

bool Open_Stations_For_Current_Date(Program_State& state, Ui& ui, Clock& clock,
                                    Resolve_Tickets& station, Sell_Ticets* buyer) {
    Rebuild_Station_Totals(state, ui, clock, state.Current_Date, state.Current_Date,
                           Progress_Target::Form);
    ui.Main_Window_Enabled(true);
    if (!station.Form_Load(buyer))
        return false;
    station.Refresh_Data(state.Current_Date);
    return true;
}

} // namespace td
