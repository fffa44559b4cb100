// The sale window, offscreen, driven as an operator drives it: the buyer browser's popup opens
// it, keys go into the number fields, the buttons check and register, and the result grid shows
// the rows in their colours.
#include "browsers/sell_ticets.h"
#include "kernel/cache_passes.h"
#include "qt/browser_views.h"
#include "qt/report_views.h"
#include "qt/sale_view.h"
#include "qt_test_support.h"
#include "storage/reference.h"
#include "tickets/register_ticket.h"

using namespace td;
using namespace td::test;

class Sale_View_Test : public View_Fixture {
    Q_OBJECT

    QMdiSubWindow* sale = nullptr;

    template <typename Widget> Widget* Find(const char* name) const {
        return sale == nullptr ? nullptr : sale->findChild<Widget*>(name);
    }
    // The rows of the result grid, "number|text".
    static QStringList Rows(Qt_Grid_View* view) {
        view->Grid_Model().Refresh();
        QStringList rows;
        for (int r = 0; r < view->model()->rowCount(); ++r)
            rows << view->model()->index(r, 0).data().toString() + "|" +
                        view->model()->index(r, 1).data().toString();
        return rows;
    }
    // A radio button takes a click on its mark or its caption, not anywhere in its row.
    static void Choose(QRadioButton* option) {
        QTest::mouseClick(option, Qt::LeftButton, {}, QPoint(6, option->height() / 2));
    }
    static void Type(QWidget* field, const char* text) {
        field->setFocus();
        QTest::keyClicks(field, QString::fromUtf8(text));
    }

private slots:
    void init() {
        New_Installation(Date_Serial(2026, 11, 23));
        Program_State& state = State();
        QVERIFY(Write_Fuels(Path(state.settings.Fuel_File), {"АИ-92", "АИ-95"}));
        QVERIFY(Write_Companies(Path(state.settings.Company_File),
                                {{"1", "", "", "Транспорт"}, {"5", "1", "", "Автобаза"}}));
        state.Company_Count =
            Load_Company_Table(Path(state.settings.Company_File), state.Company_Table);
        // One ticket sold: 000101, АИ-95, 10 litres.
        Write_Tickets({Sold_Ticket("000101", 2, 10, 2, Date_Serial(2026, 11, 20))});
        Rebuild_All(state, *ui, clock, Progress_Target::Splash);
        Show_Window([&] {
            Attach_Browser_Views(*window, state, *ui, clock, settings, browsers);
            Attach_Sale_View(*window, state, *ui, clock, settings, browsers);
            Attach_Report_Views(*window, state, *ui, clock, settings, browsers);
        });
    }

