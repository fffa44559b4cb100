// The report windows offscreen on a small installation written here: the balance viewer from
// the menu and from the toolbar, the period picker, the statistics from a browser's cell, the
// ticket information, and printing without a printer (a PDF, of which the user is told). With
// TD_SCREENSHOT_DIR set, each window is also grabbed there as a PNG.
#include "base/dates.h"
#include "base/ports.h"
#include "browsers/browser_refresh.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"
#include "qt/report_views.h"
#include "qt_test_support.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "support/temp_folder.h"

#include <QCalendarWidget>
#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QScrollBar>
#include <QTimer>
#include <memory>

using namespace td;
using td::test::Ending_Ui;
using td::test::Fake_Clock;
using td::test::Memory_Settings;
using td::test::Temp_Folder;

class Report_Views_Test : public QObject {
    Q_OBJECT

    std::unique_ptr<Temp_Folder> home;
    std::unique_ptr<Temp_Folder> pdf_folder;
    std::unique_ptr<Ending_Ui> ui;
    Fake_Clock clock;
    Memory_Settings settings;
    Open_Browsers browsers;
    std::unique_ptr<Qt_MDI_Form> window;

    std::string Path(const std::string& name) const { return home->File(name); }

    void Write_Installation() {
        Program_State& state = State();
        Record_File fuels(Path(state.settings.Fuel_File), Fuel_Record_Size);
        std::vector<std::uint8_t> raw(Fuel_Record_Size);
        const char* names[] = {"АИ-92", "АИ-95", "ДТ"};
        for (std::size_t i = 0; i < 3; ++i) {
            Fuel_Record fuel;
            fuel.Exists = 1;
            fuel.Name = names[i];
            Encode(fuel, raw.data());
            QVERIFY(fuels.Write(i + 1, raw.data()));
        }
        struct Company {
            const char* code;
            const char* group;
            const char* name;
        };
        const Company companies[] = {
            {"1", "", "Транспорт"}, {"5", "1", "Автобаза"}, {"7", "1", "ООО Ромашка"}};
        Record_File file(Path(state.settings.Company_File), Company_Record_Size);
        std::vector<std::uint8_t> company(Company_Record_Size);
        for (std::size_t i = 0; i < 3; ++i) {
            Company_Record record;
            record.Exists = 1;
            record.Code = companies[i].code;
            record.Group_Code = companies[i].group;
            record.Name = companies[i].name;
            Encode(record, company.data());
            QVERIFY(file.Write(i + 1, company.data()));
        }
        Record_File stations(Path(state.settings.Establishments_File), Name_Record_Size);
        std::vector<std::uint8_t> station(Name_Record_Size);
        Encode(Name_Record{1, "АЗС-1 Центр"}, station.data());
        QVERIFY(stations.Write(1, station.data()));

        // 130 coupons: three pages of the statistics; every third redeemed at station 1.
        state.Ticket_Table.assign(1, Ticket_Record{});
        std::vector<std::uint8_t> records;
        for (int i = 1; i <= 130; ++i) {
            Ticket_Record t;
            t.Fuel = static_cast<std::uint8_t>(1 + i % 2);
            t.Volume = 20;
            t.Company = 2 + i % 2;
            char serial[7];
            std::snprintf(serial, sizeof serial, "%06d", 100000 + i);
            t.Set_Serial(serial);
            t.Sell_Date = state.Current_Date - 3;
            if (i % 3 == 0) {
                t.Used = 1;
                t.Real_Volume = 19.5;
                t.Establishment = 1;
                t.Validation_Date = state.Current_Date;
            }
            state.Ticket_Table.push_back(t);
            records.resize(records.size() + Ticket_Record_Size);
            Encode(t, records.data() + records.size() - Ticket_Record_Size);
        }
        state.Ticket_Count = 130;
        state.Records_Offset = Header_Records_Offset;
        const std::string database = Path(state.settings.Database_File);
        QVERIFY(Create_Header(database, 130L));
        Record_File db(database, Ticket_Record_Size);
        QVERIFY(db.Write_Block(1 + Header_Records_Offset, 130, records.data()));
    }

    QMdiSubWindow* Active() const { return window->Mdi_Area()->activeSubWindow(); }

    static QString Cell(QWidget* content, int row, int col) {
        auto* view = content->findChild<Qt_Grid_View*>(QStringLiteral("MSFlexGrid1"));
        return view->model()->index(row, col).data().toString();
    }
    static QString Label(QWidget* content, const char* name) {
        return content->findChild<QLabel*>(QString::fromUtf8(name))->text();
    }

    void Grab(const char* name) {
        const QByteArray folder = qgetenv("TD_SCREENSHOT_DIR");
        if (folder.isEmpty())
            return;
        QCoreApplication::processEvents();
        window->grab().save(QDir(QString::fromUtf8(folder)).filePath(QString::fromUtf8(name)));
    }

