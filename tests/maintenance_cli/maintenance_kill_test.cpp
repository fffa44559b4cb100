// tdctl backup, restore, delete and audit from outside, and killed at many points of each: after
// every kill a backup or a database is the old file or the new one whole, every ticket record is
// whole (marked or not), and a start rebuilds balances equal to those worked out here from the
// bytes of the database. Kills come from strace (signal=KILL at the N-th call on a file).
#include "cli/tdctl_runner.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "support/temp_folder.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using td::test::Run_Result;
using td::test::Temp_Folder;
using Bytes = std::vector<std::uint8_t>;

constexpr double Working_Date = 45366; // 15.03.2024

bool Strace_Present() {
    return std::system("strace -V >/dev/null 2>&1") == 0;
}

Bytes Read_Bytes(const std::string& path) {
    std::error_code ec;
    if (!fs::exists(path, ec))
        return {};
    return td::test::Read_All_Bytes(path);
}

// Fuel, volume, company, sell date, used, deleted: what the balances depend on.
struct Ticket {
    int fuel;
    int volume;
    int company;
    double sell;
    int used;
    int deleted;
    std::string serial;
    int station;
};

// The ticket record by its documented offsets, written here, not by the code under test.
Bytes Record_Of(const Ticket& t) {
    Bytes r(72, 0);
    r[0] = static_cast<std::uint8_t>(t.used);
    r[1] = static_cast<std::uint8_t>(t.deleted);
    r[3] = static_cast<std::uint8_t>(t.fuel);
    std::memcpy(&r[4], &t.volume, 4);
    double real = t.used ? t.volume - 0.5 : 0;
    std::memcpy(&r[8], &real, 8);
    std::memcpy(&r[16], t.serial.data(), 6);
    std::memcpy(&r[22], &t.company, 4);
    std::int32_t one = 1;
    std::memcpy(&r[26], &one, 4);
    std::memcpy(&r[30], &t.station, 4);
    std::memcpy(&r[36], &t.sell, 8);
    double when = t.used ? Working_Date : 0;
    std::memcpy(&r[44], &when, 8);
    return r;
}

// Company balances (Cache_d.dat) as the rules give them: nominal litres of live, unredeemed
// tickets sold on or before the working date, by company and fuel.
std::map<std::pair<int, int>, double> Balances_Of(const Bytes& database) {
    std::map<std::pair<int, int>, double> totals;
    const std::size_t count = database.size() < 432 ? 0 : (database.size() - 432) / 72;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* r = database.data() + 432 + i * 72;
        std::int32_t volume, company;
        double sell;
        std::memcpy(&volume, r + 4, 4);
        std::memcpy(&company, r + 22, 4);
        std::memcpy(&sell, r + 36, 8);
        if (r[1] == 0 && r[0] == 0 && sell <= Working_Date)
            totals[{company, r[3]}] += volume;
    }
    return totals;
}

std::map<std::pair<int, int>, double> Balances_In_Cache(const Bytes& cache) {
    std::map<std::pair<int, int>, double> totals;
    for (std::size_t n = 0; n * 84 + 84 <= cache.size(); ++n)
        for (int f = 0; f < 10; ++f) {
            double v;
            std::memcpy(&v, cache.data() + n * 84 + 4 + 8 * f, 8);
            if (v != 0)
                totals[{static_cast<int>(n + 1), f}] = v;
        }
    return totals;
}

class Maintenance_Cli : public ::testing::Test {
protected:
    Temp_Folder config;
    Temp_Folder home;
    Temp_Folder arc;

