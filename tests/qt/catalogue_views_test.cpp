// The three catalogue dialogs as a user meets them, offscreen on a temporary data folder: mouse
// clicks and key presses in the real windows, then what the files hold after "Сохранить", and
// that "Отмена" / "Закрыть" write nothing. Also the standard buttons of a question box, which
// read in Russian once Qt's own translation is installed.
#include "base/ports.h"
#include "base/text.h"
#include "qt/catalogue_views.h"
#include "qt/qt_translation.h"
#include "qt/qt_ui.h"
#include "qt_test_support.h"
#include "storage/reference.h"

#include <QAbstractItemView>
#include <QCalendarWidget>
#include <QHeaderView>
#include <QMessageBox>

using namespace td;
using namespace td::test;

class Catalogue_Views_Test : public View_Fixture {
    Q_OBJECT

    QDialog* dialog_ = nullptr; // the dialog in front

    void Fuel(int slot, const char* name, double price) {
        Record_File file(Path(State().settings.Fuel_File), Fuel_Record_Size);
        std::vector<std::uint8_t> raw(Fuel_Record_Size);
        Fuel_Record fuel;
        fuel.Exists = 1;
        fuel.Name = name;
        fuel.Price = price;
        Encode(fuel, raw.data());
        QVERIFY(file.Write(static_cast<std::uint64_t>(slot), raw.data()));
    }

    // Opens a catalogue by its menu entry and finds its dialog by the caption.
    QDialog* Open(const char* menu_entry, const char* caption) {
        window->Model().Menu_Click(menu_entry);
        QDialog* found = nullptr;
        for (QDialog* dialog : window->findChildren<QDialog*>())
            if (dialog->isVisible() && dialog->windowTitle() == QString::fromUtf8(caption))
                found = dialog;
        if (found != nullptr) {
            found->activateWindow();
            static_cast<void>(QTest::qWaitForWindowExposed(found));
        }
        dialog_ = found;
        return found;
    }

    // Rows count from 1 here, as the grids' own do (row 0 is their header).
    static void Click(Qt_Grid_View* grid, int row, int col) {
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {},
                          grid->visualRect(grid->model()->index(row - 1, col)).center());
    }
    // The widget of the dialog that has the keys.
    QWidget* Focus() const { return dialog_->focusWidget(); }
    // Keys go where the focus is, as the user's do.
    void Type(const char* keys) const {
        for (const char* key = keys; *key != '\0'; ++key)
            QTest::keyClick(Focus(), *key);
    }
    void Press(Qt::Key key) const { QTest::keyClick(Focus(), key); }
    static QString Text(Qt_Grid_View* grid, int row, int col) { return Cell(grid, row - 1, col); }
    static QPushButton* Button(QDialog* dialog, const char* caption) {
        for (QPushButton* button : dialog->findChildren<QPushButton*>())
            if (button->text() == QString::fromUtf8(caption))
                return button;
        return nullptr;
    }

    // Typing in the catalogue and leaving it by `button` writes nothing to its file.
    void Leaving_Writes_Nothing(const char* menu_entry, const char* caption,
                                const std::string& file, const char* button) {
        const std::string before = home->Read(file);
        QDialog* dialog = Open(menu_entry, caption);
        QVERIFY(dialog != nullptr);
        auto* grid = dialog->findChild<Qt_Grid_View*>();
        Click(grid, 1, 1);
        const QString shown = Text(grid, 1, 1);
        Type("12");
        QVERIFY(Text(grid, 1, 1) != shown);
        Button(dialog, button)->click();
        QTRY_VERIFY(!dialog->isVisible());
        QCOMPARE(home->Read(file), before);
    }

