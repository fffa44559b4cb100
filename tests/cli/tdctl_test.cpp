// Black-box runs of tdctl on temporary installations.
#include "cli/tdctl_runner.h"
#include "support/temp_folder.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

namespace {

using td::test::Run_Result;
using td::test::Run_Tdctl;
using td::test::Temp_Folder;

TEST(Tdctl, InitWritesSettingsAndRefusesToOverwrite) {
    Temp_Folder config;
    Temp_Folder home;
    Run_Result first = Run_Tdctl("init --home " + home.Path(), config);
    ASSERT_EQ(first.exit_code, 0) << first.err;
    std::string ini = home.Read("td.ini");
    for (const char* key : {"User", "Company", "Databases", "Company_DB", "Towns_DB",
                            "Establishment_DB", "DB_Ext", "Database", "Fuel_DB", "BackUp",
                            "User_Volume", "CS_PATH", "Cache_Diff", "Cache_Used", "Cache_User"})
        EXPECT_NE(ini.find(std::string("\n") + key + " ="), std::string::npos) << key;
    EXPECT_NE(ini.find("[Tally depot beta]"), std::string::npos);

    home.Write("td.ini", "[Tally depot beta]\nUser = kept\n");
    Run_Result second = Run_Tdctl("init --demo --home " + home.Path(), config);
    EXPECT_EQ(second.exit_code, 1);
    EXPECT_NE(second.err.find("already exists"), std::string::npos) << second.err;
    EXPECT_EQ(home.Read("td.ini"), "[Tally depot beta]\nUser = kept\n");
    EXPECT_FALSE(home.Exists("data/TD.cdb"));
}

TEST(Tdctl, DemoInstallationVerifies) {
    Temp_Folder config;
    Temp_Folder home;
    Run_Result init = Run_Tdctl("init --demo --home " + home.Path(), config);
    ASSERT_EQ(init.exit_code, 0) << init.err;
    for (const char* file :
         {"Towns.dat", "Company_Db.dat", "Establishments.dat", "Fuel.dat", "UsVol.dat", "TD.cdb"})
        EXPECT_TRUE(home.Exists(std::string("data/") + file)) << file;

    // The environment variable names the home when --home is absent.
    std::string command_env = "TALLY_DEPOT_HOME='" + home.Path() + "' ";
    Temp_Folder capture;
    int status = std::system((command_env + "XDG_CONFIG_HOME='" + config.Path() + "' " +
                              TDCTL_PATH + " verify >'" + capture.File("out") + "' 2>&1")
                                 .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 0) << capture.Read("out");

    // A second demo into the same data refuses.
    Run_Result again = Run_Tdctl("init --demo --home " + home.Path(), config);
    EXPECT_EQ(again.exit_code, 1);
}

TEST(Tdctl, VerifyFailsOnAHeadWithoutLines) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    home.Write("data/TD.cdb", std::string(350, 'x'));
    Run_Result garbage = Run_Tdctl("verify --home " + home.Path(), config);
    EXPECT_EQ(garbage.exit_code, 1);
    EXPECT_NE(garbage.err.find("cannot be parsed"), std::string::npos) << garbage.err;
}

TEST(Tdctl, MissingSettingsFileTakesTheFatalPath) {
    Temp_Folder config;
    Temp_Folder home;
    Run_Result verify = Run_Tdctl("verify --home " + home.Path(), config);
    EXPECT_EQ(verify.exit_code, 1);
    EXPECT_NE(verify.err.find("Std_Functions\\Get_Var"), std::string::npos) << verify.err;
    EXPECT_NE(verify.err.find("0x07331056FFAD"), std::string::npos) << verify.err;
}

} // namespace

// ---- Verbs that start the installation ----------------------------------------------------

#include "qt/qt_instance_guard.h"

#include <filesystem>
#include <sstream>

namespace {

std::vector<std::string> Lines_Of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

bool Any_Index_File(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::string name = entry.path().filename().string();
        if (name.size() > 4 && name[0] == 'z' && name.substr(name.size() - 4) == ".dat")
            return true;
    }
    return false;
}

