// tdctl backup, restore, delete and audit from outside, and killed at many points of each: after
// every kill a backup or a database is the old file or the new one whole, every ticket record is
// whole (marked or not), and a start rebuilds balances equal to those worked out here from the
// bytes of the database. Kills come from strace (signal=KILL at the N-th call on a file).
#include "cli/tdctl_runner.h"

namespace td::test {
namespace {

namespace fs = std::filesystem;

class Maintenance_Cli : public Tdctl_Test {
protected:
    Temp_Folder arc;

    void SetUp() override {
        Tdctl_Test::SetUp();
        Install();
    }

    // `count` tickets of А-92, 20 litres, sold before the working date to companies 1 and 2;
    // every third redeemed at station 1 or 2.
    void Write_Tickets(int count, int first_serial) {
        std::vector<Ticket> tickets;
        for (int i = 0; i < count; ++i) {
            const bool used = i % 3 == 0;
            tickets.push_back({std::to_string(first_serial + i), 1, 20, 1 + i % 2, Working_Date - 3,
                               used, 0, 1 + i % 2, used ? 19.5 : 0, used ? Working_Date : 0});
        }
        Write_Database(tickets);
    }

    // A start rebuilds; the totals then are those of the database's bytes.
    void Expect_Start_Rebuilds_Totals() {
        const Run_Result rebuild = Verb("rebuild");
        ASSERT_EQ(rebuild.exit_code, 0) << rebuild.err;
        Expect_Totals_Of_The_Tickets();
    }
};

TEST_F(Maintenance_Cli, BackupRestoreDeleteAndAuditWork) {
    Write_Tickets(30, 100000);
    const std::string original = Read("TD.cdb");
    // No folder given: the stored one, by default under the data folder's name.
    const Run_Result backup = Verb("backup");
    ASSERT_EQ(backup.exit_code, 0) << backup.err;
    EXPECT_TRUE(Has(backup.err, "Резервное копирование базы данных успешно завершено!"));
    EXPECT_EQ(Read("BackUp/TD.cbk"), original);
    ASSERT_EQ(Verb("backup " + arc.Path()).exit_code, 0);
    EXPECT_EQ(arc.Read("TD.cbk"), original);

    // The tickets written by hand, the totals are the installation's: the audit says so (40
    // litres of the installation's tickets, 10 unredeemed of 20 litres of these), a rebuild mends
    // it.
    Run_Result audit = Verb("audit");
    EXPECT_EQ(audit.exit_code, 1);
    EXPECT_TRUE(Has(audit.out, "company\t1\t\tbalance of fuel 1: 40 in " + Data("Cache_d.dat") +
                                   ", 200 by the tickets on 15.03.2024\n"))
        << audit.out;
    ASSERT_EQ(Verb("rebuild").exit_code, 0);
    audit = Verb("audit");
    EXPECT_EQ(audit.exit_code, 0) << audit.out;
    const Run_Result deleted = Verb("delete redeemed --yes");
    ASSERT_EQ(deleted.exit_code, 0) << deleted.err;
    EXPECT_EQ(deleted.out, "deleted\t10\n");
    EXPECT_EQ(Verb("audit").exit_code, 0);
    const Run_Result range =
        Verb("delete range --fuel А-92 --volume 20 --from 100001 --to 100004 --yes");
    EXPECT_EQ(range.out, "deleted\t4\n") << range.err;
    EXPECT_NE(Read("TD.cdb"), original);

    const Run_Result restore = Verb("restore " + arc.Path() + " --yes");
    ASSERT_EQ(restore.exit_code, 0) << restore.err;
    EXPECT_EQ(Read("TD.cdb"), original);
    Expect_Totals_Of_The_Tickets();

    // An anomaly: the same number twice among live tickets.
    std::string twice = original;
    twice.replace(First_Ticket + Ticket_Size, Ticket_Size,
                  (Ticket{"100002", 1, 20, 1, Working_Date - 3}).Bytes());
    home.Write("data/TD.cdb", twice);
    audit = Verb("audit");
    EXPECT_EQ(audit.exit_code, 1);
    EXPECT_TRUE(Has(audit.out, "ticket\t9\t100002\tthe same number under fuel 1 and volume 20 as "
                               "record 8\n"))
        << audit.out;

    // Clearing: the files go into a dated folder, and tdctl says where.
    const Run_Result cleared = Verb("delete all --yes");
    EXPECT_EQ(cleared.exit_code, 0) << cleared.err;
    ASSERT_EQ(cleared.out.rfind("cleared\t" + Data("Cleared-"), 0), 0u) << cleared.out;
    const std::string aside = cleared.out.substr(8, cleared.out.find('\n') - 8);
    EXPECT_FALSE(fs::exists(Data("TD.cdb")));
    EXPECT_TRUE(fs::exists(aside + "/TD.cdb"));
    EXPECT_TRUE(fs::exists(Data("Fuel.dat")));
}

TEST_F(Maintenance_Cli, AFailingBackupLeavesTheOldOneAndSaysSo) {
    Write_Tickets(2000, 100000);
    ASSERT_EQ(Verb("backup " + arc.Path()).exit_code, 0);
    const std::string old_backup = arc.Read("TD.cbk");
    Write_Tickets(3000, 200000);
    const std::string database = Read("TD.cdb");
    // A size limit below the database: the copy fails part way.
    const Run_Result full = Verb("backup " + arc.Path(), "ulimit -f 100;");
    EXPECT_EQ(full.exit_code, 1);
    EXPECT_TRUE(Has(full.err, "Ошибка!: Ошибка! ")) << full.err;
    EXPECT_TRUE(Has(full.err, "(61)")) << full.err;
    EXPECT_EQ(arc.Read("TD.cbk"), old_backup);
    EXPECT_EQ(Read("TD.cdb"), database);
    EXPECT_FALSE(arc.Exists("$Copy$.tmp"));
    // A target that is a file where the folder should be.
    EXPECT_EQ(Verb("backup " + arc.File("TD.cbk")).exit_code, 1);
    EXPECT_EQ(arc.Read("TD.cbk"), old_backup);
    // A restore the limit stops leaves the database as it was.
    EXPECT_EQ(Verb("restore " + arc.Path() + " --yes", "ulimit -f 100;").exit_code, 1);
    EXPECT_EQ(Read("TD.cdb"), database);
}

TEST_F(Maintenance_Cli, BackupAndRestoreKilledAnywhereLeaveOldOrNewWhole) {
    if (!Strace_Present())
        GTEST_SKIP() << "needs strace";
    // Copied in one call, and a second that finds the end.
    Write_Tickets(64000, 100000);
    ASSERT_EQ(Verb("backup " + arc.Path()).exit_code, 0);
    const std::string old_db = Read("TD.cdb");
    Write_Tickets(61000, 300000);
    const std::string new_db = Read("TD.cdb");
    const std::vector<std::pair<std::string, int>> points{
        {"openat", 1}, {"copy_file_range", 1}, {"copy_file_range", 2},
        {"fsync", 1},  {"rename", 1},          {"fsync", 2}};
    int new_seen = 0;
    for (const auto& [call, when] : points) {
        SCOPED_TRACE(call + " " + std::to_string(when));
        Verb("backup " + arc.Path(),
             Inject(call, "signal=KILL", when,
                    {arc.File("$Copy$.tmp"), arc.File("TD.cbk"), arc.Path()}));
        const std::string backup = arc.Read("TD.cbk");
        EXPECT_TRUE(backup == old_db || backup == new_db) << backup.size();
        new_seen += backup == new_db;
        EXPECT_EQ(Read("TD.cdb"), new_db);
        arc.Write("TD.cbk", old_db); // the old backup back for the next point
    }
    EXPECT_GE(new_seen, 1) << "a kill after the rename keeps the new backup";
    // The next backup after a kill goes through.
    ASSERT_EQ(Verb("backup " + arc.Path()).exit_code, 0);
    EXPECT_EQ(arc.Read("TD.cbk"), new_db);
    arc.Write("TD.cbk", old_db);

    // Restore, killed: the database is the old one or the backup whole, and a start rebuilds.
    for (const auto& [call, when] : points) {
        SCOPED_TRACE("restore " + call + " " + std::to_string(when));
        home.Write("data/TD.cdb", new_db);
        Verb("restore " + arc.Path() + " --yes",
             Inject(call, "signal=KILL", when,
                    {Data("$Copy$.tmp"), Data("TD.cdb"), home.File("data")}));
        const std::string now = Read("TD.cdb");
        EXPECT_TRUE(now == old_db || now == new_db) << now.size();
        Expect_Start_Rebuilds_Totals();
    }
}

TEST_F(Maintenance_Cli, DeletionKilledAnywhereLeavesEveryRecordWhole) {
    if (!Strace_Present())
        GTEST_SKIP() << "needs strace";
    Write_Tickets(3000, 100000);
    const std::string original = Read("TD.cdb");
    ASSERT_EQ(Verb("rebuild").exit_code, 0);
    // Every record as it was or marked deleted (byte 1), redeemed ones only when asked; the
    // number marked.
    auto marked_whole = [&](bool redeemed_only) -> long {
        const std::string now = Read("TD.cdb");
        EXPECT_EQ(now.size(), original.size());
        if (now.size() != original.size())
            return -1;
        EXPECT_EQ(now.substr(0, First_Ticket), original.substr(0, First_Ticket));
        long marked = 0;
        for (std::size_t at = First_Ticket; at < now.size(); at += Ticket_Size) {
            std::string expected = original.substr(at, Ticket_Size);
            if (now.compare(at, Ticket_Size, expected) == 0)
                continue;
            expected[1] = 1;
            EXPECT_EQ(now.substr(at, Ticket_Size), expected) << "record at " << at;
            if (redeemed_only) {
                EXPECT_EQ(now[at], 1) << "record at " << at;
            }
            ++marked;
        }
        return marked;
    };
    // Every third ticket is redeemed; in blocks of three tickets each block has one mark: a
    // thousand writes.
    const std::string in_blocks_of = "export TDCTL_TEST_DELETION_BLOCK=";
    long last = -1;
    for (int when : {1, 2, 17, 250, 999, 1000}) {
        SCOPED_TRACE("redeemed, pwrite " + std::to_string(when));
        home.Write("data/TD.cdb", original);
        const Run_Result run =
            Verb("delete redeemed --yes",
                 in_blocks_of + "3; " + Inject("pwrite64", "signal=KILL", when, {Data("TD.cdb")}));
        EXPECT_NE(run.exit_code, 0);
        const long marked = marked_whole(true);
        EXPECT_EQ(marked, when - 1) << "the writes before the kill are there, whole";
        EXPECT_GT(marked, last);
        last = marked;
        Expect_Start_Rebuilds_Totals();
    }
    // Killed at the flush: every mark written, every record whole.
    home.Write("data/TD.cdb", original);
    Verb("delete redeemed --yes", Inject("fdatasync", "signal=KILL", 1, {Data("TD.cdb")}));
    EXPECT_EQ(marked_whole(true), 1000);
    Expect_Start_Rebuilds_Totals();

    // A write that fails (the disk full) is the deletion's failure, said; the marks before it
    // stay, whole, and nothing after it is written.
    home.Write("data/TD.cdb", original);
    const Run_Result full =
        Verb("delete redeemed --yes",
             in_blocks_of + "3; " + Inject("pwrite64", "error=ENOSPC", 5, {Data("TD.cdb")}));
    EXPECT_EQ(full.exit_code, 1) << full.out;
    EXPECT_TRUE(Has(full.err, Data("TD.cdb"))) << full.err;
    EXPECT_EQ(marked_whole(true), 4);
    Expect_Start_Rebuilds_Totals();

    // A range of numbers, killed in the middle.
    for (int when : {1, 2}) {
        home.Write("data/TD.cdb", original);
        Verb("delete range --fuel А-92 --volume 20 --from 100000 --to 102999 --yes",
             in_blocks_of + "500; " + Inject("pwrite64", "signal=KILL", when, {Data("TD.cdb")}));
        marked_whole(false);
        Expect_Start_Rebuilds_Totals();
    }
    // Clearing, killed between its moves: every file is in place or moved aside whole.
    home.Write("data/TD.cdb", original);
    ASSERT_EQ(Verb("rebuild").exit_code, 0);
    const std::string balances = Read("Cache_d.dat");
    Verb("delete all --yes",
         Inject("rename", "signal=KILL", 2, {Data("TD.cdb"), Data("Cache_d.dat")}));
    bool found = false;
    for (const auto& entry : fs::directory_iterator(home.File("data")))
        if (entry.path().filename().string().rfind("Cleared-", 0) == 0) {
            found = true;
            const std::string aside = entry.path().filename().string();
            EXPECT_EQ(Read(aside + "/TD.cdb"), original);
            const std::string moved = Read(aside + "/Cache_d.dat");
            EXPECT_EQ(moved.empty() ? Read("Cache_d.dat") : moved, balances) << aside;
        }
    EXPECT_TRUE(found);
}

} // namespace
} // namespace td::test