    int Pdf_Files() const {
        return static_cast<int>(QDir(QString::fromStdString(pdf_folder->Path()))
                                    .entryList({QStringLiteral("*.pdf")}, QDir::Files)
                                    .size());
    }

private slots:
    void init() {
        Reset_State();
        home = std::make_unique<Temp_Folder>();
        pdf_folder = std::make_unique<Temp_Folder>();
        qputenv("TALLY_DEPOT_PDF_DIR", QByteArray::fromStdString(pdf_folder->Path()));
        ui = std::make_unique<Ending_Ui>();
        settings.values.clear();
        Program_State& state = State();
        state.Program_Folder = home->Path();
        state.Data_Folder = home->Path();
        state.Current_Date = Date_Serial(2026, 11, 23);
        Write_Installation();
        window = std::make_unique<Qt_MDI_Form>(state, *ui, clock, settings);
        window->Set_Blocking_Dialogs(false);
        Attach_Report_Views(*window, state, *ui, clock, settings, browsers);
        window->resize(1100, 720);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }

    void cleanup() {
        browsers.Set_Buyer(nullptr);
        browsers.Set_Station(nullptr);
        window->Mdi_Area()->closeAllSubWindows();
        QCoreApplication::processEvents();
        window.reset();
    }

    void balanceViewerFromTheToolbarAndItsPrint() {
        QVERIFY(window->Button("Отчёт")->isEnabled());
        window->Model().tbToolBar_ButtonClick("Отчёт");
        QCoreApplication::processEvents();
        QMdiSubWindow* sub = Active();
        QVERIFY(sub != nullptr);
        QCOMPARE(sub->windowTitle(), QStringLiteral("Продажа ГСМ (талоны) на 23.11.2026"));
        QWidget* content = sub->widget();
        QCOMPARE(Label(content, "Label1"), QStringLiteral("Продажа ГСМ (талоны) на 23.11.2026"));
        QCOMPARE(Cell(content, 0, 0), QStringLiteral("Транспорт"));
        QCOMPARE(Cell(content, 0, 1), QStringLiteral("АИ-92"));
        QCOMPARE(Cell(content, 3, 0), QStringLiteral("1:5 Автобаза"));
        // Автобаза: the 65 even coupons of fuel 1, the 21 of them divisible by 6 redeemed at 19.5.
        QCOMPARE(Cell(content, 3, 1), QStringLiteral("1289,5  /  409,5  /  880"));
        QCOMPARE(Cell(content, 3, 2), QStringLiteral("0  /  0  /  0"));
        // Ромашка: the 65 odd coupons of fuel 2, 22 of them redeemed.
        QCOMPARE(Cell(content, 4, 2), QStringLiteral("1289  /  429  /  860"));
        QCOMPARE(Label(content, "Label2"), QStringLiteral("Отображены записи №№ 1 - 8 из 8"));
        Grab("reports_f.png");

        // The double click on the grid, answered yes, prints the page to a PDF without a printer.
        ui->Answer_Next(box::Answer_Yes);
        auto* view = content->findChild<Qt_Grid_View*>(QStringLiteral("MSFlexGrid1"));
        QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, QPoint(20, 20));
        QCOMPARE(Pdf_Files(), 1);
        QVERIFY(ui->boxes.back().text.find("Принтер не установлен. Страница записана в файл:") ==
                0);
        // The toolbar's "Печать" over the viewer: another page.
        window->Model().tbToolBar_ButtonClick("Печать");
        QCOMPARE(Pdf_Files(), 2);
    }

    void periodPickerCancelledBuildsNothingAndOkBuilds() {
        auto answer = [](bool ok) {
            QTimer::singleShot(50, [ok] {
                auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
                QVERIFY(dialog != nullptr);
                QCOMPARE(dialog->windowTitle(), QStringLiteral("Календарь"));
                for (QPushButton* button : dialog->findChildren<QPushButton*>())
                    if (button->text() == (ok ? QStringLiteral("OK") : QStringLiteral("Отмена"))) {
                        button->click();
                        return;
                    }
            });
        };
        answer(false);
        window->Model().Menu_Click("mnu_full_report_range");
        QCOMPARE(Active(), nullptr);
        answer(true);
        window->Model().Menu_Click("Mnu_Shop_Range");
        QCoreApplication::processEvents();
        QVERIFY(Active() != nullptr);
        QVERIFY(Active()->windowTitle().startsWith(
            QStringLiteral("Списание ГСМ (талоны) на период [01.01.")));
    }

    void statisticsFromTheBrowsersCellsPageAndPaint() {
        Sell_Ticets buyer(State(), *ui, clock, settings, nullptr);
        Grid& grid = buyer.MSFlexGrid1;
        grid.Set_Cols(11);
        grid.Set_Rows(3);
        grid.Set_Text(0, 3, "АИ-92");
        grid.Set_Text(2, 1, "1:1:5");
        grid.Set_Text(2, 2, "Автобаза");
        grid.Set_Row(2);
        grid.Set_Col(3);
        browsers.Set_Buyer(&buyer);
        window->Model().Menu_Click("mnu_popup_user_stat");
        QCoreApplication::processEvents();
        QWidget* content = Active()->widget();
        QCOMPARE(Active()->windowTitle(),
                 QStringLiteral("Статистика талонов ГСМ 'АИ-92' на 23.11.2026"));
        QCOMPARE(Label(content, "Label1"),
                 QStringLiteral(
                     "Статистика талонов ГСМ 'АИ-92' на 23.11.2026. Клиент: Автобаза {1:1:5}"));
        QCOMPARE(Cell(content, 0, 0), QStringLiteral("100002"));
        QCOMPARE(Label(content, "Label2"), QStringLiteral("Отображены записи №№ 1 - 60 из 68"));
        // Coupon 100006 (row 3) was redeemed: painted.
        auto* view = content->findChild<Qt_Grid_View*>(QStringLiteral("MSFlexGrid1"));
        QCOMPARE(view->model()->index(2, 0).data(Qt::ForegroundRole).value<QBrush>().color(),
                 QColor(170, 20, 20));
        Grab("reports.png");
        auto* scroll = content->findChild<QScrollBar*>(QStringLiteral("FlatScrollBar1"));
        QCOMPARE(scroll->maximum(), 2);
        scroll->setValue(2);
        QCOMPARE(Label(content, "Label2"), QStringLiteral("Отображены записи №№ 61 - 68 из 68"));
        QCOMPARE(Cell(content, 6, 0), QStringLiteral("Продано"));
        Grab("reports-page2.png");

        Resolve_Tickets station(State(), *ui, clock, settings, nullptr);
        Grid& stations = station.MSFlexGrid1;
        stations.Set_Cols(4);
        stations.Set_Rows(3);
        stations.Set_Text(0, 2, "АИ-95");
        stations.Set_Text(1, 0, "АЗС-1 Центр");
        stations.Set_Row(1);
        stations.Set_Col(2);
        browsers.Set_Station(&station);
        window->Model().Menu_Click("mnu_popup_Res_stat");
        QCoreApplication::processEvents();
        content = Active()->widget();
        QCOMPARE(Label(content, "Label1"),
                 QStringLiteral("Статистика списаний по  АЗС-1 Центр за 23.11.2026. ГСМ АИ-95"));
        // Coupons 3, 9, ..., 129 of fuel 2: 22 of them.
        QVERIFY(content->findChildren<QLabel*>().size() >= 6);
        bool total_shown = false;
        for (QLabel* label : content->findChildren<QLabel*>())
            total_shown = total_shown || label->text() == QStringLiteral("429 л");
        QVERIFY(total_shown);
        Grab("reports_s.png");
    }

    void ticketInformationOpensForAResultRow() {
        Ticket_Info_Request request;
        request.serial = "100003";
        request.fuel_slot = 2;
        request.volume = 20;
        request.fuel_name = "АИ-95";
        Open_Ticket_Information(*window, request);
        QCoreApplication::processEvents();
        QWidget* content = Active()->widget();
        QCOMPARE(Active()->windowTitle(),
                 QStringLiteral("Информация по талону ГСМ 'АИ-95' на 23.11.2026"));
        QCOMPARE(Label(content, "Label1"),
                 QStringLiteral("Талон был списан!\nИнформация по талону ГСМ 'АИ-95'"));
        QCOMPARE(Cell(content, 1, 0), QStringLiteral("100003"));
        QPushButton* restore = nullptr;
        for (QPushButton* button : content->findChildren<QPushButton*>())
            if (button->text() == QStringLiteral("Восстановить"))
                restore = button;
        QVERIFY(restore != nullptr && restore->isEnabled());
        Grab("rep_reg.png");
        // Restored: the record's Used byte is 0 on disk and the caches are stale.
        ui->Answer_Next(box::Answer_Yes);
        restore->click();
        Record_File db(Path(State().settings.Database_File), Ticket_Record_Size,
                       Record_File::Mode::Read_Only);
        std::uint8_t raw[Ticket_Record_Size];
        QVERIFY(db.Read(3 + Header_Records_Offset, raw));
        QCOMPARE(int(raw[0]), 0);
        QVERIFY(State().Cache_Stale);
    }
};

TD_QTEST_MAIN(Report_Views_Test)
#include "report_views_test.moc"
