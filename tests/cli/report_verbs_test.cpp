// tdctl ticket --delete and --restore on the report fixture of tests/data: one byte of one record
// written, and a write that fails or a process killed at the write leaving the database whole.
#include "cli/tdctl_runner.h"

namespace td::test {
namespace {

// The coupon 100002 (А-92, 20 litres, redeemed) is the fixture's 2nd ticket.
constexpr std::size_t Record_Of_100002 = First_Ticket + Ticket_Size;

class Report_Verbs : public Tdctl_Test {
protected:
    void SetUp() override {
        Tdctl_Test::SetUp();
        Install("reports");
    }
};

TEST_F(Report_Verbs, DeleteAndRestoreWriteOneByteOfOneRecord) {
    const std::string before = Read("TD.cdb");
    // A sold coupon has no redemption to undo.
    Run_Result run = Verb("ticket 100003 --fuel ДТ --volume 10 --restore --yes");
    EXPECT_EQ(run.exit_code, 1) << run.err;
    EXPECT_TRUE(Has(run.err, "nothing to restore")) << run.err;
    EXPECT_TRUE(Read("TD.cdb") == before);

    // Restore: Used 0 (byte 0 of the record), nothing else.
    run = Verb("ticket 100002 --fuel 1 --volume 20 --restore --yes");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(Has(run.err, "Талон восстановлен. Необходима переиндексация!!! ")) << run.err;
    std::string expected = before;
    expected[Record_Of_100002] = 0;
    EXPECT_TRUE(Read("TD.cdb") == expected);
    // Sold again in the reports: 20 litres left instead of 18.5 redeemed.
    EXPECT_TRUE(Has(Verb("report left").out, "00010:00101 ООО Ромашка\t40\t0\t0"));

    // Delete: Deleted 1 (byte 1); the coupon is gone from the information and the reports.
    run = Verb("ticket 100002 --fuel 1 --volume 20 --delete --yes");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(Has(run.err, "Восстановление талона: Талон удалён. Необходима переиндексация!!! "))
        << run.err;
    expected[Record_Of_100002 + 1] = 1;
    EXPECT_TRUE(Read("TD.cdb") == expected);
    run = Verb("ticket 100002 --fuel 1 --volume 20");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(Has(Verb("report left").out, "00010:00101 ООО Ромашка\t20\t0\t0"));
}

TEST_F(Report_Verbs, AFailedOrKilledWriteLeavesTheDatabaseWhole) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    const std::string before = Read("TD.cdb");
    const std::string deletion = "ticket 100002 --fuel 1 --volume 20 --delete --yes";
    Run_Result run = Verb(deletion, Inject("pwrite64", "error=ENOSPC", 1, {Data("TD.cdb")}));
    EXPECT_EQ(run.exit_code, 1) << run.err;
    EXPECT_TRUE(Has(run.err, "No space left on device")) << run.err;
    EXPECT_FALSE(Has(run.err, "Талон удалён")) << run.err;
    EXPECT_TRUE(Read("TD.cdb") == before);

    run = Verb(deletion, Inject("pwrite64", "signal=KILL", 1, {Data("TD.cdb")}));
    EXPECT_NE(run.exit_code, 0);
    EXPECT_TRUE(Read("TD.cdb") == before);
    // The next start rebuilds after the crash, and the coupon is there as it was.
    run = Verb("ticket 100002 --fuel 1 --volume 20");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(Has(run.out, "Талон был списан!")) << run.out;
}

} // namespace
} // namespace td::test