private slots:
    void init() {
        New_Installation(Date_Serial(2026, 11, 23));
        Show_Window([&] { Attach_Catalogue_Views(*window, State(), *ui, clock); });
    }

    void cleanup() {
        for (QDialog* dialog : window->findChildren<QDialog*>())
            dialog->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        Close_Window();
    }

    void fuelTypingReplacesArrowsMoveSaveWritesCancelDoesNot() {
        QVERIFY(Write_Fuels(Path(State().settings.Fuel_File), {"АИ-92", "АИ-95", "ДТ"}));
        Fuel(1, "АИ-92", 50.1);
        Fuel(2, "АИ-95", 52.4);
        QDialog* dialog = Open("mnu_Services_Fuel_cost", "Справочник ГСМ");
        QVERIFY(dialog != nullptr);
        auto* grid = dialog->findChild<Qt_Grid_View*>();
        auto* box = dialog->findChild<QLineEdit*>();
        QVERIFY(grid != nullptr && box != nullptr);
        QCOMPARE(Text(grid, 2, 1), QString("52,4"));

        // A click shows the cell in the box; a key typed then replaces the cell, it never
        // appends to it.
        Click(grid, 2, 1);
        QCOMPARE(box->text(), QString("52,4"));
        Type("9");
        QCOMPARE(Text(grid, 2, 1), QString("9"));
        QCOMPARE(Focus(), static_cast<QWidget*>(box));
        Type("5");
        QCOMPARE(Text(grid, 2, 1), QString("95"));

        // Back in the grid the arrow keys move, and typing goes to the cell moved to.
        Click(grid, 1, 0);
        QCOMPARE(Focus(), static_cast<QWidget*>(grid));
        Press(Qt::Key_Down);
        QCOMPARE(grid->currentIndex().row(), 1);
        Type("X");
        QCOMPARE(Text(grid, 2, 0), QString("X"));
        QCOMPARE(Text(grid, 1, 0), QString("АИ-92"));
        Press(Qt::Key_Return); // the box hands the keys back
        Press(Qt::Key_Down);
        Type("7");
        QCOMPARE(Text(grid, 3, 0), QString("7"));

        Button(dialog, "Сохранить")->click();
        QTRY_VERIFY(!dialog->isVisible());
        std::vector<Fuel_Record> saved = Read_Fuel_Slots(Path(State().settings.Fuel_File));
        QCOMPARE(Trim_Text(saved[0].Name), std::string("АИ-92"));
        QCOMPARE(saved[0].Price, 50.1);
        QCOMPARE(Trim_Text(saved[1].Name), std::string("X"));
        QCOMPARE(saved[1].Price, 95.0);
        QCOMPARE(Trim_Text(saved[2].Name), std::string("7"));

        Leaving_Writes_Nothing("mnu_Services_Fuel_cost", "Справочник ГСМ",
                               State().settings.Fuel_File, "Отмена");
    }

    void stationKeyTakesTheFocusOnlyArrowsMoveSaveWritesCancelDoesNot() {
        QVERIFY(Add_Name_Record(Path(State().settings.Establishments_File), "Первая") > 0);
        QVERIFY(Add_Name_Record(Path(State().settings.Establishments_File), "Вторая") > 0);
        QDialog* dialog = Open("Mnu_Establishments", "Заправки");
        QVERIFY(dialog != nullptr);
        auto* grid = dialog->findChild<Qt_Grid_View*>();
        auto* box = dialog->findChild<QLineEdit*>();
        QVERIFY(grid != nullptr && box != nullptr);
        // The grid fits its dialog: no horizontal scrolling.
        QVERIFY(grid->horizontalHeader()->length() <= grid->viewport()->width());

        // Here a key only gives the box the focus; the next keys go on from the cell's text.
        Click(grid, 2, 1);
        QCOMPARE(box->text(), QString("Вторая"));
        Type("Z");
        QCOMPARE(Focus(), static_cast<QWidget*>(box));
        QCOMPARE(Text(grid, 2, 1), QString("Вторая"));
        Type("N");
        QCOMPARE(Text(grid, 2, 1), QString("ВтораяN"));

        // Enter gives the keys back to the grid; Down moves to the empty third slot.
        Press(Qt::Key_Return);
        Press(Qt::Key_Down);
        QCOMPARE(grid->currentIndex().row(), 2);
        QCOMPARE(box->text(), QString());
        Type("QA");
        QCOMPARE(Text(grid, 3, 1), QString("A"));
        QCOMPARE(Text(grid, 2, 1), QString("ВтораяN"));

        Button(dialog, "Сохранить")->click();
        QTRY_VERIFY(!dialog->isVisible());
        std::vector<Name_Record> names =
            Read_Name_Records(Path(State().settings.Establishments_File), 16);
        QCOMPARE(Trim_Text(names[0].Name), std::string("Первая"));
        QCOMPARE(Trim_Text(names[1].Name), std::string("ВтораяN"));
        QCOMPARE(Trim_Text(names[2].Name), std::string("A"));

        Leaving_Writes_Nothing("Mnu_Establishments", "Заправки",
                               State().settings.Establishments_File, "Отмена");
    }

    void volumeKeysPaddingOnLeavingSaveWritesCloseDoesNot() {
        QDialog* dialog = Open("mnu_User_Volume", "Новая серия талонов по литражу");
        QVERIFY(dialog != nullptr);
        auto* grid = dialog->findChild<Qt_Grid_View*>();
        QVERIFY(grid != nullptr);
        QCOMPARE(Focus(), static_cast<QWidget*>(grid));
        Type("35x");
        Press(Qt::Key_Return);
        QCOMPARE(Text(grid, 1, 1), QString("35"));
        QCOMPARE(Text(grid, 2, 0), QString("2"));
        QCOMPARE(grid->currentIndex().row(), 1);

        // Leaving a cell of column 0 shows its running number zero-padded.
        Click(grid, 1, 0);
        QCOMPARE(Text(grid, 1, 0), QString("1"));
        Click(grid, 2, 1);
        QCOMPARE(Text(grid, 1, 0), QString("000001"));
        Press(Qt::Key_Up);
        Type("49"); // three characters at most
        QCOMPARE(Text(grid, 1, 1), QString("354"));
        Press(Qt::Key_Backspace);
        QCOMPARE(Text(grid, 1, 1), QString("35"));
        Press(Qt::Key_Down);
        Type("12");
        QCOMPARE(Text(grid, 2, 1), QString("12"));

        Button(dialog, "Сохранить")->click();
        QTRY_VERIFY(!dialog->isVisible());
        QCOMPARE(Read_User_Volumes(Path(State().settings.User_Volume_File)),
                 (std::vector<double>{35, 12}));

        Leaving_Writes_Nothing("mnu_User_Volume", "Новая серия талонов по литражу",
                               State().settings.User_Volume_File, "Закрыть");
    }

    // "Выбор текущей даты": a day chosen and Enter in the calendar set the working date.
    void enterInTheWorkingDatePickerTakesTheDay() {
        QTimer::singleShot(50, [] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            QVERIFY(dialog != nullptr);
            auto* calendar = dialog->findChild<QCalendarWidget*>();
            calendar->setSelectedDate(QDate(2026, 11, 20));
            QTest::keyClick(calendar->findChild<QAbstractItemView*>(), Qt::Key_Return);
            // Not taken: closed all the same, so that the test goes on to say so.
            QTimer::singleShot(200, dialog, &QDialog::reject);
        });
        window->Model().Menu_Click("mnu_Services_Current_date");
        QCOMPARE(State().Current_Date, Date_Serial(2026, 11, 20));
    }

    // A question box reads "Да" and "Нет", as everything around it does.
    void questionBoxButtonsReadInRussian() {
        QVERIFY(Install_Qt_Russian(*QCoreApplication::instance()));
        Qt_Ui real_ui;
        QStringList texts;
        QTimer watch;
        watch.setInterval(10);
        connect(&watch, &QTimer::timeout, [&texts, &watch] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr)
                return;
            watch.stop();
            for (QAbstractButton* button : box->buttons())
                texts << button->text().remove(QLatin1Char('&'));
            box->button(QMessageBox::No)->click();
        });
        watch.start();
        const int answer =
            real_ui.Message_Box("Вы уверены, что хотите выйти?", box::Question + box::Yes_No,
                                "Подтверждение выхода из программы");
        QCOMPARE(answer, box::Answer_No);
        texts.sort();
        QCOMPARE(texts, (QStringList{"Да", "Нет"}));
    }
};

TD_QTEST_MAIN(Catalogue_Views_Test)
#include "catalogue_views_test.moc"
