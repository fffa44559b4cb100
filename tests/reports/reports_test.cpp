// The report models headless: the builders' failures and statistics on a data folder written here,
// the paging of the three viewers, the search, the printed layout recorded from the printer port,
// and the ticket information with its two commands writing the database.
#include "base/dates.h"
#include "base/printer.h"
#include "catalogues/date_pickers.h"
#include "reports/balance_report.h"
#include "reports/print_layout.h"
#include "reports/rep_reg.h"
#include "reports/report_store.h"
#include "reports/report_viewer.h"
#include "reports/statistics.h"
#include "storage/cache_fixture.h"
#include "storage/file_safety.h"
#include "support/reference_writers.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>

namespace td::test {
namespace {

// The rows, titles and figures of the balance reports and the statistics are checked on the report
// fixture of tests/data, through tdctl (reports/report_fixtures.cmake); here, what tdctl doesn't
// reach: the failures' wording, the dialogs, the viewers, the printed layout and the ticket
// window's own commands.
class Reports_Test : public Data_Folder_Test {
protected:
    Memory_Settings settings;

    Reports_Test() {
        Report_Lists() = Report_Store{};
        Companies(
            {{"10", "", "", "Север"}, {"101", "10", "", "Ромашка"}, {"102", "10", "", "Вектор"}});
        EXPECT_TRUE(test::Write_Fuels(Path(state.settings.Fuel_File), {"А-92", "", "ДТ"}));
    }

    void Companies(const std::vector<Company_Row>& rows) {
        Write_All_Bytes(Path(state.settings.Company_File), {});
        EXPECT_TRUE(test::Write_Companies(Path(state.settings.Company_File), rows));
    }

    void Load(const std::vector<Ticket_Record>& tickets) {
        state.Ticket_Table.assign(1, Ticket_Record{});
        for (const Ticket_Record& t : tickets)
            state.Ticket_Table.push_back(t);
        state.Ticket_Count = static_cast<long>(tickets.size());
    }

