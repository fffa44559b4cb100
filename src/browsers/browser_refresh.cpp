#include "browsers/browser_refresh.h"

#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"

namespace td {

void Open_Browsers::Set_Buyer(Sell_Ticets* buyer, std::function<void()> show) {
    buyer_ = buyer;
    show_buyer_ = std::move(show);
}

void Open_Browsers::Set_Station(Resolve_Tickets* station, std::function<void()> show) {
    station_ = station;
    show_station_ = std::move(show);
}

void Open_Browsers::Buyer_Show() {
    if (buyer_ != nullptr && show_buyer_)
        show_buyer_();
}

void Open_Browsers::Buyer_Set_Label(const std::string& text) {
    if (buyer_ != nullptr)
        buyer_->Label1 = text;
}

int Open_Browsers::Buyer_Grid_Row() const {
    return buyer_ != nullptr ? buyer_->MSFlexGrid1.Row() : 0;
}

int Open_Browsers::Buyer_Grid_Col() const {
    return buyer_ != nullptr ? buyer_->MSFlexGrid1.Col() : 0;
}

void Open_Browsers::Buyer_Node_Click_Again() {
    if (buyer_ != nullptr)
        buyer_->Refresh_Current_Node();
}

void Open_Browsers::Buyer_Set_Grid_Cell(int row, int col) {
    if (buyer_ == nullptr)
        return;
    buyer_->MSFlexGrid1.Set_Row(row);
    buyer_->MSFlexGrid1.Set_Col(col);
}

void Open_Browsers::Station_Show() {
    if (station_ != nullptr && show_station_)
        show_station_();
}

void Open_Browsers::Station_Set_Label(const std::string& text) {
    if (station_ != nullptr)
        station_->Label1 = text;
}

void Open_Browsers::Station_Refresh_Data(double date) {
    if (station_ != nullptr)
        station_->Refresh_Data(date);
}

} // namespace td
