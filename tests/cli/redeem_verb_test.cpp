// tdctl redeem on tickets the test writes itself: the rows it prints, the records it changes and
// the two totals files, against figures worked out here from the tickets by the rules of the
// totals; a commit killed at each of its writes, and one whose write fails.
#include "cli/tdctl_runner.h"

namespace td::test {
namespace {

class Redeem_Verb : public Tdctl_Test {
protected:
    std::vector<Ticket> sold;

    void SetUp() override {
        Tdctl_Test::SetUp();
        Install();
        const double on = Working_Date - 10;
        sold = {{"100001", 1, 20, 1, on},  {"100002", 1, 20, 2, on}, {"100003", 1, 20, 1, on},
                {"100004", 1, 20, 2, on},  {"100005", 1, 20, 1, on}, {"100006", 1, 20, 2, on},
                {"200001", 2, 100, 1, on}, {"100001", 2, 20, 2, on}};
        sold[3].mask = 65536 + (1 << 3); // only station 3
        sold[4].valid_from = Working_Date - 30;
        sold[4].expire = Working_Date - 1;
        sold[2].valid_from = Working_Date - 30;
        sold[2].expire = Working_Date; // valid up to and including today
        Write_Database(sold);
        const Run_Result rebuild = Verb("rebuild");
        ASSERT_EQ(rebuild.exit_code, 0) << rebuild.err;
    }
    // Ticket `i` (from 0) as a redemption of `litres` at `station` today leaves it.
    std::string Booked(std::size_t i, double litres, int station) const {
        Ticket booked = sold[i];
        booked.used = 1;
        booked.real = litres;
        booked.station = station;
        booked.redeemed = Working_Date;
        return booked.Bytes();
    }
};

TEST_F(Redeem_Verb, ChecksBooksAndKeepsTheTotals) {
    const std::string before = Read("TD.cdb");
    Expect_Totals_Of_The_Tickets();
    Totals buyers = Totals_File(Read("Cache_d.dat"));

    // An unknown and a refused number: the check says so and nothing is written.
    const Run_Result refused =
        Verb("redeem --station 2 --fuel А-92 --volume 20 100001 100004 100005 999999");
    EXPECT_EQ(refused.exit_code, 1);
    for (const char* row :
         {"100001\tМожно списать\t7\n",
          "100004\tОшибка! Талон не может быть списан на: 'АЗС-2 Клинская'\t10\n",
          "100005\tТалон просрочен! действителен с: 14.02.2024 по: 14.03.2024\t11\n",
          "999999\tОшибка!  Талон с таким номером не был продан!\t\n"})
        EXPECT_TRUE(Has(refused.out, row)) << refused.out;
    EXPECT_TRUE(Has(refused.err, "nothing was written")) << refused.err;
    EXPECT_EQ(Read("TD.cdb"), before);

    // --check alone writes nothing either; "020" names the volume as "20" does.
    const Run_Result check =
        Verb("redeem --check --station 2 --fuel А-92 --volume 020 100001 100002");
    EXPECT_EQ(check.exit_code, 0) << check.err;
    EXPECT_TRUE(Has(check.out, "\tК списанию талонов: 2 шт., объёмом: 40\t\n")) << check.out;
    EXPECT_EQ(Read("TD.cdb"), before);

    // The commit: litres as given, 12,5 and 12.5 alike, 0 as well. 200001 is not sold under
    // А-92, 20 litres.
    const std::string booking = "redeem --station 2 --fuel А-92 --volume 20 100001:12,5 "
                                "100002:12.5 100003:0";
    EXPECT_EQ(Verb(booking + " 200001").exit_code, 1);
    const Run_Result booked = Verb(booking);
    ASSERT_EQ(booked.exit_code, 0) << booked.err;
    EXPECT_TRUE(Has(booked.out, "100001\tСписан\t7\n100002\tСписан\t8\n100003\tСписан\t9\n"))
        << booked.out;
    EXPECT_TRUE(Has(booked.out, "\tСписано талонов 3 шт., объём: 25\t\n")) << booked.out;
    const std::string after = Read("TD.cdb");
    EXPECT_EQ(after.substr(0, First_Ticket), before.substr(0, First_Ticket));
    const double litres[] = {12.5, 12.5, 0};
    for (std::size_t i = 0; i < sold.size(); ++i)
        EXPECT_EQ(Ticket_At(after, i + 1), i < 3 ? Booked(i, litres[i], 2) : sold[i].Bytes()) << i;
    EXPECT_EQ(after.size(), before.size());
    // The whole volume off each buyer, the litres onto the station.
    buyers[{1, 1}] -= 40;
    buyers[{2, 1}] -= 20;
    EXPECT_EQ(Totals_File(Read("Cache_d.dat")), buyers);
    EXPECT_EQ(Totals_File(Read("Cache_u.dat")), (Totals{{{2, 1}, 25.0}}));
    Expect_Totals_Of_The_Tickets();

    // A second redemption of the same number is refused with this booking's date and station.
    const Run_Result again = Verb("redeem --station 3 --fuel А-92 --volume 20 100001");
    EXPECT_EQ(again.exit_code, 1);
    EXPECT_TRUE(Has(again.out, "100001\tОшибка! Талон уже был списан: 15.03.2024 на АЗС-2 "
                               "Клинская\t7\n"))
        << again.out;
}

// A commit of four tickets killed at each of its writes and flushes: after a start, each ticket
// is booked whole or untouched, and the totals are those of the tickets on disk.
TEST_F(Redeem_Verb, KilledAtEveryWriteOfACommit) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    Temp_Folder pristine;
    Keep_Data(pristine);
    const std::vector<std::string> traced{Data("TD.cdb"), Data("Cache_u.dat"), Data("Cache_d.dat"),
                                          Data("Redeem.$$$")};
    // 4 tickets x 4 writes (the note, the ticket, the station's and the buyer's totals), and one
    // more that never comes; and the flushes.
    std::vector<std::pair<const char*, int>> kills;
    for (int n = 1; n <= 17; ++n)
        kills.emplace_back("pwrite64", n);
    for (int n = 1; n <= 3; ++n)
        kills.emplace_back("fdatasync", n);
    int booked_before = -1;
    for (const auto& [call, n] : kills) {
        SCOPED_TRACE(call + std::string(" #") + std::to_string(n));
        Put_Back_Data(pristine);
        const Run_Result run =
            Verb("redeem --station 1 --fuel А-92 --volume 20 100001:7 100002 100003:30,5 100006:0",
                 Inject(call, "signal=KILL", n, traced));
        const bool completed = n == 17;
        EXPECT_EQ(run.exit_code == 0, completed) << run.exit_code << run.err;
        // The start after: the totals rebuilt when the run died, as it left them when not.
        const Run_Result after = Verb("totals buyers");
        ASSERT_EQ(after.exit_code, 0) << after.err;
        const std::string database = Read("TD.cdb");
        ASSERT_EQ(database.size(), First_Ticket + sold.size() * Ticket_Size);
        const double litres[] = {7, 20, 30.5, 0, 0, 0};
        int booked = 0;
        for (std::size_t i : {0u, 1u, 2u, 5u}) {
            const std::string now = Ticket_At(database, i + 1);
            booked += now == Booked(i, litres[i], 1);
            EXPECT_TRUE(now == sold[i].Bytes() || now == Booked(i, litres[i], 1)) << i;
        }
        // Tickets are booked in their order: a later kill never books fewer.
        EXPECT_GE(booked, booked_before);
        booked_before = booked;
        if (completed) {
            EXPECT_EQ(booked, 4);
        }
        Expect_Totals_Of_The_Tickets();
        EXPECT_FALSE(home.Exists("data/Redeem.$$$"));
    }
}

// A write that fails in the middle of a commit: the fatal screen's text and its cause, the rows
// written so far on standard output, every ticket whole, and after a start the totals of the
// tickets on disk.
TEST_F(Redeem_Verb, AFailedWriteEndsInTheFatalScreen) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    const Run_Result run =
        Verb("redeem --station 1 --fuel А-92 --volume 20 100001 100002 100003",
             Inject("pwrite64", "error=ENOSPC", 6, {Data("TD.cdb"), Data("Redeem.$$$")}));
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(Has(run.err, "FATAL ERROR 61 in module: Disk full:")) << run.err;
    EXPECT_TRUE(Has(run.err, "cause: " + Data("TD.cdb"))) << run.err;
    // The note and the ticket of the first two, the third's note, then its ticket fails.
    EXPECT_TRUE(Has(run.out, "\tСписание талонов\t\n")) << run.out;
    EXPECT_TRUE(Has(run.out, "100002\tСписан\t8\n")) << run.out;
    EXPECT_FALSE(Has(run.out, "100003\tСписан")) << run.out;
    EXPECT_FALSE(Has(run.out, "Списано талонов")) << run.out;

    ASSERT_EQ(Verb("totals buyers").exit_code, 0);
    const std::string database = Read("TD.cdb");
    EXPECT_EQ(Ticket_At(database, 1), Booked(0, 20, 1));
    EXPECT_EQ(Ticket_At(database, 2), Booked(1, 20, 1));
    EXPECT_EQ(Ticket_At(database, 3), sold[2].Bytes());
    Expect_Totals_Of_The_Tickets();
}

} // namespace
} // namespace td::test
