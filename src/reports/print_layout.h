// The printed layout of a report page, drawn through the printer port: the title, a rule under
// it, the grid's rows each followed by a rule, and vertical rules between the columns.
#pragma once

#include "ui/grid.h"

#include <string>

namespace td {

class Printer;

enum class Print_Style {
    Simple,  // the statistics viewers, and the toolbar's "Печать" over any viewer
    Balance, // the balance family's own print: page number, total rows bold and right-aligned
};

// Draws one page: `grid` as it stands (its fixed row included). `page` is shown in the
// heading of the Balance style. Leaves the page open: the caller ends it or the document.
void Print_Grid_Page(Printer& printer, const Grid& grid, const std::string& title, int page,
                     Print_Style style);

// Lower case of Cyrillic and Latin letters of a UTF-8 text.
std::string Lower_Text(const std::string& text);

} // namespace td
