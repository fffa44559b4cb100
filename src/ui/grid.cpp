#include "ui/grid.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

namespace td {

namespace {

const std::string Empty_Text;
const Grid_Cell Empty_Cell;

std::string_view Trim_Blanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

// A cell is numeric when its whole trimmed text is a plain decimal number; the regional comma
// and the point are both taken, since cells are filled from either source. No exponents, no
// "inf"/"nan": those are text to the user.
std::optional<double> Cell_Number(std::string_view text) {
    text = Trim_Blanks(text);
    std::string plain;
    plain.reserve(text.size());
    std::size_t at = 0;
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
        if (text[at] == '-') {
            plain.push_back('-');
        }
        ++at;
    }
    bool digits = false;
    bool mark = false;
    for (; at < text.size(); ++at) {
        const char c = text[at];
        if (c >= '0' && c <= '9') {
            digits = true;
            plain.push_back(c);
        } else if ((c == ',' || c == '.') && !mark) {
            mark = true;
            plain.push_back('.');
        } else {
            return std::nullopt;
        }
    }
    if (!digits) {
        return std::nullopt;
    }
    double value = 0;
    const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
    if (error != std::errc() || end != plain.data() + plain.size()) {
        return std::nullopt;
    }
    return value;
}

// Mixed numeric and text keys make no consistent order ("9" < "10" as numbers, "10" < "1a" and
// "1a" < "9" as text), so std::sort and std::stable_sort, which rely on a strict weak order,
// could run past the range. A plain merge sort only ever compares within its halves.
template <typename Less> void Merge_Sort(std::vector<int>& items, Less less) {
    std::vector<int> buffer(items.size());
    for (std::size_t width = 1; width < items.size(); width *= 2) {
        for (std::size_t low = 0; low < items.size(); low += 2 * width) {
            const std::size_t mid = std::min(low + width, items.size());
            const std::size_t high = std::min(low + 2 * width, items.size());
            std::size_t left = low;
            std::size_t right = mid;
            std::size_t out = low;
            while (left < mid && right < high) {
                // Take from the right only when strictly less: equal keys keep their order.
                if (less(items[right], items[left])) {
                    buffer[out++] = items[right++];
                } else {
                    buffer[out++] = items[left++];
                }
            }
            while (left < mid) {
                buffer[out++] = items[left++];
            }
            while (right < high) {
                buffer[out++] = items[right++];
            }
        }
        items.swap(buffer);
    }
}

} // namespace

Grid::Grid(int rows, int cols) {
    cols_ = std::max(cols, 0);
    widths_.assign(static_cast<std::size_t>(cols_), Default_Column_Width);
    Set_Rows(rows);
}

void Grid::Set_Rows(int rows) {
    rows = std::max(rows, 0);
    cells_.resize(static_cast<std::size_t>(rows), std::vector<Grid_Cell>(cols_));
    heights_.resize(static_cast<std::size_t>(rows), Default_Row_Height);
    // The current and top rows follow a shrinking grid rather than point past its end.
    row_ = std::min(row_, std::max(rows - 1, 0));
    top_row_ = std::min(top_row_, std::max(rows - 1, 0));
    Changed();
}

void Grid::Set_Cols(int cols) {
    cols_ = std::max(cols, 0);
    for (auto& row : cells_) {
        row.resize(static_cast<std::size_t>(cols_));
    }
    widths_.resize(static_cast<std::size_t>(cols_), Default_Column_Width);
    col_ = std::min(col_, std::max(cols_ - 1, 0));
    Changed();
}

void Grid::Clear() {
    for (auto& row : cells_) {
        std::fill(row.begin(), row.end(), Grid_Cell{});
    }
    Changed();
}

bool Grid::In_Range(int row, int col) const {
    return row >= 0 && row < Rows() && col >= 0 && col < cols_;
}

void Grid::Changed() const {
    if (listener_) {
        listener_();
    }
}

const std::string& Grid::Text(int row, int col) const {
    return In_Range(row, col) ? cells_[row][col].text : Empty_Text;
}

const Grid_Cell& Grid::Cell(int row, int col) const {
    return In_Range(row, col) ? cells_[row][col] : Empty_Cell;
}

bool Grid::Set_Text(int row, int col, const std::string& text) {
    if (!In_Range(row, col)) {
        return false;
    }
    cells_[row][col].text = text;
    Changed();
    return true;
}

bool Grid::Set_Bold(int row, int col, bool bold) {
    if (!In_Range(row, col)) {
        return false;
    }
    cells_[row][col].bold = bold;
    Changed();
    return true;
}

