// tdctl sell on the installation of tests/data (written from the file layouts, not by the
// program): every byte it changes, worked out here, and the database after a sale killed at
// every write it makes.
#include "cli/tdctl_runner.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <regex>

namespace td::test {
namespace {

namespace fs = std::filesystem;

constexpr double March_1 = 45352;
constexpr double March_31 = 45382;
constexpr std::size_t Offset = 6; // ticket i lives at record i + 6

class Tdctl_Sell : public Tdctl_Test {
protected:
    void SetUp() override {
        Tdctl_Test::SetUp();
        Install();
    }
    double Balance(int company, int fuel) const {
        return Get<double>(Read("Cache_d.dat"), static_cast<std::size_t>(company - 1) * 84 + 4 +
                                                    8 * static_cast<std::size_t>(fuel));
    }
};

// The database with ticket `position` taken out.
std::string Without(std::string database, std::size_t position) {
    return database.erase(First_Ticket + (position - 1) * Ticket_Size, Ticket_Size);
}

TEST_F(Tdctl_Sell, EveryByteOfThreeSalesIsAsWorkedOut) {
    const std::string original = Read("TD.cdb");
    const double balance_2 = Balance(2, 2), balance_3 = Balance(3, 3), balance_1 = Balance(1, 1);

    // One ticket: the first deleted slot (position 6) takes it, quietly, the header untouched.
    const Run_Result one = Verb("sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 777");
    ASSERT_EQ(one.exit_code, 0) << one.err;
    EXPECT_TRUE(Has(one.out, "\tТалон(ы) могут быть зарегистрирован(ы).\t\n"));
    EXPECT_FALSE(Has(one.out, "\tТалон(ы) зарегистрирован(ы).\t")) << one.out;
    std::string after = Read("TD.cdb");
    EXPECT_EQ(Ticket_At(after, 6), (Ticket{"000777", 2, 10, 2}).Bytes());
    EXPECT_EQ(Without(after, 6), Without(original, 6));
    EXPECT_EQ(Balance(2, 2), balance_2 + 10);

    // A range, limited in time and to stations 1 and 3: the deleted slots 14 and 20, then the end.
    const Run_Result range = Verb("sell --buyer 1:00020:00021:00003 --fuel ДТ --volume 20 --from "
                                  "900 --count 3 --valid 01.03.2024 31.03.2024 --stations 1,3");
    ASSERT_EQ(range.exit_code, 0) << range.err;
    EXPECT_TRUE(Has(range.out, "\tТалон(ы) зарегистрирован(ы).\t\n\tНачальный номер: 000900 "
                               "кол-во: 3 шт\t\n"))
        << range.out;
    after = Read("TD.cdb");
    const std::size_t positions[] = {14, 20, 21};
    for (int i = 0; i < 3; ++i) {
        Ticket sold{"00090" + std::to_string(i), 3, 20, 3};
        sold.valid_from = March_1;
        sold.expire = March_31;
        sold.mask = 65536 + 2 + 8;
        EXPECT_EQ(Ticket_At(after, positions[i]), sold.Bytes()) << i;
    }
    EXPECT_EQ(after.size(), (Offset + 21) * Ticket_Size);
    EXPECT_EQ(Header_Count(after), 21);
    EXPECT_EQ(Balance(3, 3), balance_3 + 60);

    // One more: no free slot is left, so it is appended, with its index entry, and the header
    // counts it. The index lives only while the program runs: its write is read off the trace.
    const std::string sale = "sell --buyer 1:00010:00001 --fuel А-92 --volume 20 --number 555";
    if (Strace_Present()) {
        Temp_Folder traces;
        const Run_Result append =
            Verb(sale, "strace -f -xx -o '" + traces.File("trace") + "' -e trace=pwrite64 -P '" +
                           Data("z1_20.dat") + "'");
        ASSERT_EQ(append.exit_code, 0) << append.err;
        // The pair held 100001, 100002 and 100004 (100003 gave its slot to the range): the
        // sale's entry is the fourth, at record 5.
        const std::string text = traces.Read("trace");
        const std::regex write(R"re(pwrite64\(\d+, "((?:\\x[0-9a-f]{2})*)", 12, 48\))re");
        std::smatch match;
        ASSERT_TRUE(std::regex_search(text, match, write)) << text;
        std::string entry(12, '\0');
        entry.replace(0, 6, "000555");
        Put<std::int32_t>(entry, 6, 22 + Offset);
        std::string hex;
        for (unsigned char b : entry) {
            char digits[8];
            std::snprintf(digits, sizeof digits, "\\x%02x", b);
            hex += digits;
        }
        EXPECT_EQ(match[1].str(), hex);
    } else {
        ASSERT_EQ(Verb(sale).exit_code, 0);
    }
    after = Read("TD.cdb");
    EXPECT_EQ(Ticket_At(after, 22), (Ticket{"000555", 1, 20, 1}).Bytes());
    EXPECT_EQ(Header_Count(after), 22);
    EXPECT_EQ(Balance(1, 1), balance_1 + 20);
    EXPECT_EQ(Verb("verify").exit_code, 0);
    EXPECT_FALSE(fs::exists(Data("Commit.$$$")));

    // "10" and "010" name the same volume; --check writes nothing.
    const Run_Result check =
        Verb("sell --buyer 1:00010:00002 --fuel А-95 --volume 010 --number 5 --check");
    EXPECT_EQ(check.exit_code, 0) << check.err;
    EXPECT_TRUE(Has(check.out, "Номер: 000005 кол-во: 1 шт."));
    EXPECT_EQ(Read("TD.cdb"), after);
}

// A flush of the database that fails is the sale's failure, into a freed slot or appended: told,
// never reported as registered.
TEST_F(Tdctl_Sell, AFailedFlushIsToldNotPassedOffAsDone) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    for (const char* sale :
         {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 900",
          "sell --buyer 1:00010:00002 --fuel ДТ --volume 20 --from 900 --count 4"}) {
        const Run_Result run = Verb(sale, Inject("fdatasync", "error=EIO", 1, {Data("TD.cdb")}));
        EXPECT_EQ(run.exit_code, 1) << sale;
        EXPECT_TRUE(Has(run.err, "cause: " + Data("TD.cdb") + ": Input/output error")) << run.err;
        EXPECT_FALSE(Has(run.out, "\tТалон(ы) зарегистрирован(ы).\t")) << run.out;
    }
}

// A sale killed at each of its writes, then the program started again: the database is whole,
// the tickets before the sale are as they were, the batch is there whole or as its first part
// in order, and the balances agree with the tickets.
TEST_F(Tdctl_Sell, ASaleKilledAtAnyWriteLeavesAWholeDatabase) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    const std::string original = Read("TD.cdb");
    Temp_Folder pristine;
    Keep_Data(pristine);

