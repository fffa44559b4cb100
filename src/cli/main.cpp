// tdctl: the headless companion of the desktop program, for administration and scripted tests.
#include "base/dates.h"
#include "base/numbers.h"
#include "cli/catalogue_verbs.h"
#include "cli/cli_ui.h"
#include "cli/demo_installation.h"
#include "cli/import_verbs.h"
#include "cli/maintenance_verbs.h"
#include "cli/redeem_verbs.h"
#include "cli/report_verbs.h"
#include "cli/sale_verbs.h"
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

#include <algorithm>
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
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace td::cli {
const char* Usage = R"(usage: tdctl VERB [--home DIR] [arguments]

The program's folder (where td.ini lives) is --home DIR, else $TALLY_DEPOT_HOME, else the
current folder.

verbs:
  init [--demo]            write td.ini and, with --demo, a demo installation
  verify [--recount [--yes]]
                           check the database header and records; --recount rewrites the
                           header to count the whole records the file holds
  rebuild                  rebuild everything derived from the database
  defrag [--drop-uncounted [--yes]]
                           remove deleted tickets from the database, then rebuild; refused
                           while the file holds records behind the header's count or the
                           checksum disagrees, unless --drop-uncounted
  date [DD.MM.YYYY]        show or set the working date
  totals buyers|stations   print the non-zero totals per buyer or per station
  fuel [set SLOT NAME [PRICE]]     list the fuel grades, or name one and price it
  station [set SLOT NAME]          list the stations, or name one
  volume [add LITRES...]           list the user volumes, or declare new ones
  sell --buyer CODE --fuel NAME --volume V (--number N | --from N --count K |
       --first A --last B) [--valid DD.MM.YYYY DD.MM.YYYY] [--stations N,N,...]
       [--check] [--force]
                           sell coupons to a buyer as the sale screen does: check, then
                           register; prints the result rows (number, text, record)
  import FILE.dbf --update|--replace|--compare [--yes]
                           bring the buyers in from the 1C table, or compare the two;
                           --replace asks on a terminal and needs --yes otherwise
  report KIND [--period DD.MM.YYYY DD.MM.YYYY] [--csv | --pdf FILE]
                           a report on the working date or, with --period, on the coupons
                           sold in the period. KIND: full (sold / redeemed / left), sales,
                           redemptions, left (no period), liability [--at DD.MM.YYYY]
  stats buyer KEY FUEL [--period D1 D2] [--csv | --pdf FILE]
                           the coupons of one fuel (slot or name) sold to the buyer whose key
                           is KEY, as the buyer browser shows it (1:10:101)
  stats station N FUEL [--period D1 D2] [--csv | --pdf FILE]
                           the coupons of one fuel redeemed at station N on the working date
                           or in the period
  ticket NUMBER --fuel FUEL --volume V [--record N] [--delete | --restore] [--yes]
                           the first coupon of that number, fuel and volume that isn't
                           deleted; delete it, or undo its redemption
  backup [DIR]             copy the database to DIR/TD.cbk (DIR: the stored backup folder)
  restore [DIR] [--yes]    copy the backup back over the database, then rebuild
  delete redeemed | redeemed-on DD.MM.YYYY | all |
         range --fuel NAME --volume V --from N --to N   [--yes]
                           mark tickets deleted (all: move the database aside)
  audit                    report what no screen shows; exit 1 with findings
  redeem --station N --fuel NAME --volume V NUMBER[:LITRES]... [--check] [--force]
                           redeem coupons at station N as the redemption screen does: check,
                           then book; LITRES as 12, 12,5 or 12.5 (default: the volume);
                           prints the result rows (number, text, record)
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

void No_Other_Arguments(const std::string& verb, const std::vector<std::string>& rest) {
    if (!rest.empty())
        Fail(verb, "unknown argument '" + rest[0] + "'", 2);
}

// The first seven lines of a header page as text, with bytes that can't be shown as "?".
std::vector<std::string> Header_Lines(const std::string& page) {
    std::vector<std::string> lines;
    std::size_t at = 0;
    while (lines.size() < 7 && at < page.size()) {
        std::size_t end = page.find("\r\n", at);
        std::string line = page.substr(at, end == std::string::npos ? std::string::npos : end - at);
        for (char& c : line)
            if (static_cast<unsigned char>(c) < 32 || c == 127)
                c = '?';
        lines.push_back(line);
        if (end == std::string::npos)
            break;
        at = end + 2;
    }
    return lines;
}

// Rewrites the header with the number of whole records behind it, once it has shown what changes.
void Recount(const std::string& verb, const std::string& home, const std::string& database,
             bool yes) {
    const std::uint64_t size = fs::file_size(database);
    const long long whole =
        td::Whole_Records_Behind(size, td::Header_Records_Offset, td::Ticket_Record_Size);
    if (whole > td::Max_Ticket_Count)
        Fail(verb, "the file holds " + std::to_string(whole) +
                       " whole records, more than a header can count; nothing was changed");
    td::Header_Info header;
    const bool parsed = td::Read_Header(database, header) == "Ok";
    const td::Header_Verification check = td::Verify_Header_Checksum(database);
    if (parsed && header.count == static_cast<double>(whole) &&
        header.records_offset == td::Header_Records_Offset && check.checksum_agrees) {
        std::printf("recount: the header already counts the %lld whole records; nothing to "
                    "change\n",
                    whole);
        return;
    }

    std::string old_page(td::Header_Page_Size, '\0');
    {
        std::ifstream in(database, std::ios::binary);
        in.read(old_page.data(), static_cast<std::streamsize>(old_page.size()));
        old_page.resize(static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0)));
    }
    const std::vector<std::string> before = Header_Lines(old_page);
    const std::vector<std::string> after = Header_Lines(td::Build_Header_Page(whole));
    std::printf("recount: the header %s; the file holds %lld whole records\n",
                parsed ? ("counts " + td::Format_Number(header.count)).c_str() : "can't be read",
                whole);
    for (std::size_t i = 0; i < after.size(); ++i) {
        const std::string old_line = i < before.size() ? before[i] : std::string("(none)");
        if (old_line != after[i])
            std::printf("recount: line %zu: \"%s\" -> \"%s\"\n", i + 1, old_line.c_str(),
                        after[i].c_str());
    }
    Confirm(verb, yes,
            "Rewrite the header of " + database + " to count " + std::to_string(whole) +
                " tickets?");
    // The running program keeps its own count and would write it back over this one.
    td::Qt_Instance_Guard guard(home);
    const td::Instance_Guard::Result lock = guard.Acquire();
    if (lock.outcome == td::Instance_Guard::Outcome::Already_Running)
        Fail(verb, "another instance uses the installation; nothing was changed");
    if (lock.outcome == td::Instance_Guard::Outcome::Cannot_Lock)
        Fail(verb, "cannot create the lock file " + lock.lock_path + ": " + lock.reason +
                       "; nothing was changed");
    if (!td::Create_Header(database, static_cast<long>(whole)))
        Fail(verb, "cannot write the header of " + database + ": " + std::strerror(errno));
    guard.Release();
    std::printf("recount: the header now counts %lld tickets\n", whole);
}

