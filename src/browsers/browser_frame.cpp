#include "browsers/browser_frame.h"

#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "storage/records.h"
#include "storage/reference.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace td {

Browser_Frame::Browser_Frame(const Layout& layout, Program_State& state, Ui& ui, Clock& clock,
                             User_Settings& settings, Browser_Shell* shell)
    : MSFlexGrid1(layout.rows, layout.cols), state_(state), ui_(ui), clock_(clock),
      settings_(settings), shell_(shell), layout_(layout) {}

Toolbar_Result Browser_Frame::Morvo_GLOBAL(const std::string& key) {
    if (key == "exit")
        return Toolbar_Result::Close_Window;
    if (key == "Sort Ascending" || key == "Сортировка по возрастанию")
        Sort_Asc();
    else if (key == "Sort Descending" || key == "Сортировка по убыванию")
        Sort_Des();
    else if (key == "Sum")
        Even_Out_Columns();
    return Toolbar_Result::Done;
}

void Browser_Frame::Even_Out_Columns() {
    // The fuel columns with a non-empty trimmed header share the width left of the grid after
    // the columns before them, less 400; then all widths are saved.
    Grid& grid = MSFlexGrid1;
    double room = grid_width_;
    for (int col = 0; col < layout_.first_data_col; ++col)
        room -= grid.Column_Width(col);
    int named = 0;
    for (int col = layout_.first_data_col; col < grid.Cols(); ++col)
        if (!Trim_Text(grid.Text(0, col)).empty())
            ++named;
    // With no named fuel nothing takes part, so the division never happens.
    for (int col = layout_.first_data_col; col < grid.Cols(); ++col)
        if (!Trim_Text(grid.Text(0, col)).empty())
            grid.Set_Column_Width(col, static_cast<int>(std::nearbyint((room - 400) / named)));
    Save_Widths();
}

void Browser_Frame::Fuel_Headers() {
    state_.Fuel_Count = 0;
    std::vector<Fuel_Record> fuels = Read_Fuel_Slots(state_.Path_Of(state_.settings.Fuel_File));
    for (int slot = 1; slot <= Fuel_Slots; ++slot) {
        const int col = layout_.first_data_col + slot - 1;
        std::string name = Trim_Text(fuels[static_cast<std::size_t>(slot - 1)].Name);
        if (!name.empty()) {
            ++state_.Fuel_Count;
            MSFlexGrid1.Set_Text(0, col, name);
        } else {
            MSFlexGrid1.Set_Column_Width(col, 0);
        }
    }
}

void Browser_Frame::Restore_Widths() {
    Grid& grid = MSFlexGrid1;
    for (int col = 0; col < grid.Cols(); ++col) {
        std::string value = settings_.Get(Settings_Application, Windows_Section,
                                          Widths_Prefix() + std::to_string(col), "960");
        grid.Set_Column_Width(col, static_cast<int>(std::nearbyint(Leading_Number(value))));
    }
    for (int col = 1; col < grid.Cols(); ++col)
        if (grid.Text(0, col).empty())
            grid.Set_Column_Width(col, 0);
}

void Browser_Frame::Save_Widths() {
    for (int col = 0; col < MSFlexGrid1.Cols(); ++col)
        settings_.Save(Settings_Application, Windows_Section, Widths_Prefix() + std::to_string(col),
                       std::to_string(MSFlexGrid1.Column_Width(col)));
}

void Browser_Frame::Form_Resize() {
    MSFlexGrid1.Set_Visible(false);
    Restore_Widths();
    MSFlexGrid1.Set_Visible(true);
}

bool Browser_Frame::Widths_Kept() const {
    return !settings_
                .Get(Settings_Application, Windows_Section,
                     Widths_Prefix() + std::to_string(layout_.name_col), "")
                .empty();
}

void Browser_Frame::First_Widths(const std::vector<Column_Width>& widths, int grid_twips) {
    Set_Grid_Width(grid_twips);
    for (const Column_Width& width : widths) {
        if (width.col < 0 || width.col >= MSFlexGrid1.Cols())
            continue;
        int twips =
            width.col == layout_.name_col ? std::min(width.twips, grid_twips * 2 / 5) : width.twips;
        MSFlexGrid1.Set_Column_Width(width.col, twips);
        settings_.Save(Settings_Application, Windows_Section,
                       Widths_Prefix() + std::to_string(width.col), std::to_string(twips));
    }
}

void Browser_Frame::Form_Activate() {
    if (shell_ != nullptr) {
        shell_->Sort_Menu_Visible(true);
        shell_->Sort_Buttons_Enabled(true);
    }
    if (state_.Cache_Stale) {
        Rebuild_All(state_, ui_, clock_, Progress_Target::Form);
        state_.Cache_Stale = false;
    }
    ui_.Search_Progress_Hide();
    ui_.Search_Progress_Set(0);
    ui_.Main_Window_Enabled(true);
}

void Browser_Frame::Form_Deactivate() {
    if (shell_ == nullptr)
        return;
    shell_->Sort_Menu_Visible(false);
    shell_->Sort_Buttons_Enabled(false);
}

void Browser_Frame::Form_Unload() {
    Form_Deactivate();
    Unloading();
    Save_Widths();
}

} // namespace td