TEST(Tdctl, TotalsFollowTheWorkingDateAndShutdownCleansUp) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);

    Run_Result buyers = Run_Tdctl("totals buyers --home " + home.Path(), config);
    ASSERT_EQ(buyers.exit_code, 0) << buyers.err;
    // The first start after init is a clean one: no word of an unexpected end.
    EXPECT_EQ(buyers.err.find("Программа была завершена неожиданно."), std::string::npos);
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
    EXPECT_FALSE(Any_Index_File(home.File("data")));

    // A working date before every sale: no buyer holds unredeemed litres on it.
    Run_Result set = Run_Tdctl("date 01.01.2000 --home " + home.Path(), config);
    ASSERT_EQ(set.exit_code, 0) << set.err;
    EXPECT_EQ(set.out, "01.01.2000\n");
    Run_Result shown = Run_Tdctl("date --home " + home.Path(), config);
    EXPECT_EQ(shown.out, "01.01.2000\n");
    EXPECT_EQ(Run_Tdctl("totals buyers --home " + home.Path(), config).out, "");
    EXPECT_EQ(Run_Tdctl("totals stations --home " + home.Path(), config).out, "");

    // Back to a date after the history: the buyers' stock is there again, one line per buyer
    // with the record number and ten totals.
    ASSERT_EQ(Run_Tdctl("date 31.12.2099 --home " + home.Path(), config).exit_code, 0);
    Run_Result later = Run_Tdctl("totals buyers --home " + home.Path(), config);
    std::vector<std::string> lines = Lines_Of(later.out);
    ASSERT_FALSE(lines.empty()) << later.err;
    for (const auto& line : lines)
        EXPECT_EQ(std::count(line.begin(), line.end(), '\t'), 10) << line;

    Run_Result bad = Run_Tdctl("date 31.02.2026 --home " + home.Path(), config);
    EXPECT_EQ(bad.exit_code, 2);
}

TEST(Tdctl, KilledRunIsReportedAndRebuilt) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    // A marker left behind is what a killed run leaves.
    home.Write("data/Work.$$$", "");
    Run_Result run = Run_Tdctl("rebuild --home " + home.Path(), config);
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_NE(run.err.find("Программа была завершена неожиданно."), std::string::npos) << run.err;
    EXPECT_NE(run.out.find("rebuilt:"), std::string::npos);
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
    EXPECT_EQ(std::filesystem::file_size(home.File("data/Cache_d.dat")), 16384u * 84u);
}

TEST(Tdctl, DefragDropsDeletedTicketsAndKeepsTheRest) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    std::string before = home.Read("data/TD.cdb");
    std::size_t deleted = 0;
    std::string live;
    for (std::size_t at = 432; at + 72 <= before.size(); at += 72) {
        if (before[at + 1] != 0)
            ++deleted;
        else
            live += before.substr(at, 72);
    }
    ASSERT_GT(deleted, 0u);

    Run_Result run = Run_Tdctl("defrag --home " + home.Path(), config);
    ASSERT_EQ(run.exit_code, 0) << run.err;
    std::string after = home.Read("data/TD.cdb");
    EXPECT_EQ(after.substr(432), live);
    EXPECT_FALSE(home.Exists("data/$Defrag$.bin"));
    Run_Result verify = Run_Tdctl("verify --home " + home.Path(), config);
    EXPECT_EQ(verify.exit_code, 0) << verify.out << verify.err;
}

