// The two browsers driven headless on a temporary installation.
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "storage/cache_fixture.h"
#include "storage/reference.h"
#include "support/reference_writers.h"

namespace td::test {
namespace {

struct Company {
    std::string code;
    std::string group;
    std::string subgroup;
    std::string name;
    std::vector<double> amounts; // fuel slots 1.. in Cache_Diff
};

class Counting_Shell : public Browser_Shell {
public:
    bool menu = false;
    bool buttons = false;
    void Sort_Menu_Visible(bool visible) override { menu = visible; }
    void Sort_Buttons_Enabled(bool enabled) override { buttons = enabled; }
};

class Browsers_Test : public Data_Folder_Test {
protected:
    Memory_Settings settings;
    Counting_Shell shell;

    Browsers_Test() {
        state.Current_Date = Date_Serial(2026, 11, 23);
        EXPECT_TRUE(Write_Fuels(Path(state.settings.Fuel_File), {"АИ-92", "", "ДТ"}));
    }

    // A column width and the station totals' date in the per-user store, under the keys the
    // store has always held: "SlTsC" and "RsTsC" with the column for the buyer and the station.
    void Keep_Width(const char* prefix, int col, const std::string& twips) {
        settings.Save("Tally Depot", "Windows", prefix + std::to_string(col), twips);
    }
    std::string Width_Kept(const char* prefix, int col) {
        return settings.Get("Tally Depot", "Windows", prefix + std::to_string(col), "");
    }
    void Keep_Station_Date(const std::string& date) {
        settings.Save("Tally Depot", "Kernel", "Date", date);
    }
    std::string Station_Date_Kept() { return settings.Get("Tally Depot", "Kernel", "Date", ""); }

    void Companies(const std::vector<Company>& companies) {
        std::vector<Company_Row> rows;
        std::vector<std::vector<double>> totals;
        for (const Company& c : companies) {
            rows.push_back({c.code, c.group, c.subgroup, c.name});
            totals.push_back(c.amounts);
        }
        ASSERT_TRUE(test::Write_Companies(Path(state.settings.Company_File), rows));
        ASSERT_TRUE(Write_Totals(Path(state.settings.Cache_Diff_File), totals));
        state.Company_Count =
            Load_Company_Table(Path(state.settings.Company_File), state.Company_Table);
    }

    void Stations(const std::vector<std::string>& names,
                  const std::vector<std::vector<double>>& amounts) {
        ASSERT_TRUE(Write_Stations(Path(state.settings.Establishments_File), names));
        ASSERT_TRUE(Write_Totals(Path(state.settings.Cache_Used_File), amounts));
    }

    // Column texts 1 (code path) of the data rows.
    static std::vector<std::string> Column(const Grid& grid, int col, int first = 2) {
        std::vector<std::string> texts;
        for (int row = first; row < grid.Rows(); ++row)
            texts.push_back(grid.Text(row, col));
        return texts;
    }

