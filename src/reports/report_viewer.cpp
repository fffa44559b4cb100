#include "reports/report_viewer.h"

#include "base/ports.h"
#include "base/printer.h"
#include "kernel/state.h"
#include "reports/print_layout.h"
#include "reports/report_store.h"

#include <algorithm>

namespace td {

Report_Viewer::Report_Viewer(Viewer_Kind kind, Program_State& state, Ui& ui)
    : kind_(kind), state_(state), ui_(ui) {
    Value_Labels.assign(Value_Captions(kind).size(), "");
}

const std::vector<std::string>& Report_Viewer::Rows() const {
    return kind_ == Viewer_Kind::Reports_F ? Report_Lists().Report_Rows : Report_Lists().Stat_Rows;
}

std::vector<std::string> Report_Viewer::Value_Captions(Viewer_Kind kind) {
    switch (kind) {
    case Viewer_Kind::Reports:
        return {"Продано:", "Списано:", "Остаток:"};
    case Viewer_Kind::Reports_S:
        return {"Продано:", "Списано:"};
    default:
        return {};
    }
}

void Report_Viewer::Show_Report(const std::string& caption, const std::string& title, int columns,
                                const std::vector<std::string>& headers, int grid_width_twips) {
    Caption = caption;
    Title_Label = title;
    headers_ = headers;
    MSFlexGrid1.Set_Visible(false);
    MSFlexGrid1.Clear();
    MSFlexGrid1.Set_Rows(1);
    MSFlexGrid1.Set_Cols(columns);
    Set_Column_Widths(grid_width_twips);
    Scroll_Max = Row_Count() / Page_Rows + 1;
    Scroll_Value = 1;
    FlatScrollBar1_Change();
    MSFlexGrid1.Set_Visible(true);
}

void Report_Viewer::Set_Column_Widths(int grid_width_twips) {
    const int columns = MSFlexGrid1.Cols();
    if (columns <= 0)
        return;
    if (kind_ == Viewer_Kind::Reports_F) {
        // Column 0 takes 1.5 shares of the width less 375, the others one share each.
        const double share = (grid_width_twips - 375) / (columns + 0.5);
        MSFlexGrid1.Set_Column_Width(0, static_cast<int>(share * 1.5));
        for (int c = 1; c < columns; ++c)
            MSFlexGrid1.Set_Column_Width(c, static_cast<int>(share));
    } else {
        for (int c = 0; c < columns; ++c)
            MSFlexGrid1.Set_Column_Width(c, grid_width_twips / columns);
    }
}

std::string Report_Viewer::Status_Text(int page, int count) const {
    const int first = (page - 1) * Page_Rows + 1;
    const int last = std::min(first + Page_Rows - 1, count);
    return "Отображены записи №№ " + std::to_string(first) + " - " + std::to_string(last) + " из " +
           std::to_string(count);
}

void Report_Viewer::FlatScrollBar1_Change() {
    Grid& grid = MSFlexGrid1;
    const std::vector<std::string>& rows = Rows();
    const int count = static_cast<int>(rows.size());
    grid.Set_Visible(false);
    grid.Set_Rows(1);
    grid.Set_Rows(2);
    for (int c = 0; c < grid.Cols(); ++c) {
        if (kind_ == Viewer_Kind::Reports_F)
            grid.Set_Text(0, c, "");
        else
            grid.Set_Text(0, c, c < static_cast<int>(headers_.size()) ? headers_[c] : "");
    }
    const int page = Scroll_Value;
    const int first = (page - 1) * Page_Rows + 1;
    const int last = first + Page_Rows - 1;
    const int keep_row = grid.Row();
    const int keep_col = grid.Col();
    bool painted = false;
    for (int i = first; i <= last && i <= count; ++i) {
        const std::string& text = rows[static_cast<std::size_t>(i - 1)];
        const int at = i - (page - 1) * Page_Rows;
        grid.Add_Item(text, at);
        if (kind_ == Viewer_Kind::Reports_F)
            continue;
        // An empty row keeps the flag of the row before it.
        if (!text.empty()) {
            const std::size_t marker = text.find("\t*");
            painted = marker != std::string::npos && text.substr(marker + 2) == "1";
        }
        if (painted)
            for (int c = 0; c < grid.Cols(); ++c)
                grid.Set_Colour(at, c, Painted_Row_Colour);
    }
    grid.Set_Row(keep_row);
    grid.Set_Col(keep_col);
    // A page refilled from two rows opens at its first row.
    grid.Set_Top_Row(1);
    Status_Label = Status_Text(page, count);
    Scroll_Tooltip = Status_Label;
    grid.Set_Visible(true);
}

void Report_Viewer::FlatScrollBar1_Scroll(int value) {
    // The balance viewer counts the statistics' rows here: so the window has always shown it.
    const int count = static_cast<int>(Report_Lists().Stat_Rows.size());
    Status_Label = Status_Text(value, count);
    Scroll_Tooltip = Status_Label;
}

void Report_Viewer::Set_Page(int value) {
    Scroll_Value = std::clamp(value, 1, Scroll_Max);
    FlatScrollBar1_Change();
}

void Report_Viewer::Search(const std::string& text) {
    const std::vector<std::string>& rows = Report_Lists().Stat_Rows;
    for (std::size_t i = 1; i <= rows.size(); ++i) {
        if (rows[i - 1].find(text) == std::string::npos)
            continue;
        // Row 60 goes to page 2 and row 0: the search has always counted so.
        const int page = static_cast<int>(i) / Page_Rows + 1;
        Set_Page(page);
        const int row = static_cast<int>(i) - Page_Rows * (static_cast<int>(i) / Page_Rows);
        MSFlexGrid1.Set_Top_Row(row);
        MSFlexGrid1.Set_Row(row);
        state_.Answer = ui_.Message_Box("Запись найдена на стр. " + std::to_string(page) +
                                            "\nПродолжить поиск?",
                                        box::Yes_No | box::Question, "Поиск");
        if (state_.Answer != box::Answer_Yes)
            return;
    }
    ui_.Message_Box("Поиск завершен!", box::Ok_Only | box::Information, "Поиск");
}

void Report_Viewer::MSFlexGrid1_DblClick(Printer& printer) {
    state_.Answer = ui_.Message_Box("Напечатать текущую станицу на принтере?",
                                    box::Yes_No | box::Question, "Печать");
    if (state_.Answer != box::Answer_Yes)
        return;
    Print_Page(printer, false);
    printer.End_Document();
}

void Report_Viewer::Print_Page(Printer& printer, bool toolbar_layout) const {
    const Print_Style style = kind_ == Viewer_Kind::Reports_F && !toolbar_layout
                                  ? Print_Style::Balance
                                  : Print_Style::Simple;
    Print_Grid_Page(printer, MSFlexGrid1, Title_Label, Scroll_Value, style);
}

bool Report_Viewer::Row_Painted(int row) const {
    return row > 0 && row < MSFlexGrid1.Rows() && MSFlexGrid1.Cell(row, 0).has_colour &&
           MSFlexGrid1.Cell(row, 0).colour == Painted_Row_Colour;
}

} // namespace td
