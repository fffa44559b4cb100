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

#include <vector>

namespace td {

namespace {

constexpr Browser_Frame::Layout Frame_Layout{.settings_prefix = Resolve_Tickets::Settings_Prefix,
                                             .rows = Resolve_Tickets::Rows,
                                             .cols = 9,
                                             .name_col = 0,
                                             .first_data_col = 1};

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
    : Browser_Frame(Frame_Layout, state, ui, clock, settings, shell) {}

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
        if (!stations.Read(static_cast<std::uint64_t>(r), raw.data()))
            break;
        const Name_Record station = Decode_Name(raw.data());
        if (station.Exists != 1)
            break;
        // Rows end at 17: a station beyond them stops the fill where it stands.
        if (r >= grid.Rows())
            return false;
        std::string name = Trim_Text(station.Name);
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

bool Resolve_Tickets::Form_Load(Sell_Ticets* buyer) {
    loaded_ = true;
    std::string saved = settings_.Get(Settings_Application, Date_Section, Date_Key, "0:00:00");
    double saved_date = Parse_Date(Trim_Text(saved)).value_or(0.0);
    if (Date_Before(saved_date, state_.Current_Date)) {
        // The working date moved on since this window was last closed.
        if (state_.Buyer_Browser_Open && buyer != nullptr) {
            Rebuild_Company_Totals(state_, ui_, clock_, state_.Current_Date, Progress_Target::Form);
            ui_.Main_Window_Enabled(true);
            buyer->Date_Changed(state_.Current_Date);
        }
        Rebuild_Station_Totals(state_, ui_, clock_, state_.Current_Date, state_.Current_Date,
                               Progress_Target::Form);
        Refresh_Data(state_.Current_Date);
    }

    Grid& grid = MSFlexGrid1;
    grid.Set_Visible(false);
    grid.Clear();
    Restore_Widths();
    state_.Station_Browser_Open = true;
    Label1 = "За текущую дату: " + Format_Date(state_.Current_Date);
    // No reset of Station_Count here: a second opening in a run counts on from the first.
    if (!Fill_Stations())
        return false;
    Restore_Widths();
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

Browser_Popup Resolve_Tickets::Popup_For_Click() {
    const Station_Popup click = MSFlexGrid1_Click();
    return {"mnu_popup_resolve",
            click.show,
            {{"Mnu_Shop_Range_s", click.Mnu_Shop_Range_s},
             {"mnu_popup_release", true},
             {"mnu_set_curr_date_shop", true},
             {"mnu_popup_Res_stat", click.mnu_popup_Res_stat},
             {"mnu_popup_Res_stat_range", click.mnu_popup_Res_stat_range}}};
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

void Resolve_Tickets::Unloading() {
    state_.Station_Browser_Open = false;
    // The next opening knows from it that the working date has moved.
    settings_.Save(Settings_Application, Date_Section, Date_Key, Format_Date(state_.Current_Date));
}

bool Open_Stations_For_Current_Date(Program_State& state, Ui& ui, Clock& clock,
                                    Resolve_Tickets& station, Sell_Ticets* buyer) {
    Rebuild_Station_Totals(state, ui, clock, state.Current_Date, state.Current_Date,
                           Progress_Target::Form);
    ui.Main_Window_Enabled(true);
    if (!station.Loaded() && !station.Form_Load(buyer))
        return false;
    station.Refresh_Data(state.Current_Date);
    return true;
}

} // namespace td
