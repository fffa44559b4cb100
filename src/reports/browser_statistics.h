// The statistics of the cell selected in a browser: which station or buyer, which fuel, and the
// names the grid shows for them.
#pragma once

#include "reports/statistics.h"

namespace td {

class Grid;

// Station browser: the row is the station's number, the column the fuel's; the station's name
// is in column 0 of the row, the fuel's in row 0 of the column.
Stat_Request Station_Request_From(const Grid& station_grid, bool period);

// Buyer browser: the fuel is the column less 2; column 1 of the row holds the buyer's key,
// column 2 its name; the fuel's name is in row 0 of the column.
Stat_Request Buyer_Request_From(const Grid& buyer_grid, bool period);

} // namespace td
