// The Qt views of the shell, offscreen: the menus and toolbar as the user meets them, the three
// ways out, the reset of settings, the About box and Eggs, the fatal screen and the grid view.
// Whatever ends the process runs in a child process; the parent judges what it left.
#include "base/dates.h"
#include "kernel/errorscreen.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"
#include "qt/qt_user_settings.h"
#include "qt/qt_views.h"
#include "qt_test_support.h"
#include "support/temp_folder.h"

#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextDocument>
#include <QToolBar>
#include <filesystem>

using namespace td;
using td::test::Ending_Ui;
using td::test::Exit_Code_Of;
using td::test::Fake_Clock;
using td::test::Temp_Folder;

namespace {

struct Entry {
    const char* name;
    const char* caption;
};

// The menu tree as the user must find it: top entries, then their entries in order.
const std::vector<std::pair<Entry, std::vector<Entry>>> Menu_Tree = {
    {{"mnu_File", "Файл"},
     {{"mnu_save_report", "Сохранить отчёт"},
      {"mnu_print", "Печать"},
      {"mnu_sep4", ""},
      {"mnu_File_exit", "Выход"}}},
    {{"mnu_Sell", "Покупатели"}, {{"mnu_Sell_Tickets", "Справочник покупателей"}}},
    {{"mnu_sort", "Сортировка"},
     {{"mnu_sort_acd", "Сортировать по алфавиту"},
      {"mnu_sort_desc", "Сортировать против алфавита"}}},
    {{"mnuMenu_Shop", "Заправки"},
     {{"mnu_Shop_Cur_date", "Справочник по заправкам за текущую дату"},
      {"mnuMenu_ShopBar0", ""},
      {"Mnu_Shop_Range_s", "Статистика по заправке за период"}}},
    {{"mnuMenu_reports", "Отчёты"},
     {{"mnu_reports_Shop_CD", "Продажа на текущую дату"},
      {"mnu_reports_Shop_Range", "Продажа за период"},
      {"mnuMenu_reportsBar0", ""},
      {"Mnu_Shop_CD", "Списание на текущую дату"},
      {"Mnu_Shop_Range", "Списание за период"},
      {"mnu_sep3", ""},
      {"mnu_ticket_diff", "Остатки талонов"},
      {"mnu_sep5", ""},
      {"mnu_full_report", "Полный отчёт"},
      {"mnu_full_report_range", "Полный отчёт за период"}}},
    {{"mnu_Services", "Сервис"},
     {{"mnu_Services_Current_date", "Установка текущей даты"},
      {"mnu_User_Volume", "Новая серия талонов по литражу"},
      {"mnu_Services_Tickets_del", "Уничтожение талонов"},
      {"mnu_Services_Fuel_cost", "Справочник ГСМ"},
      {"Mnu_Establishments", "Заправки"},
      {"mnu_sep0", ""},
      {"mnu_Import_DB", "Импорт компаний из базы данных 1С"},
      {"mnu_create_backup", "Резервное копирование / Восстановление"},
      {"mnu_restore_from_backup", "Восстановить с резервной копии"},
      {"mnu_sep_097", ""},
      {"mnu_reindex_DB", "Переиндексация базы данных"},
      {"mnu_se_defrag", "Дефрагментация базы данных"},
      {"mnu_ptr", "NULL"},
      {"mnu_restore_settings", "Восстановить настройки по умолчанию"}}},
    {{"mnu_Windows", "Окна"},
     {{"mnu_tile_hor", "Расположить по горизонтали"},
      {"mnu_tile_vert", "Расположить по вертиткали"},
      {"mnu_cas_ord", "Выстроить каскадом"},
      {"mnu_icon_order", "Упорядочить иконки"}}},
    {{"mnuMenu_help", "Помощь"},
     {{"mnu_help_Help_TD", "Справка по Менеджеру талонов"},
      {"mnuMenu_helpBar0", ""},
      {"mnu_help_About", "О менеджере талонов"}}},
};

const std::vector<Entry> Toolbar = {
    {"Продажа таллонов", "Справочник покупателей"},
    {"Списание таллонов", "Справочник заправок"},
    {"Up One Level", "Переход на один уровень выше"},
    {"Отчёт", "Сформировать отчёт"},
    {"Остатки", "Остатки на текущую дату"},
    {"Печать", "Печать"},
    {"Импорт", "Импорт компаний из базы данных 1С"},
    {"Сортировка по возрастанию", "Сортировка по возрастанию"},
    {"Сортировка по убыванию", "Сортировка по убыванию"},
    {"Поик", "Поиск"},
    {"Помощь", "Помощь"},
    {"Выход", "Выйти из системы"},
    {"Set date", "Установка даты"},
};

QString Q(const char* text) {
    return QString::fromUtf8(text);
}

} // namespace