bool Grid::Set_Colour(int row, int col, Rgb colour) {
    if (!In_Range(row, col)) {
        return false;
    }
    cells_[row][col].has_colour = true;
    cells_[row][col].colour = colour;
    Changed();
    return true;
}

bool Grid::Set_Icon(int row, int col, const std::string& icon) {
    if (!In_Range(row, col)) {
        return false;
    }
    cells_[row][col].icon = icon;
    Changed();
    return true;
}

int Grid::Column_Width(int col) const {
    return col >= 0 && col < cols_ ? widths_[col] : 0;
}

// A negative width or height asks for the default, as the grids of the system's platform do.
void Grid::Set_Column_Width(int col, int twips) {
    if (col < 0 || col >= cols_) {
        return;
    }
    widths_[col] = twips < 0 ? Default_Column_Width : twips;
    Changed();
}

int Grid::Row_Height(int row) const {
    return row >= 0 && row < Rows() ? heights_[row] : 0;
}

void Grid::Set_Row_Height(int row, int twips) {
    if (row < 0 || row >= Rows()) {
        return;
    }
    heights_[row] = twips < 0 ? Default_Row_Height : twips;
    Changed();
}

void Grid::Add_Item(const std::string& tab_text, int position) {
    if (position < 0) {
        position = Rows();
    }
    if (position > Rows()) {
        return;
    }
    std::vector<Grid_Cell> row(static_cast<std::size_t>(cols_));
    std::size_t start = 0;
    for (int col = 0; col < cols_; ++col) {
        const auto tab = tab_text.find('\t', start);
        row[col].text = tab_text.substr(start, tab == std::string::npos ? tab : tab - start);
        if (tab == std::string::npos) {
            break;
        }
        start = tab + 1;
    }
    cells_.insert(cells_.begin() + position, std::move(row));
    heights_.insert(heights_.begin() + position, Default_Row_Height);
    Changed();
}

bool Grid::Remove_Item(int row) {
    if (row < 0 || row >= Rows()) {
        return false;
    }
    cells_.erase(cells_.begin() + row);
    heights_.erase(heights_.begin() + row);
    row_ = std::min(row_, std::max(Rows() - 1, 0));
    top_row_ = std::min(top_row_, std::max(Rows() - 1, 0));
    Changed();
    return true;
}

void Grid::Sort(int first, int last, int col, Sort_Order order) {
    if (first > last) {
        std::swap(first, last);
    }
    // The fixed header row never moves.
    first = std::max(first, 1);
    last = std::min(last, Rows() - 1);
    if (col < 0 || col >= cols_ || last - first < 1) {
        return;
    }
    const int count = last - first + 1;
    std::vector<std::optional<double>> numbers(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        numbers[i] = Cell_Number(cells_[first + i][col].text);
    }
    // Text compares by the bytes of its UTF-8: Cyrillic letters of one case come in alphabetical
    // order, except "ё", and capitals before small letters.
    const auto ascending = [&](int a, int b) {
        if (numbers[a] && numbers[b]) {
            return *numbers[a] < *numbers[b];
        }
        return cells_[first + a][col].text < cells_[first + b][col].text;
    };
    std::vector<int> order_of(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        order_of[i] = i;
    }
    if (order == Sort_Order::Descending) {
        Merge_Sort(order_of, [&](int a, int b) { return ascending(b, a); });
    } else {
        Merge_Sort(order_of, ascending);
    }
    // A row moves whole: its cells and its height, so a hidden row stays hidden.
    std::vector<std::vector<Grid_Cell>> moved_cells(static_cast<std::size_t>(count));
    std::vector<int> moved_heights(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        moved_cells[i] = std::move(cells_[first + order_of[i]]);
        moved_heights[i] = heights_[first + order_of[i]];
    }
    for (int i = 0; i < count; ++i) {
        cells_[first + i] = std::move(moved_cells[i]);
        heights_[first + i] = moved_heights[i];
    }
    Changed();
}

void Grid::Set_Row(int row) {
    if (row < 0 || row >= Rows()) {
        return;
    }
    row_ = row;
    Changed();
}

void Grid::Set_Col(int col) {
    if (col < 0 || col >= cols_) {
        return;
    }
    col_ = col;
    Changed();
}

void Grid::Set_Top_Row(int row) {
    if (row < 0 || row >= Rows()) {
        return;
    }
    top_row_ = row;
    Changed();
}

} // namespace td