    double Day(int d, int m = 3) { return Date_Serial(2024, m, d); }
};

TEST_F(Reports_Test, ACouponOrACompanyOutOfRangeStopsTheReportAndIsNamed) {
    struct Case {
        Ticket_Fields ticket;
        std::vector<Company_Row> companies; // none: as they are
        std::vector<const char*> named;     // in the failure's text
    };
    const Case cases[] = {
        {{.fuel = 9, .company = 2, .serial = "123456"}, {}, {"ticket 123456", "the fuel 9"}},
        {{.company = 20000}, {}, {"the company 20000"}},
        {{}, {{"101", "", "", "Слишком большой"}}, {"'Слишком большой'", "'101'"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.named[0]);
        if (!c.companies.empty())
            Companies(c.companies);
        Load({Make_Ticket(c.ticket)});
        Balance_Report report =
            Build_Balance_Report(state, *Find_Balance_Command("mnu_full_report"));
        EXPECT_FALSE(report.ok);
        for (const char* words : c.named)
            EXPECT_NE(report.failure.find(words), std::string::npos) << report.failure;
        // The desktop's box says it in Russian alone.
        EXPECT_FALSE(report.screen_failure.empty());
        EXPECT_TRUE(
            std::none_of(report.screen_failure.begin(), report.screen_failure.end(),
                         [](char c) { return std::isalpha(static_cast<unsigned char>(c)); }))
            << report.screen_failure;
    }
}

TEST_F(Reports_Test, CancelledDialogsBuildNothing) {
    Load({Make_Ticket({.fuel = 1, .volume = 20, .company = 2, .sell = Day(1)})});
    Report_Lists().Report_Rows = {"old"};
    auto cancel = [](Cld_Usr& dialog) { dialog.Command2_Click(); };
    EXPECT_FALSE(Run_Balance_Command(state, clock, settings,
                                     *Find_Balance_Command("Mnu_Shop_Range"), cancel));
    EXPECT_EQ(Report_Lists().Report_Rows, std::vector<std::string>{"old"});
    Stat_Request request{.station = false, .period = true, .buyer_key = "1:10:101", .fuel = 1};
    EXPECT_FALSE(Run_Statistics(state, clock, settings, request, cancel));
}

// The statistics' rows of coupons limited in time or to stations are on the report fixture.
TEST_F(Reports_Test, StationListsAndACellWithoutCoupons) {
    EXPECT_EQ(Station_List(65536 + 2 + 8), "1, 3");
    EXPECT_EQ(Station_List(65536 + 65536), "16");
    EXPECT_EQ(Station_List(65536 + 1), "");
    EXPECT_EQ(Station_List(0), "");

    Load({Make_Ticket({.fuel = 1, .volume = 20, .company = 3, .sell = Day(2)})});
    Stat_Report station = Build_Station_Statistics(state, 2, 1, Stat_Scope::Current_Date);
    ASSERT_EQ(station.rows.size(), 2u);
    EXPECT_EQ(station.rows[1], "Итого 0 шт\t0\t\t\t\t\t\t0\t\t\t*0");
    EXPECT_EQ(station.value_labels, (std::vector<std::string>{"0 л", "0 л"}));
    Stat_Report buyer = Build_Buyer_Statistics(state, "1:10:101", 1, Stat_Scope::Current_Date);
    ASSERT_EQ(buyer.rows.size(), 3u);
    EXPECT_EQ(buyer.value_labels, (std::vector<std::string>{"0 л", "0 л", "0 л"}));
}

std::vector<std::string> Numbered_Rows(int count, const std::string& marker = "") {
    std::vector<std::string> rows;
    for (int i = 1; i <= count; ++i)
        rows.push_back("row " + std::to_string(i) + "\tx" + marker);
    return rows;
}

// Sixty rows a page, the status of each page and the painted rows of a statistics are seen through
// the views in tests/qt; here the edge of a full page and the rules of the paint.
TEST_F(Reports_Test, ViewersPageSixtyRowsAndPaintFlaggedRows) {
    // Exactly 60 rows: a second, empty page. Column 0 is half as wide again as the others.
    Report_Lists().Report_Rows = Numbered_Rows(60);
    Report_Viewer full(Viewer_Kind::Reports_F, state, ui);
    full.Show_Report("cap", "title", 2, {}, 10000);
    EXPECT_EQ(full.MSFlexGrid1.Column_Width(0), static_cast<int>((10000 - 375) / 2.5 * 1.5));
    EXPECT_EQ(full.Pages(), 2);
    full.Set_Page(2);
    EXPECT_EQ(full.Status_Label, "Отображены записи №№ 61 - 60 из 60");
    EXPECT_EQ(full.MSFlexGrid1.Rows(), 2);
    EXPECT_EQ(full.MSFlexGrid1.Text(1, 0), "");
    // While dragging, the balance viewer counts the statistics' rows.
    Report_Lists().Stat_Rows = Numbered_Rows(5, "\t*0");
    full.FlatScrollBar1_Scroll(1);
    EXPECT_EQ(full.Status_Label, "Отображены записи №№ 1 - 5 из 5");

    Report_Lists().Stat_Rows = {"a\tb\t*1", "", "c\td\t*0", "e\tf\t*1"};
    Report_Viewer buyer(Viewer_Kind::Reports, state, ui);
    buyer.Show_Report("cap", "title", 2, {"Номер", "Литраж"}, 10000);
    EXPECT_EQ(buyer.MSFlexGrid1.Text(0, 0), "Номер");
    EXPECT_TRUE(buyer.Row_Painted(1));
    EXPECT_TRUE(buyer.Row_Painted(2)); // the blank row behind a painted one
    EXPECT_FALSE(buyer.Row_Painted(3));
    EXPECT_TRUE(buyer.Row_Painted(4));
    EXPECT_EQ(buyer.MSFlexGrid1.Text(1, 1), "b"); // the marker cell isn't shown
    EXPECT_EQ(buyer.Value_Labels.size(), 3u);
    EXPECT_EQ(Report_Viewer(Viewer_Kind::Reports_S, state, ui).Value_Labels.size(), 2u);
}

TEST_F(Reports_Test, SearchGoesToThePageOfItsOwnCountAndStopsOnNo) {
    Report_Lists().Stat_Rows = Numbered_Rows(130, "\t*0");
    Report_Viewer viewer(Viewer_Kind::Reports_S, state, ui);
    viewer.Show_Report("cap", "title", 2, {}, 10000);

    // Row 60 lies on page 1 but the search goes to page 2, row 0.
    ui.Answer_Next(box::Answer_No);
    viewer.Search("row 60\t");
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Запись найдена на стр. 2\nПродолжить поиск?");
    EXPECT_EQ(ui.boxes[0].title, "Поиск");
    EXPECT_EQ(viewer.Scroll_Value, 2);
    EXPECT_EQ(viewer.MSFlexGrid1.Row(), 0);

    ui.boxes.clear();
    viewer.Search("row 12");
    // row 12 and rows 120..129: eleven finds, then the closing message.
    ASSERT_EQ(ui.boxes.size(), 12u);
    EXPECT_EQ(ui.boxes[1].text, "Запись найдена на стр. 3\nПродолжить поиск?");
    EXPECT_EQ(ui.boxes.back().text, "Поиск завершен!");

    ui.boxes.clear();
    viewer.Search("nowhere");
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Поиск завершен!");
}

// Records what is drawn. Every character is 100 twips wide, a line 200 high.
struct Recording_Printer : Printer {
    struct Op {
        std::string what{};
        int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
        std::string text{};
        bool bold = false;
        int size = 0;
    };
    std::vector<Op> ops;
    bool landscape = false;
    int size = 0;
    bool bold = false;

    static int Characters(const std::string& text) {
        int n = 0;
        for (unsigned char c : text)
            n += (c & 0xC0) != 0x80;
        return n;
    }
    void Set_Landscape(bool value) override { landscape = value; }
    int Page_Width() override { return 15600; }
    int Page_Height() override { return 11000; }
    void Set_Font(int points, bool is_bold) override {
        size = points;
        bold = is_bold;
    }
    int Text_Width(const std::string& text) override { return 100 * Characters(text); }
    int Text_Height() override { return 200; }
    void Text(int x, int y, const std::string& text) override {
        ops.push_back({"text", x, y, 0, 0, text, bold, size});
    }
    void Line(int x1, int y1, int x2, int y2, int thickness) override {
        ops.push_back({"line", x1, y1, x2, y2, std::to_string(thickness)});
    }
    void New_Page() override { ops.push_back({"page"}); }
    bool End_Document() override {
        ops.push_back({"end"});
        return true;
    }
    const Op* Text_Op(const std::string& text) const {
        for (const Op& op : ops)
            if (op.what == "text" && op.text == text)
                return &op;
        return nullptr;
    }
};

TEST_F(Reports_Test, PrintedLayoutOfBothStyles) {
    Grid grid(4, 3);
    grid.Set_Text(1, 0, "10:101 Очень длинное имя компании");
    grid.Set_Text(1, 1, "5");
    grid.Set_Text(2, 0, "        Итого по разделу:");
    grid.Set_Text(2, 1, "5");
    grid.Set_Text(3, 0, "        Всего остаток:");

    Recording_Printer printer;
    Print_Grid_Page(printer, grid, "Продажа", 3, Print_Style::Balance);
    EXPECT_TRUE(printer.landscape);
    const int w = (15600 - 1200) / 3; // 4800 twips: 48 characters
    const Recording_Printer::Op* heading = printer.Text_Op("Продажа стр. 3");
    ASSERT_NE(heading, nullptr);
    EXPECT_TRUE(heading->bold);
    EXPECT_EQ(heading->size, 12);
    EXPECT_EQ(heading->x1, 300);
    // Top rule after the heading and an empty line, from 300 to the width less 900.
    const Recording_Printer::Op& rule = printer.ops[1];
    EXPECT_EQ(rule.what, "line");
    EXPECT_EQ(rule.y1, 400);
    EXPECT_EQ(rule.x1, 300);
    EXPECT_EQ(rule.x2, 15600 - 900);
    EXPECT_EQ(rule.text, "10");
    // Row 1 at y 600, its cell plain, at 300 + c * w.
    const Recording_Printer::Op* five = printer.Text_Op("5 ");
    ASSERT_NE(five, nullptr);
    EXPECT_EQ(five->x1, 300 + w);
    EXPECT_EQ(five->y1, 600);
    EXPECT_FALSE(five->bold);
    // A total row: bold, right-aligned with two blanks.
    const Recording_Printer::Op* total = printer.Text_Op("        Итого по разделу:  ");
    ASSERT_NE(total, nullptr);
    EXPECT_TRUE(total->bold);
    EXPECT_EQ(total->x1, 300 + w - 100 * 27);
    const Recording_Printer::Op* total_five = printer.Text_Op("5  ");
    ASSERT_NE(total_five, nullptr);
    EXPECT_EQ(total_five->x1, 300 + 2 * w - 300);
    // Vertical rules: one per column edge, from the top rule to the last.
    int verticals = 0;
    for (const auto& op : printer.ops)
        if (op.what == "line" && op.x1 == op.x2) {
            ++verticals;
            EXPECT_EQ(op.y1, 400);
            EXPECT_EQ(op.y2, 400 + 4 * 200);
        }
    EXPECT_EQ(verticals, 4);

    // A cell wider than its column loses characters from its end.
    Grid wide(2, 3);
    wide.Set_Text(1, 0, std::string(30, 'x') + "ЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖ");
    Recording_Printer cut;
    Print_Grid_Page(cut, wide, "t", 1, Print_Style::Balance);
    const Recording_Printer::Op& cell = cut.ops[6]; // heading, rule, row 0's three cells, rule
    EXPECT_EQ(Recording_Printer::Characters(cell.text), 48);
    EXPECT_EQ(cell.text, std::string(30, 'x') + "ЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖЖ");

    // Rows that run past the paper's height go on to a new sheet, with rules of their own.
    Grid tall(62, 2);
    for (int r = 1; r < 62; ++r)
        tall.Set_Text(r, 0, "r" + std::to_string(r));
    Recording_Printer paper;
    Print_Grid_Page(paper, tall, "t", 1, Print_Style::Simple);
    int sheets = 1;
    int last_y = 0;
    for (const auto& op : paper.ops) {
        if (op.what == "page")
            ++sheets;
        if (op.what == "text")
            last_y = std::max(last_y, op.y1);
        if (op.what == "text" && op.text == "r53 ") {
            EXPECT_EQ(op.y1, 0); // the first row of the second sheet
        }
    }
    EXPECT_EQ(sheets, 2);
    EXPECT_LE(last_y + 200, 11000);
    ASSERT_NE(paper.Text_Op("r61 "), nullptr);
    // A total wider than its column is cut too, and stays within it.
    Grid narrow(2, 8);
    narrow.Set_Text(1, 0, "        Итого по разделу:");
    Recording_Printer cut_total;
    Print_Grid_Page(cut_total, narrow, "t", 1, Print_Style::Balance);
    for (const auto& op : cut_total.ops)
        if (op.what == "text" && op.bold && op.text.find("Итого") != std::string::npos) {
            EXPECT_GE(op.x1, 300);
        }

    // The simple style: size 10, no page number, thinner rules, nothing cut or right-aligned.
    Recording_Printer simple;
    Print_Grid_Page(simple, grid, "Статистика", 3, Print_Style::Simple);
    ASSERT_NE(simple.Text_Op("Статистика"), nullptr);
    EXPECT_EQ(simple.Text_Op("Статистика")->size, 10);
    EXPECT_EQ(simple.ops[1].text, "7");
    ASSERT_NE(simple.Text_Op("        Итого по разделу: "), nullptr);
    EXPECT_EQ(simple.Text_Op("        Итого по разделу: ")->x1, 300);
    EXPECT_EQ(Lower_Text("ИТОГО Всего ЁЖ"), "итого всего ёж");

    // The viewer's double click asks, and prints only on yes.
    Report_Lists().Report_Rows = {"a"};
    Report_Viewer viewer(Viewer_Kind::Reports_F, state, ui);
    viewer.Show_Report("c", "Отчёт", 1, {}, 10000);
    Recording_Printer none;
    ui.Answer_Next(box::Answer_No);
    viewer.MSFlexGrid1_DblClick(none);
    EXPECT_TRUE(none.ops.empty());
    EXPECT_EQ(ui.boxes.back().text, "Напечатать текущую станицу на принтере?");
    EXPECT_EQ(ui.boxes.back().title, "Печать");
    Recording_Printer yes;
    viewer.MSFlexGrid1_DblClick(yes);
    ASSERT_NE(yes.Text_Op("Отчёт стр. 1"), nullptr);
    EXPECT_EQ(yes.ops.back().what, "end");
}

TEST_F(Reports_Test, TicketWindowFindsTheFirstLiveCouponAndItsCommandsWriteOneByte) {
    Write_Database({Make_Ticket({3, 10, 2, Day(1), "000777", 0, 1}),
                    Make_Ticket({1, 10, 2, Day(1), "000777"}),
                    Make_Ticket({3, 10, 2, Day(1), "000777", 1, 0, Day(5), 9.5, 1}),
                    Make_Ticket({3, 10, 3, Day(2), "000777"})});
    const std::string database = state.settings.Database_File;
    const std::size_t third = (3 + Header_Records_Offset - 1) * Ticket_Record_Size;

    // The deleted coupon of the number and the one of another fuel are passed over.
    Rep_Reg window(state, ui, clock);
    Ticket_Info_Request request{
        .serial = "000777", .fuel_slot = 3, .volume = 10, .fuel_name = "ДТ"};
    ASSERT_TRUE(window.Show_Ticket(request));
    EXPECT_EQ(window.Text1, "9");
    EXPECT_EQ(window.Label1, "Талон был списан!\nИнформация по талону ГСМ 'ДТ'");
    EXPECT_TRUE(window.Command1_Enabled && window.Command2_Enabled);
    EXPECT_EQ(window.MSFlexGrid1.Text(2, 1), "10 / 9,5");
    EXPECT_TRUE(ui.main_window_enabled);

    // By record number: a record that doesn't agree with fuel and volume shows nothing.
    Rep_Reg other(state, ui, clock);
    request.record_text = "8";
    EXPECT_FALSE(other.Show_Ticket(request));
    EXPECT_EQ(other.MSFlexGrid1.Rows(), 2);
    EXPECT_FALSE(other.Command1_Enabled);

    // "Удалить": No leaves the file; yes sets the Deleted byte of that record alone.
    const Bytes before = File_Bytes(database);
    ui.Answer_Next(box::Answer_No);
    window.Command1_Click();
    EXPECT_EQ(File_Bytes(database), before);
    EXPECT_FALSE(state.Cache_Stale);
    window.Command1_Click();
    Bytes expected = before;
    expected[third + 1] = 1;
    EXPECT_EQ(File_Bytes(database), expected);
    EXPECT_TRUE(state.Cache_Stale);
    EXPECT_EQ(ui.boxes.back().text, "Талон удалён. Необходима переиндексация!!! ");
    EXPECT_EQ(ui.boxes.back().title, "Восстановление талона");
    // "Восстановить": the Used byte alone; the redemption's traces stay.
    state.Cache_Stale = false;
    window.Command2_Click();
    expected[third] = 0;
    EXPECT_EQ(File_Bytes(database), expected);
    EXPECT_TRUE(state.Cache_Stale);

    // Now deleted: the scan finds the next live coupon of that number.
    Rep_Reg again(state, ui, clock);
    request.record_text.clear();
    ASSERT_TRUE(again.Show_Ticket(request));
    EXPECT_EQ(again.Text1, "10");
    EXPECT_EQ(again.Label1, "Талон был продан!\nИнформация по талону ГСМ 'ДТ'");
    EXPECT_FALSE(again.Command2_Enabled);

    // Another process writing the database: nothing written; the box in Russian, tdctl's
    // reason in English.
    {
        Database_Lock other(state.Path_Of(database));
        window.Command1_Click();
        EXPECT_EQ(ui.boxes.back().text, "Талон не изменён: база данных занята: в неё пишет "
                                        "другая программа (" +
                                            state.Path_Of(database) + ").");
        EXPECT_EQ(window.write_failure, "the database is being written by another process");
        EXPECT_EQ(File_Bytes(database), expected);
    }

    // An empty record number: the internal error, nothing written.
    Rep_Reg empty(state, ui, clock);
    empty.Command1_Click();
    EXPECT_EQ(ui.boxes.back().text, "Внутренняя ошибка!");
    EXPECT_EQ(File_Bytes(database), expected);
}

} // namespace
} // namespace td::test
