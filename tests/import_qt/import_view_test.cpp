// The view of the import screen, offscreen: how it is reached from the main window, and a
// comparison driven through its widgets.
#include "import/dbf_writer.h"
#include "import/import_1c.h"
#include "kernel/state.h"
#include "qt/import_view.h"
#include "qt/qt_mdi_form.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

#include <QAction>
#include <QApplication>
#include <QGroupBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QtTest>

using namespace td;
using namespace td::test;

class Import_View_Test : public QObject {
    Q_OBJECT

private slots:
    void MenuClosesTheChildrenFirstTheToolbarDoesNot() {
        Temp_Folder folder;
        Program_State state;
        state.Data_Folder = folder.Path();
        Fake_Ui ui;
        Fake_Clock clock;
        Memory_Settings settings;
        Qt_MDI_Form window(state, ui, clock, settings);
        Attach_Import_View(window, state, ui, clock, settings);

        QAction* entry = window.Menu_Action("mnu_Import_DB");
        QVERIFY(entry != nullptr);
        QVERIFY(entry->isEnabled());
        entry->trigger();
        QCOMPARE(ui.children_closed, 1);
        auto* view = window.findChild<Import_1C_View*>();
        QVERIFY(view != nullptr);
        QCOMPARE(view->windowTitle(), QString::fromUtf8("Импорт базы данных 1С..."));
        view->close();
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(window.findChild<Import_1C_View*>() == nullptr);

        QAction* button = window.Button("Импорт");
        QVERIFY(button != nullptr);
        QVERIFY(button->isEnabled());
        button->trigger();
        QCOMPARE(ui.children_closed, 1); // the toolbar leaves the children open
        QVERIFY(window.findChild<Import_1C_View*>() != nullptr);
        window.findChild<Import_1C_View*>()->close();
    }

    void CompareThroughTheWidgets() {
        Temp_Folder folder;
        Program_State state;
        state.Data_Folder = folder.Path();
        Fake_Ui ui;
        Fake_Clock clock;
        Memory_Settings settings;
        folder.Write("Company_Db.dat", Company_Bytes(1, "1", "1", "", "", "Ромашка"));
        folder.Write("sc.dbf",
                     Dbf_Bytes(Buyer_Fields(), {{{"1", "1", "", To_866("Лютик")}}}, 0x65));
        QWidget parent;
        Import_1C_View* view = Open_Import_1C(&parent, state, ui, clock, settings);
        QVERIFY(!view->Import_Button()->isEnabled());
        QTest::keyClicks(view->Text1(), QString::fromStdString(folder.File("sc.dbf")));
        QVERIFY(view->Import_Button()->isEnabled());
        QVERIFY(view->Import_Button()->isVisibleTo(view));
        QVERIFY(!view->Compare_Button()->isVisibleTo(view));
        view->Option(3)->click();
        QVERIFY(view->Compare_Button()->isVisibleTo(view));
        QVERIFY(!view->Import_Button()->isVisibleTo(view));
        QVERIFY(view->Text3()->isVisibleTo(view));
        view->Compare_Button()->click();
        QCOMPARE(ui.Box_Texts().back(), std::string("Сравнение баз данных завершено!"));
        QVERIFY(view->Text3()->toPlainText().startsWith(
            QString::fromUtf8("Найдено отличие:\nВ БД программы запись: 1    :1    :     :      - "
                              "CN: Ромашка")));
        QCOMPARE(view->Progress()->value(), 0);
        QCOMPARE(settings.Get("Tally Depot", "Kernel", "1C DB Path", ""), folder.File("sc.dbf"));
        view->Option(1)->click();
        QVERIFY(!view->Text3()->isVisibleTo(view));
        view->close();
    }
};

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    Import_View_Test test;
    return QTest::qExec(&test, argc, argv);
}

#include "import_view_test.moc"