// The header's count against what the file holds.
struct Count_Check {
    long long present = 0; // whole records behind the header's offset
    std::vector<std::string> findings;
};

Count_Check Check_Count(const std::string& database, const td::Header_Info& header) {
    Count_Check result;
    std::error_code ec;
    const std::uint64_t size = fs::file_size(database, ec);
    const td::Database_Extent extent = td::Read_Database_Extent(database);
    const std::string fault = td::Ticket_Count_Fault(header.count);
    const long long count = fault.empty() ? extent.count : 0;
    result.present = td::Whole_Records_Behind(ec ? 0 : size, extent.offset, td::Ticket_Record_Size);
    const long long uncounted =
        td::Records_Beyond_Count(ec ? 0 : size, extent.offset, count, td::Ticket_Record_Size);
    if (!fault.empty())
        result.findings.push_back("the header's count " + td::Format_Number(header.count) + " " +
                                  fault + ": it is taken as 0");
    if (uncounted > 0)
        result.findings.push_back(
            "the file holds " + std::to_string(uncounted) +
            " whole records behind the header's count of " + std::to_string(count) +
            ": defragmentation would drop them (tdctl verify --recount counts them)");
    if (result.present < count)
        result.findings.push_back("the file holds " + std::to_string(result.present) +
                                  " records, the header counts " + std::to_string(count) +
                                  ": the rest read as empty records");
    return result;
}

