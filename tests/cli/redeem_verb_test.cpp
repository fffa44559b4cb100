// tdctl redeem on an installation the test writes itself: the rows it prints, the records it
// changes and the two totals files, against figures worked out here from the tickets by the
// rules of the totals; and a commit killed at each of its writes.
#include "cli/tdctl_runner.h"
#include "storage/header.h"
#include "storage/records.h"
#include "support/temp_folder.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

using td::test::Run_Result;
using td::test::Temp_Folder;

constexpr std::size_t Record = 72;
constexpr std::size_t Offset = 6;                        // records of the header page
constexpr double Today = 45366;                          // 15.03.2024
constexpr std::int32_t Anywhere_Else = 65536 + (1 << 3); // only station 3

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

template <typename T> T At(const std::string& bytes, std::size_t at) {
    T value{};
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

struct Sold {
    std::string serial;
    int fuel, volume, company;
    std::int32_t mask = 0; // with station limits when not 0
    double expire = 0;     // with date limits when not 0
};

// The fields the totals and a booking look at, read by offsets of our own.
struct Ticket {
    int used, deleted, fuel, volume, company, station;
    double real, sell, validation;
    std::string raw;
};

std::vector<Ticket> Tickets_Of(const std::string& database) {
    std::vector<Ticket> tickets;
    for (std::size_t at = Offset * Record; at + Record <= database.size(); at += Record) {
        Ticket t{static_cast<unsigned char>(database[at]),
                 static_cast<unsigned char>(database[at + 1]),
                 static_cast<unsigned char>(database[at + 3]),
                 At<std::int32_t>(database, at + 4),
                 At<std::int32_t>(database, at + 22),
                 At<std::int32_t>(database, at + 30),
                 At<double>(database, at + 8),
                 At<double>(database, at + 36),
                 At<double>(database, at + 44),
                 database.substr(at, Record)};
        tickets.push_back(t);
    }
    return tickets;
}

using Totals = std::map<std::pair<int, int>, double>; // (record, fuel) -> litres, non-zero only

// What a rebuild on `date` puts into Cache_d.dat and Cache_u.dat, from the tickets alone.
std::pair<Totals, Totals> Expected_Totals(const std::vector<Ticket>& tickets, double date) {
    Totals buyers, stations;
    for (const Ticket& t : tickets) {
        if (t.deleted != 0 || t.sell > date)
            continue;
        if (t.used == 0)
            buyers[{t.company, t.fuel}] += t.volume;
        else if (t.validation == date)
            stations[{t.station, t.fuel}] += t.real;
    }
    for (Totals* totals : {&buyers, &stations})
        std::erase_if(*totals, [](const auto& entry) { return entry.second == 0; });
    return {buyers, stations};
}

Totals Totals_File(const std::string& bytes) {
    Totals totals;
    for (std::size_t r = 0; (r + 1) * 84 <= bytes.size(); ++r)
        for (int fuel = 0; fuel < 10; ++fuel)
            if (const double value = At<double>(bytes, r * 84 + 4 + fuel * 8); value != 0)
                totals[{static_cast<int>(r + 1), fuel}] = value;
    return totals;
}

class Redeem_Verb : public ::testing::Test {
protected:
    Temp_Folder config;
    Temp_Folder home;
    std::vector<Sold> sold{
        {"100001", 1, 20, 1},
        {"100002", 1, 20, 2},
        {"100003", 1, 20, 1},
        {"100004", 1, 20, 2, Anywhere_Else},
        {"100005", 1, 20, 1, 0, Today - 1},
        {"100006", 1, 20, 2},
        {"200001", 2, 100, 1},
        {"100001", 2, 20, 2},
    };

    void SetUp() override {
        ::chmod(config.Path().c_str(), 0700);
        ASSERT_EQ(Run("init --demo").exit_code, 0);
        Write_Tickets();
        ASSERT_EQ(Run("date 15.03.2024").exit_code, 0);
        const Run_Result rebuild = Run("rebuild");
        ASSERT_EQ(rebuild.exit_code, 0) << rebuild.err;
    }

    Run_Result Run(const std::string& arguments, const std::string& prefix = "") {
        return td::test::Run_Tdctl(arguments + " --home " + home.Path(), config,
                                   td::test::Runtime_Folder::Config, prefix, "/");
    }
    std::string Data(const std::string& name) const { return home.File("data/" + name); }
    std::string Read(const std::string& name) const { return home.Read("data/" + name); }

    void Write_Tickets() {
        const std::string path = Data("TD.cdb");
        ASSERT_TRUE(td::Create_Header(path, static_cast<long>(sold.size())));
        std::string bytes = home.Read("data/TD.cdb").substr(0, Offset * Record);
        for (const Sold& s : sold) {
            td::Ticket_Record t;
            t.Fuel = static_cast<std::uint8_t>(s.fuel);
            t.Volume = s.volume;
            t.Set_Serial(s.serial);
            t.Company = s.company;
            t.Sale_Mark = 1;
            t.Sell_Date = Today - 10;
            t.Establishment_Limits = s.mask != 0;
            t.Establishments_Mask = s.mask;
            t.Date_Limits = s.expire != 0;
            t.Valid_From = s.expire != 0 ? Today - 30 : 0;
            t.Expire_Date = s.expire;
            std::uint8_t raw[Record];
            td::Encode(t, raw);
            bytes.append(reinterpret_cast<const char*>(raw), Record);
        }
        home.Write("data/TD.cdb", bytes);
    }

    // The totals files against the rebuild's rules over the tickets now on disk.
    void Expect_Totals_Computed() {
        const auto [buyers, stations] = Expected_Totals(Tickets_Of(Read("TD.cdb")), Today);
        EXPECT_EQ(Totals_File(Read("Cache_d.dat")), buyers);
        EXPECT_EQ(Totals_File(Read("Cache_u.dat")), stations);
    }
};

TEST_F(Redeem_Verb, ChecksBooksAndKeepsTheTotals) {
    const std::string before = Read("TD.cdb");
    Expect_Totals_Computed();
    const Totals buyers_before = Totals_File(Read("Cache_d.dat"));

    // An unknown and a refused number: the check says so and nothing is written.
    Run_Result refused =
        Run("redeem --station 2 --fuel АИ-92 --volume 20 100001 100004 100005 999999");
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_TRUE(Has(refused.out, "100001\tМожно списать\t7\n")) << refused.out;
    EXPECT_TRUE(Has(refused.out, "100004\tОшибка! Талон не может быть списан на: 'АЗС №2 "
                                 "Северная'\t10\n"))
        << refused.out;
    EXPECT_TRUE(Has(refused.out,
                    "100005\tТалон просрочен! действителен с: 14.02.2024 по: 14.03.2024\t11\n"))
        << refused.out;
    EXPECT_TRUE(Has(refused.out, "999999\tОшибка!  Талон с таким номером не был продан!\t\n"));
    EXPECT_TRUE(Has(refused.err, "nothing was written")) << refused.err;
    EXPECT_EQ(Read("TD.cdb"), before);

    // --check alone writes nothing either; "020" names the volume as "20" does.
    Run_Result check = Run("redeem --check --station 2 --fuel АИ-92 --volume 020 100001 100002");
    EXPECT_EQ(check.exit_code, 0) << check.err;
    EXPECT_TRUE(Has(check.out, "\tК списанию талонов: 2 шт., объёмом: 40\t\n")) << check.out;
    EXPECT_EQ(Read("TD.cdb"), before);

    // The commit: litres as given, 12,5 and 12.5 alike, 0 as well.
    Run_Result booked =
        Run("redeem --station 2 --fuel АИ-92 --volume 20 100001:12,5 100002:12.5 100003:0 200001");
    EXPECT_EQ(booked.exit_code, 1) << booked.err; // 200001 is not sold under АИ-92, 20 litres
    booked = Run("redeem --station 2 --fuel АИ-92 --volume 20 100001:12,5 100002:12.5 100003:0");
    ASSERT_EQ(booked.exit_code, 0) << booked.err;
    EXPECT_TRUE(Has(booked.out, "100001\tСписан\t7\n100002\tСписан\t8\n100003\tСписан\t9\n"))
        << booked.out;
    EXPECT_TRUE(Has(booked.out, "\tСписано талонов 3 шт., объём: 25\t\n")) << booked.out;

    const std::string after = Read("TD.cdb");
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(after.substr(0, Offset * Record), before.substr(0, Offset * Record));
    const std::vector<Ticket> tickets = Tickets_Of(after);
    const double litres[] = {12.5, 12.5, 0};
    for (std::size_t i = 0; i < tickets.size(); ++i) {
        const std::string old = before.substr((Offset + i) * Record, Record);
        if (i >= 3) {
            EXPECT_EQ(tickets[i].raw, old) << i;
            continue;
        }
        EXPECT_EQ(tickets[i].used, 1);
        EXPECT_EQ(tickets[i].real, litres[i]);
        EXPECT_EQ(tickets[i].station, 2);
        EXPECT_EQ(tickets[i].validation, Today);
        // Nothing else of the record changed.
        std::string expected = old;
        std::string changed = tickets[i].raw;
        for (std::size_t at : {0, 8, 30, 44})
            changed.replace(at, at == 0 ? 1 : (at == 30 ? 4 : 8), expected, at,
                            at == 0 ? 1 : (at == 30 ? 4 : 8));
        EXPECT_EQ(changed, expected) << i;
    }
    // The whole volume off each buyer, the litres onto the station.
    Totals buyers = buyers_before;
    buyers[{1, 1}] -= 40;
    buyers[{2, 1}] -= 20;
    std::erase_if(buyers, [](const auto& entry) { return entry.second == 0; });
    EXPECT_EQ(Totals_File(Read("Cache_d.dat")), buyers);
    EXPECT_EQ(Totals_File(Read("Cache_u.dat")), (Totals{{{2, 1}, 25.0}}));
    Expect_Totals_Computed();

    // A second redemption of the same number is refused with this booking's date and station.
    Run_Result again = Run("redeem --station 3 --fuel АИ-92 --volume 20 100001");
    EXPECT_EQ(again.exit_code, 1);
    EXPECT_TRUE(Has(again.out, "100001\tОшибка! Талон уже был списан: 15.03.2024 на АЗС №2 "
                               "Северная\t7\n"))
        << again.out;
}

TEST_F(Redeem_Verb, BadArgumentsAreTold) {
    const std::string before = Read("TD.cdb");
    for (const char* arguments :
         {"redeem --station 2 --fuel АИ-92 --volume 20 12a",
          "redeem --station 2 --fuel АИ-92 "
          "--volume 20 1234567",
          "redeem --station 2 --fuel АИ-92 --volume 20 100001:1,2,3",
          "redeem --station 2 --fuel АИ-92 --volume 20", "redeem --fuel АИ-92 --volume 20 1",
          "redeem --station 9 --fuel АИ-92 --volume 20 100001",
          "redeem --station 2 --fuel Керосин --volume 20 100001",
          "redeem --station 2 --fuel АИ-92 --volume 33 100001",
          "redeem --station 2 --fuel АИ-92 --volume 20 --bogus 100001"}) {
        const Run_Result run = Run(arguments);
        EXPECT_EQ(run.exit_code, 2) << arguments << "\n" << run.err;
        EXPECT_TRUE(Has(run.err, "tdctl redeem: ")) << arguments << "\n" << run.err;
    }
    EXPECT_EQ(Read("TD.cdb"), before);
}

// A commit of four tickets killed at each of its writes and flushes: after a start, each ticket
// is booked whole or untouched, and the totals are those of the tickets on disk.
TEST_F(Redeem_Verb, KilledAtEveryWriteOfACommit) {
    if (std::system("strace -V >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "strace is not installed";
    const std::string pristine = home.Path() + "/../pristine-" + std::to_string(::getpid());
    const std::string data = home.File("data");
    ASSERT_EQ(std::system(("cp -a '" + data + "' '" + pristine + "'").c_str()), 0);
    const std::string before = Read("TD.cdb");
    const std::string listed = "100001:7 100002 100003:30,5 100006:0";
    const std::string traced = "-P '" + Data("TD.cdb") + "' -P '" + Data("Cache_u.dat") + "' -P '" +
                               Data("Cache_d.dat") + "' -P '" + Data("Redeem.$$$") + "'";
    std::vector<std::string> kills;
    // 4 tickets x 4 writes (the note, the ticket, the station's and the buyer's totals), and one
    // more that never comes.
    for (int n = 1; n <= 17; ++n)
        kills.push_back("pwrite64:signal=KILL:when=" + std::to_string(n));
    for (int n = 1; n <= 3; ++n)
        kills.push_back("fdatasync:signal=KILL:when=" + std::to_string(n));
    int booked_before = -1;
    for (const std::string& kill : kills) {
        SCOPED_TRACE(kill);
        ASSERT_EQ(std::system(
                      ("rm -rf '" + data + "' && cp -a '" + pristine + "' '" + data + "'").c_str()),
                  0);
        const Run_Result run =
            Run("redeem --station 1 --fuel АИ-92 --volume 20 " + listed,
                "strace -f -o /dev/null -e trace=pwrite64,fdatasync -e inject=" + kill + " " + traced);
        const bool completed = kill == "pwrite64:signal=KILL:when=17";
        EXPECT_EQ(run.exit_code == 0, completed) << run.exit_code << run.err;
        // The start after: the totals rebuilt when the run died, as it left them when not.
        const Run_Result after = Run("totals buyers");
        ASSERT_EQ(after.exit_code, 0) << after.err;
        const std::vector<Ticket> tickets = Tickets_Of(Read("TD.cdb"));
        ASSERT_EQ(tickets.size(), sold.size());
        const double litres[] = {7, 20, 30.5, 0, 0, 0};
        int booked = 0;
        for (std::size_t i : {0u, 1u, 2u, 5u}) {
            const std::string old = before.substr((Offset + i) * Record, Record);
            if (tickets[i].raw == old)
                continue;
            ++booked;
            EXPECT_EQ(tickets[i].used, 1) << i;
            EXPECT_EQ(tickets[i].real, litres[i]) << i;
            EXPECT_EQ(tickets[i].station, 1) << i;
            EXPECT_EQ(tickets[i].validation, Today) << i;
        }
        // Tickets are booked in their order: a later kill never books fewer.
        EXPECT_GE(booked, booked_before);
        booked_before = booked;
        if (completed) {
            EXPECT_EQ(booked, 4);
        }
        Expect_Totals_Computed();
        EXPECT_FALSE(home.Exists("data/Redeem.$$$"));
    }
    std::system(("rm -rf '" + pristine + "'").c_str());
}

// A write that fails in the middle of a commit: the fatal screen's text and its cause, the rows
// written so far on standard output, every ticket whole, and after a start the totals of the
// tickets on disk.
TEST_F(Redeem_Verb, AFailedWriteEndsInTheFatalScreen) {
    if (std::system("strace -V >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "strace is not installed";
    const std::string before = Read("TD.cdb");
    const Run_Result run =
        Run("redeem --station 1 --fuel АИ-92 --volume 20 100001 100002 100003",
            "strace -f -o /dev/null -e trace=pwrite64 -e inject=pwrite64:error=ENOSPC:when=6 -P '" +
                Data("TD.cdb") + "' -P '" + Data("Redeem.$$$") + "'");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(Has(run.err, "FATAL ERROR 61 in module: Disk full:")) << run.err;
    EXPECT_TRUE(Has(run.err, "cause: " + Data("TD.cdb"))) << run.err;
    // The note and the ticket of the first two, the third's note, then its ticket fails.
    EXPECT_TRUE(Has(run.out, "\tСписание талонов\t\n")) << run.out;
    EXPECT_TRUE(Has(run.out, "100002\tСписан\t8\n")) << run.out;
    EXPECT_FALSE(Has(run.out, "100003\tСписан")) << run.out;
    EXPECT_FALSE(Has(run.out, "Списано талонов")) << run.out;

    ASSERT_EQ(Run("totals buyers").exit_code, 0);
    const std::vector<Ticket> tickets = Tickets_Of(Read("TD.cdb"));
    EXPECT_EQ(tickets[0].used, 1);
    EXPECT_EQ(tickets[1].used, 1);
    EXPECT_EQ(tickets[2].raw, before.substr((Offset + 2) * Record, Record));
    Expect_Totals_Computed();
}

} // namespace