class Shell_Views_Test : public QObject {
    Q_OBJECT

    std::unique_ptr<Temp_Folder> home;
    std::unique_ptr<Ending_Ui> ui;
    Fake_Clock clock;
    Qt_User_Settings store; // the test's own store (XDG_CONFIG_HOME is a temporary folder)
    std::unique_ptr<Qt_MDI_Form> window;

    // A run in progress: the marker and two number index files on disk.
    void Leave_Run_Files() {
        home->Write(Work_Marker_File, "");
        home->Write("z1_10.dat", "x");
        home->Write("z3_20.dat", "x");
    }
    bool Run_Files_Gone() const {
        return !home->Exists(Work_Marker_File) && !home->Exists("z1_10.dat") &&
               !home->Exists("z3_20.dat");
    }
    std::string Stored(const std::string& application, const std::string& section,
                       const std::string& key) {
        return store.Get(application, section, key, "<none>");
    }

private slots:
    void init() {
        Reset_State();
        home = std::make_unique<Temp_Folder>();
        ui = std::make_unique<Ending_Ui>();
        Program_State& state = State();
        state.Program_Folder = home->Path();
        state.Data_Folder = home->Path();
        state.Current_Date = Date_Serial(2026, 3, 5);
        state.settings.Company_Name = "ООО Ромашка";
        state.settings.User_Name = "Бухгалтер";
        window = std::make_unique<Qt_MDI_Form>(state, *ui, clock, store);
        window->Set_Blocking_Dialogs(false);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }

    void cleanup() {
        window.reset();
        home.reset();
    }

    void captionStatusAndUserStoreIsTheTests() {
        QCOMPARE(window->windowTitle(), Q("Система учета талонов ГСМ ООО Ромашка"));
        QCOMPARE(window->Status_Label(1)->text(), Q("Статус."));
        QCOMPARE(window->Status_Label(2)->text(), Q("Текущая дата: 05.03.2026"));
        State().Current_Date = Date_Serial(2026, 3, 6);
        window->Model().Current_Date_Changed();
        QCOMPARE(window->Status_Label(2)->text(), Q("Текущая дата: 06.03.2026"));
        QVERIFY(qgetenv("XDG_CONFIG_HOME")
                    .startsWith(QByteArray::fromStdString(td::test::Isolated_Folder())));
    }