    struct Scenario {
        const char* arguments;
        std::vector<std::size_t> positions; // where the batch goes, in order
        bool slots_taken = false;           // run after a sale that took the three free slots
    };
    const Scenario scenarios[] = {
        // Three deleted slots, then one appended.
        {"sell --buyer 1:00010:00002 --fuel ДТ --volume 20 --from 900 --count 4", {6, 14, 20, 21}},
        // One ticket into the first deleted slot.
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 900", {6}},
        // One ticket appended, with its index entry and the header.
        {"sell --buyer 1:00010:00001 --fuel А-92 --volume 20 --number 900", {21}, true},
    };
    // The installation whose free slots a first sale took, and what it holds then.
    ASSERT_EQ(Verb("sell --buyer 1:00020:00021:00003 --fuel ДТ --volume 10 --from 800 --count 3")
                  .exit_code,
              0);
    const std::string slots_taken = Read("TD.cdb");
    Temp_Folder taken;
    Keep_Data(taken);
    int kills = 0;
    for (const Scenario& scenario : scenarios) {
        const std::string& before = scenario.slots_taken ? slots_taken : original;
        for (const char* file : {"TD.cdb", "Cache_d.dat", "Commit.$$$", "z1_20.dat"}) {
            for (const char* call : {"pwrite64", "write", "fsync", "fdatasync"}) {
                for (int n = 1;; ++n) {
                    SCOPED_TRACE(scenario.arguments + std::string(" killed at ") + call + " #" +
                                 std::to_string(n) + " of " + file);
                    Put_Back_Data(scenario.slots_taken ? taken : pristine);
                    if (Verb(scenario.arguments, Inject(call, "signal=KILL", n, {Data(file)}))
                            .exit_code == 0)
                        break; // no such write left to kill at
                    ++kills;
                    ASSERT_NE(Verb("rebuild").exit_code, 2);
                    // Whole: the header as it was or as written for its count, and as many
                    // records as it counts.
                    const std::string database = Read("TD.cdb");
                    const long count = Header_Count(database);
                    const std::string page = database.substr(0, Header_Page);
                    EXPECT_TRUE(page == before.substr(0, Header_Page) ||
                                page == td::Build_Header_Page(count));
                    ASSERT_EQ(database.size(), First_Ticket + count * Ticket_Size);

                    // The batch's first part: its numbers start at 900, in the order of its places.
                    std::size_t present = 0;
                    while (present < scenario.positions.size() &&
                           static_cast<long>(scenario.positions[present]) <= count &&
                           Ticket_At(database, scenario.positions[present]).substr(16, 6) ==
                               "00090" + std::to_string(present))
                        ++present;
                    // Every other ticket as it was; the batch's own places beyond its first part
                    // as they were too.
                    const auto part_end = scenario.positions.begin() + static_cast<long>(present);
                    for (std::size_t i = 1; i <= 20; ++i)
                        if (std::find(scenario.positions.begin(), part_end, i) == part_end) {
                            EXPECT_EQ(Ticket_At(database, i), Ticket_At(before, i)) << i;
                        }
                    EXPECT_EQ(count, 20 + std::count_if(scenario.positions.begin(), part_end,
                                                        [](std::size_t at) { return at > 20; }));
                    EXPECT_EQ(Totals_File(Read("Cache_d.dat")),
                              Expected_Totals(database, Working_Date).first);
                }
            }
        }
    }
    std::printf("sales killed at a write: %d\n", kills);
    EXPECT_GE(kills, 12);
}

} // namespace
} // namespace td::test
