// Black-box runs of tdctl: installing, the working date, every verb's bad arguments, and damaged
// headers that no verb may lose a ticket over.
#include "cli/tdctl_runner.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace td::test {
namespace {

namespace fs = std::filesystem;
using Tdctl = Tdctl_Test;

std::string Expected_Output(const std::string& name) {
    std::ifstream in(std::string(TD_TEST_DATA) + "/" + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST_F(Tdctl, InitWritesSettingsAndRefusesToOverwrite) {
    const Run_Result first = Verb("init");
    ASSERT_EQ(first.exit_code, 0) << first.err;
    const std::string ini = home.Read("td.ini");
    for (const char* key : {"User", "Company", "Databases", "Company_DB", "Towns_DB",
                            "Establishment_DB", "DB_Ext", "Database", "Fuel_DB", "BackUp",
                            "User_Volume", "CS_PATH", "Cache_Diff", "Cache_Used", "Cache_User"})
        EXPECT_TRUE(Has(ini, std::string("\n") + key + " =")) << key;
    EXPECT_TRUE(Has(ini, "[Tally depot beta]"));

    home.Write("td.ini", "[Tally depot beta]\nUser = kept\n");
    const Run_Result second = Verb("init --demo");
    EXPECT_EQ(second.exit_code, 1);
    EXPECT_TRUE(Has(second.err, "already exists")) << second.err;
    EXPECT_EQ(home.Read("td.ini"), "[Tally depot beta]\nUser = kept\n");
    EXPECT_FALSE(home.Exists("data/TD.cdb"));
}

// The demo is what a sound installation looks like, and init leaves it cleanly shut down: no word
// of an unexpected end, no work marker, no number index. The environment names the home when
// --home is absent.
TEST_F(Tdctl, TheDemoInstallationIsSound) {
    const Run_Result init = Verb("init --demo");
    ASSERT_EQ(init.exit_code, 0) << init.err;
    const Run_Result audit = Run_Tdctl("audit", config, Runtime_Folder::Config,
                                       "export TALLY_DEPOT_HOME='" + home.Path() + "';", "/");
    EXPECT_EQ(audit.exit_code, 0) << audit.out << audit.err;
    EXPECT_EQ(audit.out, "");
    EXPECT_TRUE(Has(audit.err, " tickets read, 0 findings")) << audit.err;
    EXPECT_FALSE(Has(audit.err, "Программа была завершена неожиданно."));
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
    for (const auto& entry : fs::directory_iterator(home.File("data")))
        EXPECT_NE(entry.path().filename().string()[0], 'z') << entry.path();
    EXPECT_EQ(Verb("verify").exit_code, 0);
}

TEST_F(Tdctl, TotalsFollowTheWorkingDate) {
    Install();
    // A working date before every sale (the last of its month): nobody holds unredeemed litres,
    // nothing was redeemed.
    const Run_Result set = Verb("date 31.01.2000");
    ASSERT_EQ(set.exit_code, 0) << set.err;
    EXPECT_EQ(set.out, "31.01.2000\n");
    EXPECT_EQ(Verb("date").out, "31.01.2000\n");
    EXPECT_EQ(Verb("totals buyers").out, "");
    EXPECT_EQ(Verb("totals stations").out, "");
    // Back on the date the fixture's totals were worked out for.
    ASSERT_EQ(Verb("date 15.03.2024").exit_code, 0);
    EXPECT_EQ(Verb("totals buyers").out, Expected_Output("installation/totals-buyers.out"));
    EXPECT_EQ(Verb("totals stations").out, Expected_Output("installation/totals-stations.out"));
}

// Arguments refused with exit 2 and what is wrong, or refused by the check with 1; none of them
// writes anything.
TEST_F(Tdctl, BadArgumentsAreRefusedAndWriteNothing) {
    Install();
    const std::string data = home.File("data");
    const std::string before = Read("TD.cdb") + Read("Cache_d.dat") + Read("Cache_u.dat") +
                               Read("Company_Db.dat") + Read("Fuel.dat") +
                               Read("Establishments.dat") + Read("UsVol.dat");
    home.Write("sc.dbf", "not read: the arguments are refused first");
    const std::string sell = "sell --buyer 1:00010:00002 --fuel А-95 --volume ";
    const std::string redeem = "redeem --station 2 --fuel А-92 --volume 20 ";
    const struct {
        std::string arguments;
        int exit_code;
        const char* says;
    } cases[] = {
        {"date 31.02.2026", 2, "'31.02.2026' is not a date"},
        {"verify --yes", 2, "--yes goes with --recount only"},
        {"defrag --yes", 2, "--yes goes with --drop-uncounted only"},
        {"rebuild --bogus", 2, "unknown argument '--bogus'"},
        {"fuel set 6 Керосин 1,2,3", 2, "'1,2,3' is not a price"},
        {"fuel set 9 X", 2, "'9' is not a slot number from 1 to 8"},
        {"station set 17 X", 2, "'17' is not a slot number from 1 to 16"},
        {"volume add 1234", 2, "'1234' is not a volume"}, // more than the key table lets through
        {"volume add 40 ,", 2, "',' is not a volume"},    // a lone comma does not convert
        {"sell --buyer 1:9:9 --fuel А-95 --volume 10 --number 1", 2, "unknown buyer"},
        {"sell --buyer 1:00010:00002 --fuel Бензин --volume 10 --number 1", 2,
         "not in the catalogue"},
        {sell + "11 --number 1", 2, "not in the list of volumes"},
        {sell + "10 --number 1234567", 2, "1 to 6 digits"},
        {sell + "10 --number 12a", 2, "1 to 6 digits"},
        {sell + "10", 2, "exactly one of"},
        {sell + "10 --number 1 --from 2 --count 3", 2, "exactly one of"},
        {sell + "10 --number 1 --stations 9", 2, "station 9"},
        {sell + "10 --number 1 --valid 1.1.2024 x", 2, "not a date"},
        // Taken: refused by the check, nothing written without --force; with it the commit runs
        // and refuses the same number on its own.
        {sell + "10 --number 200002", 1, "refused by the check"},
        {sell + "10 --from 199999 --count 3", 1, "refused by the check"}, // the last is taken
        {sell + "10 --first 200001 --last 200003 --force", 1, ""},
        // A deleted coupon's number is taken too.
        {"sell --buyer 1:00010:00002 --fuel ДТ --volume 20 --number 300002 --force", 1, ""},
        {redeem + "12a", 2, "tdctl redeem: "},
        {redeem + "1234567", 2, "tdctl redeem: "},
        {redeem + "100001:1,2,3", 2, "tdctl redeem: "},
        {redeem, 2, "tdctl redeem: "},
        {"redeem --fuel А-92 --volume 20 1", 2, "tdctl redeem: "},
        {"redeem --station 9 --fuel А-92 --volume 20 100001", 2, "tdctl redeem: "},
        {"redeem --station 2 --fuel Керосин --volume 20 100001", 2, "tdctl redeem: "},
        {"redeem --station 2 --fuel А-92 --volume 33 100001", 2, "tdctl redeem: "},
        {redeem + "--bogus 100001", 2, "tdctl redeem: "},
        {"report", 2, "which report?"},
        {"report monthly", 2, "unknown report 'monthly'"},
        {"report left --period 01.03.2024 15.03.2024", 2, "has no period"},
        {"report full --period 01.03.2024", 2, "--period needs 2 values"},
        {"report full --period 01.03.2024 31.02.2024", 2, "'31.02.2024' is not a date"},
        {"report full --csv --pdf x.pdf", 2, "one at a time"},
        {"report full --extra", 2, "unknown argument '--extra'"},
        {"stats station 17 1", 2, "not a station from 1 to 16"},
        {"stats buyer 1:10", 2, "usage: tdctl stats"},
        {"stats station 1 Керосин", 1, "no fuel grade is named 'Керосин'"},
        {"ticket 100002 --fuel 1", 2, "usage: tdctl ticket"},
        {"ticket 100002 --fuel 1 --volume 20 --yes", 2, "--yes goes with --delete or --restore"},
        {"ticket 100002 --fuel 1 --volume 20 --delete --restore --yes", 2, "one at a time"},
        {"ticket 100002 --fuel 1 --volume 20 --delete", 2, "not on a terminal: add --yes"},
        {"restore " + home.Path(), 2, "not on a terminal: add --yes"},
        {"delete redeemed", 2, "not on a terminal: add --yes"},
        {"delete sideways --yes", 2, "unknown choice 'sideways'"},
        {"delete range --fuel А-92 --yes", 2, "range needs --fuel NAME"},
        {"delete redeemed-on 31.02.2024 --yes", 2, "'31.02.2024' is not a date"},
        {"import", 2, "give one of --update, --replace, --compare"},
        {"import x.dbf", 2, "give one of"},
        {"import x.dbf --update --compare", 2, "give one of"},
        {"import x.dbf --update --yes", 2, "--yes goes with --replace only"},
        {"import x.dbf y.dbf --update", 2, "unknown argument 'x.dbf'"},
        {"import " + home.File("sc.dbf") + " --replace", 2, "not on a terminal: add --yes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments);
        const Run_Result run = Verb(c.arguments);
        EXPECT_EQ(run.exit_code, c.exit_code) << run.err;
        EXPECT_TRUE(Has(run.err, c.says)) << run.err;
        if (c.exit_code == 2) {
            EXPECT_EQ(run.out, "");
        }
    }
    EXPECT_EQ(Read("TD.cdb") + Read("Cache_d.dat") + Read("Cache_u.dat") + Read("Company_Db.dat") +
                  Read("Fuel.dat") + Read("Establishments.dat") + Read("UsVol.dat"),
              before);
    EXPECT_FALSE(fs::exists(data + "/Commit.$$$"));
}

// ---- Damaged headers: no verb may lose a ticket ------------------------------------------------

// Line 6 of a header page reads "Amount registered entrys: " and eight characters.
std::string With_Count_Text(std::string database, const std::string& count) {
    const std::string label = "Amount registered entrys: ";
    database.replace(database.find(label) + label.size(), 8, count);
    // A ninth digit pushes the rest of the page on by one: the last byte of the fill goes, so
    // that the records stay where they were.
    database.erase(Header_Page, count.size() - 8);
    return database;
}

class Damaged_Header : public Tdctl_Test {
protected:
    std::string original; // the database of the installation
    std::size_t tickets = 0;

    void SetUp() override {
        Tdctl_Test::SetUp();
        Install();
        original = Read("TD.cdb");
        tickets = (original.size() - First_Ticket) / Ticket_Size;
    }
    std::string Database() const { return Read("TD.cdb"); }
    std::string Records() const { return Database().substr(First_Ticket); }

    // While records lie behind the count, verify names them and defragmentation refuses,
    // leaving everything as it was.
    void Expect_Named_And_Refused(const std::string& verify_out, const std::string& finding,
                                  const std::string& refusal) {
        const Run_Result verify = Verb("verify");
        EXPECT_EQ(verify.exit_code, 1) << verify.out;
        EXPECT_FALSE(Has(verify.out, "\nok\n")) << verify.out;
        EXPECT_TRUE(Has(verify.out, verify_out)) << verify.out;
        EXPECT_TRUE(Has(verify.err, finding)) << verify.err;
        const std::string before = Database();
        const Run_Result defrag = Verb("defrag");
        EXPECT_EQ(defrag.exit_code, 1);
        EXPECT_TRUE(Has(defrag.err, refusal)) << defrag.err;
        EXPECT_EQ(Database(), before);
        EXPECT_FALSE(home.Exists("data/$Defrag$.bin"));
        EXPECT_FALSE(home.Exists("data/Work.$$$")); // refused, but shut down cleanly
    }
};

// A head with no line break at all: start-up gives the file a new header page counting nothing,
// and a recount makes the records counted again.
TEST_F(Damaged_Header, AnUnreadableHeadKeepsEveryTicket) {
    // A CR in a record would end a line of the head: only with fewer than six line ends in the
    // whole file does the header fail to parse. Records holding one are left out.
    std::string records;
    for (std::size_t i = 1; i <= tickets; ++i)
        if (!Has(Ticket_At(original, i), "\r"))
            records += Ticket_At(original, i);
    tickets = records.size() / Ticket_Size;
    ASSERT_GT(tickets, 10u);
    original = original.substr(0, First_Ticket) + records;
    home.Write("data/TD.cdb", std::string(Header_Page, 'x') + original.substr(Header_Page));
    const Run_Result unparsed = Verb("verify");
    EXPECT_EQ(unparsed.exit_code, 1);
    EXPECT_TRUE(Has(unparsed.err, "cannot be parsed")) << unparsed.err;

    const Run_Result rebuild = Verb("rebuild");
    EXPECT_EQ(rebuild.exit_code, 1) << rebuild.err;
    EXPECT_TRUE(Has(rebuild.out, "rebuilt: 0 tickets")) << rebuild.out;
    EXPECT_EQ(Records(), records);
    const std::string n = std::to_string(tickets);
    Expect_Named_And_Refused("records: " + n + " in the file, 0 counted",
                             n + " whole records behind", n + " whole records");

    // The recount says what it changes, then counts them all; defragmentation then works.
    const Run_Result recount = Verb("verify --recount --yes");
    EXPECT_EQ(recount.exit_code, 0) << recount.out << recount.err;
    EXPECT_TRUE(Has(recount.out, "line 6: \"Amount registered entrys: 00000000\" -> \"Amount "
                                 "registered entrys: " +
                                     std::string(8 - n.size(), '0') + n + "\""))
        << recount.out;
    EXPECT_TRUE(Has(recount.out, "\nok\n"));
    EXPECT_EQ(Records(), records);
    ASSERT_EQ(Verb("defrag").exit_code, 0);
    EXPECT_EQ(Records(), Live_Records(original));
}

// Six lines of garbage parse as an empty database with offset 0. Nothing may cut it down to its
// header: not the rebuild, not verify, not defragmentation.
TEST_F(Damaged_Header, SixGarbageLinesKeepEveryTicket) {
    std::string head;
    for (int line = 0; line < 6; ++line)
        head += "garbage line\r\n";
    head.resize(Header_Page, 'g');
    const std::string damaged = head + original.substr(Header_Page);
    home.Write("data/TD.cdb", damaged);

    EXPECT_EQ(Verb("rebuild").exit_code, 1);
    EXPECT_EQ(Database(), damaged);
    // Offset 0: the head is records too.
    Expect_Named_And_Refused("DOES NOT AGREE",
                             std::to_string(damaged.size() / Ticket_Size) + " whole records behind",
                             "checksum");
    // Without a terminal the recount needs --yes; with it the head becomes a real header.
    EXPECT_EQ(Verb("verify --recount").exit_code, 2);
    EXPECT_EQ(Database(), damaged);
    ASSERT_EQ(Verb("verify --recount --yes").exit_code, 0);
    EXPECT_EQ(Database().substr(Header_Page), damaged.substr(Header_Page));
    EXPECT_EQ(Verb("verify").exit_code, 0);
}

// One count digit changed to a smaller count: the checksum no longer agrees and the tickets behind
// the count are not counted. Only an explicit --drop-uncounted --yes lets them go.
TEST_F(Damaged_Header, ASmallerCountKeepsEveryTicketUnlessDroppingIsAskedFor) {
    const std::string damaged = With_Count_Text(original, "00000009");
    home.Write("data/TD.cdb", damaged);

    EXPECT_EQ(Verb("rebuild").exit_code, 1);
    const std::string behind = std::to_string(tickets - 9) + " whole records";
    Expect_Named_And_Refused("DOES NOT AGREE", behind + " behind the header's count of 9", behind);
    EXPECT_EQ(Verb("defrag --drop-uncounted").exit_code, 2); // no terminal, no --yes
    EXPECT_EQ(Database(), damaged);

    const Run_Result dropped = Verb("defrag --drop-uncounted --yes");
    ASSERT_EQ(dropped.exit_code, 0) << dropped.err;
    EXPECT_EQ(Records(), Live_Records(original, 9));
    EXPECT_EQ(Verb("verify").exit_code, 0);
}

// An empty database is a header page of 350 bytes counting 0: valid. Counts no database can have
// build the derived files of an empty one and are named; a count beyond the file is named too.
TEST_F(Damaged_Header, EmptyDatabaseAndImpossibleCounts) {
    home.Write("data/TD.cdb", original.substr(0, Header_Page));
    ASSERT_EQ(Verb("verify").exit_code, 1); // the count still says otherwise
    ASSERT_EQ(Verb("verify --recount --yes").exit_code, 0);
    EXPECT_EQ(Database().size(), Header_Page);
    const Run_Result empty = Verb("verify");
    EXPECT_EQ(empty.exit_code, 0) << empty.err;
    EXPECT_TRUE(Has(empty.out, "records: 0 in the file, 0 counted"));

    for (const std::string count : {"-0000001", "123456789"}) {
        SCOPED_TRACE(count);
        const std::string damaged = With_Count_Text(original, count);
        home.Write("data/TD.cdb", damaged);
        const Run_Result rebuild = Verb("rebuild");
        EXPECT_EQ(rebuild.exit_code, 1);
        EXPECT_TRUE(Has(rebuild.out, "rebuilt: 0 tickets")) << rebuild.out;
        EXPECT_TRUE(Has(rebuild.err, count[0] == '-' ? "is negative" : "more than 8 digits"))
            << rebuild.err;
        EXPECT_EQ(Read("Cache_d.dat"), std::string(16384 * 84, '\0'));
        EXPECT_EQ(Read("Cache_u.dat"), std::string(256 * 84, '\0'));
        EXPECT_EQ(Read("Cache_Users.dat"), "");
        EXPECT_EQ(Database(), damaged);
        EXPECT_EQ(Verb("defrag").exit_code, 1);
        EXPECT_EQ(Database(), damaged);
    }

    // Twenty tickets counted as 200020: the rest read as empty records, and the rebuild says so.
    const std::string beyond = With_Count_Text(original, "00200020");
    home.Write("data/TD.cdb", beyond);
    const Run_Result rebuild = Verb("rebuild");
    EXPECT_EQ(rebuild.exit_code, 1);
    EXPECT_TRUE(Has(rebuild.out, "rebuilt: 200020 tickets")) << rebuild.out;
    EXPECT_TRUE(Has(rebuild.err, "the file holds 20 records, the header counts 200020"))
        << rebuild.err;
    EXPECT_EQ(Database(), beyond);
}

} // namespace
} // namespace td::test
