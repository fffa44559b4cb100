// The view of ui/Grid: a table model over it and a table view that follows its sizes (twips at
// 1440 to the inch; height 0 hides a row), bold, colours, icons, the current cell and the top
// row. Row 0 of the grid is its fixed header row and shows as the table's header.
#pragma once

#include "ui/grid.h"

#include <QAbstractTableModel>
#include <QIcon>
#include <QTableView>
#include <functional>

namespace td {

class Qt_Grid_Model : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit Qt_Grid_Model(Grid& grid, QObject* parent = nullptr);
    ~Qt_Grid_Model() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    Grid& Model_Grid() { return grid_; }
    // Icons by the key a cell names.
    void Set_Icons(std::function<QIcon(const std::string&)> icons) { icons_ = std::move(icons); }

    // Brings the table up to the grid now; changes of the grid otherwise arrive coalesced,
    // once per turn of the event loop.
    void Refresh();

signals:
    void Refreshed();

private:
    Grid& grid_;
    std::function<QIcon(const std::string&)> icons_;
    int shown_rows_ = 0;
    int shown_cols_ = 0;
    bool refresh_pending_ = false;
};

class Qt_Grid_View : public QTableView {
    Q_OBJECT
public:
    explicit Qt_Grid_View(Grid& grid, QWidget* parent = nullptr);
    Qt_Grid_Model& Grid_Model() { return model_; }

    static int Twips_To_Pixels(int twips, int dots_per_inch);
    static int Pixels_To_Twips(int pixels, int dots_per_inch) {
        return dots_per_inch > 0 ? pixels * 1440 / dots_per_inch : pixels * 15;
    }

    // The user is moving the current cell (mouse or keys): called before the grid's row and
    // column follow, as the grid's LeaveCell.
    void On_Leave_Cell(std::function<void()> handler) { leave_cell_ = std::move(handler); }
    // The last column takes the room the others leave, with no horizontal scroll bar: for the
    // small dialogs whose grid fills them.
    void Fill_Width();

private:
    void Apply_Grid();

    Qt_Grid_Model model_;
    bool applying_ = false;
    bool fill_width_ = false;
    std::function<void()> leave_cell_;
};

} // namespace td
