#include "browsers/browser_frame.h"

#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "ui/grid.h"

#include <cmath>

namespace td {

void Browser_Activate(Program_State& state, Ui& ui, Clock& clock, Browser_Shell* shell) {
    if (shell != nullptr) {
        shell->Sort_Menu_Visible(true);
        shell->Sort_Buttons_Enabled(true);
    }
    if (state.Cache_Stale) {
        Rebuild_All(state, ui, clock, Progress_Target::Form);
        state.Cache_Stale = false;
    }
    ui.Search_Progress_Hide();
    ui.Search_Progress_Set(0);
    ui.Main_Window_Enabled(true);
}

void Browser_Deactivate(Browser_Shell* shell) {
    if (shell == nullptr)
        return;
    shell->Sort_Menu_Visible(false);
    shell->Sort_Buttons_Enabled(false);
}

void Restore_Column_Widths(Grid& grid, User_Settings& settings, const std::string& prefix) {
    for (int col = 0; col < grid.Cols(); ++col) {
        std::string value =
            settings.Get(Settings_Application, "Windows", prefix + std::to_string(col), "960");
        grid.Set_Column_Width(col, static_cast<int>(std::nearbyint(Leading_Number(value))));
    }
    for (int col = 1; col < grid.Cols(); ++col)
        if (grid.Text(0, col).empty())
            grid.Set_Column_Width(col, 0);
}

void Save_Column_Widths(const Grid& grid, User_Settings& settings, const std::string& prefix) {
    for (int col = 0; col < grid.Cols(); ++col)
        settings.Save(Settings_Application, "Windows", prefix + std::to_string(col),
                      std::to_string(grid.Column_Width(col)));
}

void Even_Out_Columns(Grid& grid, int grid_width, int first_data_col, User_Settings& settings,
                      const std::string& prefix) {
    double room = grid_width;
    for (int col = 0; col < first_data_col; ++col)
        room -= grid.Column_Width(col);
    int named = 0;
    for (int col = first_data_col; col < grid.Cols(); ++col)
        if (!Trim_Text(grid.Text(0, col)).empty())
            ++named;
    // With no named fuel nothing takes part, so the division never happens.
    for (int col = first_data_col; col < grid.Cols(); ++col)
        if (!Trim_Text(grid.Text(0, col)).empty())
            grid.Set_Column_Width(col, static_cast<int>(std::nearbyint((room - 400) / named)));
    Save_Column_Widths(grid, settings, prefix);
}

Toolbar_Result Run_Toolbar_Key(const std::string& key, const Toolbar_Actions& actions) {
    if (key == "exit")
        return Toolbar_Result::Close_Window;
    if (key == "Sort Ascending" || key == "Сортировка по возрастанию")
        actions.sort_ascending();
    else if (key == "Sort Descending" || key == "Сортировка по убыванию")
        actions.sort_descending();
    else if (key == "Sum")
        actions.sum();
    return Toolbar_Result::Done;
}

void Refit_Column_Widths(Grid& grid, User_Settings& settings, const std::string& prefix) {
    grid.Set_Visible(false);
    Restore_Column_Widths(grid, settings, prefix);
    grid.Set_Visible(true);
}

} // namespace td
