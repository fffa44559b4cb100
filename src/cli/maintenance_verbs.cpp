#include "cli/maintenance_verbs.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "kernel/settings.h"
#include "kernel/startup.h"
#include "maintenance/audit.h"
#include "maintenance/delete_records.h"
#include "maintenance/deletion_pass.h"
#include "maintenance/maintenance_views.h"
#include "maintenance/wisard.h"
#include "storage/header.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <unistd.h>

namespace fs = std::filesystem;

namespace td::cli {

namespace {

// The screens' window requests at the command line: no dialog, no windows to close; the picker
// of the working date takes the date given on the command line.
class Cli_Maintenance_Views : public Maintenance_Views {
public:
    explicit Cli_Maintenance_Views(Program_State& state) : state_(state) {}
    bool Save_Dialog(const std::string&, const std::string&, std::string&) override {
        return false;
    }
    void Close_Forms(const std::vector<std::string>&) override {}
    void Show_Calendar_Single() override {
        if (date_)
            state_.Current_Date = *date_;
    }
    std::optional<double> date_;

private:
    Program_State& state_;
};

// The value after `flag`, taken out of `rest`; empty optional when the flag is absent.
std::optional<std::string> Take_Value(const std::string& verb, std::vector<std::string>& rest,
                                      const char* flag) {
    for (auto it = rest.begin(); it != rest.end(); ++it)
        if (*it == flag) {
            if (it + 1 == rest.end())
                Fail(verb, std::string(flag) + " needs a value", 2);
            std::string value = *(it + 1);
            rest.erase(it, it + 2);
            return value;
        }
    return std::nullopt;
}

std::string Absolute(const std::string& folder) {
    std::error_code ec;
    fs::path path = fs::absolute(folder, ec);
    return ec ? folder : path.lexically_normal().string();
}

// Through the wizard's pages as a user goes: the folder, then page 3, then "Готово".
void Run_Wizard(Session& session, Wisard& wizard, const std::optional<std::string>& folder) {
    wizard.Form_Load();
    wizard.OKButton_Click();
    if (folder)
        wizard.BkR_Path_Change(Absolute(*folder));
    wizard.OKButton_Click();
    (void)session;
    wizard.Command1_Click();
}

int Backup(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    if (rest.size() > 1)
        Fail("backup", "usage: tdctl backup [DIR]", 2);
    std::optional<std::string> folder;
    if (!rest.empty())
        folder = rest[0];
    Session session(args.home);
    Cli_Maintenance_Views views(session.State());
    Mnu_Create_Backup();
    Wisard wizard(session.State(), session.Ui(), session.Clock(), session.User_Settings(), views);
    Run_Wizard(session, wizard, folder);
    if (!wizard.Succeeded())
        session.Shutdown("the backup was not made; " + wizard.Backup_Path() +
                         " is as it was and the database is untouched");
    std::printf("backup\t%s\t%s\t%llu\n", wizard.Database_Path().c_str(),
                wizard.Backup_Path().c_str(),
                static_cast<unsigned long long>(wizard.Last_Copy().bytes));
    session.Shutdown();
}

int Restore(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    const bool yes = Take_Flag(rest, "--yes");
    if (rest.size() > 1)
        Fail("restore", "usage: tdctl restore [DIR] [--yes]", 2);
    std::optional<std::string> folder;
    if (!rest.empty())
        folder = rest[0];
    Confirm("restore", yes,
            "Replace the database with the backup? Every change made since the backup is "
            "lost.");
    Session session(args.home);
    Cli_Maintenance_Views views(session.State());
    // As the menu entry: restore mode, the children closed (there are none here).
    Wizard_Mode = 1;
    Restore_From_Menu = true;
    Wisard wizard(session.State(), session.Ui(), session.Clock(), session.User_Settings(), views);
    Run_Wizard(session, wizard, folder);
    if (!wizard.Succeeded())
        session.Shutdown("the database was not restored; it is as it was");
    std::printf("restored\t%s\t%s\t%ld\n", wizard.Backup_Path().c_str(),
                wizard.Database_Path().c_str(), session.State().Ticket_Count);
    session.Shutdown();
}

int Delete(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    const bool yes = Take_Flag(rest, "--yes");
    const char* usage = "usage: tdctl delete redeemed | redeemed-on DD.MM.YYYY | all | range "
                        "--fuel NAME --volume V --from N --to N  [--yes]";
    if (rest.empty())
        Fail("delete", usage, 2);
    const std::string what = rest[0];
    rest.erase(rest.begin());
    int option = 0;
    std::optional<double> date;
    std::optional<std::string> fuel, volume, from, to;
    if (what == "redeemed") {
        option = 1;
    } else if (what == "redeemed-on") {
        option = 2;
        if (rest.empty())
            Fail("delete", "redeemed-on needs a date DD.MM.YYYY", 2);
        date = Parse_Date(rest[0]);
        if (!date || *date == 0.0)
            Fail("delete", "'" + rest[0] + "' is not a date of the form DD.MM.YYYY", 2);
        date = std::floor(*date);
        rest.erase(rest.begin());
    } else if (what == "all") {
        option = 3;
    } else if (what == "range") {
        option = 4;
        fuel = Take_Value("delete", rest, "--fuel");
        volume = Take_Value("delete", rest, "--volume");
        from = Take_Value("delete", rest, "--from");
        to = Take_Value("delete", rest, "--to");
        if (!fuel || !volume || !from || !to)
            Fail("delete", "range needs --fuel NAME --volume V --from N --to N", 2);
    } else {
        Fail("delete", "unknown choice '" + what + "'; " + usage, 2);
    }
    if (!rest.empty())
        Fail("delete", "unknown argument '" + rest[0] + "'", 2);
    Confirm("delete", yes,
            option == 3 ? "Clear the database (its files are moved aside)?"
                        : "Mark the chosen tickets deleted?");

    // Test hook: tickets per block of the deletion pass, so that a kill test meets many writes in
    // a small database.
    if (const char* block = std::getenv("TDCTL_TEST_DELETION_BLOCK"))
        deletion_hook::Block_Tickets = std::atol(block);
    Session session(args.home);
    Program_State& state = session.State();
    Cli_Maintenance_Views views(state);
    views.date_ = date;
    Delete_records form(state, session.Ui(), session.Clock(), views);
    form.Form_Load();
    if (option == 1)
        form.Option1_Click();
    if (option == 2)
        form.Option2_Click();
    if (option == 3) {
        form.Option3_Click();
        form.On_Cleared = [](const std::string& folder) {
            std::printf("cleared\t%s\n", folder.c_str());
            std::fflush(stdout);
        };
    }
    if (option == 4) {
        form.Option4_Click();
        const int fuel_at = form.Combo1.Find(*fuel);
        if (fuel_at < 0)
            session.Shutdown("no fuel grade named '" + *fuel + "'; nothing was deleted");
        form.Combo1.Set_List_Index(fuel_at);
        int volume_at = -1;
        for (int i = 0; i < form.Combo2.Count() && volume_at < 0; ++i)
            if (Leading_Number(form.Combo2.Item(i)) == Leading_Number(*volume))
                volume_at = i;
        if (volume_at < 0 || Leading_Number(*volume) == 0)
            session.Shutdown("no volume " + *volume +
                             " among the standard and the user volumes; nothing was deleted");
        form.Combo2.Set_List_Index(volume_at);
        form.Text1 = *from;
        form.Text2 = *to;
    }
    form.Command1_Click();
    session.Ui().Search_Progress_Hide();
    std::printf("deleted\t%ld\n", form.Last_Count());
    session.Shutdown();
}

int Audit(const Arguments& args) {
    if (!args.rest.empty())
        Fail("audit", "unknown argument '" + args.rest[0] + "'", 2);
    Cli_Ui ui;
    Settings settings = Read_Settings(args.home + "/" + Settings_File_Name, args.home, ui);
    std::string folder = Databases_Folder(args.home, settings.Databases_Path);
    std::error_code ec;
    if (!fs::is_directory(folder, ec))
        folder = args.home;
    Audit_Files files;
    files.database = Data_File_Path(folder, settings.Database_File);
    files.company = Data_File_Path(folder, settings.Company_File);
    files.stations = Data_File_Path(folder, settings.Establishments_File);
    files.cache_diff = Data_File_Path(folder, settings.Cache_Diff_File);
    files.cache_used = Data_File_Path(folder, settings.Cache_Used_File);
    if (!fs::exists(files.database, ec))
        Fail("audit", "no database file at " + files.database);
    Qt_User_Settings store;
    System_Clock clock;
    std::optional<double> stored =
        Parse_Date(store.Get(Settings_Application, "Kernel", "Date", "0:00:00"));
    const double date = (stored && *stored != 0.0) ? *stored : clock.Today();
    const Audit_Result result = Audit_Installation(files, date);
    for (const Audit_Finding& finding : result.findings)
        std::printf("%s\n", Audit_Line(finding).c_str());
    std::fprintf(stderr, "tdctl audit: %lld tickets read, %zu findings\n", result.tickets,
                 result.findings.size());
    return result.findings.empty() ? 0 : 1;
}

} // namespace

int Run_Maintenance_Verb(const Arguments& args) {
    if (args.verb == "backup")
        return Backup(args);
    if (args.verb == "restore")
        return Restore(args);
    if (args.verb == "delete")
        return Delete(args);
    if (args.verb == "audit")
        return Audit(args);
    return -1;
}

} // namespace td::cli