    void SetUp() override {
        ::chmod(config.Path().c_str(), 0700);
        Run_Result init = Verb("init");
        ASSERT_EQ(init.exit_code, 0) << init.err;
        fs::create_directories(home.File("data"));
        // Two stations, two companies, one fuel; the reference files through the encoders.
        td::Record_File stations(Data("Establishments.dat"), td::Name_Record_Size);
        td::Record_File companies(Data("Company_Db.dat"), td::Company_Record_Size);
        td::Record_File fuels(Data("Fuel.dat"), td::Fuel_Record_Size);
        Bytes raw(td::Fuel_Record_Size);
        for (int i = 1; i <= 2; ++i) {
            td::Name_Record s{1, "АЗС " + std::to_string(i)};
            td::Encode(s, raw.data());
            ASSERT_TRUE(stations.Write(static_cast<std::uint64_t>(i), raw.data()));
            td::Company_Record c{1, std::to_string(i), "1", "", "", "Фирма " + std::to_string(i)};
            td::Encode(c, raw.data());
            ASSERT_TRUE(companies.Write(static_cast<std::uint64_t>(i), raw.data()));
        }
        td::Fuel_Record fuel;
        fuel.Exists = 1;
        fuel.Name = "АИ-92";
        td::Encode(fuel, raw.data());
        ASSERT_TRUE(fuels.Write(1, raw.data()));
        ASSERT_EQ(Verb("date 15.03.2024").exit_code, 0);
    }

    Run_Result Verb(const std::string& arguments, const std::string& prefix = "") {
        return td::test::Run_Tdctl(arguments + " --home " + home.Path(), config,
                                   td::test::Runtime_Folder::Config, prefix, "/");
    }
    std::string Data(const std::string& name) const { return home.File("data/" + name); }

    // `count` tickets of 20 litres, sold before the working date to companies 1 and 2; every
    // third redeemed at station 1 or 2.
    void Write_Tickets(int count, int first_serial) {
        const std::string db = Data("TD.cdb");
        fs::remove(db);
        ASSERT_TRUE(td::Create_Header(db, count));
        Bytes all;
        for (int i = 0; i < count; ++i) {
            Ticket t{1,
                     20,
                     1 + i % 2,
                     Working_Date - 3,
                     i % 3 == 0 ? 1 : 0,
                     0,
                     std::to_string(first_serial + i),
                     1 + i % 2};
            Bytes r = Record_Of(t);
            all.insert(all.end(), r.begin(), r.end());
        }
        td::Record_File file(db, 72);
        ASSERT_TRUE(file.Write_Block(7, static_cast<std::uint64_t>(count), all.data()));
    }

    // A start rebuilds; the balances then are those of the database's bytes.
    void Expect_Start_Rebuilds_Balances() {
        Run_Result rebuild = Verb("rebuild");
        ASSERT_EQ(rebuild.exit_code, 0) << rebuild.err;
        EXPECT_EQ(Balances_In_Cache(Read_Bytes(Data("Cache_d.dat"))),
                  Balances_Of(Read_Bytes(Data("TD.cdb"))));
    }

    // strace prefix killing tdctl at the `when`-th call of `calls` on one of `paths`.
    static std::string Kill_At(const std::string& calls, int when,
                               const std::vector<std::string>& paths) {
        std::string prefix = "strace -f -qq -o /dev/null -e inject=" + calls +
                             ":signal=KILL:when=" + std::to_string(when);
        for (const std::string& p : paths)
            prefix += " -P '" + p + "'";
        return prefix;
    }
};

