// The result grids of the sale and redemption screens: a growing log of rows (a number, a text
// in the text cell, the record number of the ticket named), coloured by what they say. A test,
// tdctl and the window read the same rows.
#pragma once

#include "ui/grid.h"

#include <string>

namespace td {

namespace log_colour {
inline constexpr Rgb Title{70, 70, 110};
inline constexpr Rgb Refusal{170, 30, 30};
inline constexpr Rgb Acceptance{30, 120, 50};
// The redemption's own shades of the acceptance and of its summary.
inline constexpr Rgb Booking{30, 110, 40};
inline constexpr Rgb Summary{30, 120, 110};
} // namespace log_colour

// The columns of a result grid.
inline constexpr int Log_Number_Col = 0;
inline constexpr int Log_Text_Col = 1;
inline constexpr int Log_Record_Col = 2;

// Twips a result grid keeps free of its columns (the scroll bar and the borders).
inline constexpr int Log_Grid_Margin = 350;

struct Log_Row {
    std::string number;
    std::string text;
    std::string record; // absolute record number, or empty
};

// Adds a row at the end and answers its index. A colour or bold applies to the text cell.
int Add_Log_Row(Grid& grid, const Log_Row& row);
int Add_Log_Row(Grid& grid, const Log_Row& row, Rgb colour, bool bold = false);
inline int Add_Blank_Row(Grid& grid) {
    return Add_Log_Row(grid, {});
}

// With more than 7 rows the last row becomes the top row, so that the newest rows show.
void Scroll_To_Last(Grid& grid);

// An empty result grid: two rows (the header and one blank), the two headers, the widths of
// columns 0 and 1 as the given shares of the grid width less the margin, column 2 (the record
// number) of zero width.
void Reset_Log_Grid(Grid& grid, int grid_width, const char* header0, const char* header1,
                    int share0_quarters, int share1_quarters);

// The rows a command-line run prints: every row after the header and the blank row the grid
// starts with, as "number TAB text TAB record".
std::string Log_Rows_Text(const Grid& grid, int first_row = 2);

} // namespace td