int Verify(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    const bool recount = Take_Flag(rest, "--recount");
    const bool yes = Take_Flag(rest, "--yes");
    No_Other_Arguments("verify", rest);
    if (yes && !recount)
        Fail("verify", "--yes goes with --recount only", 2);

    td::Cli_Ui ui;
    td::Settings settings =
        td::Read_Settings(args.home + "/" + td::Settings_File_Name, args.home, ui);
    std::string database =
        td::Data_File_Path(Data_Folder_Of(args.home, settings), settings.Database_File);
    if (!Exists_Or_Fail("verify", database))
        Fail("verify", "no database file at " + database);
    if (recount)
        Recount("verify", args.home, database, yes);

    td::Header_Info header;
    int read_error = 0;
    if (td::Read_Header(database, header, &read_error) != "Ok")
        Fail("verify", read_error != 0
                           ? "cannot read " + database + ": " + td::System_Reason(read_error)
                           : "the header of " + database +
                                 " cannot be parsed (tdctl verify --recount writes a new one that "
                                 "counts the whole records behind it)");
    td::Header_Verification check = td::Verify_Header_Checksum(database);

    const Count_Check counted = Check_Count(database, header);
    std::printf("database: %s\n", database.c_str());
    std::printf("header version: %s\n", header.header_version.c_str());
    std::printf("program version: %s\n", header.program_version.c_str());
    std::printf("record length: %s\n", td::Format_Number(header.record_length).c_str());
    std::printf("records offset: %s\n", td::Format_Number(header.records_offset).c_str());
    std::printf("data type: %s\n", header.data_type.c_str());
    std::printf("count: %s\n", td::Format_Number(header.count).c_str());
    std::printf("checksum: %s (stored %08X, by the rule %08X)\n",
                check.checksum_agrees ? "agrees" : "DOES NOT AGREE", check.stored_checksum,
                check.computed_checksum);
    std::printf("records: %lld in the file, %s counted\n", counted.present,
                td::Format_Number(header.count).c_str());

    std::vector<std::string> findings;
    if (!check.checksum_agrees)
        findings.push_back(check.reason.empty() ? "the checksum does not agree" : check.reason);
    findings.insert(findings.end(), counted.findings.begin(), counted.findings.end());
    if (!findings.empty()) {
        for (const std::string& finding : findings)
            std::fprintf(stderr, "tdctl verify: %s\n", finding.c_str());
        return 1;
    }
    std::printf("ok\n");
    return 0;
}

// Ends a session that ran its verb with `code`, after the clean shutdown steps.

int Rebuild(const Arguments& args) {
    No_Other_Arguments("rebuild", args.rest);
    Session session(args.home);
    td::Program_State& state = session.State();
    td::Reindex_Database(state, session.Ui(), session.Clock());
    // The table holds what the pass took: a count no database can have took no tickets. Only a
    // rebuild that wrote everything says so; the session tells what failed.
    const std::size_t tickets = state.Ticket_Table.empty() ? 0 : state.Ticket_Table.size() - 1;
    if (!state.Derived_Failure.Failed())
        std::printf("rebuilt: %zu tickets\n", tickets);
    // What is off with the count is said, so that nobody takes the derived files for the
    // database's whole story.
    std::string findings;
    const std::string database = state.Path_Of(state.settings.Database_File);
    td::Header_Info header;
    if (td::Read_Header(database, header) == "Ok") {
        for (const std::string& finding : Check_Count(database, header).findings)
            findings += (findings.empty() ? "" : "; ") + finding;
        if (!findings.empty())
            findings += " (see tdctl verify)";
    }
    session.Shutdown(findings);
}

int Defrag(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    const bool drop_uncounted = Take_Flag(rest, "--drop-uncounted");
    const bool yes = Take_Flag(rest, "--yes");
    No_Other_Arguments("defrag", rest);
    if (yes && !drop_uncounted)
        Fail("defrag", "--yes goes with --drop-uncounted only", 2);
    if (drop_uncounted)
        Confirm("defrag", yes,
                "Defragment by the header's count, dropping every record behind it?");

    Session session(args.home);
    td::Program_State& state = session.State();
    long before = state.Ticket_Count;
    td::Defrag_Refusal refusal;
    td::Defrag_Outcome outcome = td::Defrag_Outcome::Failed;
    td::SE_Defragmentation(state, session.Ui(), session.Clock(), state.settings.Database_File,
                           drop_uncounted ? td::Defrag_Uncounted::Drop
                                          : td::Defrag_Uncounted::Refuse,
                           &refusal, &outcome);
    session.Ui().Search_Progress_Hide();
    if (refusal.refused) {
        std::string reason = "refused; the database was left as it is:";
        if (refusal.uncounted_records > 0)
            reason += " the file holds " + std::to_string(refusal.uncounted_records) +
                      " whole records behind the header's count of " +
                      std::to_string(refusal.count) + ", which defragmentation would drop;";
        if (refusal.checksum_disagrees)
            reason += " the header's checksum does not agree (" + refusal.checksum_reason + ");";
        reason += " see tdctl verify, and tdctl verify --recount; tdctl defrag --drop-uncounted "
                  "drops them";
        session.Shutdown(reason);
    }
    if (outcome == td::Defrag_Outcome::Refused)
        session.Shutdown("refused: another process holds the database, or the work file " +
                         td::Defrag_Work_Path(state.Path_Of(state.settings.Database_File)) +
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
    for (auto run : {Run_Report_Verb, Run_Catalogue_Verb, Run_Sale_Verb, Run_Redeem_Verb,
                     Run_Import_Verb, Run_Maintenance_Verb})
        if (int code = run(args); code >= 0)
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
