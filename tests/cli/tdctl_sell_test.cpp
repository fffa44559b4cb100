// tdctl sell on the installation of tests/data (written from the file layouts, not by the
// program): every byte it changes, worked out here, and the database after a sale killed at
// every write it makes.
#include "cli/tdctl_runner.h"
#include "support/temp_folder.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using td::test::Read_All_Bytes;
using td::test::Run_Result;
using td::test::Temp_Folder;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t Record = 72;
constexpr std::size_t Offset = 6; // ticket i lives at record i + 6
constexpr std::size_t Totals_Record = 84;
// Days since 30.12.1899.
constexpr double March_15 = 45366;
constexpr double March_1 = 45352;
constexpr double March_31 = 45382;

template <typename T> void Put(Bytes& bytes, std::size_t at, T value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}
template <typename T> T Get(const Bytes& bytes, std::size_t at) {
    T value{};
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

// A new ticket's 72 bytes, field by field at their documented offsets.
Bytes New_Ticket(const char* serial, int fuel, int volume, int company, double from = 0,
                 double to = 0, std::int32_t mask = 0) {
    Bytes t(Record, 0);
    t[3] = static_cast<std::uint8_t>(fuel);
    Put<std::int32_t>(t, 4, volume);
    std::memcpy(t.data() + 16, serial, 6);
    Put<std::int32_t>(t, 22, company);
    Put<std::int32_t>(t, 26, 1);
    t[34] = from != 0 ? 1 : 0;
    t[35] = mask != 0 ? 1 : 0;
    Put<double>(t, 36, March_15);
    Put<double>(t, 52, from);
    Put<double>(t, 60, to);
    Put<std::int32_t>(t, 68, mask);
    return t;
}

Bytes Ticket_At(const Bytes& database, std::size_t position) {
    const std::size_t at = (position + Offset - 1) * Record;
    if (at + Record > database.size())
        return {};
    return Bytes(database.begin() + static_cast<long>(at),
                 database.begin() + static_cast<long>(at + Record));
}

// The count of line 6 of the header page: "Amount registered entrys: 00000020".
long Header_Count(const Bytes& database) {
    const std::string page(database.begin(), database.begin() + 350);
    std::size_t at = 0;
    for (int line = 1; line < 6; ++line)
        at = page.find("\r\n", at) + 2;
    const std::size_t colon = page.find(": ", at) + 2;
    return std::stol(page.substr(colon, page.find("\r\n", at) - colon));
}

// The balances of the sold, not redeemed, not deleted tickets of each company and grade up to the
// working date, as the totals file must hold them.
std::map<std::pair<int, int>, double> Balances(const Bytes& database) {
    std::map<std::pair<int, int>, double> totals;
    const long count = Header_Count(database);
    for (long i = 1; i <= count; ++i) {
        const Bytes t = Ticket_At(database, static_cast<std::size_t>(i));
        if (t.empty() || t[0] != 0 || t[1] != 0 || std::floor(Get<double>(t, 36)) > March_15)
            continue;
        totals[{Get<std::int32_t>(t, 22), t[3]}] += Get<std::int32_t>(t, 4);
    }
    return totals;
}

class Tdctl_Sell : public ::testing::Test {
protected:
    Temp_Folder config;
    Temp_Folder home;

    void SetUp() override {
        ::chmod(config.Path().c_str(), 0700);
        fs::copy(std::string(TD_TEST_DATA) + "/installation", home.Path(),
                 fs::copy_options::recursive | fs::copy_options::overwrite_existing);
        // The expected outputs of the fixture are not part of the installation.
        for (const auto& entry : fs::directory_iterator(home.Path()))
            if (entry.path().extension() == ".out")
                fs::remove(entry.path());
        ASSERT_EQ(Verb("date 15.03.2024").exit_code, 0);
    }
    Run_Result Verb(const std::string& arguments, const std::string& prefix = "") {
        return td::test::Run_Tdctl(arguments + " --home " + home.Path(), config,
                                   td::test::Runtime_Folder::Config, prefix, "/");
    }
    std::string Data(const std::string& name) const { return home.File("data/" + name); }
    Bytes Database() const { return Read_All_Bytes(Data("TD.cdb")); }
    double Balance(int company, int fuel) const {
        const Bytes totals = Read_All_Bytes(Data("Cache_d.dat"));
        return Get<double>(totals, (static_cast<std::size_t>(company) - 1) * Totals_Record + 4 +
                                       8 * static_cast<std::size_t>(fuel));
    }
    // The balances file agrees with the tickets, and holds nothing else.
    void Expect_Balances_Of(const Bytes& database) {
        const Bytes totals = Read_All_Bytes(Data("Cache_d.dat"));
        const auto expected = Balances(database);
        for (std::size_t r = 0; r * Totals_Record < totals.size(); ++r)
            for (int fuel = 0; fuel < 10; ++fuel) {
                const auto it = expected.find({static_cast<int>(r + 1), fuel});
                EXPECT_EQ(Get<double>(totals, r * Totals_Record + 4 + 8 * fuel),
                          it == expected.end() ? 0.0 : it->second)
                    << "company " << r + 1 << " grade " << fuel;
            }
    }
};

bool Strace_Present() {
    return std::system("strace -V >/dev/null 2>&1") == 0;
}

TEST_F(Tdctl_Sell, EveryByteOfThreeSalesIsAsWorkedOut) {
    const Bytes original = Database();
    const double balance_2 = Balance(2, 2), balance_3 = Balance(3, 3), balance_1 = Balance(1, 1);

    // One ticket: the first deleted slot (position 6) takes it, quietly, the header untouched.
    Run_Result one = Verb("sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 777");
    ASSERT_EQ(one.exit_code, 0) << one.err;
    EXPECT_NE(one.out.find("\tТалон(ы) могут быть зарегистрирован(ы).\t\n"), std::string::npos);
    EXPECT_EQ(one.out.find("\tТалон(ы) зарегистрирован(ы).\t"), std::string::npos) << one.out;
    Bytes after = Database();
    EXPECT_EQ(Ticket_At(after, 6), New_Ticket("000777", 2, 10, 2));
    after.erase(after.begin() + (6 + Offset - 1) * Record, after.begin() + (6 + Offset) * Record);
    Bytes rest = original;
    rest.erase(rest.begin() + (6 + Offset - 1) * Record, rest.begin() + (6 + Offset) * Record);
    EXPECT_EQ(after, rest);
    EXPECT_EQ(Balance(2, 2), balance_2 + 10);

    // A range, limited in time and to stations 1 and 3: the deleted slots 14 and 20, then the end.
    Run_Result range = Verb("sell --buyer 1:00020:00021:00003 --fuel ДТ --volume 20 --from 900 "
                            "--count 3 --valid 01.03.2024 31.03.2024 --stations 1,3");
    ASSERT_EQ(range.exit_code, 0) << range.err;
    EXPECT_NE(range.out.find("\tТалон(ы) зарегистрирован(ы).\t\n\tНачальный номер: 000900 "
                             "кол-во: 3 шт\t\n"),
              std::string::npos)
        << range.out;
    const std::int32_t mask = 65536 + 2 + 8;
    after = Database();
    EXPECT_EQ(Ticket_At(after, 14), New_Ticket("000900", 3, 20, 3, March_1, March_31, mask));
    EXPECT_EQ(Ticket_At(after, 20), New_Ticket("000901", 3, 20, 3, March_1, March_31, mask));
    EXPECT_EQ(Ticket_At(after, 21), New_Ticket("000902", 3, 20, 3, March_1, March_31, mask));
    EXPECT_EQ(after.size(), (Offset + 21) * Record);
    EXPECT_EQ(Header_Count(after), 21);
    EXPECT_EQ(Balance(3, 3), balance_3 + 60);

    // One more: no free slot is left, so it is appended, with its index entry, and the header
    // counts it. The index lives only while the program runs: its write is read off the trace.
    std::string trace;
    if (Strace_Present()) {
        Temp_Folder traces;
        trace = traces.File("trace");
        Run_Result append = Verb("sell --buyer 1:00010:00001 --fuel А-92 --volume 20 --number 555",
                                 "strace -f -xx -o '" + trace + "' -e trace=pwrite64 -P '" +
                                     Data("z1_20.dat") + "'");
        ASSERT_EQ(append.exit_code, 0) << append.err;
        std::ifstream in(trace);
        const std::string text((std::istreambuf_iterator<char>(in)), {});
        // The pair held 100001, 100002 and 100004 (100003 gave its slot to the range): the
        // sale's entry is the fourth, at record 5.
        const std::regex write(R"re(pwrite64\(\d+, "((?:\\x[0-9a-f]{2})*)", 12, 48\))re");
        std::smatch match;
        ASSERT_TRUE(std::regex_search(text, match, write)) << text;
        Bytes entry(12, 0);
        std::memcpy(entry.data(), "000555", 6);
        Put<std::int32_t>(entry, 6, 22 + Offset);
        std::string hex;
        for (std::uint8_t b : entry) {
            char digits[8];
            std::snprintf(digits, sizeof digits, "\\x%02x", b);
            hex += digits;
        }
        EXPECT_EQ(match[1].str(), hex);
    } else {
        Run_Result append = Verb("sell --buyer 1:00010:00001 --fuel А-92 --volume 20 --number 555");
        ASSERT_EQ(append.exit_code, 0) << append.err;
    }
    after = Database();
    EXPECT_EQ(Ticket_At(after, 22), New_Ticket("000555", 1, 20, 1));
    EXPECT_EQ(Header_Count(after), 22);
    EXPECT_EQ(Balance(1, 1), balance_1 + 20);
    EXPECT_EQ(Verb("verify").exit_code, 0);
    EXPECT_FALSE(fs::exists(Data("Commit.$$$")));
}

TEST_F(Tdctl_Sell, BadArgumentsAndRefusalsSayWhatIsWrong) {
    const Bytes original = Database();
    struct Case {
        const char* arguments;
        int exit_code;
        const char* says;
    };
    const Case cases[] = {
        {"sell --buyer 1:9:9 --fuel А-95 --volume 10 --number 1", 2, "unknown buyer"},
        {"sell --buyer 1:00010:00002 --fuel Бензин --volume 10 --number 1", 2,
         "not in the catalogue"},
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 11 --number 1", 2,
         "not in the list of volumes"},
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 1234567", 2, "1 to 6 digits"},
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 12a", 2, "1 to 6 digits"},
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10", 2, "exactly one of"},
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 1 --from 2 --count 3", 2,
         "exactly one of"},
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 1 --stations 9", 2,
         "station 9"},
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 1 --valid 1.1.2024 x", 2,
         "not a date"},
        // Taken: refused by the check, nothing written without --force.
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 200002", 1,
         "refused by the check"},
        // With --force the commit runs and refuses the same number on its own.
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --first 200001 --last 200003 --force",
         1, ""},
    };
    for (const Case& c : cases) {
        const Run_Result run = Verb(c.arguments);
        EXPECT_EQ(run.exit_code, c.exit_code) << c.arguments << "\n" << run.err;
        EXPECT_NE(run.err.find(c.says), std::string::npos) << c.arguments << "\n" << run.err;
    }
    EXPECT_EQ(Database(), original);
    // "20" and "020" name the same volume; --check writes nothing.
    const Run_Result check =
        Verb("sell --buyer 1:00010:00002 --fuel А-95 --volume 010 --number 5 --check");
    EXPECT_EQ(check.exit_code, 0) << check.err;
    EXPECT_NE(check.out.find("Номер: 000005 кол-во: 1 шт."), std::string::npos);
    EXPECT_EQ(Database(), original);
}