TEST(Tdctl, RefusesWhileAnotherInstanceRuns) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    {
        td::Qt_Instance_Guard running(home.Path());
        ASSERT_EQ(running.Acquire().outcome, td::Instance_Guard::Outcome::Acquired);
        Run_Result refused = Run_Tdctl("totals buyers --home " + home.Path(), config);
        EXPECT_EQ(refused.exit_code, 1);
        EXPECT_NE(refused.err.find("Программа уже запущена"), std::string::npos) << refused.err;
        EXPECT_FALSE(home.Exists("data/Work.$$$"));
    }
    // Once the other instance is gone the verb runs, and a clean end takes its lock file away
    // with it, so that the next start finds no stale lock to clear.
    EXPECT_EQ(Run_Tdctl("totals buyers --home " + home.Path(), config).exit_code, 0);
    EXPECT_FALSE(home.Exists("tallydepot.lock"));
}

} // namespace

// ---- Damaged headers: no verb may lose a ticket ---------------------------------------------

namespace {

constexpr std::size_t Page = 350;
constexpr std::size_t First_Record = 432;

// The records behind the header area, and the ones defragmentation keeps (not deleted).
std::string Records_Of(const std::string& database) {
    return database.size() > First_Record ? database.substr(First_Record) : std::string();
}
std::string Live_Records_Of(const std::string& database, std::size_t limit = SIZE_MAX) {
    std::string live;
    std::size_t seen = 0;
    for (std::size_t at = First_Record; at + 72 <= database.size() && seen < limit;
         at += 72, ++seen)
        if (database[at + 1] == 0)
            live += database.substr(at, 72);
    return live;
}
// Line 6 of a header page reads "Amount registered entrys: " and eight characters.
std::string With_Count_Text(std::string database, const std::string& eight) {
    const std::string label = "Amount registered entrys: ";
    const std::size_t at = database.find(label);
    EXPECT_NE(at, std::string::npos);
    database.replace(at + label.size(), 8, eight);
    return database;
}

struct Damaged_Installation {
    Temp_Folder config;
    Temp_Folder home;
    std::string original; // the database as the demo wrote it
    std::size_t tickets = 0;

