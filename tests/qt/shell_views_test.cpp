// The Qt views of the shell, offscreen: the menus and toolbar as the user meets them, the three
// ways out, the About box and Eggs, the fatal screen and the grid view.
// Whatever ends the process runs in a child process; the parent judges what it left.
#include "kernel/errorscreen.h"
#include "kernel/startup.h"
#include "qt/program_icon.h"
#include "qt/qt_user_settings.h"
#include "qt/qt_views.h"
#include "qt_test_support.h"

#include <QFile>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QTextDocument>
#include <QToolBar>

using namespace td;
using namespace td::test;

class Shell_Views_Test : public View_Fixture {
    Q_OBJECT

    Qt_User_Settings store; // on disk, so that the parent reads what a child process left

    // A run in progress: the marker and two number index files on disk.
    void Leave_Run_Files() {
        home->Write(Work_Marker_File, "");
        home->Write("z1_10.dat", "x");
        home->Write("Z2_20.DAT", "x");
    }
    bool Run_Files_Gone() const {
        return !home->Exists(Work_Marker_File) && !home->Exists("z1_10.dat") &&
               !home->Exists("Z2_20.DAT");
    }
    std::string Stored(const std::string& section, const std::string& key) {
        return store.Get(Settings_Application, section, key, "<none>");
    }

private slots:
    void init() {
        New_Installation(Date_Serial(2026, 3, 5));
        State().settings.Company_Name = "ООО Ромашка";
        State().settings.User_Name = "Бухгалтер";
        Show_Window([] {}, &store);
    }

    void captionStatusAndUserStoreIsTheTests() {
        QCOMPARE(window->windowTitle(), Q("Система учета талонов ГСМ ООО Ромашка"));
        QCOMPARE(window->Status_Label(1)->text(), Q("Статус."));
        QCOMPARE(window->Status_Label(2)->text(), Q("Текущая дата: 05.03.2026"));
        State().Current_Date = Date_Serial(2026, 3, 6);
        window->Model().Current_Date_Changed();
        QCOMPARE(window->Status_Label(2)->text(), Q("Текущая дата: 06.03.2026"));
        QVERIFY(
            qgetenv("XDG_CONFIG_HOME").startsWith(QByteArray::fromStdString(Isolated_Folder())));
    }

    void menusAndToolbarAsTheUserFindsThemAndTheirDispatch() {
        QStringList shown;
        for (QAction* top : window->menuBar()->actions()) {
            shown << top->menu()->objectName() + "\t" + top->menu()->title();
            for (QAction* item : top->menu()->actions())
                shown << "\t" + item->objectName() + "\t" +
                             (item->isSeparator() ? QString("-") : item->text());
        }
        shown << "toolbar";
        for (QAction* button : window->Toolbar()->actions())
            if (!button->isSeparator())
                shown << "\t" + button->data().toString() + "\t" + button->toolTip();
        QFile golden(TD_QT_TEST_DATA "/main_window_menus.txt");
        QVERIFY(golden.open(QIODevice::ReadOnly | QIODevice::Text));
        QStringList expected;
        for (const QString& line : QString::fromUtf8(golden.readAll()).split('\n'))
            if (!line.isEmpty() && !line.startsWith('#'))
                expected << line;
        QCOMPARE(shown, expected);

        QCOMPARE(window->Context_Menu("mnu_popup")->actions().size(), 7);
        QCOMPARE(window->Context_Menu("mnu_popup_resolve")->actions().size(), 6);
        QCOMPARE(window->Context_Menu("mnu_shop_popup_msf")->actions()[2]->text(), Q("Очистить"));
        QCOMPARE(window->Context_Menu("mnu_reg_popup_msf")->actions()[0]->text(), Q("Информация"));
        QCOMPARE(window->Context_Menu("mnu_shop_popup_cls_main")->actions().size(), 1);

        // The buttons go to the model.
        int reports = 0;
        window->Model().Set_Command("mnu_full_report", [&] { ++reports; });
        QVERIFY(window->Button("Отчёт")->isEnabled());
        window->Button("Отчёт")->trigger();
        QCOMPARE(reports, 1);
    }

    void exitFromMenuToolbarAndFrameAnsweredNoThenYes() {
        const std::vector<std::function<void()>> entries = {
            [&] { window->Menu_Action("mnu_File_exit")->trigger(); },
            [&] { window->Button("Выход")->trigger(); },
            [&] { window->close(); },
        };
        for (std::size_t i = 0; i < entries.size(); ++i) {
            Leave_Run_Files();
            store.Save(Settings_Application, "Kernel", "Date", "0:00:00");
            // Answered No, the run goes on as it was. (The child took the last Yes, not the
            // parent.)
            ui->scripted_answers.clear();
            ui->Answer_Next(box::Answer_No);
            entries[i]();
            QCOMPARE(Q(ui->boxes.back().text.c_str()), Q("Вы уверены, что хотите выйти?"));
            QCOMPARE(Q(ui->boxes.back().title.c_str()), Q("Подтверждение выхода из программы"));
            QCOMPARE(ui->boxes.back().flags, 36);
            QVERIFY(window->isVisible() && home->Exists("Z2_20.DAT"));
            QCOMPARE(Stored("Kernel", "Date"), std::string("0:00:00"));
            ui->Answer_Next(box::Answer_Yes);
            QCOMPARE(Exit_Code_Of(entries[i]), 0);
            QVERIFY2(Run_Files_Gone(), std::to_string(i).c_str());
            QCOMPARE(Stored("Kernel", "Date"), std::string("05.03.2026"));
        }
    }