TEST_F(Maintenance_Cli, BackupRestoreDeleteAndAuditWork) {
    Write_Tickets(30, 100000);
    const Bytes original = Read_Bytes(Data("TD.cdb"));
    // No folder given: the stored one, by default under the data folder's name.
    Run_Result backup = Verb("backup");
    ASSERT_EQ(backup.exit_code, 0) << backup.err;
    EXPECT_NE(backup.err.find("Резервное копирование базы данных успешно завершено!"),
              std::string::npos);
    EXPECT_EQ(Read_Bytes(home.File("data/BackUp/TD.cbk")), original);
    ASSERT_EQ(Verb("backup " + arc.Path()).exit_code, 0);
    EXPECT_EQ(Read_Bytes(arc.File("TD.cbk")), original);

    // Off a terminal the destructive verbs need --yes.
    EXPECT_EQ(Verb("restore " + arc.Path()).exit_code, 2);
    EXPECT_EQ(Verb("delete redeemed").exit_code, 2);
    EXPECT_EQ(Verb("delete sideways --yes").exit_code, 2);
    EXPECT_EQ(Verb("delete range --fuel АИ-92 --yes").exit_code, 2);
    EXPECT_EQ(Verb("delete redeemed-on 31.02.2024 --yes").exit_code, 2);

    // Written by hand, the caches are not built yet: the audit says so, a rebuild mends it.
    Run_Result audit = Verb("audit");
    EXPECT_EQ(audit.exit_code, 1);
    EXPECT_NE(audit.out.find("company\t1\t\tbalance of fuel 1: 0 in "), std::string::npos)
        << audit.out;
    ASSERT_EQ(Verb("rebuild").exit_code, 0);
    audit = Verb("audit");
    EXPECT_EQ(audit.exit_code, 0) << audit.out;
    Run_Result deleted = Verb("delete redeemed --yes");
    ASSERT_EQ(deleted.exit_code, 0) << deleted.err;
    EXPECT_EQ(deleted.out, "deleted\t10\n");
    EXPECT_EQ(Verb("audit").exit_code, 0);
    Run_Result range =
        Verb("delete range --fuel АИ-92 --volume 20 --from 100001 --to 100004 --yes");
    EXPECT_EQ(range.out, "deleted\t4\n") << range.err;
    EXPECT_NE(Read_Bytes(Data("TD.cdb")), original);

    Run_Result restore = Verb("restore " + arc.Path() + " --yes");
    ASSERT_EQ(restore.exit_code, 0) << restore.err;
    EXPECT_EQ(Read_Bytes(Data("TD.cdb")), original);
    EXPECT_EQ(Balances_In_Cache(Read_Bytes(Data("Cache_d.dat"))), Balances_Of(original));

    // An anomaly: the same number twice among live tickets.
    {
        td::Record_File file(Data("TD.cdb"), 72);
        Bytes r = Record_Of({1, 20, 1, Working_Date - 3, 0, 0, "100002", 0});
        ASSERT_TRUE(file.Write(8, r.data()));
    }
    audit = Verb("audit");
    EXPECT_EQ(audit.exit_code, 1);
    EXPECT_NE(audit.out.find("ticket\t9\t100002\tthe same number under fuel 1 and volume 20 as "
                             "record 8\n"),
              std::string::npos)
        << audit.out;

    // Clearing: the files go into a dated folder, and tdctl says where.
    Run_Result cleared = Verb("delete all --yes");
    EXPECT_EQ(cleared.exit_code, 0) << cleared.err;
    ASSERT_EQ(cleared.out.rfind("cleared\t" + home.File("data/Cleared-"), 0), 0u) << cleared.out;
    const std::string aside = cleared.out.substr(8, cleared.out.find('\n') - 8);
    EXPECT_FALSE(fs::exists(Data("TD.cdb")));
    EXPECT_TRUE(fs::exists(aside + "/TD.cdb"));
    EXPECT_TRUE(fs::exists(Data("Fuel.dat")));
}

TEST_F(Maintenance_Cli, AFailingBackupLeavesTheOldOneAndSaysSo) {
    Write_Tickets(2000, 100000);
    ASSERT_EQ(Verb("backup " + arc.Path()).exit_code, 0);
    const Bytes old_backup = Read_Bytes(arc.File("TD.cbk"));
    Write_Tickets(3000, 200000);
    const Bytes database = Read_Bytes(Data("TD.cdb"));
    // A size limit below the database: the copy fails part way.
    Run_Result full = Verb("backup " + arc.Path(), "ulimit -f 100;");
    EXPECT_EQ(full.exit_code, 1);
    EXPECT_NE(full.err.find("Ошибка!: Ошибка! "), std::string::npos) << full.err;
    EXPECT_NE(full.err.find("(61)"), std::string::npos) << full.err;
    EXPECT_EQ(Read_Bytes(arc.File("TD.cbk")), old_backup);
    EXPECT_EQ(Read_Bytes(Data("TD.cdb")), database);
    EXPECT_FALSE(fs::exists(arc.File("$Copy$.tmp")));
    // A target that is a file where the folder should be.
    Run_Result blocked = Verb("backup " + arc.File("TD.cbk"));
    EXPECT_EQ(blocked.exit_code, 1);
    EXPECT_EQ(Read_Bytes(arc.File("TD.cbk")), old_backup);
    // A restore the limit stops leaves the database as it was.
    Run_Result restore = Verb("restore " + arc.Path() + " --yes", "ulimit -f 100;");
    EXPECT_EQ(restore.exit_code, 1);
    EXPECT_EQ(Read_Bytes(Data("TD.cdb")), database);
}

