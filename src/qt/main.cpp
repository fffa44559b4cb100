// tallydepot: the desktop program. Brings the system up through the start-up sequence with the
// splash on screen, waits for the splash, then hands over to the maximised main window.
#include "browsers/browser_refresh.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "kernel/unhandled.h"
#include "qt/browser_views.h"
#include "qt/catalogue_views.h"
#include "qt/import_view.h"
#include "qt/maintenance_views.h"
#include "qt/program_icon.h"
#include "qt/qt_instance_guard.h"
#include "qt/qt_mdi_form.h"
#include "qt/qt_translation.h"
#include "qt/qt_ui.h"
#include "qt/qt_user_settings.h"
#include "qt/report_views.h"
#include "qt/sale_view.h"
#include "qt/shop_view.h"
#include "qt/system_clock.h"
#include "qt/test_hooks.h"
#include "qt/tour.h"

#include <QApplication>
#include <QDir>
#include <QScreen>
#include <QTimer>
#include <cstdlib>
#include <exception>
#include <memory>

namespace {

td::Ui* Top_Level_Ui = nullptr;

// The top-level handler: a failure nobody handled becomes the ordinary unhandled failure, a
// plain box with its number and description, and the end without shutdown.
class Tally_Application : public QApplication {
public:
    using QApplication::QApplication;
    bool notify(QObject* receiver, QEvent* event) override {
        try {
            return QApplication::notify(receiver, event);
        } catch (const std::exception& failure) {
            td::Unhandled_Failure(*Top_Level_Ui, failure);
        }
    }
};

void On_Terminate() {
    if (Top_Level_Ui != nullptr) {
        if (std::exception_ptr current = std::current_exception()) {
            try {
                std::rethrow_exception(current);
            } catch (const std::exception& failure) {
                td::Unhandled_Failure(*Top_Level_Ui, failure);
            } catch (...) {
            }
        }
        td::Unhandled_Failure(*Top_Level_Ui, 51, "Internal error");
    }
    std::_Exit(1);
}

// The program's folder: TALLY_DEPOT_HOME, else the executable's.
std::string Program_Folder() {
    const char* home = std::getenv("TALLY_DEPOT_HOME");
    QString folder = (home != nullptr && *home != '\0') ? QString::fromLocal8Bit(home)
                                                        : QCoreApplication::applicationDirPath();
    return QDir(folder).absolutePath().toStdString();
}

void Report_Shown(td::Qt_MDI_Form& window) {
    td::MDI_Form& model = window.Model();
    td::hooks::Log("shown | " + model.Caption() + " | " + model.Status_Panel(1) + " | " +
                   model.Status_Panel(2));
}

} // namespace

int main(int argc, char** argv) {
    // Calendars, numbers and the widgets' own texts behave as on a Russian desktop.
    td::Use_Russian_Locale();
    Tally_Application app(argc, argv);
    td::Install_Qt_Russian(app);
    td::Use_Program_Icon(); // the splash and the boxes of start-up too

    td::Qt_Ui ui;
    Top_Level_Ui = &ui;
    std::set_terminate(On_Terminate);
    const td::hooks::Settings& hooks = td::hooks::Get();
    if (hooks.auto_answer)
        ui.Set_Auto_Answers({hooks.answers.begin(), hooks.answers.end()});

    std::string program_folder = Program_Folder();
    td::System_Clock clock;
    td::Qt_User_Settings user_settings;
    auto guard = std::make_unique<td::Qt_Instance_Guard>(program_folder);
    ui.Set_Before_End([&guard] { guard.reset(); });
    td::Startup_Ports ports{ui, clock, user_settings, *guard};

    td::Program_State& state = td::State();
    QDir::setCurrent(QString::fromStdString(program_folder));
    try {
        td::Main_Startup(state, ports, program_folder);
    } catch (const std::exception& failure) {
        td::Unhandled_Failure(ui, failure);
    }
    if (!hooks.tour.empty())
        td::Tour_Splash(ui, hooks.tour);
    ui.Splash_Modal_Wait();

    td::Qt_MDI_Form window(state, ui, clock, user_settings);
    ui.Set_Main_Window(&window, window.Mdi_Area());
    // The open browsers, as the working date picker refreshes them.
    td::Open_Browsers browsers;
    td::Attach_Catalogue_Views(window, state, ui, clock, &browsers);
    td::Attach_Browser_Views(window, state, ui, clock, user_settings, browsers);
    td::Attach_Sale_View(window, state, ui, clock, user_settings, browsers);
    td::Attach_Import_View(window, state, ui, clock, user_settings);
    td::Attach_Report_Views(window, state, ui, clock, user_settings, browsers);
    td::Attach_Maintenance_Views(window, state, ui, clock, user_settings);
    td::Attach_Shop_View(window, state, ui, clock, browsers);
    window.setEnabled(true);
    // Without a window manager (Xvfb) maximising is not honoured: the screen's size stands in.
    if (QScreen* screen = window.screen())
        window.setGeometry(screen->availableGeometry());
    window.showMaximized();
    window.activateWindow();

    if (hooks.Any()) {
        QTimer::singleShot(300, &window, [&window, &ui, &state, &hooks] {
            Report_Shown(window);
            if (hooks.open == "buyers")
                td::Open_Buyer_Browser(window);
            else if (hooks.open == "stations")
                td::Open_Station_Browser(window);
            else if (hooks.open == "raw_editor")
                window.Show_Raw_DB_Edit(); // modal: the hooks after it wait for it to close
            else if (hooks.open.rfind("mnu_", 0) == 0)
                window.Model().Menu_Click(hooks.open); // a modal screen blocks here too
            else if (hooks.open == "shop")
                td::Open_Shop(window);
            if (!hooks.open.empty())
                QApplication::processEvents(); // the grid's coalesced refresh
            if (!hooks.screenshot.empty())
                window.grab().save(QString::fromStdString(hooks.screenshot));
            if (!hooks.tour.empty())
                td::Tour(window, ui, state, hooks.tour); // ends with the fatal screen
            if (hooks.auto_close_ms >= 0)
                QTimer::singleShot(hooks.auto_close_ms, &window, [&window] {
                    // A close that returns was refused: the window stays.
                    if (!window.close())
                        td::hooks::Log("close refused");
                });
        });
    }

    app.exec();
    // The event loop ended without Shutdown: the unload path.
    window.Model().MDIForm_Unload();
}
