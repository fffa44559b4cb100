#include "qt_test_support.h"

#include "storage/header.h"

#include <QBrush>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace td::test {
namespace {

// Removed with everything in it when the test program ends.
const Temp_Folder& Isolation() {
    static const Temp_Folder folder;
    return folder;
}

} // namespace

void Isolate_User_Store() {
    const std::string config = Isolation().File("config");
    const std::string runtime = Isolation().File("runtime");
    std::filesystem::create_directories(config);
    std::filesystem::create_directories(runtime);
    std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
    setenv("XDG_CONFIG_HOME", config.c_str(), 1);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
}

std::string Isolated_Folder() {
    return Isolation().Path();
}

void Ending_Ui::End_Process(int exit_code) {
    std::fflush(nullptr);
    std::_Exit(exit_code);
}

int Exit_Code_Of(const std::function<void()>& action) {
    std::fflush(nullptr);
    pid_t child = fork();
    if (child == 0) {
        action();
        std::fflush(nullptr);
        std::_Exit(200);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void View_Fixture::New_Installation(double date) {
    Reset_State();
    home = std::make_unique<Temp_Folder>();
    ui = std::make_unique<Ending_Ui>();
    settings.values.clear();
    Program_State& state = State();
    state.Program_Folder = home->Path();
    state.Data_Folder = home->Path();
    state.Current_Date = date;
}

Ticket_Record View_Fixture::Sold_Ticket(const std::string& serial, int fuel, int volume,
                                        int company, double day) {
    Ticket_Record ticket;
    ticket.Fuel = static_cast<std::uint8_t>(fuel);
    ticket.Volume = volume;
    ticket.Set_Serial(serial);
    ticket.Company = company;
    ticket.Sale_Mark = 1;
    ticket.Sell_Date = day;
    return ticket;
}

void View_Fixture::Write_Tickets(const std::vector<Ticket_Record>& tickets) {
    Program_State& state = State();
    const std::string database = Path(state.settings.Database_File);
    QVERIFY(Create_Header(database, static_cast<long>(tickets.size())));
    Record_File file(database, Ticket_Record_Size);
    std::vector<std::uint8_t> raw(Ticket_Record_Size);
    for (std::size_t i = 0; i < tickets.size(); ++i) {
        Encode(tickets[i], raw.data());
        QVERIFY(file.Write(i + 1 + Header_Records_Offset, raw.data()));
    }
    state.Ticket_Count = static_cast<long>(tickets.size());
    state.Records_Offset = Header_Records_Offset;
}

void View_Fixture::Show_Window(const std::function<void()>& attach, User_Settings* store) {
    window =
        std::make_unique<Qt_MDI_Form>(State(), *ui, clock, store == nullptr ? settings : *store);
    window->Set_Blocking_Dialogs(false);
    attach();
    window->resize(1100, 750);
    window->show();
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void View_Fixture::Close_Window() {
    browsers.Set_Buyer(nullptr);
    browsers.Set_Station(nullptr);
    window->Mdi_Area()->closeAllSubWindows();
    QCoreApplication::processEvents();
    window.reset();
}

QMdiSubWindow* View_Fixture::Window_Titled(const char* caption) const {
    QMdiSubWindow* found = nullptr;
    for (QMdiSubWindow* sub : window->Mdi_Area()->subWindowList())
        if (sub->windowTitle().startsWith(QString::fromUtf8(caption)))
            found = sub;
    return found;
}

QString View_Fixture::Cell(Qt_Grid_View* view, int row, int col) {
    view->Grid_Model().Refresh();
    return view->model()->index(row, col).data().toString();
}

QColor View_Fixture::Colour(Qt_Grid_View* view, int row, int col) {
    return view->model()->index(row, col).data(Qt::ForegroundRole).value<QBrush>().color();
}

} // namespace td::test