TEST_F(Maintenance_Cli, BackupAndRestoreKilledAnywhereLeaveOldOrNewWhole) {
    if (!Strace_Present())
        GTEST_SKIP() << "needs strace";
    // Copied in one call, and a second that finds the end.
    Write_Tickets(64000, 100000);
    ASSERT_EQ(Verb("backup " + arc.Path()).exit_code, 0);
    const Bytes old_db = Read_Bytes(Data("TD.cdb"));
    Write_Tickets(61000, 300000);
    const Bytes new_db = Read_Bytes(Data("TD.cdb"));
    const std::string work = arc.File("$Copy$.tmp");
    const std::vector<std::pair<std::string, int>> points{
        {"openat", 1}, {"copy_file_range", 1}, {"copy_file_range", 2},
        {"fsync", 1},  {"rename", 1},          {"fsync", 2}};
    int new_seen = 0;
    for (const auto& [call, when] : points) {
        SCOPED_TRACE(call + " " + std::to_string(when));
        Verb("backup " + arc.Path(), Kill_At(call, when, {work, arc.File("TD.cbk"), arc.Path()}));
        const Bytes backup = Read_Bytes(arc.File("TD.cbk"));
        EXPECT_TRUE(backup == old_db || backup == new_db) << backup.size();
        new_seen += backup == new_db;
        EXPECT_EQ(Read_Bytes(Data("TD.cdb")), new_db);
        // Put the old backup back for the next point.
        if (backup == new_db)
            td::test::Write_All_Bytes(arc.File("TD.cbk"), old_db);
    }
    EXPECT_GE(new_seen, 1) << "a kill after the rename keeps the new backup";
    // The next backup after a kill goes through.
    ASSERT_EQ(Verb("backup " + arc.Path()).exit_code, 0);
    EXPECT_EQ(Read_Bytes(arc.File("TD.cbk")), new_db);
    td::test::Write_All_Bytes(arc.File("TD.cbk"), old_db);

    // Restore, killed: the database is the old one or the backup whole, and a start rebuilds.
    const std::string data_work = Data("$Copy$.tmp");
    for (const auto& [call, when] : points) {
        SCOPED_TRACE("restore " + call + " " + std::to_string(when));
        td::test::Write_All_Bytes(Data("TD.cdb"), new_db);
        Verb("restore " + arc.Path() + " --yes",
             Kill_At(call, when, {data_work, Data("TD.cdb"), home.File("data")}));
        const Bytes now = Read_Bytes(Data("TD.cdb"));
        EXPECT_TRUE(now == old_db || now == new_db) << now.size();
        Expect_Start_Rebuilds_Balances();
    }
}

