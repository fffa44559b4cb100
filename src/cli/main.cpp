// tdctl: the headless companion of the desktop program, for administration and scripted tests.
#include "base/dates.h"
#include "base/numbers.h"
#include "cli/catalogue_verbs.h"
#include "cli/cli_ui.h"
#include "cli/demo_installation.h"
#include "cli/session.h"
#include "kernel/cache_passes.h"
#include "kernel/settings.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "qt/qt_instance_guard.h"
#include "qt/qt_user_settings.h"
#include "qt/system_clock.h"
#include "shell/database_commands.h"
#include "storage/defragmentation.h"
#include "storage/file_failure.h"
#include "storage/header.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "storage/records.h"

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace td::cli {
const char* Usage = R"(usage: tdctl VERB [--home DIR] [arguments]

The program's folder (where td.ini lives) is --home DIR, else $TALLY_DEPOT_HOME, else the
current folder.

verbs:
  init [--demo]            write td.ini and, with --demo, a demo installation
  verify                   check the database header and records
  rebuild                  rebuild everything derived from the database
  defrag                   remove deleted tickets from the database, then rebuild
  date [DD.MM.YYYY]        show or set the working date
  totals buyers|stations   print the non-zero totals per buyer or per station
  fuel [set SLOT NAME [PRICE]]     list the fuel grades, or name one and price it
  station [set SLOT NAME]          list the stations, or name one
  volume [add LITRES...]           list the user volumes, or declare new ones
)";
} // namespace td::cli

