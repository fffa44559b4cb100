// The two browser windows, offscreen, on a small temporary installation: the buyer browser's
// first rows, the sort menu and buttons while a browser is in front, one window of each at most,
// and the registry the working date picker refreshes.
#include "base/ports.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "catalogues/date_pickers.h"
#include "qt/browser_views.h"
#include "qt_test_support.h"
#include "storage/reference.h"

#include <QFontMetrics>

using namespace td;
using namespace td::test;

class Browser_Views_Test : public View_Fixture {
    Q_OBJECT

    bool Sort_Shown() const {
        return window->Top_Menu_Of("mnu_sort")->menuAction()->isVisible() &&
               window->Button("Сортировка по возрастанию")->isEnabled() &&
               window->Button("Сортировка по убыванию")->isEnabled();
    }

private slots:
    void init() {
        New_Installation(Date_Serial(2026, 11, 23));
        Program_State& state = State();
        QVERIFY(Write_Fuels(Path(state.settings.Fuel_File), {"АИ-92", "АИ-95", "ДТ"}));
        QVERIFY(Write_Stations(Path(state.settings.Establishments_File), {"АЗС на въезде"}));
        QVERIFY(
            Write_Companies(Path(state.settings.Company_File), {{"1", "", "", "Транспорт"},
                                                                {"2", "", "", "Торговля"},
                                                                {"5", "1", "", "Автобаза"},
                                                                {"3", "", "", "Частные лица"},
                                                                {"1234567", "1", "5", "Гараж"}}));
        state.Company_Count =
            Load_Company_Table(Path(state.settings.Company_File), state.Company_Table);
        // Each company with 10 litres more of the second grade than the one before.
        Record_File totals(Path(state.settings.Cache_Diff_File), Cache_Record_Size);
        std::vector<std::uint8_t> total(Cache_Record_Size);
        for (int i = 1; i <= 5; ++i) {
            Cache_Record amounts;
            amounts.Fuel_Total[1] = 10.0 * i;
            Encode(amounts, total.data());
            QVERIFY(totals.Write(static_cast<std::uint64_t>(i), total.data()));
        }
        Show_Window([&] { Attach_Browser_Views(*window, state, *ui, clock, settings, browsers); });
    }

    void buyerBrowserShowsTheRootAndTheSortMenu() {
        QVERIFY(!window->Top_Menu_Of("mnu_sort")->menuAction()->isVisible());
        window->Model().Menu_Click("mnu_Sell_Tickets");
        QCoreApplication::processEvents();

        QMdiSubWindow* sub = Window_Titled(Sell_Ticets::Caption);
        QVERIFY(sub != nullptr);
        QVERIFY(sub->isMaximized());
        auto* view = sub->findChild<Qt_Grid_View*>("MSFlexGrid1");
        QVERIFY(view != nullptr);
        view->Grid_Model().Refresh();
        QCOMPARE(view->model()->headerData(1, Qt::Horizontal).toString(), QString("Код"));
        QCOMPARE(Cell(view, 0, 2), QString("Клиенты"));
        QCOMPARE(Cell(view, 1, 0), QString("+"));
        QCOMPARE(Cell(view, 1, 1), QString("1:1"));
        QCOMPARE(Cell(view, 3, 2), QString("Частные лица"));
        QVERIFY(Sort_Shown());
        QVERIFY(browsers.Buyer() != nullptr);

        // At the first opening codes and names read whole, down to the deepest level's code
        // path; only their widths are kept, the fuel columns keep the rule of a missing key.
        const QFontMetrics metrics(view->font());
        QVERIFY(view->columnWidth(1) > metrics.horizontalAdvance("1:1:5:1234567"));
        QVERIFY(view->columnWidth(2) > metrics.horizontalAdvance("Частные лица"));
        QVERIFY(!settings.Get(Settings_Application, Windows_Section, "SlTsC1", "").empty());
        QCOMPARE(settings.Get(Settings_Application, Windows_Section, "SlTsC3", "none"),
                 std::string("none"));

        // A double click in column 0 of a row with "+" goes down a level: the group on row 1,
        // its companies with their amounts below. A left click on an amount offers the popup at
        // the pointer: the working date entry on; sale and statistics, whose screens aren't
        // built yet, off.
        QTest::mouseDClick(view->viewport(), Qt::LeftButton, {},
                           view->visualRect(view->model()->index(1, 0)).center());
        QCOMPARE(State().Current_Node_Key, std::string("root\\1\\"));
        QCOMPARE(Cell(view, 1, 1), QString("1:1:5"));
        QCOMPARE(Cell(view, 1, 3), QString("30"));
        const QPoint amount = view->visualRect(view->model()->index(1, 3)).center();
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, amount);
        QMenu* popup = window->Context_Menu("mnu_popup");
        QTRY_VERIFY(popup->isVisible());
        QVERIFY((popup->pos() - view->viewport()->mapToGlobal(amount)).manhattanLength() < 40);
        QVERIFY(!window->Menu_Action("mnu_popup_user_stat")->isEnabled());
        QVERIFY(!window->Menu_Action("mnu_popup_sell")->isEnabled());
        QVERIFY(window->Menu_Action("mnu_set_curr_date_sell")->isEnabled());
        popup->close();