    void altF9OpensEggsFromTheAboutBox() {
        window->Menu_Action("mnu_help_About")->trigger();
        auto* about = window->findChild<Qt_About*>();
        QVERIFY(about != nullptr);
        QVERIFY(QTest::qWaitForWindowExposed(about));
        QCOMPARE(about->windowTitle(), Q("О программе 'Tally depot'"));
        QCOMPARE(about->findChild<QLabel*>("lblVersion")->text(), Q("Version 1.0.1"));
        QCOMPARE(about->findChild<QLabel*>("lblUser")->text(), Q("Бухгалтер"));
        QCOMPARE(about->findChild<QLabel*>("lblCompany")->text(), Q("ООО Ромашка"));
        QVERIFY(about->findChild<QPushButton*>("cmdSysInfo") == nullptr);
        // The program's own icon on the main window, a dialog and a child window: the drop of
        // the coupon drawn blue.
        const QImage icon = Program_Icon().pixmap(64).toImage();
        QVERIFY(icon.pixelColor(41, 38).blue() > 150 && icon.pixelColor(41, 38).red() < 80);
        QMdiSubWindow* child = window->Mdi_Area()->addSubWindow(new QLabel);
        for (QWidget* shown : {static_cast<QWidget*>(window.get()), static_cast<QWidget*>(about),
                               static_cast<QWidget*>(child)})
            QCOMPARE(shown->windowIcon().pixmap(64).toImage(), icon);
        child->close();

        QTest::keyRelease(about, Qt::Key_F9);
        QTest::keyRelease(about, Qt::Key_F8, Qt::AltModifier);
        QTest::keyRelease(about, Qt::Key_F9, Qt::AltModifier | Qt::ControlModifier);
        QVERIFY(window->findChild<Qt_Eggs*>() == nullptr);
        QTest::keyRelease(about, Qt::Key_F9, Qt::AltModifier);
        auto* eggs = window->findChild<Qt_Eggs*>();
        QVERIFY(eggs != nullptr);
        QCOMPARE(eggs->parent(), about);
        // The text as it stands, its figures held together by no-break spaces.
        QString note = eggs->findChild<QPlainTextEdit*>("Text1")->document()->toRawText();
        QVERIFY(note.contains(QString::fromUtf8("150\u00A0000")));
        QCOMPARE(note.replace(QChar(0x00A0), QLatin1Char(' ')), Q(Eggs::Text));
        QVERIFY(eggs->findChild<QPlainTextEdit*>("Text1")->isReadOnly());
        QVERIFY(eggs->findChild<QPushButton*>("Command2")->isEnabled());
        QCOMPARE(eggs->findChild<QPushButton*>("Command1")->text(), Q("E&xit"));
        // "Not define" can't be started: the ordinary failure ends the run, nothing crashes.
        State().settings.CS_Program_Path = "Not define";
        QCOMPARE(Exit_Code_Of([&] { eggs->findChild<QPushButton*>("Command3")->click(); }), 1);

        eggs->findChild<QPushButton*>("Command1")->click();
        QTRY_VERIFY(window->findChild<Qt_Eggs*>() == nullptr);
    }

