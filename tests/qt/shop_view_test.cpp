// The redemption window, offscreen, on a small temporary installation: opened from the station
// browser's menu with its station and fuel, the number list driven by real key presses, the
// check and the commit from the buttons, and the station browser refreshed after the commit.
#include "browsers/resolve_tickets.h"
#include "kernel/cache_passes.h"
#include "qt/browser_views.h"
#include "qt/qt_ui.h"
#include "qt/report_views.h"
#include "qt/shop_view.h"
#include "qt_test_support.h"
#include "tickets/shop.h"

using namespace td;
using namespace td::test;

class Shop_View_Test : public View_Fixture {
    Q_OBJECT

    static int Rows(Qt_Grid_View* view) {
        view->Grid_Model().Refresh();
        return view->model()->rowCount();
    }

private slots:
    void init() {
        New_Installation(Date_Serial(2026, 11, 23));
        Program_State& state = State();
        QVERIFY(Write_Fuels(Path(state.settings.Fuel_File), {"АИ-92", "АИ-95"}));
        QVERIFY(
            Write_Stations(Path(state.settings.Establishments_File), {"АЗС-1", "АЗС-2", "АЗС-3"}));
        QVERIFY(Write_Companies(Path(state.settings.Company_File), {{"1", "", "", "Транспорт"}}));
        // Three tickets of 10 litres of АИ-92, sold five days ago; the third expired yesterday.
        std::vector<Ticket_Record> tickets;
        for (const char* serial : {"100001", "100002", "100003"})
            tickets.push_back(Sold_Ticket(serial, 1, 10, 1, state.Current_Date - 5));
        tickets[2].Date_Limits = 1;
        tickets[2].Valid_From = state.Current_Date - 30;
        tickets[2].Expire_Date = state.Current_Date - 1;
        Write_Tickets(tickets);
        CreateCacheFile(state, *ui, clock, state.settings.Cache_User_File, "new", 0, "",
                        state.settings.Database_File, "null");
    }

    // The screens speak to `used`: the recording Ui, or the desktop's own.
    void Show_On(Ui& used) {
        Program_State& state = State();
        Show_Window([&] {
            Attach_Browser_Views(*window, state, used, clock, settings, browsers);
            Attach_Shop_View(*window, state, used, clock, browsers);
            Attach_Report_Views(*window, state, used, clock, settings, browsers);
        });
    }

    // The station browser on station 2, fuel column 1 (АИ-92), and from its menu the screen.
    QMdiSubWindow* Open_Redemption() {
        window->Model().tbToolBar_ButtonClick("Списание таллонов");
        QCoreApplication::processEvents();
        Resolve_Tickets* station = browsers.Station();
        if (station == nullptr)
            return nullptr;
        station->MSFlexGrid1.Set_Row(2);
        station->MSFlexGrid1.Set_Col(1);
        if (!window->Menu_Action("mnu_popup_release")->isEnabled())
            return nullptr;
        window->Model().Menu_Click("mnu_popup_release");
        QCoreApplication::processEvents();
        return Window_Titled(Shop::Caption);
    }

    static bool Near(int pixels, int expected) { return std::abs(pixels - expected) <= 2; }

