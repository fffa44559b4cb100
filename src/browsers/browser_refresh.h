// The open browsers as the working-date picker reaches them. The picker (Calendar_Single) speaks
// to the Browser_Refresh interface of catalogues/date_pickers.h; this registry implements it over
// whichever of the two browser models is open. The shell registers a browser when it opens the
// window and unregisters it at unload, and gives the two callbacks that bring a window to the
// front.
#pragma once

#include "catalogues/date_pickers.h"

#include <functional>
#include <string>

namespace td {

class Sell_Ticets;
class Resolve_Tickets;

class Open_Browsers : public Browser_Refresh {
public:
    void Set_Buyer(Sell_Ticets* buyer, std::function<void()> show = {});
    void Set_Station(Resolve_Tickets* station, std::function<void()> show = {});
    Sell_Ticets* Buyer() const { return buyer_; }
    Resolve_Tickets* Station() const { return station_; }

    void Buyer_Show() override;
    void Buyer_Set_Label(const std::string& text) override;
    int Buyer_Grid_Row() const override;
    int Buyer_Grid_Col() const override;
    void Buyer_Node_Click_Again() override;
    void Buyer_Set_Grid_Cell(int row, int col) override;
    void Station_Show() override;
    void Station_Set_Label(const std::string& text) override;
    void Station_Refresh_Data(double date) override;

private:
    Sell_Ticets* buyer_ = nullptr;
    Resolve_Tickets* station_ = nullptr;
    std::function<void()> show_buyer_;
    std::function<void()> show_station_;
};

} // namespace td
