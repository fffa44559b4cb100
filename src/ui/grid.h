// The grid the screens drive: numbered rows and columns, row 0 fixed as the header, text per
// cell, widths and heights in twips (height 0 hides a row), bold, colour and an icon key per
// cell, adding a row from tab-separated text, removing a row, the generic sort of a row range,
// the current cell and the top row. A view in qt/ renders it; tests read it back.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace td {

struct Rgb {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    bool operator==(const Rgb&) const = default;
};

inline constexpr int Default_Column_Width = 960; // twips
inline constexpr int Default_Row_Height = 240;   // twips

struct Grid_Cell {
    std::string text;
    bool bold = false;
    bool has_colour = false;
    Rgb colour;
    std::string icon; // key of an icon; empty for none
};

enum class Sort_Order { Ascending = 1, Descending = 2 };

class Grid {
public:
    Grid(int rows = 2, int cols = 2);

    int Rows() const { return static_cast<int>(cells_.size()); }
    int Cols() const { return cols_; }
    // Growing keeps the content; new rows are empty, of default height.
    void Set_Rows(int rows);
    void Set_Cols(int cols);

    // Empties every cell (texts, bold, colours, icons), keeping the size.
    void Clear();

    const std::string& Text(int row, int col) const;
    // Out-of-range writes are ignored and answer false (the screens guard nothing).
    bool Set_Text(int row, int col, const std::string& text);
    const Grid_Cell& Cell(int row, int col) const;
    bool Set_Bold(int row, int col, bool bold);
    bool Set_Colour(int row, int col, Rgb colour);
    bool Set_Icon(int row, int col, const std::string& icon);

    int Column_Width(int col) const;
    void Set_Column_Width(int col, int twips);
    int Row_Height(int row) const;
    void Set_Row_Height(int row, int twips);
    bool Row_Hidden(int row) const { return Row_Height(row) == 0; }

    // Adds a row from tab-separated text, at `position` (-1: at the end). Cells beyond the
    // columns are dropped.
    void Add_Item(const std::string& tab_text, int position = -1);
    // Removes a row; false if out of range.
    bool Remove_Item(int row);

    // Sorts rows first..last (inclusive) on column `col`: two numeric cells compare as numbers,
    // anything else as text. Stable, so equal keys keep their order.
    void Sort(int first, int last, int col, Sort_Order order);

    int Row() const { return row_; }
    int Col() const { return col_; }
    void Set_Row(int row);
    void Set_Col(int col);
    int Top_Row() const { return top_row_; }
    void Set_Top_Row(int row);

    // Whether the grid is shown; screens hide it while they fill it.
    bool Visible() const { return visible_; }
    void Set_Visible(bool visible) { visible_ = visible; }

    // Called after every change so that a view can repaint.
    void On_Change(std::function<void()> listener) { listener_ = std::move(listener); }

private:
    bool In_Range(int row, int col) const;
    void Changed() const;

    std::vector<std::vector<Grid_Cell>> cells_;
    std::vector<int> heights_;
    std::vector<int> widths_;
    int cols_ = 0;
    int row_ = 1;
    int col_ = 0;
    int top_row_ = 1;
    bool visible_ = true;
    std::function<void()> listener_;
};

} // namespace td