    void keysOnTheListThenCheckAndCommit() {
        Show_On(*ui);
        // The station browser on station 2, fuel column 2 (АИ-95), then on column 1 (АИ-92).
        QMdiSubWindow* sub = Open_Redemption();
        QVERIFY(sub != nullptr);
        Resolve_Tickets* station = browsers.Station();
        QVERIFY(sub->isMaximized());
        QCOMPARE(State().Redemption_Column, 0);
        QCOMPARE(sub->findChild<QLabel*>("Label7")->text(), QString("АЗС-2"));
        QCOMPARE(sub->findChild<QComboBox*>("Combo2")->currentText(), QString("АИ-92"));
        QCOMPARE(sub->findChild<QComboBox*>("Combo3")->currentText(), QString("010"));

        auto* list = sub->findChild<Qt_Grid_View*>("MSFlexGrid1");
        auto* result = sub->findChild<Qt_Grid_View*>("MSFlexGrid2");
        QVERIFY(list != nullptr && result != nullptr);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualRect(list->model()->index(0, 0)).center());
        // Six digits at most; comma and point don't enter a number.
        QTest::keyClicks(list, "1000019,.");
        QCOMPARE(Cell(list, 0, 0), QString("100001"));
        QTest::keyClick(list, Qt::Key_Return);
        QCOMPARE(Cell(list, 0, 1), QString("010"));
        QCOMPARE(Rows(list), 2);
        // A wrong number, then Backspace back to nothing and once more: the empty row goes.
        QTest::keyClicks(list, "77");
        QTest::keyClick(list, Qt::Key_Backspace);
        QTest::keyClick(list, Qt::Key_Backspace);
        QCOMPARE(Cell(list, 1, 0), QString(""));
        QTest::keyClick(list, Qt::Key_Backspace);
        QCOMPARE(Rows(list), 1);
        // Enter on the last row: a new row below. Litres typed into their cell, with a comma.
        QTest::keyClick(list, Qt::Key_Return);
        QTest::keyClicks(list, "100002");
        QTest::keyClick(list, Qt::Key_Right);
        QTest::keyClicks(list, "7,5");
        QTest::keyClick(list, Qt::Key_Return);
        QTest::keyClicks(list, "100003");
        QTest::keyClick(list, Qt::Key_Return);
        QTest::keyClicks(list, "999999");
        // Insert puts a blank row before the current one, Delete takes it out again.
        QTest::keyClick(list, Qt::Key_Insert);
        QCOMPARE(Rows(list), 5);
        QCOMPARE(Cell(list, 3, 0), QString(""));
        QTest::keyClick(list, Qt::Key_Delete);
        QCOMPARE(Rows(list), 4);
        QCOMPARE(Cell(list, 1, 0), QString("100002"));
        QCOMPARE(Cell(list, 1, 1), QString("7,5"));
        QCOMPARE(Cell(list, 3, 0), QString("999999"));
        // Up, then Down: back on the row.
        const int row = list->Grid_Model().Model_Grid().Row();
        QTest::keyClick(list, Qt::Key_Up);
        QTest::keyClick(list, Qt::Key_Down);
        QCOMPARE(list->Grid_Model().Model_Grid().Row(), row);

        auto* check = sub->findChild<QPushButton*>("Command1");
        auto* commit = sub->findChild<QPushButton*>("Command2");
        QTest::mouseClick(check, Qt::LeftButton);
        QCOMPARE(Cell(result, 5, 0), QString("100001"));
        QCOMPARE(Cell(result, 5, 1), QString("Можно списать"));
        QCOMPARE(Colour(result, 5, 1), QColor(30, 110, 40));
        QCOMPARE(Cell(result, 7, 1),
                 QString("Талон просрочен! действителен с: 24.10.2026 по: 22.11.2026"));
        QCOMPARE(Cell(result, 8, 1), QString("Ошибка!  Талон с таким номером не был продан!"));
        QCOMPARE(Cell(result, 10, 1), QString("К списанию талонов: 2 шт., объёмом: 17,5"));
        QVERIFY(!State().Redemption_Checked);

        // "Информация" on a row that names a ticket shows that ticket.
        result->Grid_Model().Model_Grid().Set_Row(6);
        window->Model().Menu_Click("mnu_shop_popup_msf_Info");
        QCoreApplication::processEvents();
        QMdiSubWindow* information = Window_Titled("Информация по талону ГСМ");
        QVERIFY(information != nullptr);
        auto* found = information->findChild<Qt_Grid_View*>("MSFlexGrid1");
        QVERIFY(found != nullptr);
        QCOMPARE(Cell(found, 1, 0), QString("100001"));
        information->close();
        QCoreApplication::processEvents();
        window->Mdi_Area()->setActiveSubWindow(sub);

