// The report windows offscreen on a small installation written here: the balance viewer from
// the menu and from the toolbar, the period picker, the statistics from a browser's cell, the
// ticket information, and printing without a printer (a PDF, of which the user is told).
#include "base/ports.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "qt/report_views.h"
#include "qt_test_support.h"
#include "storage/header.h"

#include <QDir>
#include <QScrollBar>

using namespace td;
using namespace td::test;

class Report_Views_Test : public View_Fixture {
    Q_OBJECT

    std::unique_ptr<Temp_Folder> pdf_folder;

    QMdiSubWindow* Active() const { return window->Mdi_Area()->activeSubWindow(); }

    static QString Cell(QWidget* content, int row, int col) {
        return View_Fixture::Cell(content->findChild<Qt_Grid_View*>("MSFlexGrid1"), row, col);
    }
    static QString Label(QWidget* content, const char* name) {
        return content->findChild<QLabel*>(QString::fromUtf8(name))->text();
    }

    int Pdf_Files() const {
        return static_cast<int>(QDir(QString::fromStdString(pdf_folder->Path()))
                                    .entryList({QStringLiteral("*.pdf")}, QDir::Files)
                                    .size());
    }

private slots:
    void init() {
        New_Installation(Date_Serial(2026, 11, 23));
        pdf_folder = std::make_unique<Temp_Folder>();
        qputenv("TALLY_DEPOT_PDF_DIR", QByteArray::fromStdString(pdf_folder->Path()));
        Program_State& state = State();
        QVERIFY(Write_Fuels(Path(state.settings.Fuel_File), {"АИ-92", "АИ-95", "ДТ"}));
        QVERIFY(
            Write_Companies(Path(state.settings.Company_File), {{"1", "", "", "Транспорт"},
                                                                {"5", "1", "", "Автобаза"},
                                                                {"7", "1", "", "ООО Ромашка"}}));
        QVERIFY(Write_Stations(Path(state.settings.Establishments_File), {"АЗС-1 Центр"}));
        // 130 coupons: three pages of the statistics; every third redeemed at station 1.
        state.Ticket_Table.assign(1, Ticket_Record{});
        for (int i = 1; i <= 130; ++i) {
            Ticket_Record t = Sold_Ticket(std::to_string(100000 + i), 1 + i % 2, 20, 2 + i % 2,
                                          state.Current_Date - 3);
            if (i % 3 == 0) {
                t.Used = 1;
                t.Real_Volume = 19.5;
                t.Establishment = 1;
                t.Validation_Date = state.Current_Date;
            }
            state.Ticket_Table.push_back(t);
        }
        Write_Tickets({state.Ticket_Table.begin() + 1, state.Ticket_Table.end()});
        Show_Window([&] { Attach_Report_Views(*window, state, *ui, clock, settings, browsers); });
    }

    void balanceViewerFromTheToolbarAndItsPrint() {
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
        // Figures stand right, names left.
        auto* grid = content->findChild<Qt_Grid_View*>(QStringLiteral("MSFlexGrid1"));
        auto alignment = [grid](int row, int col) {
            return grid->model()->index(row, col).data(Qt::TextAlignmentRole).toInt() &
                   Qt::AlignHorizontal_Mask;
        };
        QCOMPARE(alignment(3, 1), int(Qt::AlignRight));
        QCOMPARE(alignment(3, 0), 0);
        // Ромашка: the 65 odd coupons of fuel 2, 22 of them redeemed.
        QCOMPARE(Cell(content, 4, 2), QStringLiteral("1289  /  429  /  860"));
        QCOMPARE(Label(content, "Label2"), QStringLiteral("Отображены записи №№ 1 - 8 из 8"));
        // The columns share the width of the grid as laid out in the new window: the first
        // one and a half shares, three others one each, of the width less 375 twips.
        // Built again while another window is in front: the same.
        auto shares_the_width = [grid] {
            const int share = (grid->viewport()->width() -
                               Qt_Grid_View::Twips_To_Pixels(375, grid->logicalDpiX())) *
                              2 / 9;
            return std::abs(grid->columnWidth(0) - share * 3 / 2) <= 2 &&
                   std::abs(grid->columnWidth(3) - share) <= 2;
        };
        QVERIFY(shares_the_width());
        window->Mdi_Area()->addSubWindow(new QLabel("x"))->showMaximized();
        window->Model().tbToolBar_ButtonClick("Отчёт");
        QCoreApplication::processEvents();
        QVERIFY(shares_the_width());

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
        QCOMPARE(Colour(content->findChild<Qt_Grid_View*>("MSFlexGrid1"), 2, 0),
                 QColor(170, 20, 20));
        auto* scroll = content->findChild<QScrollBar*>(QStringLiteral("FlatScrollBar1"));
        QCOMPARE(scroll->maximum(), 2);
        QCOMPARE(scroll->pageStep(), 1);
        // Read down to the end of page 1: the next page, and a new report, open at their tops.
        auto* view = content->findChild<Qt_Grid_View*>(QStringLiteral("MSFlexGrid1"));
        auto at_top = [&view] {
            QCoreApplication::processEvents();
            return view->rowAt(0) == 0;
        };
        view->scrollToBottom();
        QVERIFY(!at_top());
        scroll->triggerAction(QAbstractSlider::SliderPageStepAdd);
        QCOMPARE(Label(content, "Label2"), QStringLiteral("Отображены записи №№ 61 - 68 из 68"));
        QCOMPARE(Cell(content, 6, 0), QStringLiteral("Продано"));
        QVERIFY(at_top());
        scroll->setValue(1);
        view->scrollToBottom();
        window->Model().Menu_Click("mnu_popup_user_stat");
        QVERIFY(at_top());

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
        bool total_shown = false;
        for (QLabel* label : content->findChildren<QLabel*>())
            total_shown = total_shown || label->text() == QStringLiteral("429 л");
        QVERIFY(total_shown);
    }

    void ticketInformationOpensForAResultRow() {
        Open_Ticket_Information(*window, {"100003", "", 2, 20, "АИ-95"});
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