    void aSaleFromTheBuyersPopupIsCheckedAndRegistered() {
        // The buyer browser, down into the group, a right click on the buyer's АИ-95 amount.
        window->Model().Menu_Click("mnu_Sell_Tickets");
        QCoreApplication::processEvents();
        auto* buyers = window->findChild<Qt_Grid_View*>("MSFlexGrid1");
        QVERIFY(buyers != nullptr);
        buyers->Grid_Model().Refresh();
        QTest::mouseDClick(buyers->viewport(), Qt::LeftButton, {},
                           buyers->visualRect(buyers->model()->index(1, 0)).center());
        QCOMPARE(Cell(buyers, 1, 1), QString("1:1:5"));
        QCOMPARE(Cell(buyers, 1, 4), QString("10"));
        QTest::mouseClick(buyers->viewport(), Qt::RightButton, {},
                          buyers->visualRect(buyers->model()->index(1, 4)).center());
        QMenu* popup = window->Context_Menu("mnu_popup");
        QTRY_VERIFY(popup->isVisible());
        QAction* sell = window->Menu_Action("mnu_popup_sell");
        QVERIFY(sell->isEnabled());
        popup->close();
        sell->trigger();
        QCoreApplication::processEvents();

        sale = Window_Titled(Register_ticket::Caption);
        QVERIFY(sale != nullptr);
        QVERIFY(sale->isMaximized());
        QCOMPARE(Find<QLabel>("Label7")->text(), QString("Автобаза; 1:1:5"));
        // Column 4 of the buyer grid is АИ-95.
        QCOMPARE(Find<QComboBox>("Combo2")->currentText(), QString("АИ-95"));
        QCOMPARE(Find<QComboBox>("Combo3")->currentText(), QString("010"));

        // A range by its ends, typed: Enter in the first number lands in the last; leaving the
        // last turns the range into a first number and a count.
        auto* text2 = Find<QLineEdit>("Text2");
        auto* text3 = Find<QLineEdit>("Text3");
        auto* text4 = Find<QLineEdit>("Text4");
        auto* text5 = Find<QLineEdit>("Text5");
        QVERIFY(!text2->isEnabled());
        Choose(Find<QRadioButton>("Option6"));
        QVERIFY(text2->isEnabled());
        Type(text2, "100");
        QTest::keyClick(text2, Qt::Key_Return);
        QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(text3));
        QCOMPARE(text2->text(), QString("000100"));
        Type(text3, "102");
        QTest::keyClick(text3, Qt::Key_Return);
        QTRY_VERIFY(Find<QRadioButton>("Option7")->isChecked());
        QCOMPARE(text4->text(), QString("000100"));
        QCOMPARE(text5->text(), QString("3"));
        QVERIFY(text4->isEnabled() && !text2->isEnabled());
        // Enter left the end field for "Проверить"; Enter there presses it.
        auto* check = Find<QPushButton>("Command1");
        QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(check));
        QTest::keyClick(check, Qt::Key_Return);

        auto* result = Find<Qt_Grid_View>("MSFlexGrid2");
        QStringList rows = Rows(result);
        QVERIFY2(rows.contains("000101|Ошибка. Талон уже зарегистрирован: 20.11.2026"),
                 qPrintable(rows.join("\n")));
        QCOMPARE(rows.last(), QString("|Начальный номер: 000100 кол-во: 3 шт"));
        const int refused =
            static_cast<int>(rows.indexOf("|Талон(ы) НЕ могут быть зарегистрирован(ы)."));
        QVERIFY(refused > 0);
        QCOMPARE(Colour(result, refused, 1), QColor(170, 30, 30));
        QVERIFY(!State().Sale_Checked);

        // A double click on a row that names a ticket offers "Информация", which shows it.
        const int taken =
            static_cast<int>(rows.indexOf("000101|Ошибка. Талон уже зарегистрирован: 20.11.2026"));
        QTest::mouseDClick(result->viewport(), Qt::LeftButton, {},
                           result->visualRect(result->model()->index(taken, 1)).center());
        QMenu* menu = window->Context_Menu("mnu_reg_popup_msf");
        QTRY_VERIFY(menu->isVisible());
        QAction* info = window->Menu_Action("mnu_reg_popup_msf_Info");
        QVERIFY(info->isEnabled());
        menu->close();
        info->trigger();
        QCoreApplication::processEvents();
        QMdiSubWindow* information = Window_Titled("Информация по талону ГСМ 'АИ-95'");
        QVERIFY(information != nullptr);
        auto* found = information->findChild<Qt_Grid_View*>("MSFlexGrid1");
        QVERIFY(found != nullptr);
        QCOMPARE(Cell(found, 1, 0), QString("000101")); // the row added below the blank one
        information->close();
        QCoreApplication::processEvents();
        window->Mdi_Area()->setActiveSubWindow(sale);
        // A heading row names no ticket: no "Информация".
        QTest::mouseDClick(result->viewport(), Qt::LeftButton, {},
                           result->visualRect(result->model()->index(1, 1)).center());
        QTRY_VERIFY(menu->isVisible());
        QVERIFY(!info->isEnabled());
        menu->close();

        // Another range: the check accepts, the commit registers, the buyer's amount grows.
        text4->setFocus();
        text4->selectAll();
        QTest::keyClicks(text4, "200");
        QTest::keyClick(text4, Qt::Key_Tab);
        QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(text5));
        text5->selectAll();
        QTest::keyClicks(text5, "2");
        QTest::mouseClick(check, Qt::LeftButton);
        QVERIFY(State().Sale_Checked);
        QTest::mouseClick(Find<QPushButton>("Command2"), Qt::LeftButton);
        rows = Rows(result);
        QCOMPARE(rows.at(rows.size() - 2), QString("|Талон(ы) зарегистрирован(ы)."));
        QCOMPARE(rows.last(), QString("|Начальный номер: 000200 кол-во: 2 шт"));
        QCOMPARE(Colour(result, static_cast<int>(rows.size()) - 2, 1), QColor(30, 120, 50));
        QVERIFY(text4->text().isEmpty() && text5->text().isEmpty());
        QCOMPARE(State().Ticket_Count, 3L);
        QCOMPARE(Cell(buyers, 1, 4), QString("30"));

        // The mouse on a disabled field chooses its option.
        auto* text1 = Find<QLineEdit>("Text1");
        QVERIFY(!text1->isEnabled());
        QWidget* numbers = text1->parentWidget();
        QTest::mousePress(numbers, Qt::LeftButton, {}, text1->geometry().center());
        QTRY_VERIFY(Find<QRadioButton>("Option5")->isChecked());
        QVERIFY(text1->isEnabled());

        // "Отмена" closes the screen and keeps the options.
        QTest::mouseClick(Find<QPushButton>("Command3"), Qt::LeftButton);
        QCoreApplication::processEvents();
        QCOMPARE(settings.Get(Settings_Application, "Windows", "RTO5", ""), std::string("True"));
        QCOMPARE(settings.Get(Settings_Application, "Windows", "RTO7", ""), std::string("False"));
    }
};

TD_QTEST_MAIN(Sale_View_Test)
#include "sale_view_test.moc"