        // The commit asks (answered yes), books two, and the station browser shows the litres.
        QTest::mouseClick(commit, Qt::LeftButton);
        QCOMPARE(ui->boxes.back().title, std::string("Предупреждение..."));
        const int last = Rows(result) - 1;
        QCOMPARE(Cell(result, last, 1), QString("Списано талонов 2 шт., объём: 17,5"));
        QCOMPARE(QString::fromStdString(station->MSFlexGrid1.Text(2, 1)), QString("17,5"));
        QCOMPARE(Rows(list), 3);
        QCOMPARE(Cell(list, 1, 0), QString("100003"));

        sub->close();
        QCoreApplication::processEvents();
        QVERIFY(Window_Titled(Shop::Caption) == nullptr);
    }

    // Under the desktop's own Ui (its progress form, the main window disabled meanwhile) the
    // buyer browser opened first stays behind the screen through check, commit and check, and
    // the grids keep the shares of their own widths.
    void theScreenStaysInFrontWithItsWidths() {
        desktop = std::make_unique<Qt_Ui>();
        desktop->Set_Auto_Answers({box::Answer_Yes});
        Show_On(*desktop);
        desktop->Set_Main_Window(window.get(), window->Mdi_Area());
        window->Model().tbToolBar_ButtonClick("Продажа таллонов");
        QMdiSubWindow* sub = Open_Redemption();
        QVERIFY(sub != nullptr);
        auto* list = sub->findChild<Qt_Grid_View*>("MSFlexGrid1");
        auto* result = sub->findChild<Qt_Grid_View*>("MSFlexGrid2");
        const int margin = Qt_Grid_View::Twips_To_Pixels(350, result->logicalDpiX());
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualRect(list->model()->index(0, 0)).center());
        QTest::keyClicks(list, "100001");
        QTest::keyClick(list, Qt::Key_Return);
        for (const char* button : {"Command1", "Command2", "Command1"}) {
            QTest::mouseClick(sub->findChild<QPushButton*>(button), Qt::LeftButton);
            QTest::qWait(20);
            QCOMPARE(window->Mdi_Area()->activeSubWindow(), sub);
            const int usable = result->viewport()->width() - margin;
            QVERIFY2(Near(result->columnWidth(0), usable / 4) &&
                         Near(result->columnWidth(1), usable * 3 / 4),
                     button);
        }
        // "Информация" on a result row, then its "Закрыть": the screen is in front again.
        result->Grid_Model().Model_Grid().Set_Row(6);
        window->Model().Menu_Click("mnu_shop_popup_msf_Info");
        QCoreApplication::processEvents();
        QMdiSubWindow* information = Window_Titled("Информация по талону ГСМ");
        QVERIFY(information != nullptr);
        for (QPushButton* button : information->findChildren<QPushButton*>())
            if (button->text() == Q("Закрыть"))
                QTest::mouseClick(button, Qt::LeftButton);
        QTest::qWait(20);
        QCOMPARE(window->Mdi_Area()->activeSubWindow(), sub);

        window->Model().Menu_Click("mnu_shop_popup_cls");
        QCoreApplication::processEvents();
        const int half = (list->viewport()->width() - margin) / 2;
        QVERIFY(Near(list->columnWidth(0), half) && Near(list->columnWidth(1), half));
        // A smaller window: the columns keep their shares.
        sub->showNormal();
        sub->resize(700, 500);
        QCoreApplication::processEvents();
        const int usable = result->viewport()->width() - margin;
        QVERIFY(Near(result->columnWidth(0), usable / 4));
        QVERIFY(Near(result->columnWidth(1), usable * 3 / 4));
    }

private:
    std::unique_ptr<Qt_Ui> desktop;
};

TD_QTEST_MAIN(Shop_View_Test)
#include "shop_view_test.moc"
