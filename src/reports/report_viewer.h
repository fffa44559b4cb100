// The three report viewers as one model: a list of text rows shown one page of 60 at a time in a
// grid, a scroll bar whose value is the page, a status text, and for the statistics the painting
// of redeemed coupons, the search and the value labels.
//   Reports_F  pages through Report_Rows (the balance family)
//   Reports    pages through Stat_Rows (a buyer's statistics; three value labels)
//   Reports_S  pages through Stat_Rows (a station's statistics; two value labels)
#pragma once

#include "ui/grid.h"

#include <functional>
#include <string>
#include <vector>

namespace td {

struct Program_State;
class Ui;
class Printer;

inline constexpr int Page_Rows = 60;
inline constexpr Rgb Painted_Row_Colour{170, 20, 20};

enum class Viewer_Kind { Reports_F, Reports, Reports_S };

class Report_Viewer {
public:
    Report_Viewer(Viewer_Kind kind, Program_State& state, Ui& ui);

    Viewer_Kind Kind() const { return kind_; }
    const std::vector<std::string>& Rows() const;
    int Row_Count() const { return static_cast<int>(Rows().size()); }
    // The labels beside "Продано:", "Списано:" (and "Остаток:" in Reports).
    static std::vector<std::string> Value_Captions(Viewer_Kind kind);

    std::string Caption = "Отчёт за: ";
    std::string Title_Label = "Отчёт ....";
    std::string Status_Label;
    std::string Scroll_Tooltip;
    std::vector<std::string> Value_Labels;
    Grid MSFlexGrid1;
    int Scroll_Value = 1;
    int Scroll_Max = 1;

    // The builders' sequence after filling the rows: columns and headers, the scroll bar over
    // the whole list at page 1, the page shown.
    void Show_Report(const std::string& caption, const std::string& title, int columns,
                     const std::vector<std::string>& headers, int grid_width_twips);
    // Column widths for a grid of this width (Reports_F: column 0 half as wide again).
    void Set_Column_Widths(int grid_width_twips);

    // Shows the page the scroll bar's value names.
    void FlatScrollBar1_Change();
    // The thumb dragged to `value`: status and tool tip only; the grid stays.
    void FlatScrollBar1_Scroll(int value);
    // Turns to page `value`, kept within 1..Scroll_Max, as the scroll bar does.
    void Set_Page(int value);
    int Pages() const { return Scroll_Max; }

    // Ctrl+F, "Найти" pressed with `text` (Reports, Reports_S).
    void Search(const std::string& text);

    // The double click: asks, and on yes prints the page on show. The balance viewer prints its
    // own layout; the toolbar's "Печать" uses the simple one for every viewer.
    void MSFlexGrid1_DblClick(Printer& printer);
    void Print_Page(Printer& printer, bool toolbar_layout) const;

    // Whether grid row `row` is painted as a redeemed coupon.
    bool Row_Painted(int row) const;

private:
    std::string Status_Text(int page, int count) const;

    Viewer_Kind kind_;
    Program_State& state_;
    Ui& ui_;
    std::vector<std::string> headers_;
};

} // namespace td
