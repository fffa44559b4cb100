// The views of the maintenance screens on the offscreen platform: reached from their menu entries
// and from Eggs, their captions and fields, and one operation each driven through the widgets.
#include "maintenance/wisard.h"
#include "qt/maintenance_views.h"
#include "qt/qt_user_settings.h"
#include "qt/qt_views.h"
#include "qt_test_support.h"

#include <QCheckBox>
#include <filesystem>

using namespace td;
using namespace td::test;

namespace {

// Runs `check` on the modal dialog `name` once it is up.
void When_Open(QWidget* window, const char* name, std::function<void(QDialog*)> check) {
    QTimer::singleShot(50, window, [window, name, check] {
        auto* dialog = window->findChild<QDialog*>(name);
        QVERIFY2(dialog != nullptr, name);
        check(dialog);
    });
}

template <typename W> W* Child(QDialog* dialog, const char* name) {
    W* widget = dialog->findChild<W*>(name);
    if (widget == nullptr)
        qFatal("no widget %s", name);
    return widget;
}

} // namespace

class Maintenance_Views_Test : public View_Fixture {
    Q_OBJECT

    Qt_User_Settings store;

private slots:
    void init() {
        New_Installation(Date_Serial(2026, 3, 5));
        // Three tickets of 20 litres sold yesterday; the second redeemed today at station 1.
        const double today = State().Current_Date;
        std::vector<Ticket_Record> tickets;
        for (const char* serial : {"000001", "000002", "000003"})
            tickets.push_back(Sold_Ticket(serial, 1, 20, 1, today - 1));
        tickets[1].Used = 1;
        tickets[1].Establishment = 1;
        tickets[1].Validation_Date = today;
        Write_Tickets(tickets);
        Show_Window([&] { Attach_Maintenance_Views(*window, State(), *ui, clock, store); }, &store);
    }

    void backupThroughTheWizardsPages() {
        const std::string target = home->File("arc");
        When_Open(window.get(), "Wisard", [&](QDialog* dialog) {
            QCOMPARE(dialog->windowTitle(), Q("Мастер резервного копирования"));
            QVERIFY(Child<QRadioButton>(dialog, "Option1")->isChecked());
            QVERIFY(!Child<QPushButton>(dialog, "CancelButton")->isEnabled());
            QVERIFY(!Child<QPushButton>(dialog, "Command1")->isEnabled());
            Child<QPushButton>(dialog, "OKButton")->click();
            auto* path = Child<QLineEdit>(dialog, "BkR_Path");
            QVERIFY(path->isVisible());
            path->selectAll();
            QTest::keyClicks(path, QString::fromStdString(target + "/"));
            Child<QPushButton>(dialog, "OKButton")->click();
            QCOMPARE(Child<QLabel>(dialog, "lblcomplete")->text(),
                     Q("Мастер завершил подготовку к резервному копированию базы данных в "
                       "директорию: '") +
                         QString::fromStdString(target) + "'");
            QVERIFY(!Child<QPushButton>(dialog, "OKButton")->isEnabled());
            Child<QPushButton>(dialog, "Command1")->click();
        });
        window->Model().Menu_Click("mnu_create_backup");
        QVERIFY(window->findChild<QDialog*>("Wisard") == nullptr);
        QVERIFY(std::filesystem::exists(target + "/TD.cbk"));
        QCOMPARE(QString::fromStdString(ui->boxes.back().text),
                 Q("Резервное копирование базы данных успешно завершено!"));
    }

    void deletionOfTheRedeemedFromItsScreen() {
        When_Open(window.get(), "Delete_records", [&](QDialog* dialog) {
            QCOMPARE(dialog->windowTitle(), Q("Уничтожение талонов"));
            QCOMPARE(Child<QRadioButton>(dialog, "Option2")->text(),
                     Q("Удалить все списанные талоны за 05.03.2026"));
            QVERIFY(!Child<QComboBox>(dialog, "Combo1")->isEnabled());
            Child<QRadioButton>(dialog, "Option4")->click();
            QVERIFY(Child<QComboBox>(dialog, "Combo2")->isEnabled());
            QCOMPARE(Child<QComboBox>(dialog, "Combo2")->itemText(0), Q("010"));
            Child<QRadioButton>(dialog, "Option1")->click();
            QVERIFY(!Child<QLineEdit>(dialog, "Text1")->isEnabled());
            Child<QPushButton>(dialog, "Command1")->click();
            Child<QPushButton>(dialog, "Command2")->click();
        });
        window->Model().Menu_Click("mnu_Services_Tickets_del");
        QVERIFY(window->findChild<QDialog*>("Delete_records") == nullptr);
        QCOMPARE(QString::fromStdString(ui->boxes.back().text),
                 Q("Все списанные талоны, в количестве 1 шт - удалены!"));
        std::uint8_t raw[Ticket_Record_Size];
        Record_File file(home->File("TD.cdb"), Ticket_Record_Size, Record_File::Mode::Read_Only);
        QVERIFY(file.Read(8, raw));
        QCOMPARE(int(raw[1]), 1);
    }

    void eggsNextOpensTheRawEditor() {
        window->Show_Eggs();
        auto* eggs = window->findChild<Qt_Eggs*>();
        QVERIFY(eggs != nullptr);
        When_Open(window.get(), "Raw_DB_Edit", [&](QDialog* dialog) {
            QCOMPARE(dialog->windowTitle(), Q("Raw db editor..."));
            QCOMPARE(Child<QLineEdit>(dialog, "Text1")->text(), Q("7"));
            QCOMPARE(Child<QLineEdit>(dialog, "Text2")->text(), Q("000001"));
            Child<QPushButton>(dialog, "Command4")->click();
            QCOMPARE(Child<QLineEdit>(dialog, "Text1")->text(), Q("8"));
            QVERIFY(Child<QCheckBox>(dialog, "Check1")->isChecked());
            QVERIFY(Child<QLineEdit>(dialog, "Text5")->isEnabled());
            Child<QPushButton>(dialog, "Command5")->click();
            QCOMPARE(Child<QLineEdit>(dialog, "Text2")->text(), Q("000003"));
            // Exit ends the run: seen in a child process; here the dialog is just let go.
            QCOMPARE(Exit_Code_Of([&] { Child<QPushButton>(dialog, "Command1")->click(); }), 0);
            dialog->done(0);
        });
        eggs->findChild<QPushButton*>("Command2")->click();
        QVERIFY(window->findChild<QDialog*>("Raw_DB_Edit") == nullptr);
        QTRY_VERIFY(window->findChild<Qt_Eggs*>() == nullptr);
    }
};

TD_QTEST_MAIN(Maintenance_Views_Test)
#include "maintenance_views_test.moc"