    void menuTreeNamesCaptionsAndOrder() {
        QList<QAction*> tops = window->menuBar()->actions();
        QCOMPARE(tops.size(), static_cast<qsizetype>(Menu_Tree.size()));
        for (std::size_t t = 0; t < Menu_Tree.size(); ++t) {
            QMenu* menu = tops[t]->menu();
            QVERIFY(menu != nullptr);
            QCOMPARE(menu->objectName(), Q(Menu_Tree[t].first.name));
            QCOMPARE(menu->title(), Q(Menu_Tree[t].first.caption));
            // "Сортировка" waits for a browser.
            QCOMPARE(tops[t]->isVisible(), std::string(Menu_Tree[t].first.name) != "mnu_sort");
            const auto& expected = Menu_Tree[t].second;
            QList<QAction*> items = menu->actions();
            QCOMPARE(items.size(), static_cast<qsizetype>(expected.size()));
            for (std::size_t i = 0; i < expected.size(); ++i) {
                QCOMPARE(items[i]->objectName(), Q(expected[i].name));
                QCOMPARE(items[i]->isSeparator(), *expected[i].caption == '\0');
                if (!items[i]->isSeparator())
                    QCOMPARE(items[i]->text(), Q(expected[i].caption));
            }
        }
        // Screens of later parts: present but disabled; entries without action: enabled.
        QVERIFY(!window->Menu_Action("mnu_Sell_Tickets")->isEnabled());
        QVERIFY(!window->Menu_Action("mnu_full_report")->isEnabled());
        QVERIFY(window->Menu_Action("mnu_save_report")->isEnabled());
        QVERIFY(window->Menu_Action("mnu_se_defrag")->isEnabled());

        QCOMPARE(window->Context_Menu("mnu_popup")->actions().size(), 7);
        QCOMPARE(window->Context_Menu("mnu_popup_resolve")->actions().size(), 6);
        QCOMPARE(window->Context_Menu("mnu_shop_popup_msf")->actions()[2]->text(), Q("Очистить"));
        QCOMPARE(window->Context_Menu("mnu_reg_popup_msf")->actions()[0]->text(), Q("Информация"));
        QCOMPARE(window->Context_Menu("mnu_shop_popup_cls_main")->actions().size(), 1);

        // A browser in front shows the sort menu and enables both sort buttons.
        window->Model().Set_Command("mnu_sort_acd", [] {});
        window->Model().Set_Command("mnu_sort_desc", [] {});
        window->Model().Browser_Active(true);
        QVERIFY(window->Top_Menu_Of("mnu_sort")->menuAction()->isVisible());
        QVERIFY(window->Button("Сортировка по убыванию")->isEnabled());
        window->Model().Browser_Active(false);
        QVERIFY(!window->Top_Menu_Of("mnu_sort")->menuAction()->isVisible());
        QVERIFY(!window->Button("Сортировка по возрастанию")->isEnabled());
    }

    void toolbarKeysTooltipsAndDispatch() {
        QList<QAction*> buttons;
        for (QAction* action : window->Toolbar()->actions())
            if (!action->isSeparator())
                buttons.append(action);
        QCOMPARE(buttons.size(), static_cast<qsizetype>(Toolbar.size()));
        for (std::size_t i = 0; i < Toolbar.size(); ++i) {
            QCOMPARE(buttons[i]->data().toString(), Q(Toolbar[i].name));
            QCOMPARE(buttons[i]->toolTip(), Q(Toolbar[i].caption));
        }

        for (const char* key : {"Up One Level", "Поик", "Помощь", "Печать", "Продажа таллонов"})
            window->Button(key)->trigger();
        QCOMPARE(ui->boxes.size(), std::size_t{3});
        QCOMPARE(Q(ui->boxes[2].text.c_str()), Q("Справочная система в бета версии отсутствует."));

        int reports = 0;
        window->Model().Set_Command("mnu_full_report", [&] { ++reports; });
        QVERIFY(window->Button("Отчёт")->isEnabled());
        window->Button("Отчёт")->trigger();
        QCOMPARE(reports, 1);
    }

    void exitAnsweredYesFromMenuToolbarAndFrame() {
        const std::vector<std::function<void()>> entries = {
            [&] { window->Menu_Action("mnu_File_exit")->trigger(); },
            [&] { window->Button("Выход")->trigger(); },
            [&] { window->close(); },
        };
        for (std::size_t i = 0; i < entries.size(); ++i) {
            Leave_Run_Files();
            store.Save(Settings_Application, "Kernel", "Date", "0:00:00");
            ui->scripted_answers.clear();
            ui->Answer_Next(box::Answer_Yes);
            QCOMPARE(Exit_Code_Of(entries[i]), 0);
            QVERIFY2(Run_Files_Gone(), std::to_string(i).c_str());
            QCOMPARE(Stored(Settings_Application, "Kernel", "Date"), std::string("05.03.2026"));
        }
    }

