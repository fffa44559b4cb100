#include "tickets/result_log.h"

namespace td {

int Add_Log_Row(Grid& grid, const Log_Row& row) {
    grid.Add_Item(row.number + "\t" + row.text + "\t" + row.record);
    return grid.Rows() - 1;
}

int Add_Log_Row(Grid& grid, const Log_Row& row, Rgb colour, bool bold) {
    const int at = Add_Log_Row(grid, row);
    grid.Set_Colour(at, Log_Text_Col, colour);
    if (bold)
        grid.Set_Bold(at, Log_Text_Col, true);
    return at;
}

void Scroll_To_Last(Grid& grid) {
    if (grid.Rows() > 7)
        grid.Set_Top_Row(grid.Rows() - 1);
}

void Reset_Log_Grid(Grid& grid, int grid_width, const char* header0, const char* header1,
                    int share0_quarters, int share1_quarters) {
    grid.Set_Rows(2);
    grid.Clear();
    const int usable = grid_width - Log_Grid_Margin;
    grid.Set_Column_Width(Log_Number_Col, usable * share0_quarters / 4);
    grid.Set_Column_Width(Log_Text_Col, usable * share1_quarters / 4);
    grid.Set_Column_Width(Log_Record_Col, 0);
    grid.Set_Text(0, Log_Number_Col, header0);
    grid.Set_Text(0, Log_Text_Col, header1);
    grid.Set_Top_Row(1);
}

std::string Log_Rows_Text(const Grid& grid, int first_row) {
    std::string text;
    for (int row = first_row; row < grid.Rows(); ++row)
        text += grid.Text(row, Log_Number_Col) + "\t" + grid.Text(row, Log_Text_Col) + "\t" +
                grid.Text(row, Log_Record_Col) + "\n";
    return text;
}

} // namespace td
