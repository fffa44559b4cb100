#include "reports/browser_statistics.h"

#include "base/text.h"
#include "ui/grid.h"

namespace td {

Stat_Request Station_Request_From(const Grid& grid, bool period) {
    Stat_Request request;
    request.station = true;
    request.period = period;
    request.station_number = grid.Row();
    request.fuel = grid.Col();
    request.names.station = Trim_Text(grid.Text(grid.Row(), 0));
    request.names.fuel = Trim_Text(grid.Text(0, grid.Col()));
    return request;
}

Stat_Request Buyer_Request_From(const Grid& grid, bool period) {
    Stat_Request request;
    request.station = false;
    request.period = period;
    request.buyer_key = Trim_Text(grid.Text(grid.Row(), 1));
    request.fuel = grid.Col() - 2;
    request.names.buyer = Trim_Text(grid.Text(grid.Row(), 2));
    request.names.fuel = Trim_Text(grid.Text(0, grid.Col()));
    return request;
}

} // namespace td