    void resetOfSettingsWritesTheDefaultsAndShutsDown() {
        Leave_Run_Files();
        store.Save(Settings_Application, "Kernel", "Wisard", "2");
        store.Save(Settings_Application, "Kernel", "1C DB Path", "/srv/1c");
        store.Save(Settings_Application, "Windows", "RTO2", "True");
        QCOMPARE(Exit_Code_Of([&] { window->Menu_Action("mnu_restore_settings")->trigger(); }), 0);
        QVERIFY(Run_Files_Gone());

        QCOMPARE(Stored(App_Title, "Settings", "MainLeft"), std::string("1000"));
        QCOMPARE(Stored(App_Title, "Settings", "MainTop"), std::string("1000"));
        QCOMPARE(Stored(App_Title, "Settings", "MainWidth"), std::string("6500"));
        QCOMPARE(Stored(App_Title, "Settings", "MainHeight"), std::string("6500"));
        QCOMPARE(Stored(Settings_Application, "Kernel", "1C DB Path"), std::string());
        // Shutdown saved the working date over the reset's "0:00:00".
        QCOMPARE(Stored(Settings_Application, "Kernel", "Date"), std::string("05.03.2026"));
        QCOMPARE(Stored(Settings_Application, "Kernel", "Wisard"), std::string("2"));
        QCOMPARE(Stored(Settings_Application, "Windows", "RsTsC15"), std::string("960"));
        QCOMPARE(Stored(Settings_Application, "Windows", "RTO2"), std::string("False"));
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

        QTest::keyRelease(about, Qt::Key_F9);
        QTest::keyRelease(about, Qt::Key_F8, Qt::AltModifier);
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
        QVERIFY(screen.Timer1().isActive());
        QCOMPARE(screen.Timer1().interval(), 30000);
        QVERIFY(screen.Timer2().isActive());
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
        QCOMPARE(ui->boxes[0].flags, 20);
        QCOMPARE(Q(ui->boxes[0].title.c_str()), Q("Confirm RESUME ERROR"));
        QVERIFY(screen.isVisible());
        QVERIFY(screen.Timer2().isActive());
        QVERIFY(!state.Resume_Requested);

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
        grid.Add_Item("000101\tЗарегистрирован\t17");
        grid.Add_Item("000102\tскрытый\t18");
        grid.Add_Item("000103\tОшибка\t19");
        grid.Set_Row_Height(2, 0);
        grid.Set_Bold(1, 1, true);
        grid.Set_Colour(3, 1, {170, 30, 30});
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
        QCOMPARE(model->headerData(0, Qt::Horizontal).toString(), Q("Номер талона"));
        QCOMPARE(model->index(2, 1).data().toString(), Q("Ошибка"));
        QVERIFY(model->index(0, 1).data(Qt::FontRole).value<QFont>().bold());
        QCOMPARE(model->index(2, 1).data(Qt::ForegroundRole).value<QColor>(), QColor(170, 30, 30));
        QVERIFY(!model->index(2, 0).data(Qt::DecorationRole).value<QIcon>().isNull());
        QVERIFY(view.isRowHidden(1));
        QVERIFY(!view.isRowHidden(0));
        int dpi = view.logicalDpiX();
        QCOMPARE(view.columnWidth(0), dpi);
        QCOMPARE(view.columnWidth(1), 2 * dpi);
        QCOMPARE(Qt_Grid_View::Twips_To_Pixels(960, 96), 64);

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
        QCOMPARE(model->index(3, 1).data().toString(), Q("новый"));
        grid.Set_Row_Height(2, 240);
        QTRY_VERIFY(!view.isRowHidden(1));
    }
};

TD_QTEST_MAIN(Shell_Views_Test)
#include "shell_views_test.moc"
