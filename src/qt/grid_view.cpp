#include "qt/grid_view.h"

#include <QFont>
#include <QHeaderView>
#include <QScrollBar>
#include <QTimer>

namespace td {
namespace {

// A figure, or figures side by side ("1289,5  /  409,5  /  880"): digits with a decimal comma,
// a sign, blanks and slashes, nothing else.
bool Is_Figure(const std::string& text) {
    bool digit = false;
    for (const char c : text) {
        if (c >= '0' && c <= '9')
            digit = true;
        else if (c != ',' && c != ' ' && c != '/' && c != '-')
            return false;
    }
    return digit;
}

bool Names_Column(const std::string& header) {
    return header == "Номер талона" || header == "Номер" || header == "Код";
}

} // namespace

Qt_Grid_Model::Qt_Grid_Model(Grid& grid, QObject* parent)
    : QAbstractTableModel(parent), grid_(grid) {
    shown_rows_ = std::max(0, grid_.Rows() - 1);
    shown_cols_ = grid_.Cols();
    grid_.On_Change([this] {
        if (refresh_pending_)
            return;
        refresh_pending_ = true;
        QTimer::singleShot(0, this, [this] {
            if (refresh_pending_)
                Refresh();
        });
    });
}

Qt_Grid_Model::~Qt_Grid_Model() {
    grid_.On_Change({});
}

int Qt_Grid_Model::rowCount(const QModelIndex& parent) const {
    // The shape the view was last told of; a changed grid is announced by Refresh.
    return parent.isValid() ? 0 : shown_rows_;
}

int Qt_Grid_Model::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : shown_cols_;
}

QVariant Qt_Grid_Model::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() + 1 >= grid_.Rows() || index.column() >= grid_.Cols())
        return {};
    const Grid_Cell& cell = grid_.Cell(index.row() + 1, index.column());
    switch (role) {
    case Qt::DisplayRole:
        return QString::fromStdString(cell.text);
    case Qt::FontRole:
        if (cell.bold) {
            QFont font;
            font.setBold(true);
            return font;
        }
        return {};
    case Qt::ForegroundRole:
        if (cell.has_colour)
            return QColor(cell.colour.red, cell.colour.green, cell.colour.blue);
        return {};
    case Qt::TextAlignmentRole:
        // Figures line up on their last digit; ticket numbers and codes are names, not figures.
        if (Is_Figure(cell.text) && !Names_Column(grid_.Text(0, index.column())))
            return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    case Qt::DecorationRole:
        if (!cell.icon.empty() && icons_)
            return icons_(cell.icon);
        return {};
    default:
        return {};
    }
}

QVariant Qt_Grid_Model::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= grid_.Cols())
        return {};
    const Grid_Cell& cell = grid_.Cell(0, section);
    if (role == Qt::DisplayRole)
        return QString::fromStdString(cell.text);
    if (role == Qt::FontRole && cell.bold) {
        QFont font;
        font.setBold(true);
        return font;
    }
    return {};
}

void Qt_Grid_Model::Refresh() {
    refresh_pending_ = false;
    int rows = std::max(0, grid_.Rows() - 1);
    if (rows != shown_rows_ || grid_.Cols() != shown_cols_) {
        beginResetModel();
        shown_rows_ = rows;
        shown_cols_ = grid_.Cols();
        endResetModel();
    } else if (shown_rows_ > 0 && shown_cols_ > 0) {
        // Same shape: repaint in place, so the scroll position and the current cell stay.
        emit dataChanged(index(0, 0), index(shown_rows_ - 1, shown_cols_ - 1));
        emit headerDataChanged(Qt::Horizontal, 0, shown_cols_ - 1);
    }
    emit Refreshed();
}

// ---------------------------------------------------------------------------------------------

int Qt_Grid_View::Twips_To_Pixels(int twips, int dots_per_inch) {
    return static_cast<int>((static_cast<long long>(twips) * dots_per_inch + 720) / 1440);
}

Qt_Grid_View::Qt_Grid_View(Grid& grid, QWidget* parent) : QTableView(parent), model_(grid, this) {
    setModel(&model_);
    verticalHeader()->hide();
    verticalHeader()->setMinimumSectionSize(1);
    horizontalHeader()->setMinimumSectionSize(1);
    horizontalHeader()->setHighlightSections(false);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setWordWrap(false);

    connect(&model_, &Qt_Grid_Model::Refreshed, this, [this] { Apply_Grid(); });
    connect(selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current, const QModelIndex& previous) {
                if (applying_ || !current.isValid())
                    return;
                if (leave_cell_ && previous.isValid())
                    leave_cell_();
                Grid& grid = model_.Model_Grid();
                if (grid.Row() != current.row() + 1)
                    grid.Set_Row(current.row() + 1);
                if (grid.Col() != current.column())
                    grid.Set_Col(current.column());
            });
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] {
        if (applying_)
            return;
        int top = rowAt(0);
        Grid& grid = model_.Model_Grid();
        if (top >= 0 && grid.Top_Row() != top + 1)
            grid.Set_Top_Row(top + 1);
    });
    Apply_Grid();
}

void Qt_Grid_View::Fill_Width() {
    fill_width_ = true;
    // The width the grid gave the last column is forgotten: the header stretches it.
    if (model_.columnCount() > 0)
        horizontalHeader()->resizeSection(model_.columnCount() - 1, 1);
    horizontalHeader()->setStretchLastSection(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

void Qt_Grid_View::Apply_Grid() {
    applying_ = true;
    Grid& grid = model_.Model_Grid();
    int dpi_x = logicalDpiX();
    int dpi_y = logicalDpiY();
    // A stretched last column keeps the width the header gives it.
    const int sized = fill_width_ ? grid.Cols() - 1 : grid.Cols();
    for (int col = 0; col < sized; ++col)
        setColumnWidth(col, Twips_To_Pixels(grid.Column_Width(col), dpi_x));
    int header_height = Twips_To_Pixels(grid.Row_Height(0), dpi_y);
    horizontalHeader()->setVisible(header_height > 0);
    if (header_height > 0)
        horizontalHeader()->setFixedHeight(header_height);
    for (int row = 1; row < grid.Rows(); ++row) {
        bool hidden = grid.Row_Hidden(row);
        setRowHidden(row - 1, hidden);
        if (!hidden)
            setRowHeight(row - 1, Twips_To_Pixels(grid.Row_Height(row), dpi_y));
    }
    // A grid hidden by its screen while it fills is hidden here too; a view without a parent
    // is shown by whoever owns it. Shown first: a hidden view can't scroll.
    if (parentWidget() != nullptr && isVisibleTo(parentWidget()) != grid.Visible())
        setVisible(grid.Visible());
    QModelIndex current = model_.index(grid.Row() - 1, grid.Col());
    if (current.isValid() && currentIndex() != current)
        setCurrentIndex(current);
    QModelIndex top = model_.index(grid.Top_Row() - 1, 0);
    if (top.isValid() && rowAt(0) != top.row())
        scrollTo(top, QAbstractItemView::PositionAtTop);
    applying_ = false;
}

} // namespace td
