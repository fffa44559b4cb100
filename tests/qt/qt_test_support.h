// Shared by the view tests: a user store and runtime folder of the test's own, a Ui that records
// like Fake_Ui but really ends the process, running an action in a child process to see what the
// end of the process leaves behind, and the fixture of a main window on a temporary installation.
#pragma once

// With what the view tests use throughout.
#include "base/dates.h"
#include "browsers/browser_refresh.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"
#include "qt/qt_translation.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "support/fakes.h"
#include "support/reference_writers.h"
#include "support/temp_folder.h"

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QtTest>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace td::test {

// Points XDG_CONFIG_HOME and XDG_RUNTIME_DIR at a fresh temporary folder, before anything
// opens a settings store: no test ever sees the user's own.
void Isolate_User_Store();
std::string Isolated_Folder();

// Fake_Ui whose End_Process ends the process for real (in a child process).
class Ending_Ui : public Fake_Ui {
public:
    [[noreturn]] void End_Process(int exit_code) override;
};

// Runs `action` in a forked child; the child's exit code, or 200 if the action returned, or
// -1 if the child died otherwise.
int Exit_Code_Of(const std::function<void()>& action);

inline QString Q(const char* text) {
    return QString::fromUtf8(text);
}

// The main window offscreen on an installation of its own. A test class derives from it and
// calls New_Installation and Show_Window from its init slot; the window closes after each test.
class View_Fixture : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { Close_Window(); }

protected:
    std::unique_ptr<Temp_Folder> home;
    std::unique_ptr<Ending_Ui> ui;
    Fake_Clock clock;
    Memory_Settings settings;
    Open_Browsers browsers;
    std::unique_ptr<Qt_MDI_Form> window;

    // The state reset onto a fresh folder that is both the program's and the data's, on a
    // working date of its own.
    void New_Installation(double date);
    // A ticket as a sale leaves it: its number, fuel slot, litres, buyer and day of sale.
    static Ticket_Record Sold_Ticket(const std::string& serial, int fuel, int volume, int company,
                                     double day);
    // The database with these tickets from its first record; the state counts them.
    void Write_Tickets(const std::vector<Ticket_Record>& tickets);
    // The main window on `store` (the settings in memory by default), `attach` putting the
    // views on it before it is shown.
    void Show_Window(const std::function<void()>& attach, User_Settings* store = nullptr);
    void Close_Window();

    std::string Path(const std::string& name) const { return home->File(name); }
    // The last child window whose caption starts with `caption`, or null.
    QMdiSubWindow* Window_Titled(const char* caption) const;
    // A cell of the view's model (rows from 0), the model refreshed from its grid first.
    static QString Cell(Qt_Grid_View* view, int row, int col);
    static QColor Colour(Qt_Grid_View* view, int row, int col);
};

} // namespace td::test

#define TD_QTEST_MAIN(Test_Class)                                                                  \
    int main(int argc, char** argv) {                                                              \
        td::test::Isolate_User_Store();                                                            \
        td::Use_Russian_Locale();                                                                  \
        QApplication app(argc, argv);                                                              \
        Test_Class test;                                                                           \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