TEST_F(Maintenance_Cli, DeletionKilledAnywhereLeavesEveryRecordWhole) {
    if (!Strace_Present())
        GTEST_SKIP() << "needs strace";
    Write_Tickets(3000, 100000);
    const Bytes original = Read_Bytes(Data("TD.cdb"));
    ASSERT_EQ(Verb("rebuild").exit_code, 0);
    auto check_whole = [&](bool redeemed_only) -> long {
        const Bytes now = Read_Bytes(Data("TD.cdb"));
        EXPECT_EQ(now.size(), original.size());
        if (now.size() != original.size())
            return -1;
        EXPECT_TRUE(std::equal(now.begin(), now.begin() + 432, original.begin()));
        long marked = 0;
        for (std::size_t at = 432; at < now.size(); at += 72) {
            Bytes expected(original.begin() + static_cast<long>(at),
                           original.begin() + static_cast<long>(at + 72));
            Bytes have(now.begin() + static_cast<long>(at),
                       now.begin() + static_cast<long>(at + 72));
            if (have != expected) {
                expected[1] = 1;
                EXPECT_EQ(have, expected) << "record at " << at;
                if (redeemed_only) {
                    EXPECT_EQ(have[0], 1) << "record at " << at;
                }
                ++marked;
            }
        }
        return marked;
    };
    // Every third ticket is redeemed; in blocks of three tickets each block has one mark: a
    // thousand writes.
    long last = -1;
    for (int when : {1, 2, 17, 250, 999, 1000}) {
        SCOPED_TRACE("redeemed, pwrite " + std::to_string(when));
        td::test::Write_All_Bytes(Data("TD.cdb"), original);
        Run_Result run =
            Verb("delete redeemed --yes", "export TDCTL_TEST_DELETION_BLOCK=3; " +
                                              Kill_At("pwrite64", when, {Data("TD.cdb")}));
        EXPECT_NE(run.exit_code, 0);
        const long marked = check_whole(true);
        EXPECT_EQ(marked, when - 1) << "the writes before the kill are there, whole";
        EXPECT_GT(marked, last);
        last = marked;
        Expect_Start_Rebuilds_Balances();
    }
    // Killed at the flush: every mark written, every record whole.
    td::test::Write_All_Bytes(Data("TD.cdb"), original);
    Verb("delete redeemed --yes", Kill_At("fdatasync", 1, {Data("TD.cdb")}));
    EXPECT_EQ(check_whole(true), 1000);
    Expect_Start_Rebuilds_Balances();

    // A range of numbers, killed in the middle.
    for (int when : {1, 2}) {
        td::test::Write_All_Bytes(Data("TD.cdb"), original);
        Verb("delete range --fuel АИ-92 --volume 20 --from 100000 --to 102999 --yes",
             "export TDCTL_TEST_DELETION_BLOCK=500; " +
                 Kill_At("pwrite64", when, {Data("TD.cdb")}));
        check_whole(false);
        Expect_Start_Rebuilds_Balances();
    }
    // Clearing, killed between its moves: every file is in place or moved aside whole.
    td::test::Write_All_Bytes(Data("TD.cdb"), original);
    ASSERT_EQ(Verb("rebuild").exit_code, 0);
    const Bytes diff = Read_Bytes(Data("Cache_d.dat"));
    Verb("delete all --yes", Kill_At("rename", 2, {Data("TD.cdb"), Data("Cache_d.dat")}));
    bool found = false;
    for (const auto& entry : fs::directory_iterator(home.File("data")))
        if (entry.path().filename().string().rfind("Cleared-", 0) == 0) {
            found = true;
            EXPECT_EQ(Read_Bytes(entry.path().string() + "/TD.cdb"), original);
            const Bytes moved = Read_Bytes(entry.path().string() + "/Cache_d.dat");
            EXPECT_TRUE(moved.empty() ? Read_Bytes(Data("Cache_d.dat")) == diff : moved == diff);
        }
    EXPECT_TRUE(found);
}

} // namespace

namespace {

// The demo installation is what a sound installation looks like: the audit finds nothing there.
TEST(Maintenance_Cli_Demo, TheAuditFindsNothingInTheDemoInstallation) {
    Temp_Folder config;
    Temp_Folder home;
    ::chmod(config.Path().c_str(), 0700);
    Run_Result init = td::test::Run_Tdctl("init --demo --home " + home.Path(), config);
    ASSERT_EQ(init.exit_code, 0) << init.err;
    Run_Result audit = td::test::Run_Tdctl("audit --home " + home.Path(), config);
    EXPECT_EQ(audit.exit_code, 0) << audit.out << audit.err;
    EXPECT_EQ(audit.out, "");
    EXPECT_NE(audit.err.find(" tickets read, 0 findings"), std::string::npos) << audit.err;
}

} // namespace