namespace {

using namespace td::cli;

bool Folder_Has_Files(const std::string& folder) {
    std::error_code ec;
    return fs::is_directory(folder, ec) && !fs::is_empty(folder, ec);
}

// Whether `path` names anything; a path that can't even be looked at ends the verb with the
// reason (a name too long, a link to itself, a folder without search permission).
bool Exists_Or_Fail(const std::string& verb, const std::string& path) {
    std::error_code ec;
    const fs::file_status status = fs::symlink_status(path, ec);
    if (ec && ec != std::errc::no_such_file_or_directory)
        Fail(verb, "cannot look at " + path + ": " + ec.message());
    return fs::exists(status);
}

int Init(const Arguments& args) {
    std::string ini = args.home + "/" + td::Settings_File_Name;
    if (Exists_Or_Fail("init", ini))
        Fail("init", "td.ini already exists in " + args.home + "; nothing was changed");
    std::error_code ec;
    fs::create_directories(args.home, ec);
    if (ec)
        Fail("init", "cannot create " + args.home + ": " + ec.message());

    std::string data_folder = args.home + "/data";
    if (args.demo && Folder_Has_Files(data_folder))
        Fail("init",
             "the data folder " + data_folder + " already holds files; nothing was changed");

    {
        errno = 0;
        std::ofstream out(ini, std::ios::binary);
        out << td::Default_Settings_Text();
        out.flush();
        if (!out)
            Fail("init", "cannot write " + ini + ": " + std::strerror(errno != 0 ? errno : EIO));
    }
    std::printf("wrote %s\n", ini.c_str());
    if (!args.demo)
        return 0;

    fs::create_directories(data_folder, ec);
    if (ec)
        Fail("init", "cannot create " + data_folder + ": " + ec.message());
    if (!td::Write_Demo_References(data_folder))
        Fail("init", "cannot write the reference files in " + data_folder);
    td::System_Clock clock;
    td::Demo_Options options;
    options.today = clock.Today();
    long tickets = td::Write_Demo_Tickets(data_folder, options);
    if (tickets < 0)
        Fail("init", "cannot write the database in " + data_folder);
    // Totals and the buyer list as a full rebuild on today's date leaves them, so that the
    // browsers have figures at the first start.
    {
        td::Program_State& state = td::State();
        state.Program_Folder = args.home;
        state.Data_Folder = data_folder;
        state.Current_Date = options.today;
        td::Cli_Ui ui;
        td::Rebuild_All(state, ui, clock, td::Progress_Target::Form);
        td::Remove_Number_Index_Files(data_folder);
        if (state.Derived_Failure.Failed())
            Fail("init", "the totals of the demo installation were not written whole: " +
                             state.Derived_Failure.Text());
    }
    std::printf("wrote the demo installation in %s: %zu companies, 8 stations, 4 fuel grades, "
                "%ld tickets\n",
                data_folder.c_str(), td::Demo_Companies().size(), tickets);
    return 0;
}

// The data folder as start-up would choose it, without creating anything.
std::string Data_Folder_Of(const std::string& home, const td::Settings& settings) {
    std::string folder = td::Databases_Folder(home, settings.Databases_Path);
    std::error_code ec;
    return fs::is_directory(folder, ec) ? folder : home;
}

int Verify(const Arguments& args) {
    td::Cli_Ui ui;
    td::Settings settings =
        td::Read_Settings(args.home + "/" + td::Settings_File_Name, args.home, ui);
    std::string database =
        td::Data_File_Path(Data_Folder_Of(args.home, settings), settings.Database_File);
    if (!Exists_Or_Fail("verify", database))
        Fail("verify", "no database file at " + database);

    td::Header_Info header;
    int read_error = 0;
    if (td::Read_Header(database, header, &read_error) != "Ok")
        Fail("verify", read_error != 0
                           ? "cannot read " + database + ": " + td::System_Reason(read_error)
                           : "the header of " + database + " cannot be parsed");
    td::Header_Verification check = td::Verify_Header_Checksum(database);

    std::error_code ec;
    const std::uint64_t size = fs::file_size(database, ec);
    if (ec)
        Fail("verify", "cannot read " + database + ": " + ec.message());
    long count = static_cast<long>(header.count);
    long offset = static_cast<long>(header.records_offset);
    std::uint64_t needed =
        static_cast<std::uint64_t>(std::max(0L, offset + count)) * td::Ticket_Record_Size;
    std::uint64_t present =
        size > static_cast<std::uint64_t>(offset) * td::Ticket_Record_Size
            ? (size - static_cast<std::uint64_t>(offset) * td::Ticket_Record_Size) /
                  td::Ticket_Record_Size
            : 0;

    std::printf("database: %s\n", database.c_str());
    std::printf("header version: %s\n", header.header_version.c_str());
    std::printf("program version: %s\n", header.program_version.c_str());
    std::printf("record length: %s\n", td::Format_Number(header.record_length).c_str());
    std::printf("records offset: %s\n", td::Format_Number(header.records_offset).c_str());
    std::printf("data type: %s\n", header.data_type.c_str());
    std::printf("count: %ld\n", count);
    std::printf("checksum: %s (stored %08X, by the rule %08X)\n",
                check.checksum_agrees ? "agrees" : "DOES NOT AGREE", check.stored_checksum,
                check.computed_checksum);
    std::printf("records: %llu in the file, %ld counted\n",
                static_cast<unsigned long long>(present), count);

    if (!check.checksum_agrees)
        Fail("verify", check.reason.empty() ? "the checksum does not agree" : check.reason);
    if (count < 0 || size < needed)
        Fail("verify", "the file holds " + std::to_string(present) +
                           " records, the header counts " + std::to_string(count));
    std::printf("ok\n");
    return 0;
}

int Rebuild(const Arguments& args) {
    Session session(args.home);
    td::Reindex_Database(session.State(), session.Ui(), session.Clock());
    // Only a rebuild that wrote everything says so; the session tells what failed.
    if (!session.State().Derived_Failure.Failed())
        std::printf("rebuilt: %ld tickets\n", session.State().Ticket_Count);
    session.Shutdown();
}

int Defrag(const Arguments& args) {
    Session session(args.home);
    td::Program_State& state = session.State();
    long before = state.Ticket_Count;
    td::Defrag_Outcome outcome = td::Defrag_Outcome::Failed;
    td::SE_Defragmentation(state, session.Ui(), session.Clock(), state.settings.Database_File,
                           &outcome);
    session.Ui().Search_Progress_Hide();
    if (outcome == td::Defrag_Outcome::Refused)
        session.Shutdown("refused: the work file " + state.Path_Of(td::Defrag_Work_File) +
                         " of an earlier attempt cannot be removed; the database is unchanged");
    if (outcome == td::Defrag_Outcome::Failed)
        session.Shutdown("failed; the database is unchanged");
    td::Header_Info header;
    td::Read_Header(state.Path_Of(state.settings.Database_File), header);
    std::printf("defragmented: %ld tickets before, %s after\n", before,
                td::Format_Number(header.count).c_str());
    session.Shutdown();
}

int Date(const Arguments& args) {
    std::optional<double> wanted;
    if (!args.rest.empty()) {
        wanted = td::Parse_Date(args.rest[0]);
        if (!wanted || *wanted == 0.0)
            Fail("date", "'" + args.rest[0] + "' is not a date of the form DD.MM.YYYY", 2);
    }
    Session session(args.home);
    td::Program_State& state = session.State();
    if (wanted) {
        // The store first: a date it does not hold would leave totals of one day beside a working
        // date of another at the next start.
        session.User_Settings().Save(td::Settings_Application, "Kernel", "Date",
                                     td::Format_Date(std::floor(*wanted)));
        if (!session.User_Settings().Save_Failure().empty())
            session.Shutdown("the working date stays " + td::Format_Date(state.Current_Date));
        // As the date picker does: both dated totals follow the new working date.
        state.Current_Date = std::floor(*wanted);
        td::Rebuild_Company_Totals(state, session.Ui(), session.Clock(), state.Current_Date,
                                   td::Progress_Target::Form);
        td::Rebuild_Station_Totals(state, session.Ui(), session.Clock(), state.Current_Date,
                                   state.Current_Date, td::Progress_Target::Form);
        session.Ui().Search_Progress_Hide();
    }
    std::printf("%s\n", td::Format_Date(state.Current_Date).c_str());
    session.Shutdown();
}

int Totals(const Arguments& args) {
    if (args.rest.empty() || (args.rest[0] != "buyers" && args.rest[0] != "stations"))
        Fail("totals", "say which: tdctl totals buyers|stations", 2);
    bool buyers = args.rest[0] == "buyers";
    Session session(args.home);
    td::Program_State& state = session.State();
    std::string file =
        state.Path_Of(buyers ? state.settings.Cache_Diff_File : state.settings.Cache_Used_File);
    td::Record_File totals(file, td::Cache_Record_Size, td::Record_File::Mode::Read_Only);
    std::uint64_t count = totals.Is_Open() ? totals.Record_Count() : 0;
    std::vector<std::uint8_t> block(count * td::Cache_Record_Size);
    if (count > 0 && !totals.Read_Block(1, count, block.data()))
        Fail("totals", "cannot read " + file);
    for (std::uint64_t n = 1; n <= count; ++n) {
        td::Cache_Record record = td::Decode_Cache(block.data() + (n - 1) * td::Cache_Record_Size);
        bool any = false;
        for (double v : record.Fuel_Total)
            any = any || v != 0.0;
        if (!any)
            continue;
        std::string line = std::to_string(n);
        for (double v : record.Fuel_Total)
            line += "\t" + td::Format_Number(v);
        std::printf("%s\n", line.c_str());
    }
    session.Shutdown();
}

int Run_Verb(const Arguments& args) {
    if (args.verb == "init")
        return Init(args);
    if (args.verb == "verify")
        return Verify(args);
    if (args.verb == "rebuild")
        return Rebuild(args);
    if (args.verb == "defrag")
        return Defrag(args);
    if (args.verb == "date")
        return Date(args);
    if (args.verb == "totals")
        return Totals(args);
    if (int code = Run_Catalogue_Verb(args); code >= 0)
        return code;
    std::fputs(Usage, stderr);
    return args.verb.empty() ? 2
                             : (std::fprintf(stderr, "unknown verb: %s\n", args.verb.c_str()), 2);
}

} // namespace

int main(int argc, char** argv) {
    // A file size limit makes a write fail (EFBIG), which is reported like any other failed
    // write, instead of ending the process in the middle of it.
    std::signal(SIGXFSZ, SIG_IGN);
    Arguments args;
    try {
        args = Parse_Arguments(argc, argv);
        return Run_Verb(args);
    } catch (const std::exception& failure) {
        // The last net: every failure is reported, none ends in an abort. The work marker stays,
        // as after any run that did not pass through shutdown.
        Fail(args.verb, std::string("unexpected failure: ") + failure.what());
    }
}