    static void Double_Click(Sell_Ticets& browser, int row, int col) {
        browser.MSFlexGrid1.Set_Row(row);
        browser.MSFlexGrid1.Set_Col(col);
        browser.MSFlexGrid1_DblClick();
    }
};

using Strings = std::vector<std::string>;

TEST_F(Browsers_Test, HierarchyComesFromTwoPassesAndLevelsShowTheirRows) {
    Companies({
        {"7", "1", "5", "Внук раньше всех", {1}},       // deferred, parent still missing: dropped
        {"5", "1", "", "Дочка раньше отца", {2, 0, 3}}, // deferred, added in the second pass
        {"1", "", "", "Отец", {99}},
        {"6", "2", "", "Вторая дочка", {4}}, // deferred before its child
        {"8", "2", "6", "Второй внук", {5}}, // parent earlier in the deferred list
        {"2", "", "", "Второй отец", {}},
        {"9", "1", "000", "Подгруппа 000", {6}},
        {"3", "", "", "Без детей", {}},
    });
    Sell_Ticets browser(state, ui, clock, settings, &shell);
    ASSERT_TRUE(browser.Form_Load());

    EXPECT_TRUE(state.Buyer_Browser_Open);
    EXPECT_TRUE(browser.TreeView1.Exists("root\\1\\5\\"));
    EXPECT_FALSE(browser.TreeView1.Exists("root\\1\\5\\7\\"));
    EXPECT_TRUE(browser.TreeView1.Exists("root\\2\\6\\8\\"));
    EXPECT_TRUE(browser.TreeView1.Exists("root\\1\\9\\"));
    EXPECT_EQ(browser.Label1, "Текущая дата: 23.11.2026");
    EXPECT_EQ(ui.progress_labels.front(), "Построение списка");
    EXPECT_TRUE(ui.main_window_enabled);
    EXPECT_FALSE(ui.progress_visible);

    // The root: level 1 in file order, "+" where the tree has children, never an amount.
    const Grid& grid = browser.MSFlexGrid1;
    EXPECT_TRUE(grid.Visible());
    EXPECT_EQ(grid.Text(1, 1), "1");
    EXPECT_EQ(grid.Text(1, 2), "Клиенты");
    EXPECT_TRUE(grid.Cell(1, 1).bold);
    EXPECT_EQ(grid.Text(1, 11), "");
    EXPECT_EQ(Column(grid, 1), (Strings{"1:1", "1:2", "1:3"}));
    EXPECT_EQ(Column(grid, 0), (Strings{"+", "+", ""}));
    EXPECT_EQ(Column(grid, 3), (Strings{"", "", ""}));
    EXPECT_EQ(Column(grid, 11), (Strings{"1", "2", "3"}));
    EXPECT_EQ(grid.Text(0, 1), "Код");
    EXPECT_EQ(grid.Text(0, 3), "АИ-92");
    EXPECT_EQ(grid.Text(0, 5), "ДТ");

    // Down to level 1: level 2 rows with amounts, "000" among them, no "+" where the grandchild
    // was dropped.
    Double_Click(browser, 2, 0);
    EXPECT_EQ(state.Current_Node_Key, "root\\1\\");
    EXPECT_EQ(state.Parent_Node_Key, "root\\");
    EXPECT_EQ(grid.Text(1, 1), "1:1");
    EXPECT_EQ(grid.Text(1, 2), "Отец");
    EXPECT_EQ(Column(grid, 1), (Strings{"1:1:5", "1:1:9"}));
    EXPECT_EQ(Column(grid, 0), (Strings{"", ""}));
    EXPECT_EQ(Column(grid, 3), (Strings{"2", "6"}));
    EXPECT_EQ(Column(grid, 5), (Strings{"3", "0"}));
    // No children: the double click stays.
    Double_Click(browser, 2, 0);
    EXPECT_EQ(state.Current_Node_Key, "root\\1\\");

    // The second family goes two levels deep; the level 3 row lists its file row.
    Double_Click(browser, 1, 0);
    EXPECT_EQ(state.Current_Node_Key, "root\\");
    Double_Click(browser, 3, 0);
    Double_Click(browser, 2, 0);
    EXPECT_EQ(state.Current_Node_Key, "root\\2\\6\\");
    EXPECT_EQ(state.Parent_Node_Key, "root\\2\\");
    EXPECT_EQ(grid.Text(1, 1), "1:2:6");
    EXPECT_EQ(grid.Text(1, 11), "6");
    EXPECT_EQ(Column(grid, 1), (Strings{"1:2:6:8"}));
    EXPECT_EQ(Column(grid, 3), (Strings{"5"}));
    // Up twice: back at the root, and a double click on row 1 there does nothing.
    Double_Click(browser, 1, 0);
    EXPECT_EQ(state.Current_Node_Key, "root\\2\\");
    EXPECT_EQ(state.Parent_Node_Key, "root\\");
    Double_Click(browser, 1, 0);
    EXPECT_EQ(state.Current_Node_Key, "root\\");
    Double_Click(browser, 1, 0);
    EXPECT_EQ(state.Current_Node_Key, "root\\");
    EXPECT_EQ(Column(grid, 1), (Strings{"1:1", "1:2", "1:3"}));
    // A double click outside column 0 never moves.
    Double_Click(browser, 2, 2);
    EXPECT_EQ(state.Current_Node_Key, "root\\");
}

TEST_F(Browsers_Test, OpeningFailuresEndTheRunAndProgressSkipsTheLastRecord) {
    std::vector<Company> orphans;
    for (int i = 0; i < 201; ++i)
        orphans.push_back({std::to_string(i + 10), "9", "", "Сирота", {}});
    orphans.push_back({"1", "", "", "Один", {}});
    Companies(orphans);
    clock.step = 1.0; // every record passes the half-second gate
    {
        Sell_Ticets browser(state, ui, clock, settings, &shell);
        ASSERT_TRUE(browser.Form_Load()); // 201 deferred records still fit
        EXPECT_TRUE(ui.fatals.empty());
        ASSERT_FALSE(ui.progress_values.empty());
        // Opening: bar 100 * i / 202 for records 1 to 201; the last record (202) never
        // reports. The node click of the root then reports every record, over 202 + 2.
        ASSERT_EQ(ui.progress_values.size(), 201u + 202u);
        EXPECT_EQ(ui.progress_values[0], 0);
        EXPECT_EQ(ui.progress_values[200], 100 * 201 / 202);
        EXPECT_EQ(ui.progress_values.back(), 100 * 202 / 204);
    }

    // The 202nd record deferred overflows the list: the ordinary unhandled failure (number 9),
    // not the fatal screen.
    orphans.insert(orphans.begin(), {"99", "9", "", "Лишний", {}});
    Companies(orphans);
    {
        Sell_Ticets browser(state, ui, clock, settings, &shell);
        try {
            browser.Form_Load();
            ADD_FAILURE() << "the overflow did not end the run";
        } catch (const Process_Ended& ended) {
            EXPECT_EQ(ended.exit_code, 1);
        }
        EXPECT_TRUE(ui.fatals.empty());
        ASSERT_FALSE(ui.boxes.empty());
        EXPECT_EQ(ui.boxes.back().text, "Run-time error '9':\n\nSubscript out of range");
    }

    ui.resume_fatal = true;
    Companies({{"1", "", "", "Один", {}}, {"1", "", "", "Дубль", {}}});
    Sell_Ticets browser(state, ui, clock, settings, &shell);
    EXPECT_FALSE(browser.Form_Load());
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Sell tickets\\Load");
    EXPECT_EQ(ui.fatals[0].code, "0x45908B12");

    ui.resume_fatal = false;
    Sell_Ticets ended(state, ui, clock, settings, &shell);
    EXPECT_THROW(ended.Form_Load(), Process_Ended);
}

TEST_F(Browsers_Test, SortingKeepsRowOneAndComparesCodesAsNumbers) {
    Companies({
        {"1", "", "", "Группа", {}},
        {"12", "1", "", "Бета", {3}},
        {"5", "1", "", "Альфа", {10}},
        {"100", "1", "", "Гамма", {2}},
    });
    Sell_Ticets browser(state, ui, clock, settings, &shell);
    ASSERT_TRUE(browser.Form_Load());
    browser.TreeView1_NodeClick("root\\1\\");
    Grid& grid = browser.MSFlexGrid1;
    ASSERT_EQ(Column(grid, 1), (Strings{"1:1:12", "1:1:5", "1:1:100"}));

    grid.Set_Col(1);
    browser.Sort_Asc();
    EXPECT_EQ(Column(grid, 1), (Strings{"1:1:5", "1:1:12", "1:1:100"}));
    EXPECT_EQ(grid.Text(1, 1), "1:1");
    EXPECT_EQ(grid.Col(), 1);
    EXPECT_EQ(browser.Morvo_GLOBAL("Сортировка по убыванию"), Toolbar_Result::Done);
    EXPECT_EQ(Column(grid, 1), (Strings{"1:1:100", "1:1:12", "1:1:5"}));

    grid.Set_Col(3);
    browser.Morvo_GLOBAL("Sort Ascending");
    EXPECT_EQ(Column(grid, 3), (Strings{"2", "3", "10"}));
    EXPECT_EQ(grid.Col(), 3);

    browser.Key_Ctrl_Digit(2);
    EXPECT_EQ(Column(grid, 2), (Strings{"Альфа", "Бета", "Гамма"}));
    browser.Key_Ctrl_Digit(1);
    EXPECT_EQ(Column(grid, 11), (Strings{"5", "12", "100"}));
    EXPECT_EQ(grid.Text(1, 2), "Группа");
    EXPECT_EQ(browser.Morvo_GLOBAL("exit"), Toolbar_Result::Close_Window);
}

TEST_F(Browsers_Test, TwoCompaniesOfOneNameLeadToTheFirstNode) {
    Companies({
        {"1", "", "", "Альфа", {}},
        {"2", "", "", "Альфа", {}},
        {"3", "1", "", "Дочка первой", {}},
        {"4", "2", "", "Дочка второй", {}},
    });
    Sell_Ticets browser(state, ui, clock, settings, &shell);
    ASSERT_TRUE(browser.Form_Load());
    ASSERT_EQ(browser.MSFlexGrid1.Text(3, 1), "1:2");
    Double_Click(browser, 3, 0);
    EXPECT_EQ(state.Current_Node_Key, "root\\1\\");
    EXPECT_EQ(Column(browser.MSFlexGrid1, 2), (Strings{"Дочка первой"}));
}

TEST_F(Browsers_Test, WidthsPopupAndEvenedColumns) {
    Keep_Width("SlTsC", 3, "1500");
    Keep_Width("SlTsC", 4, "2000"); // slot 2 has no name
    Keep_Width("SlTsC", 11, "700");
    Companies({{"1", "", "", "Группа", {}}, {"2", "1", "", "Дочка", {1, 2, 3}}});
    Sell_Ticets browser(state, ui, clock, settings, &shell);
    ASSERT_TRUE(browser.Form_Load());
    Grid& grid = browser.MSFlexGrid1;
    EXPECT_EQ(grid.Column_Width(3), 1500);
    EXPECT_EQ(grid.Column_Width(4), 0);
    EXPECT_EQ(grid.Column_Width(5), 960);
    EXPECT_EQ(grid.Column_Width(11), 0);
    browser.Form_Resize();
    EXPECT_EQ(grid.Column_Width(4), 0);
    EXPECT_EQ(state.Fuel_Count, 2);

    // Root and level 1 rows get no popup; a level 2 row does, up to column Fuel_Count + 2.
    grid.Set_Row(2);
    grid.Set_Col(3);
    EXPECT_FALSE(browser.MSFlexGrid1_Click().show);
    Double_Click(browser, 2, 0);
    grid.Set_Row(2);
    grid.Set_Col(4);
    Buyer_Popup popup = browser.MSFlexGrid1_Click();
    EXPECT_TRUE(popup.show);
    EXPECT_TRUE(popup.enable_statistics);
    grid.Set_Col(5); // the last named fuel, behind a gap: no popup, as the release has it
    EXPECT_FALSE(browser.MSFlexGrid1_Click().show);
    grid.Set_Row(1);
    grid.Set_Col(2);
    EXPECT_FALSE(browser.MSFlexGrid1_Click().show);

    // W = 10000 - (960 + 960 + 960); two named fuels share W - 400.
    browser.Set_Grid_Width(10000);
    browser.Morvo_GLOBAL("Sum");
    EXPECT_EQ(grid.Column_Width(3), 3360);
    EXPECT_EQ(grid.Column_Width(5), 3360);
    EXPECT_EQ(grid.Column_Width(4), 0);
    EXPECT_EQ(Width_Kept("SlTsC", 5), "3360");
    EXPECT_EQ(Width_Kept("SlTsC", 11), "0");
}

TEST_F(Browsers_Test, BothBrowsersThroughTheirFrame) {
    Keep_Station_Date("23.11.2026");
    Companies({{"1", "", "", "Группа", {}}, {"2", "1", "", "Дочка", {1, 2, 3}}});
    Stations({"Первая"}, {{0, 12}});
    Sell_Ticets buyer(state, ui, clock, settings, &shell);
    ASSERT_TRUE(buyer.Form_Load());
    Resolve_Tickets station(state, ui, clock, settings, &shell);
    ASSERT_TRUE(station.Form_Load(&buyer));
    Browser_Frame& buyer_frame = buyer;
    Browser_Frame& station_frame = station;

    // A desk with no widths kept: codes and names get what their texts ask (names up to two
    // fifths of the grid), kept at once; every other column keeps the rule of a missing key.
    EXPECT_FALSE(station_frame.Widths_Kept());
    ASSERT_EQ(station_frame.First_Layout_Texts().size(), 1u);
    EXPECT_EQ(station_frame.First_Layout_Texts()[0].col, 0);
    station_frame.First_Widths({{0, 5000}}, 12000);
    station.Form_Resize(); // the first resize gives the named fuels their widths
    EXPECT_EQ(station.MSFlexGrid1.Column_Width(0), 4800);
    EXPECT_EQ(station.MSFlexGrid1.Column_Width(1), 960);
    EXPECT_EQ(station.MSFlexGrid1.Column_Width(2), 0);
    EXPECT_EQ(Width_Kept("RsTsC", 0), "4800");
    EXPECT_EQ(Width_Kept("RsTsC", 1), "");
    EXPECT_TRUE(station_frame.Widths_Kept());
    // The popups of the main window, by name, with what each click allows.
    station.MSFlexGrid1.Set_Row(1);
    station.MSFlexGrid1.Set_Col(1);
    Browser_Popup popup = station_frame.Popup_For_Click();
    EXPECT_STREQ(popup.menu, "mnu_popup_resolve");
    EXPECT_TRUE(popup.show);
    auto allowed = [](const Browser_Popup& p, const std::string& name) {
        for (const Popup_Entry& entry : p.entries)
            if (entry.name == name)
                return entry.allowed ? 1 : 0;
        return -1;
    };
    EXPECT_EQ(allowed(popup, "mnu_popup_release"), 1);
    EXPECT_EQ(allowed(popup, "mnu_popup_Res_stat"), 0); // the amount is 0
    EXPECT_EQ(allowed(popup, "mnu_popup_Res_stat_range"), 1);
    EXPECT_EQ(allowed(popup, "Mnu_Shop_Range_s"), 1); // the main menu's entry follows the click
    station.MSFlexGrid1.Set_Col(2);
    EXPECT_EQ(allowed(station_frame.Popup_For_Click(), "mnu_popup_Res_stat"), 1);
    buyer.MSFlexGrid1.Set_Row(2);
    buyer.MSFlexGrid1.Set_Col(3);
    popup = buyer_frame.Popup_For_Click();
    EXPECT_STREQ(popup.menu, "mnu_popup");
    EXPECT_FALSE(popup.show); // a level 1 row
    EXPECT_EQ(allowed(popup, "mnu_popup_user_stat"), 0);
    EXPECT_EQ(allowed(popup, "mnu_set_curr_date_sell"), 1);

    // Double clicks and Ctrl with a digit are the buyer's alone.
    station.MSFlexGrid1.Set_Col(0);
    EXPECT_EQ(allowed(station_frame.Popup_For_Click(), "Mnu_Shop_Range_s"), 0);
    EXPECT_FALSE(station_frame.Double_Click());
    EXPECT_FALSE(station_frame.Ctrl_Digit(1));
    EXPECT_TRUE(buyer_frame.Ctrl_Digit(7));
    buyer.MSFlexGrid1.Set_Col(0);
    EXPECT_TRUE(buyer_frame.Double_Click());
    EXPECT_EQ(state.Current_Node_Key, "root\\1\\");

    // Unloading: each its own flag, the station its date, both their widths.
    Keep_Station_Date("01.01.2026");
    station_frame.Form_Unload();
    EXPECT_FALSE(state.Station_Browser_Open);
    EXPECT_TRUE(state.Buyer_Browser_Open);
    EXPECT_EQ(Station_Date_Kept(), "23.11.2026");
    buyer_frame.Form_Unload();
    EXPECT_FALSE(state.Buyer_Browser_Open);
    EXPECT_EQ(Width_Kept("SlTsC", 11), "0");
}

TEST_F(Browsers_Test, StaleCachesAreRebuiltOnceAtActivation) {
    ASSERT_TRUE(Create_Header(Path(state.settings.Database_File), 0));
    Companies({{"1", "", "", "Группа", {}}});
    Sell_Ticets buyer(state, ui, clock, settings, &shell);
    ASSERT_TRUE(buyer.Form_Load());
    Resolve_Tickets station(state, ui, clock, settings, &shell);
    ASSERT_TRUE(Remove_File(Path(state.settings.Cache_Diff_File)));

    state.Cache_Stale = true;
    ui.main_window_enabled = false;
    buyer.Form_Activate();
    EXPECT_FALSE(state.Cache_Stale);
    EXPECT_TRUE(shell.menu);
    EXPECT_TRUE(shell.buttons);
    EXPECT_TRUE(ui.main_window_enabled);
    EXPECT_FALSE(ui.progress_visible);
    Record_File rebuilt(Path(state.settings.Cache_Diff_File), 1, Record_File::Mode::Read_Only);
    EXPECT_EQ(rebuilt.Size(), Max_Companies * Cache_Record_Size);
    rebuilt.Close();

    // Clear state: neither browser rebuilds again.
    ASSERT_TRUE(Remove_File(Path(state.settings.Cache_Diff_File)));
    buyer.Form_Deactivate();
    EXPECT_FALSE(shell.menu);
    EXPECT_FALSE(shell.buttons);
    station.Form_Activate();
    buyer.Form_Activate();
    EXPECT_FALSE(File_Exists(Path(state.settings.Cache_Diff_File)));

    buyer.Form_Unload();
    EXPECT_FALSE(state.Buyer_Browser_Open);
    EXPECT_FALSE(shell.menu);
    EXPECT_EQ(Width_Kept("SlTsC", 1), "960");
}

TEST_F(Browsers_Test, StationGridHidesAmountsByTheirText) {
    EXPECT_EQ(Station_Amount_Text(0), "0");
    EXPECT_EQ(Station_Amount_Text(12), "12");
    EXPECT_EQ(Station_Amount_Text(-3), "0");
    EXPECT_EQ(Station_Amount_Text(10.5), "0");
    EXPECT_EQ(Station_Amount_Text(120.25), "0");
    EXPECT_EQ(Station_Amount_Text(2.5), "2,5");
    EXPECT_EQ(Station_Amount_Text(100), "100");
    EXPECT_EQ(Station_Amount_Text(1e20), "0");

    Keep_Station_Date("23.11.2026");
    Stations({"Первая", "  ", "Третья"}, {{0, 12, -3, 10.5}, {7}, {5, 1, 30}});
    Resolve_Tickets station(state, ui, clock, settings, &shell);
    ASSERT_TRUE(station.Form_Load(nullptr));
    station.Form_Resize();
    Grid& grid = station.MSFlexGrid1;
    EXPECT_TRUE(grid.Visible());
    EXPECT_EQ(grid.Rows(), 17);
    EXPECT_EQ(grid.Text(0, 0), "Название заправки");
    EXPECT_EQ(grid.Text(0, 1), "АИ-92");
    EXPECT_EQ(grid.Column_Width(2), 0);
    EXPECT_EQ(grid.Column_Width(3), 960);
    EXPECT_EQ(Column(grid, 1, 1).front(), "0");
    EXPECT_EQ((Strings{grid.Text(1, 1), grid.Text(1, 2), grid.Text(1, 3), grid.Text(1, 4)}),
              (Strings{"0", "12", "0", "0"}));
    EXPECT_TRUE(grid.Row_Hidden(2));
    EXPECT_EQ(grid.Text(3, 0), "Третья");
    EXPECT_EQ(grid.Text(3, 3), "30");
    EXPECT_EQ(state.Station_Count, 2);
    EXPECT_EQ(station.Label1, "За текущую дату: 23.11.2026");

    // The popup: a zero cell offers the period only; beyond the named fuels nothing.
    grid.Set_Row(1);
    grid.Set_Col(1);
    Station_Popup popup = station.MSFlexGrid1_Click();
    EXPECT_TRUE(popup.show);
    EXPECT_TRUE(popup.Mnu_Shop_Range_s);
    EXPECT_FALSE(popup.mnu_popup_Res_stat);
    EXPECT_TRUE(popup.mnu_popup_Res_stat_range);
    grid.Set_Col(2);
    EXPECT_TRUE(station.MSFlexGrid1_Click().mnu_popup_Res_stat);
    grid.Set_Col(3);
    EXPECT_FALSE(station.MSFlexGrid1_Click().show);
    grid.Set_Row(3); // third station, second named: beyond Station_Count
    grid.Set_Col(1);
    EXPECT_FALSE(station.MSFlexGrid1_Click().show);

    // Sorting takes row 1 along; a refresh puts the stations back in their rows.
    grid.Set_Col(1);
    station.Sort_Des();
    EXPECT_EQ(grid.Text(1, 0), "Третья");
    station.Refresh_Data(state.Current_Date);
    EXPECT_EQ(grid.Text(1, 0), "Первая");
    EXPECT_EQ(grid.Text(3, 0), "Третья");
    EXPECT_EQ(grid.Text(0, 3), "ДТ");
    EXPECT_EQ(state.Station_Count, 2);

    // A second opening in the run counts on.
    station.Form_Unload();
    Resolve_Tickets again(state, ui, clock, settings, &shell);
    ASSERT_TRUE(again.Form_Load(nullptr));
    EXPECT_EQ(state.Station_Count, 4);
}

TEST_F(Browsers_Test, MovedWorkingDateRunsBothDatedCachesAtOpening) {
    ASSERT_TRUE(Create_Header(Path(state.settings.Database_File), 0));
    Companies({{"1", "", "", "Группа", {}}, {"2", "1", "", "Дочка", {4}}});
    Stations({"Первая"}, {{8}});
    Sell_Ticets buyer(state, ui, clock, settings, &shell);
    ASSERT_TRUE(buyer.Form_Load());
    Double_Click(buyer, 2, 0);
    buyer.MSFlexGrid1.Set_Row(2);
    buyer.MSFlexGrid1.Set_Col(3);
    ASSERT_EQ(buyer.MSFlexGrid1.Text(2, 3), "4");

    // Unchanged date: neither cache runs, the old totals stay.
    Keep_Station_Date("23.11.2026");
    {
        Resolve_Tickets station(state, ui, clock, settings, &shell);
        ASSERT_TRUE(station.Form_Load(&buyer));
        EXPECT_EQ(station.MSFlexGrid1.Text(1, 1), "8");
        EXPECT_EQ(buyer.MSFlexGrid1.Text(2, 3), "4");
        EXPECT_EQ(buyer.Label1, "Текущая дата: 23.11.2026");
        station.Form_Unload();
        EXPECT_EQ(Station_Date_Kept(), "23.11.2026");
    }

    // The date moved on: both totals are rebuilt from the (empty) database, the buyer browser
    // refreshed in place.
    state.Current_Date = Date_Serial(2026, 11, 24);
    Resolve_Tickets station(state, ui, clock, settings, &shell);
    ASSERT_TRUE(station.Form_Load(&buyer));
    EXPECT_EQ(station.MSFlexGrid1.Text(1, 1), "0");
    EXPECT_EQ(buyer.MSFlexGrid1.Text(2, 3), "0");
    EXPECT_EQ(buyer.MSFlexGrid1.Row(), 2);
    EXPECT_EQ(buyer.MSFlexGrid1.Col(), 3);
    EXPECT_EQ(buyer.Label1, "На текущую дату: 24.11.2026");
    EXPECT_EQ(station.Label1, "За текущую дату: 24.11.2026");
    Record_File diff(Path(state.settings.Cache_Diff_File), 1, Record_File::Mode::Read_Only);
    Record_File used(Path(state.settings.Cache_Used_File), 1, Record_File::Mode::Read_Only);
    EXPECT_EQ(diff.Size(), Max_Companies * Cache_Record_Size);
    EXPECT_EQ(used.Size(), Max_Station_Totals * Cache_Record_Size);
}

TEST_F(Browsers_Test, CurrentDateCommandRebuildsTheStationTotalsFirst) {
    ASSERT_TRUE(Create_Header(Path(state.settings.Database_File), 0));
    Keep_Station_Date("23.11.2026");
    Stations({"Первая", "Вторая"}, {{8}, {3}});
    Resolve_Tickets station(state, ui, clock, settings, &shell);
    ui.main_window_enabled = false;
    ASSERT_TRUE(Open_Stations_For_Current_Date(state, ui, clock, station, nullptr));
    EXPECT_TRUE(ui.main_window_enabled);
    EXPECT_TRUE(state.Station_Browser_Open);
    EXPECT_EQ(station.MSFlexGrid1.Text(1, 1), "0");
    EXPECT_EQ(station.MSFlexGrid1.Text(2, 0), "Вторая");
    // The refresh after the opening counts afresh.
    EXPECT_EQ(state.Station_Count, 2);
}

} // namespace
} // namespace td::test