        // A second opening brings the same window forward.
        window->Model().tbToolBar_ButtonClick("Продажа таллонов");
        QCOMPARE(window->Mdi_Area()->subWindowList().size(), 1);

        // Closing unloads: out of the registry, the sort menu gone.
        sub->close();
        QCoreApplication::processEvents();
        QVERIFY(browsers.Buyer() == nullptr);
        QVERIFY(!window->Top_Menu_Of("mnu_sort")->menuAction()->isVisible());
        QVERIFY(!window->Button("Сортировка по убыванию")->isEnabled());
        QVERIFY(!State().Buyer_Browser_Open);
    }

    void workingDatePickerRefreshesTheOpenBuyerBrowser() {
        window->Model().Menu_Click("mnu_Sell_Tickets");
        QCoreApplication::processEvents();
        QMdiSubWindow* sub = Window_Titled(Sell_Ticets::Caption);
        QVERIFY(sub != nullptr);
        auto* label = sub->findChild<QLabel*>("Label1");
        QVERIFY(label != nullptr);
        QCOMPARE(label->text(), QString("Текущая дата: 23.11.2026"));

        Calendar_Single picker(State(), *ui, clock, nullptr, &browsers);
        picker.Form_Load();
        picker.Calendar1.value = Date_Serial(2026, 11, 20);
        picker.Command1_Click();
        QTRY_COMPARE(label->text(), QString("На текущую дату: 20.11.2026"));
    }

    void stationBrowserOpensFromTheToolbar() {
        window->Model().tbToolBar_ButtonClick("Списание таллонов");
        QCoreApplication::processEvents();
        QMdiSubWindow* sub = Window_Titled(Resolve_Tickets::Caption);
        QVERIFY(sub != nullptr);
        QVERIFY(browsers.Station() != nullptr);
        QVERIFY(Sort_Shown());
        // A desk that never kept widths gets the names fitted and kept at the first opening.
        QVERIFY(!settings
                     .Get(Settings_Application, Windows_Section,
                          std::string(Resolve_Tickets::Settings_Prefix) + "0", "")
                     .empty());

        // A left click in the grid: the popup at the pointer, and the main menu's
        // "Статистика по заправке за период" follows the click (off outside the amounts).
        window->Model().Set_Command("Mnu_Shop_Range_s", [] {});
        QAction* range = window->Menu_Action("Mnu_Shop_Range_s");
        auto* view = sub->findChild<Qt_Grid_View*>("MSFlexGrid1");
        QVERIFY(view != nullptr);
        view->Grid_Model().Refresh();
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {},
                          view->visualRect(view->model()->index(0, 0)).center());
        QMenu* popup = window->Context_Menu("mnu_popup_resolve");
        QVERIFY(!popup->isVisible());
        QVERIFY(!range->isEnabled());
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {},
                          view->visualRect(view->model()->index(0, 1)).center());
        QTRY_VERIFY(popup->isVisible());
        QVERIFY(range->isEnabled());
        popup->close();

        auto* label = sub->findChild<QLabel*>("Label1");
        QVERIFY(label != nullptr);
        browsers.Station()->Label1 = "";
        window->Model().Menu_Click("mnu_Shop_Cur_date");
        QCOMPARE(window->Mdi_Area()->subWindowList().size(), 1);
        // The open window is refreshed for the working date, not opened again.
        QCOMPARE(label->text(), QString("За текущую дату: 23.11.2026"));
    }
};

TD_QTEST_MAIN(Browser_Views_Test)
#include "browser_views_test.moc"