// A sale killed at each of its writes, then the program started again: the database verifies,
// the tickets before the sale are as they were, the batch is there whole or as its first part
// in order, and the balances agree with the tickets.
TEST_F(Tdctl_Sell, ASaleKilledAtAnyWriteLeavesAWholeDatabase) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    const Bytes original = Database();
    Temp_Folder pristine;
    fs::copy(home.Path(), pristine.Path(), fs::copy_options::recursive);

    struct Scenario {
        const char* arguments;
        std::vector<std::size_t> positions; // where the batch goes, in order
        std::vector<std::string> serials;
        bool slots_taken = false; // run after a sale that took the three free slots
    };
    const Scenario scenarios[] = {
        // Three deleted slots, then one appended.
        {"sell --buyer 1:00010:00002 --fuel ДТ --volume 20 --from 900 --count 4",
         {6, 14, 20, 21},
         {"000900", "000901", "000902", "000903"}},
        // One ticket into the first deleted slot.
        {"sell --buyer 1:00010:00002 --fuel А-95 --volume 10 --number 777", {6}, {"000777"}},
        // One ticket appended, with its index entry and the header.
        {"sell --buyer 1:00010:00001 --fuel А-92 --volume 20 --number 555", {21}, {"000555"}, true},
    };
    // The installation whose free slots a first sale took, and what it holds then.
    ASSERT_EQ(Verb("sell --buyer 1:00020:00021:00003 --fuel ДТ --volume 10 --from 800 --count 3")
                  .exit_code,
              0);
    const Bytes slots_taken = Database();
    Temp_Folder taken;
    fs::copy(home.Path(), taken.Path(), fs::copy_options::recursive);
    const char* points[] = {"TD.cdb", "Cache_d.dat", "Commit.$$$", "z1_20.dat"};
    int kills = 0;
    for (const Scenario& scenario : scenarios) {
        const Bytes& before = scenario.slots_taken ? slots_taken : original;
        const std::string& source = scenario.slots_taken ? taken.Path() : pristine.Path();
        for (const char* file : points) {
            for (const char* call : {"pwrite64", "write", "fsync", "fdatasync"}) {
                for (int n = 1;; ++n) {
                    fs::remove_all(home.Path() + "/data");
                    fs::copy(source + "/data", home.Path() + "/data", fs::copy_options::recursive);
                    const std::string tracer =
                        "strace -f -o /dev/null -e trace=" + std::string(call) +
                        " -e inject=" + call + ":signal=KILL:when=" + std::to_string(n) + " -P '" +
                        Data(file) + "'";
                    const Run_Result sale = Verb(scenario.arguments, tracer);
                    if (sale.exit_code == 0)
                        break; // no such write left to kill at
                    ++kills;
                    const Run_Result start = Verb("rebuild");
                    ASSERT_NE(start.exit_code, 2) << start.err;
                    const Run_Result verify = Verb("verify");
                    ASSERT_EQ(verify.exit_code, 0) << scenario.arguments << " killed at " << call
                                                   << " #" << n << " of " << file << "\n"
                                                   << verify.out << verify.err;

                    const Bytes database = Database();
                    const long count = Header_Count(database);
                    std::size_t present = 0;
                    while (present < scenario.positions.size() &&
                           static_cast<long>(scenario.positions[present]) <= count &&
                           Ticket_At(database, scenario.positions[present]).size() == Record &&
                           std::memcmp(Ticket_At(database, scenario.positions[present]).data() + 16,
                                       scenario.serials[present].data(), 6) == 0)
                        ++present;
                    // Every other ticket as it was; the batch's own places beyond its first part
                    // as they were too.
                    for (long i = 1; i <= 20; ++i) {
                        bool batch = false;
                        for (std::size_t j = 0; j < present; ++j)
                            batch = batch || scenario.positions[j] == static_cast<std::size_t>(i);
                        if (!batch) {
                            EXPECT_EQ(Ticket_At(database, i), Ticket_At(before, i))
                                << "ticket " << i << " after " << call << " #" << n << " of "
                                << file;
                        }
                    }
                    long appended = 0;
                    for (std::size_t j = 0; j < present; ++j)
                        appended += scenario.positions[j] > 20 ? 1 : 0;
                    EXPECT_EQ(count, 20 + appended) << call << " #" << n << " of " << file;
                    Expect_Balances_Of(database);
                }
            }
        }
    }
    std::printf("sales killed at a write: %d\n", kills);
    EXPECT_GE(kills, 12);
}

} // namespace