    Damaged_Installation() {
        EXPECT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
        original = home.Read("data/TD.cdb");
        tickets = (original.size() - First_Record) / 72;
    }
    Run_Result Run(const std::string& verb) {
        return Run_Tdctl(verb + " --home " + home.Path(), config);
    }
    std::string Database() const { return home.Read("data/TD.cdb"); }
};

// A head with no line break at all: start-up gives the file a new header page counting nothing.
// Verify names the records behind that count, defragmentation refuses to drop them, and a
// recount makes them counted again.
TEST(Tdctl_Damaged_Header, UnreadableHeadKeepsEveryTicket) {
    Damaged_Installation at;
    // A CR in a record would end a line of the head: only with fewer than six line ends in the
    // whole file does the header fail to parse. The tickets here hold no CR.
    std::string records;
    for (std::size_t from = First_Record; from + 72 <= at.original.size(); from += 72)
        if (at.original.substr(from, 72).find('\r') == std::string::npos)
            records += at.original.substr(from, 72);
    at.tickets = records.size() / 72;
    ASSERT_GT(at.tickets, 100u);
    at.original = at.original.substr(0, First_Record) + records;
    std::string damaged = at.original;
    damaged.replace(0, Page, std::string(Page, 'x'));
    at.home.Write("data/TD.cdb", damaged);

    Run_Result rebuild = at.Run("rebuild");
    EXPECT_EQ(rebuild.exit_code, 1) << rebuild.err;
    EXPECT_NE(rebuild.out.find("rebuilt: 0 tickets"), std::string::npos) << rebuild.out;
    EXPECT_EQ(Records_Of(at.Database()), Records_Of(at.original));

    Run_Result verify = at.Run("verify");
    EXPECT_EQ(verify.exit_code, 1) << verify.out;
    EXPECT_EQ(verify.out.find("\nok\n"), std::string::npos) << verify.out;
    EXPECT_NE(verify.out.find("records: " + std::to_string(at.tickets) + " in the file, 0 counted"),
              std::string::npos)
        << verify.out;
    EXPECT_NE(verify.err.find(std::to_string(at.tickets) + " whole records behind"),
              std::string::npos)
        << verify.err;

    const std::string before_defrag = at.Database();
    Run_Result defrag = at.Run("defrag");
    EXPECT_EQ(defrag.exit_code, 1);
    EXPECT_NE(defrag.err.find(std::to_string(at.tickets) + " whole records"), std::string::npos)
        << defrag.err;
    EXPECT_EQ(at.Database(), before_defrag);
    EXPECT_FALSE(at.home.Exists("data/$Defrag$.bin"));
    EXPECT_FALSE(at.home.Exists("data/Work.$$$")); // refused, but shut down cleanly

    // The recount says what it changes, then counts them all; defragmentation then works.
    Run_Result recount = at.Run("verify --recount --yes");
    EXPECT_EQ(recount.exit_code, 0) << recount.out << recount.err;
    EXPECT_NE(recount.out.find("line 6: \"Amount registered entrys: 00000000\" -> \"Amount "
                               "registered entrys: " +
                               std::string(8 - std::to_string(at.tickets).size(), '0') +
                               std::to_string(at.tickets) + "\""),
              std::string::npos)
        << recount.out;
    EXPECT_NE(recount.out.find("\nok\n"), std::string::npos);
    EXPECT_EQ(Records_Of(at.Database()), Records_Of(at.original));
    ASSERT_EQ(at.Run("defrag").exit_code, 0);
    EXPECT_EQ(Records_Of(at.Database()), Live_Records_Of(at.original));
}

// Six lines of garbage parse as an empty database with offset 0. Nothing may cut it down to its
// header: not the rebuild, not verify, not defragmentation.
TEST(Tdctl_Damaged_Header, SixGarbageLinesKeepEveryTicket) {
    Damaged_Installation at;
    std::string head;
    for (int line = 0; line < 6; ++line)
        head += "garbage line\r\n";
    head.resize(Page, 'g');
    std::string damaged = at.original;
    damaged.replace(0, Page, head);
    at.home.Write("data/TD.cdb", damaged);
    const std::size_t whole_from_zero = damaged.size() / 72; // offset 0: the head is records too

    Run_Result rebuild = at.Run("rebuild");
    EXPECT_EQ(rebuild.exit_code, 1);
    EXPECT_EQ(at.Database(), damaged);

    Run_Result verify = at.Run("verify");
    EXPECT_EQ(verify.exit_code, 1);
    EXPECT_NE(verify.out.find("DOES NOT AGREE"), std::string::npos) << verify.out;
    EXPECT_NE(verify.err.find(std::to_string(whole_from_zero) + " whole records behind"),
              std::string::npos)
        << verify.err;

    Run_Result defrag = at.Run("defrag");
    EXPECT_EQ(defrag.exit_code, 1);
    EXPECT_NE(defrag.err.find("checksum"), std::string::npos) << defrag.err;
    EXPECT_EQ(at.Database(), damaged);

    // Without a terminal the recount needs --yes; with it the head becomes a real header.
    Run_Result unconfirmed = at.Run("verify --recount");
    EXPECT_EQ(unconfirmed.exit_code, 2);
    EXPECT_EQ(at.Database(), damaged);
    ASSERT_EQ(at.Run("verify --recount --yes").exit_code, 0);
    EXPECT_EQ(at.Database().substr(Page), damaged.substr(Page));
    EXPECT_EQ(at.Run("verify").exit_code, 0);
}

// One count digit changed to a smaller count: the checksum no longer agrees and the tickets behind
// the count are not counted. Only an explicit --drop-uncounted --yes lets them go.
TEST(Tdctl_Damaged_Header, SmallerCountKeepsEveryTicketUnlessDroppingIsAskedFor) {
    Damaged_Installation at;
    const std::string damaged = With_Count_Text(at.original, "00000009");
    at.home.Write("data/TD.cdb", damaged);

    EXPECT_EQ(at.Run("rebuild").exit_code, 1);
    Run_Result verify = at.Run("verify");
    EXPECT_EQ(verify.exit_code, 1);
    EXPECT_NE(verify.out.find("DOES NOT AGREE"), std::string::npos);
    EXPECT_NE(verify.err.find(std::to_string(at.tickets - 9) + " whole records behind the "
                                                               "header's count of 9"),
              std::string::npos)
        << verify.err;

    Run_Result defrag = at.Run("defrag");
    EXPECT_EQ(defrag.exit_code, 1);
    EXPECT_NE(defrag.err.find(std::to_string(at.tickets - 9) + " whole records"), std::string::npos)
        << defrag.err;
    EXPECT_EQ(at.Database(), damaged);
    EXPECT_EQ(at.Run("defrag --drop-uncounted").exit_code, 2); // no terminal, no --yes
    EXPECT_EQ(at.Database(), damaged);
    EXPECT_EQ(at.Run("defrag --yes").exit_code, 2);
    EXPECT_EQ(at.Database(), damaged);

    Run_Result dropped = at.Run("defrag --drop-uncounted --yes");
    ASSERT_EQ(dropped.exit_code, 0) << dropped.err;
    EXPECT_EQ(Records_Of(at.Database()), Live_Records_Of(at.original, 9));
    EXPECT_EQ(at.Run("verify").exit_code, 0);
}

// An empty database is a header page of 350 bytes counting 0: valid. Counts no database can have
// build the derived files of an empty one and are named; a count beyond the file is named too.
TEST(Tdctl_Damaged_Header, EmptyDatabaseAndImpossibleCounts) {
    Damaged_Installation at;
    at.home.Write("data/TD.cdb", at.original.substr(0, Page));
    ASSERT_EQ(at.Run("verify").exit_code, 1); // the count still says otherwise
    ASSERT_EQ(at.Run("verify --recount --yes").exit_code, 0);
    EXPECT_EQ(at.Database().size(), Page);
    Run_Result empty = at.Run("verify");
    EXPECT_EQ(empty.exit_code, 0) << empty.err;
    EXPECT_NE(empty.out.find("records: 0 in the file, 0 counted"), std::string::npos);

    for (const std::string& count : {std::string("-0000001"), std::string("123456789")}) {
        std::string damaged = With_Count_Text(at.original, count);
        // A ninth digit pushes the rest of the page on by one: the last byte of the fill goes,
        // so that the records stay where they were.
        damaged.erase(Page, count.size() - 8);
        at.home.Write("data/TD.cdb", damaged);
        Run_Result rebuild = at.Run("rebuild");
        EXPECT_EQ(rebuild.exit_code, 1) << count;
        EXPECT_NE(rebuild.out.find("rebuilt: 0 tickets"), std::string::npos) << rebuild.out;
        EXPECT_NE(rebuild.err.find(count[0] == '-' ? "is negative" : "more than 8 digits"),
                  std::string::npos)
            << rebuild.err;
        EXPECT_EQ(at.home.Read("data/Cache_d.dat"), std::string(16384 * 84, '\0')) << count;
        EXPECT_EQ(at.home.Read("data/Cache_u.dat"), std::string(256 * 84, '\0')) << count;
        EXPECT_EQ(at.home.Read("data/Cache_Users.dat"), "") << count;
        EXPECT_EQ(at.Database(), damaged);
        EXPECT_EQ(at.Run("defrag").exit_code, 1);
        EXPECT_EQ(at.Database(), damaged);
    }

    // Twenty tickets counted as 200020: the rest read as empty records, and the rebuild says so.
    std::string short_file =
        With_Count_Text(at.original.substr(0, First_Record + 20 * 72), "00200020");
    at.home.Write("data/TD.cdb", short_file);
    Run_Result beyond = at.Run("rebuild");
    EXPECT_EQ(beyond.exit_code, 1);
    EXPECT_NE(beyond.out.find("rebuilt: 200020 tickets"), std::string::npos) << beyond.out;
    EXPECT_NE(beyond.err.find("the file holds 20 records, the header counts 200020"),
              std::string::npos)
        << beyond.err;
    EXPECT_EQ(at.Database(), short_file);
}

} // namespace