    void fatalScreenCountdownDumpAndResume() {
        Program_State& state = State();
        Errorscreen model(state, *ui);
        model.Set_Report("Core\\CreateCacheFile", "0xEE0035453");
        Qt_Errorscreen screen(model, window.get());
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QCOMPARE(screen.windowTitle(), Q("Program error!"));
        QCOMPARE(screen.Label_Text(1),
                 Q("FATAL ERROR 0xEE0035453\nin module: Core\\CreateCacheFile\n"));
        QCOMPARE(screen.palette().color(QPalette::Window), QColor(0, 55, 82));
        QCOMPARE(screen.findChild<QLabel*>("Label1")->palette().color(QPalette::WindowText),
                 QColor(255, 0, 0));
        QCOMPARE(screen.findChild<QLabel*>("Label2")->palette().color(QPalette::WindowText),
                 QColor(0, 255, 0));
        QCOMPARE(screen.findChild<QLabel*>("Label3")->palette().color(QPalette::WindowText),
                 QColor(127, 127, 127));
        QVERIFY(screen.Timer1().isActive() && screen.Timer2().isActive());
        QCOMPARE(screen.Timer2().interval(), 1000);

        for (int i = 0; i < 25; ++i)
            model.Timer2_Timer();
        QTest::keyRelease(&screen, Qt::Key_D);
        QCOMPARE(screen.Label_Text(2), Q("Program will terminate in: 05 c..."));
        QTest::keyRelease(&screen, Qt::Key_D, Qt::ControlModifier);
        QCOMPARE(screen.Label_Text(2), Q("Dump complete"));
        QCOMPARE(screen.Timer1().interval(), 5000);
        QVERIFY(screen.Timer1().isActive() && screen.Timer2().isActive());

        ui->Answer_Next(box::Answer_No);
        QTest::keyRelease(&screen, Qt::Key_R, Qt::ControlModifier);
        QCOMPARE(ui->boxes.size(), std::size_t{1});
        QVERIFY(screen.isVisible());

        // Escape leaves the countdown running; a close by the user ends the process at once, the
        // work marker left behind.
        QTest::keyClick(&screen, Qt::Key_Escape);
        QCoreApplication::processEvents();
        QVERIFY(screen.isVisible() && screen.Timer1().isActive() && screen.Timer2().isActive());
        Leave_Run_Files();
        QCOMPARE(Exit_Code_Of([&] {
                     screen.close();
                     QCoreApplication::processEvents();
                 }),
                 Errorscreen::Exit_Code);
        QVERIFY(home->Exists(Work_Marker_File));

        // Left alone, the screen's own timers end the process, and only the marker tells of it:
        // the countdown timer running out, or the end timer on its own.
        Leave_Run_Files();
        for (const char* which : {"countdown", "end"}) {
            state.Fatal_Countdown = 2;
            QCOMPARE(Exit_Code_Of([&] {
                         Errorscreen short_model(state, *ui);
                         Qt_Errorscreen short_screen(short_model);
                         short_screen.show();
                         bool countdown = std::string(which) == "countdown";
                         QTimer& timer = countdown ? short_screen.Timer2() : short_screen.Timer1();
                         for (int tick = 0; tick < (countdown ? 2 : 1) && timer.isActive(); ++tick)
                             QMetaObject::invokeMethod(&timer, "timeout");
                     }),
                     Errorscreen::Exit_Code);
            QVERIFY(home->Exists(Work_Marker_File));
        }

        // Yes: the screen closes and the caller goes on.
        ui->Answer_Next(box::Answer_Yes);
        QTest::keyRelease(&screen, Qt::Key_R, Qt::ControlModifier);
        QTRY_VERIFY(!screen.isVisible());
        QVERIFY(!state.Resume_Requested);
        QVERIFY(!screen.Timer1().isActive() && !screen.Timer2().isActive());
    }

    void gridViewFollowsTheGrid() {
        Grid grid(1, 3);
        grid.Set_Text(0, 0, "Номер талона");
        grid.Set_Text(0, 1, "Результат");
        grid.Set_Column_Width(0, 1440);
        grid.Set_Column_Width(1, 2880);
        grid.Set_Column_Width(2, 720);
        grid.Add_Item("000101\tЗарегистрирован\t17");
        grid.Add_Item("000102\tскрытый\t18");
        grid.Add_Item("000103\tОшибка\t19");
        grid.Set_Row_Height(2, 0);
        grid.Set_Bold(1, 1, true);
        grid.Set_Icon(3, 0, "bad");
        Qt_Grid_View view(grid);
        view.Grid_Model().Set_Icons([](const std::string& key) {
            QPixmap dot(8, 8);
            dot.fill(key == "bad" ? Qt::red : Qt::green);
            return QIcon(dot);
        });
        view.Grid_Model().Refresh();
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));

        QAbstractItemModel* model = view.model();
        QCOMPARE(model->rowCount(), 3);
        QVERIFY(model->index(0, 1).data(Qt::FontRole).value<QFont>().bold());
        QVERIFY(!model->index(2, 0).data(Qt::DecorationRole).value<QIcon>().isNull());
        QVERIFY(view.isRowHidden(1));
        QVERIFY(!view.isRowHidden(0));
        int dpi = view.logicalDpiX();
        QCOMPARE(view.columnWidth(0), dpi);
        QCOMPARE(view.columnWidth(1), 2 * dpi);
        QCOMPARE(view.columnWidth(2), dpi / 2);

        // The current cell goes both ways; changes arrive with the event loop.
        view.setCurrentIndex(model->index(2, 2));
        QCOMPARE(grid.Row(), 3);
        QCOMPARE(grid.Col(), 2);
        grid.Set_Row(1);
        grid.Set_Col(0);
        grid.Add_Item("000104\tновый\t20");
        QCOMPARE(model->rowCount(), 3); // told with the next turn of the event loop
        QTRY_COMPARE(model->rowCount(), 4);
        QCOMPARE(view.currentIndex(), model->index(0, 0));
        grid.Set_Row_Height(2, 240);
        QTRY_VERIFY(!view.isRowHidden(1));
    }
};

TD_QTEST_MAIN(Shell_Views_Test)
#include "shell_views_test.moc"
