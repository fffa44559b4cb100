// The view of the import screen, offscreen: how it is reached from the main window, and a
// comparison driven through its widgets.
#include "import/dbf_writer.h"
#include "import/import_1c.h"
#include "qt/import_view.h"
#include "qt_test_support.h"

#include <QFileSystemModel>
#include <QPlainTextEdit>
#include <QProgressBar>

using namespace td;
using namespace td::test;

class Import_View_Test : public View_Fixture {
    Q_OBJECT

private slots:
    void init() {
        New_Installation(Date_Serial(2026, 11, 23));
        Show_Window([&] { Attach_Import_View(*window, State(), *ui, clock, settings); });
    }

    void menuClosesTheChildrenFirstTheToolbarDoesNot() {
        window->Menu_Action("mnu_Import_DB")->trigger();
        QCOMPARE(ui->children_closed, 1);
        auto* view = window->findChild<Import_1C_View*>();
        QVERIFY(view != nullptr);
        QCOMPARE(view->windowTitle(), Q("Импорт базы данных 1С..."));
        view->close();
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(window->findChild<Import_1C_View*>() == nullptr);

        window->Button("Импорт")->trigger();
        QCOMPARE(ui->children_closed, 1); // the toolbar leaves the children open
        QVERIFY(window->findChild<Import_1C_View*>() != nullptr);
        window->findChild<Import_1C_View*>()->close();
    }

    void compareThroughTheWidgets() {
        home->Write("Company_Db.dat", Company_Bytes(1, "1", "1", "", "", "Ромашка"));
        home->Write("sc.dbf", Dbf_Bytes(Buyer_Fields(), {{{"1", "1", "", To_866("Лютик")}}}, 0x65));
        Import_1C_View* view = Open_Import_1C(window.get(), State(), *ui, clock, settings);
        QVERIFY(!view->Import_Button()->isEnabled());
        QTest::keyClicks(view->Text1(), QString::fromStdString(Path("sc.dbf")));
        QVERIFY(view->Import_Button()->isEnabled());
        QVERIFY(view->Import_Button()->isVisibleTo(view));
        QVERIFY(!view->Compare_Button()->isVisibleTo(view));
        view->Option(3)->click();
        QVERIFY(view->Compare_Button()->isVisibleTo(view));
        QVERIFY(!view->Import_Button()->isVisibleTo(view));
        QVERIFY(view->Text3()->isVisibleTo(view));
        view->Compare_Button()->click();
        QCOMPARE(ui->Box_Texts().back(), std::string("Сравнение баз данных завершено!"));
        QVERIFY(view->Text3()->toPlainText().startsWith(
            Q("Найдено отличие:\nВ БД программы запись: 1    :1    :     :      - CN: Ромашка")));
        QCOMPARE(view->Progress()->value(), 0);
        QCOMPARE(settings.Get("Tally Depot", "Kernel", "1C DB Path", ""), Path("sc.dbf"));
        view->Option(1)->click();
        QVERIFY(!view->Text3()->isVisibleTo(view));
        view->close();
    }

    // "Обзор": the file dialog's model names kinds, sizes and months in Russian.
    void browseDialogReadsInRussian() {
        QVERIFY(Install_Qt_Russian(*QCoreApplication::instance()));
        home->Write("sc.dbf", std::string(100, 'x'));
        std::filesystem::create_directory(Path("sub"));
        QFileSystemModel model;
        model.setRootPath(QString::fromStdString(home->Path()));
        const auto cell = [&](const char* name, int column) {
            const QModelIndex at = model.index(QString::fromStdString(Path(name)));
            return model.index(at.row(), column, at.parent()).data().toString();
        };
        QTRY_COMPARE(cell("sub", 2), Q("Папка"));
        QTRY_VERIFY2(cell("sc.dbf", 1).contains(Q("байт")), qPrintable(cell("sc.dbf", 1)));
        const QString month =
            QLocale(QLocale::English).monthName(QDate::currentDate().month(), QLocale::ShortFormat);
        QVERIFY2(!cell("sc.dbf", 3).contains(month), qPrintable(cell("sc.dbf", 3)));
    }
};

TD_QTEST_MAIN(Import_View_Test)
#include "import_view_test.moc"
