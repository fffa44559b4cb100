#include "reports/print_layout.h"

#include "base/printer.h"

#include <string>
#include <vector>

namespace td {

namespace {

constexpr int Left = 300;
constexpr int Right_Margin = 900;
constexpr int Width_Allowance = 1200;

// The text less its last character (a whole UTF-8 sequence).
void Drop_Last_Character(std::string& text) {
    if (text.empty())
        return;
    std::size_t at = text.size() - 1;
    while (at > 0 && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80)
        --at;
    text.erase(at);
}

bool Total_Row(const Grid& grid, int row) {
    const std::string first = Lower_Text(grid.Text(row, 0));
    return first.find("итого по разделу") != std::string::npos ||
           first.find("всего остаток") != std::string::npos;
}

} // namespace

std::string Lower_Text(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 'A' && c <= 'Z') {
            out += static_cast<char>(c + 32);
        } else if ((c == 0xD0 || c == 0xD1) && i + 1 < text.size()) {
            // Cyrillic: U+0400..U+047F in two bytes.
            unsigned code = ((c & 0x1Fu) << 6) | (static_cast<unsigned char>(text[i + 1]) & 0x3Fu);
            if (code >= 0x410 && code <= 0x42F)
                code += 0x20;
            else if (code >= 0x400 && code <= 0x40F)
                code += 0x50;
            out += static_cast<char>(0xC0 | (code >> 6));
            out += static_cast<char>(0x80 | (code & 0x3F));
            ++i;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

void Print_Grid_Page(Printer& printer, const Grid& grid, const std::string& title, int page,
                     Print_Style style) {
    const bool balance = style == Print_Style::Balance;
    const int thickness = balance ? 10 : 7;
    const int points = balance ? 12 : 10;
    printer.Set_Landscape(true);
    const int width = printer.Page_Width();
    const int columns = grid.Cols() > 0 ? grid.Cols() : 1;
    const int w = (width - Width_Allowance) / columns;

    int y = 0;
    printer.Set_Font(points, true);
    printer.Text(Left, y, balance ? title + " стр. " + std::to_string(page) : title);
    y += printer.Text_Height();
    y += printer.Text_Height(); // the empty line
    printer.Set_Font(points, false);
    printer.Line(Left, y, width - Right_Margin, y, thickness);

    const int height = printer.Page_Height();
    auto vertical_rules = [&](int from, int to) {
        for (int c = 0; c <= grid.Cols(); ++c)
            printer.Line(Left + c * w, from, Left + c * w, to, thickness);
    };
    int page_top = y;
    for (int row = 0; row < grid.Rows(); ++row) {
        const bool total = balance && Total_Row(grid, row);
        printer.Set_Font(points, total);
        const int line = printer.Text_Height();
        // A row that would run off the paper goes on a new sheet, under a rule of its own: a
        // printer would otherwise cut it off.
        if (height > 0 && y + line > height && y > page_top) {
            vertical_rules(page_top, y);
            printer.New_Page();
            y = 0;
            page_top = 0;
            printer.Set_Font(points, total);
            printer.Line(Left, y, width - Right_Margin, y, thickness);
        }
        for (int c = 0; c < grid.Cols(); ++c) {
            std::string text = grid.Text(row, c) + (total ? "  " : " ");
            if (balance)
                while (!text.empty() && printer.Text_Width(text) > w)
                    Drop_Last_Character(text);
            if (total)
                printer.Text(Left + (c + 1) * w - printer.Text_Width(text), y, text);
            else
                printer.Text(Left + c * w, y, text);
        }
        y += line;
        printer.Line(Left, y, width - Right_Margin, y, thickness);
    }
    vertical_rules(page_top, y);
}

} // namespace td
