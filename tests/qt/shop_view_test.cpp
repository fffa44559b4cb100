// The redemption window, offscreen, on a small temporary installation: opened from the station
// browser's menu with its station and fuel, the number list driven by real key presses, the
// check and the commit from the buttons, and the station browser refreshed after the commit.
#include "base/dates.h"
#include "browsers/browser_refresh.h"
#include "browsers/resolve_tickets.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "qt/browser_views.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"
#include "qt/report_views.h"
#include "qt/shop_view.h"
#include "qt_test_support.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "support/temp_folder.h"
#include "tickets/shop.h"

#include <QBrush>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <memory>

using namespace td;
using td::test::Ending_Ui;
using td::test::Fake_Clock;
using td::test::Memory_Settings;
using td::test::Temp_Folder;

class Shop_View_Test : public QObject {
    Q_OBJECT

    std::unique_ptr<Temp_Folder> home;
    std::unique_ptr<Ending_Ui> ui;
    Fake_Clock clock;
    Memory_Settings settings;
    Open_Browsers browsers;
    std::unique_ptr<Qt_MDI_Form> window;

    std::string Path(const std::string& name) const { return home->File(name); }

    template <typename Record>
    void Write_Records(const std::string& file, std::size_t size, const std::vector<Record>& rows) {
        Record_File out(Path(file), size);
        std::vector<std::uint8_t> raw(size);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            Encode(rows[i], raw.data());
            QVERIFY(out.Write(i + 1, raw.data()));
        }
    }

    void Install() {
        Program_State& state = State();
        std::vector<Fuel_Record> fuels(Fuel_Slots);
        const char* names[] = {"АИ-92", "АИ-95"};
        for (std::size_t i = 0; i < fuels.size(); ++i) {
            fuels[i].Exists = 1;
            fuels[i].Name = i < 2 ? names[i] : "";
        }
        Write_Records(state.settings.Fuel_File, Fuel_Record_Size, fuels);
        std::vector<Name_Record> stations(16);
        for (std::size_t i = 0; i < 3; ++i) {
            stations[i].Exists = 1;
            stations[i].Name = "АЗС-" + std::to_string(i + 1);
        }
        Write_Records(state.settings.Establishments_File, Name_Record_Size, stations);
        std::vector<Company_Record> companies(1);
        companies[0].Exists = 1;
        companies[0].Code = "1";
        companies[0].Name = "Транспорт";
        Write_Records(state.settings.Company_File, Company_Record_Size, companies);

        std::vector<Ticket_Record> tickets(3);
        const char* serials[] = {"100001", "100002", "100003"};
        for (std::size_t i = 0; i < tickets.size(); ++i) {
            tickets[i].Fuel = 1;
            tickets[i].Volume = 10;
            tickets[i].Set_Serial(serials[i]);
            tickets[i].Company = 1;
            tickets[i].Sale_Mark = 1;
            tickets[i].Sell_Date = state.Current_Date - 5;
        }
        tickets[2].Date_Limits = 1; // expired yesterday
        tickets[2].Valid_From = state.Current_Date - 30;
        tickets[2].Expire_Date = state.Current_Date - 1;
        QVERIFY(Create_Header(Path(state.settings.Database_File), 3));
        Record_File database(Path(state.settings.Database_File), Ticket_Record_Size);
        std::vector<std::uint8_t> raw(Ticket_Record_Size);
        for (std::size_t i = 0; i < tickets.size(); ++i) {
            Encode(tickets[i], raw.data());
            QVERIFY(database.Write(i + 1 + Header_Records_Offset, raw.data()));
        }
        state.Ticket_Count = 3;
        state.Records_Offset = Header_Records_Offset;
        CreateCacheFile(state, *ui, clock, state.settings.Cache_User_File, "new", 0, "",
                        state.settings.Database_File, "null");
    }

    QMdiSubWindow* Window_Titled(const char* caption) const {
        QMdiSubWindow* found = nullptr;
        for (QMdiSubWindow* sub : window->Mdi_Area()->subWindowList())
            if (sub->windowTitle() == QString::fromUtf8(caption))
                found = sub;
        return found;
    }

    static int Rows(Qt_Grid_View* view) {
        view->Grid_Model().Refresh();
        return view->model()->rowCount();
    }

    static QString Cell(Qt_Grid_View* view, int row, int col) {
        view->Grid_Model().Refresh();
        return view->model()->index(row, col).data().toString();
    }

private slots:
    void init() {
        Reset_State();
        home = std::make_unique<Temp_Folder>();
        ui = std::make_unique<Ending_Ui>();
        Program_State& state = State();
        state.Program_Folder = home->Path();
        state.Data_Folder = home->Path();
        state.Current_Date = Date_Serial(2026, 11, 23);
        Install();
        window = std::make_unique<Qt_MDI_Form>(state, *ui, clock, settings);
        window->Set_Blocking_Dialogs(false);
        Attach_Browser_Views(*window, state, *ui, clock, settings, browsers);
        Attach_Shop_View(*window, state, *ui, clock, browsers);
        Attach_Report_Views(*window, state, *ui, clock, settings, browsers);
        window->resize(1100, 750);
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }

    void cleanup() {
        window->Mdi_Area()->closeAllSubWindows();
        QCoreApplication::processEvents();
        window.reset();
    }

    void keysOnTheListThenCheckAndCommit() {
        // The station browser on station 2, fuel column 2 (АИ-95), then on column 1 (АИ-92).
        window->Model().tbToolBar_ButtonClick("Списание таллонов");
        QCoreApplication::processEvents();
        Resolve_Tickets* station = browsers.Station();
        QVERIFY(station != nullptr);
        station->MSFlexGrid1.Set_Row(2);
        station->MSFlexGrid1.Set_Col(1);
        QVERIFY(window->Menu_Action("mnu_popup_release")->isEnabled());
        window->Model().Menu_Click("mnu_popup_release");
        QCoreApplication::processEvents();
        QMdiSubWindow* sub = Window_Titled(Shop::Caption);
        QVERIFY(sub != nullptr);
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
        QCOMPARE(sub->findChild<QGroupBox*>()->title().isEmpty(), false);

        auto* check = sub->findChild<QPushButton*>("Command1");
        auto* commit = sub->findChild<QPushButton*>("Command2");
        QTest::mouseClick(check, Qt::LeftButton);
        QCOMPARE(Cell(result, 5, 0), QString("100001"));
        QCOMPARE(Cell(result, 5, 1), QString("Можно списать"));
        QCOMPARE(result->model()->index(5, 1).data(Qt::ForegroundRole).value<QBrush>().color(),
                 QColor(30, 110, 40));
        QCOMPARE(Cell(result, 7, 1),
                 QString("Талон просрочен! действителен с: 24.10.2026 по: 22.11.2026"));
        QCOMPARE(Cell(result, 8, 1), QString("Ошибка!  Талон с таким номером не был продан!"));
        QCOMPARE(Cell(result, 10, 1), QString("К списанию талонов: 2 шт., объёмом: 17,5"));
        QVERIFY(!State().Redemption_Checked);

        // "Информация" on a row that names a ticket shows that ticket.
        result->Grid_Model().Model_Grid().Set_Row(6);
        window->Model().Menu_Click("mnu_shop_popup_msf_Info");
        QCoreApplication::processEvents();
        QMdiSubWindow* information = nullptr;
        for (QMdiSubWindow* other : window->Mdi_Area()->subWindowList())
            if (other->windowTitle().startsWith("Информация по талону ГСМ"))
                information = other;
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
};

TD_QTEST_MAIN(Shop_View_Test)
#include "shop_view_test.moc"
