// The rebuild pass: ticket table, entry counts, number index files and the three cache files.
#include "base/text.h"
#include "kernel/cache_passes.h"
#include "kernel/fatal.h"
#include "storage/cache_fixture.h"
#include "storage/number_index.h"

#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <sys/stat.h>
#include <utility>

namespace td::test {
namespace {

using Totals = std::vector<std::array<double, 10>>;

bool Day_Not_After(double a, double b) {
    return std::floor(a) <= std::floor(b);
}

Bytes Totals_Bytes(const Totals& totals) {
    Bytes bytes((totals.size() - 1) * Cache_Record_Size, 0);
    for (std::size_t n = 1; n < totals.size(); ++n)
        for (std::size_t f = 0; f < 10; ++f)
            Put(bytes, (n - 1) * Cache_Record_Size + 4 + 8 * f, totals[n][f]);
    return bytes;
}

Bytes Z_Entry_Bytes(const Ticket_Record& t, std::int32_t record_no) {
    Bytes bytes(12, 0);
    std::memcpy(bytes.data(), t.Serial.data(), 6);
    Put(bytes, 6, record_no);
    bytes[10] = t.Used;
    bytes[11] = t.Deleted;
    return bytes;
}

Bytes Encoded(const Ticket_Record& t) {
    Bytes bytes(Ticket_Record_Size);
    Encode(t, bytes.data());
    return bytes;
}

bool Pair_In_Range(int fuel, int volume) {
    return fuel >= 0 && fuel <= 8 && volume >= 0 && volume <= 210;
}

class Cache_Builder : public Data_Folder_Test {
protected:
    void Remove_All_Files() {
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
            std::filesystem::remove(entry.path());
    }
};

// An empty database: full files of zero totals and an empty buyer list over whatever stood there
// before. (Counts no database can have give the same; tdctl's tests try those on a whole
// installation.)
TEST_F(Cache_Builder, EmptyDatabaseWritesFullZeroTotals) {
    Write_Database({});
    Write_All_Bytes(Path("Cache_d.dat"), Bytes(84, 5));
    Write_All_Bytes(Path("Cache_u.dat"), Bytes(16384 * 84, 9)); // the sizes start-up writes
    Write_All_Bytes(Path("Cache_Users.dat"), Bytes(32, 5));
    state.Ticket_Table.assign(10, Ticket_Record{});

    EXPECT_EQ(Run("new"), "Error!");
    EXPECT_TRUE(ui.fatals.empty());
    EXPECT_EQ(state.Ticket_Table.size(), 1u);
    EXPECT_EQ(File_Bytes("Cache_d.dat"), Bytes(16384 * 84, 0));
    EXPECT_EQ(File_Bytes("Cache_u.dat"), Bytes(256 * 84, 0));
    EXPECT_TRUE(folder.Exists("Cache_Users.dat"));
    EXPECT_EQ(File_Bytes("Cache_Users.dat"), Bytes());
    EXPECT_FALSE(folder.Exists("z1_10.dat")); // "new" writes no headers

    // The index pass still leaves the 80 headers.
    EXPECT_EQ(Run("proection"), "Error!");
    const Bytes header = File_Bytes("z8_100.dat");
    ASSERT_EQ(header.size(), 12u);
    EXPECT_EQ(std::string(header.begin(), header.begin() + 8), "TD Hdr12");
    EXPECT_EQ(bytes::Get_I32(header.data() + 8), 0);

    // The dated caches write the files of the settings, whatever name they are given.
    Write_All_Bytes(Path("Cache_u.dat"), Bytes(16384 * 84, 3));
    EXPECT_EQ(CreateCacheFileForRequest(state, ui, clock, "Other.dat", today, "TD.cdb", "pr"),
              "Error!");
    EXPECT_EQ(CreateCacheFileForRange(state, ui, clock, "Other.dat", today, today, "TD.cdb", "ps"),
              "Error!");
    EXPECT_EQ(File_Bytes("Cache_d.dat"), Bytes(16384 * 84, 0));
    EXPECT_EQ(File_Bytes("Cache_u.dat"), Bytes(256 * 84, 0));
    EXPECT_FALSE(folder.Exists("Other.dat"));
    EXPECT_TRUE(folder.Exists("Company_Db.dat")); // opened by the request, though never read
    EXPECT_EQ(ui.progress_values.back(), 100);
    EXPECT_FALSE(ui.progress_visible);
    EXPECT_TRUE(ui.main_window_enabled);
}

// Tickets of every kind; the files of a "new" pass and of both dated caches are compared byte for
// byte with what an independent loop over the same tickets expects. A few hundred tickets are read
// in one block; tens of thousands in many, read ahead on a thread of its own.
class Whole_Pass : public Data_Folder_Test, public ::testing::WithParamInterface<int> {};

TEST_P(Whole_Pass, MatchesTotalsComputedIndependently) {
    std::mt19937 random(20240315);
    auto pick = [&random](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    auto chance = [&pick](int percent) { return pick(1, 100) <= percent; };

    std::vector<std::string> names;
    for (int c = 1; c <= 30; ++c)
        names.push_back(c % 3 == 0 ? "ООО Топливная компания номер " + std::to_string(c)
                                   : "Firm " + std::to_string(c));
    Write_Companies(names);

    const std::array<int, 15> volumes{10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 15, 25, 210, 300, 0};
    std::vector<Ticket_Record> tickets;
    for (int i = 1; i <= GetParam(); ++i) {
        Ticket_Fields s;
        s.fuel = chance(88) ? pick(1, 8) : std::array<int, 3>{0, 9, 12}[pick(0, 2)];
        s.volume = volumes[static_cast<std::size_t>(pick(0, static_cast<int>(volumes.size()) - 1))];
        s.company = chance(85) ? pick(1, 40) : std::array<int, 3>{0, 20000, 16384}[pick(0, 2)];
        s.sell = today + pick(-40, 5) + (chance(30) ? 0.37 : 0.0);
        s.serial = std::to_string(100000 + pick(0, 899999));
        if (chance(40)) {
            s.used = 1;
            const int when = pick(1, 10);
            s.validation = when <= 5 ? today : when <= 7 ? today + 0.5 : today - pick(1, 9);
            s.real = pick(0, s.volume * 100) / 100.0;
            s.station = chance(85) ? pick(1, 16) : std::array<int, 3>{0, 256, 300}[pick(0, 2)];
        }
        s.deleted = chance(12) ? 1 : 0;
        if (i == 1) // the pass starts with no index file open: keep the first pair an ordinary one
            s.fuel = 1, s.volume = 10;
        tickets.push_back(Make_Ticket(s));
    }
    Write_Database(tickets);
    const Bytes company_file = File_Bytes("Company_Db.dat");

    Totals company(16385), station(257);
    Bytes user_cache;
    std::set<int> listed;
    std::map<std::pair<int, int>, Bytes> z_files;
    std::map<std::pair<int, int>, int> counts;
    for (std::size_t i = 0; i < tickets.size(); ++i) {
        const Ticket_Record& t = tickets[i];
        const std::int32_t record_no = static_cast<std::int32_t>(i + 1 + 6);
        const auto pair = std::make_pair(int{t.Fuel}, t.Volume);
        if (Pair_In_Range(t.Fuel, t.Volume)) {
            Bytes& file = z_files[pair];
            if (file.empty())
                file.assign(12, 0); // record 1, the header, stays empty
            const Bytes entry = Z_Entry_Bytes(t, record_no);
            file.insert(file.end(), entry.begin(), entry.end());
            ++counts[pair];
        } else {
            z_files[pair]; // opened, so created, and left empty
        }
        const bool sold = Day_Not_After(t.Sell_Date, today);
        if (t.Deleted == 0 && sold && t.Fuel <= 9) {
            if (t.Used == 0 && t.Company >= 1 && t.Company <= 16384)
                company[static_cast<std::size_t>(t.Company)][t.Fuel] += t.Volume;
            if (t.Used != 0 && t.Validation_Date == today && t.Establishment >= 1 &&
                t.Establishment <= 256)
                station[static_cast<std::size_t>(t.Establishment)][t.Fuel] += t.Real_Volume;
        }
        if (sold && t.Company != 0 && listed.insert(t.Company).second) {
            Bytes record(32, 0);
            record[0] = 1;
            Put(record, 1, t.Company);
            const std::size_t name_at = static_cast<std::size_t>(t.Company - 1) * 276 + 21;
            for (std::size_t b = 0; b < 27; ++b)
                record[5 + b] = name_at + b < company_file.size() ? company_file[name_at + b] : 0;
            user_cache.insert(user_cache.end(), record.begin(), record.end());
        }
    }

    EXPECT_EQ(Run("new", "form"), "Error!");

    EXPECT_EQ(File_Bytes("Cache_d.dat"), Totals_Bytes(company));
    EXPECT_EQ(File_Bytes("Cache_u.dat"), Totals_Bytes(station));
    EXPECT_EQ(File_Bytes("Cache_Users.dat"), user_cache);
    EXPECT_GT(user_cache.size(), 30u * 32u); // the fixture really lists many companies
    for (const auto& [pair, bytes] : z_files) {
        SCOPED_TRACE(Z_File_Name(pair.first, pair.second));
        ASSERT_TRUE(folder.Exists(Z_File_Name(pair.first, pair.second)));
        EXPECT_EQ(File_Bytes(Z_File_Name(pair.first, pair.second)), bytes);
        EXPECT_EQ(state.Z_Counts.Get(pair.first, pair.second), counts[pair]);
    }
    ASSERT_EQ(state.Ticket_Table.size(), tickets.size() + 1);
    for (std::size_t i = 0; i < tickets.size(); ++i)
        ASSERT_EQ(Encoded(state.Ticket_Table[i + 1]), Encoded(tickets[i])) << "ticket " << i + 1;
    // A form target leaves the progress form up and the main window disabled for the caller.
    EXPECT_TRUE(ui.progress_visible);
    EXPECT_FALSE(ui.main_window_enabled);

    // The dated caches over the same tickets: unredeemed litres sold by a day, and litres drawn
    // in a period.
    const double asked = today - 2, from = today - 3, to = today;
    Totals unredeemed(16385), drawn(257);
    for (const Ticket_Record& t : tickets) {
        if (t.Deleted != 0 || t.Fuel > 9)
            continue;
        if (t.Used == 0 && Day_Not_After(t.Sell_Date, asked) && t.Company >= 1 &&
            t.Company <= 16384)
            unredeemed[static_cast<std::size_t>(t.Company)][t.Fuel] += t.Volume;
        if (t.Used != 0 && std::floor(100.0 * t.Real_Volume) != 0.0 &&
            Day_Not_After(from, t.Validation_Date) && Day_Not_After(t.Validation_Date, to) &&
            t.Establishment >= 1 && t.Establishment <= 256)
            drawn[static_cast<std::size_t>(t.Establishment)][t.Fuel] += t.Real_Volume;
    }
    CreateCacheFileForRequest(state, ui, clock, "Cache_d.dat", asked, "TD.cdb", "form");
    EXPECT_EQ(File_Bytes("Cache_d.dat"), Totals_Bytes(unredeemed));
    CreateCacheFileForRange(state, ui, clock, "Cache_u.dat", from, to, "TD.cdb", "form");
    EXPECT_EQ(File_Bytes("Cache_u.dat"), Totals_Bytes(drawn));
}

INSTANTIATE_TEST_SUITE_P(Cache_Builder, Whole_Pass, ::testing::Values(400, 3 * 8192 + 77));

// The pass begins with the pair (0, 0) and no index file open: tickets of that pair ahead of any
// other are counted but can't be written, and the file appears only once the pair changes to it.
TEST_F(Cache_Builder, LeadingTicketsOfThePairZeroAreCountedButNotWritten) {
    Write_Database({Make_Ticket({.fuel = 0, .volume = 0, .sell = today, .serial = "000001"}),
                    Make_Ticket({.fuel = 1, .volume = 10, .sell = today, .serial = "000002"})},
                   3); // the third ticket lies past the end of the file: a zero record
    Run("proection");
    EXPECT_EQ(state.Z_Counts.Get(0, 0), 2);
    Bytes expected(36, 0);
    Put(expected, 24 + 6, std::int32_t{3 + 6}); // entry 2, record 3: the zero record's position
    EXPECT_EQ(File_Bytes("z0_0.dat"), expected);
}

// "new" leaves the header record of the index files empty; the index pass leaves the cache files
// alone and writes the headers of the series 10 to 100 litres. The counts of one run are
// cumulative: the second pass writes its entries behind those of the first.
TEST_F(Cache_Builder, IndexPassAppendsBehindTheOldEntriesAndWritesTheHeaders) {
    std::vector<Ticket_Record> tickets;
    for (int i = 0; i < 40; ++i)
        tickets.push_back(Make_Ticket({.fuel = 1 + i % 3,
                                       .volume = i % 4 == 0 ? 15 : 10 * (1 + i % 10),
                                       .company = 1,
                                       .sell = today,
                                       .serial = std::to_string(200000 + i)}));
    Write_Database(tickets);
    std::map<std::pair<int, int>, int> counts;
    for (const auto& t : tickets)
        ++counts[{t.Fuel, t.Volume}];
    Run("new");
    const Bytes first_pass = File_Bytes("z2_20.dat");
    ASSERT_EQ(first_pass.size(), 12u * (1 + counts[{2, 20}]));
    EXPECT_EQ(Bytes(first_pass.begin(), first_pass.begin() + 12), Bytes(12, 0));

    const Bytes diff(1000, 0x11), used(500, 0x22), users(96, 0x33);
    Write_All_Bytes(Path("Cache_d.dat"), diff);
    Write_All_Bytes(Path("Cache_u.dat"), used);
    Write_All_Bytes(Path("Cache_Users.dat"), users);
    EXPECT_EQ(Run("proection", "splash"), "Error!");
    EXPECT_EQ(File_Bytes("Cache_d.dat"), diff);
    EXPECT_EQ(File_Bytes("Cache_u.dat"), used);
    EXPECT_EQ(File_Bytes("Cache_Users.dat"), users);
    EXPECT_EQ(state.Ticket_Table.size(), tickets.size() + 1);

    for (int fuel = 1; fuel <= 8; ++fuel)
        for (int volume = 10; volume <= 100; volume += 10) {
            const std::string name = Z_File_Name(fuel, volume);
            const Bytes z = File_Bytes(name);
            const int count = 2 * counts[{fuel, volume}];
            EXPECT_EQ(state.Z_Counts.Get(fuel, volume), count) << name;
            ASSERT_EQ(z.size(), 12u * (1 + count)) << name;
            EXPECT_EQ(std::string(z.begin(), z.begin() + 8), "TD Hdr12") << name;
            EXPECT_EQ(bytes::Get_I32(z.data() + 8), count) << name;
            EXPECT_TRUE(
                std::equal(z.begin() + 12, z.begin() + 12 + 6 * count, z.begin() + 12 + 6 * count))
                << name << ": the second pass's entries repeat the first's";
        }
    // Outside the series the header record stays empty.
    const Bytes z15 = File_Bytes("z1_15.dat");
    ASSERT_EQ(z15.size(), 12u * (1 + 2 * counts[{1, 15}]));
    EXPECT_EQ(Bytes(z15.begin(), z15.begin() + 12), Bytes(12, 0));
}

TEST_F(Cache_Builder, ModeAndTargetAreTrimmedAndCaseFree) {
    std::vector<Ticket_Record> tickets;
    for (int i = 0; i < 60; ++i)
        tickets.push_back(Make_Ticket({.volume = 10, .company = 1, .sell = today}));
    Write_Database(tickets);
    Write_Companies({"Alpha"});
    clock.step = 0.3;
    ui.main_window_enabled = false; // the splash runs before the main window exists

    EXPECT_EQ(Run("NEW ", " Splash "), "Error!");
    EXPECT_EQ(File_Bytes("Cache_d.dat").size(), 16384u * 84);
    ASSERT_GE(ui.splash_progress.size(), 10u);
    EXPECT_EQ(ui.splash_progress.front(), 10);
    for (std::size_t k = 1; k < ui.splash_progress.size(); ++k) {
        EXPECT_GE(ui.splash_progress[k], 10);
        EXPECT_LE(ui.splash_progress[k], 100);
        EXPECT_GE(ui.splash_progress[k], ui.splash_progress[k - 1]);
    }
    EXPECT_TRUE(ui.progress_values.empty());
    EXPECT_FALSE(ui.progress_visible);
    EXPECT_FALSE(ui.main_window_enabled);
    EXPECT_EQ(ui.pumps, static_cast<int>(ui.splash_progress.size()) - 1);

    EXPECT_EQ(Run(" whatever "), "Error!"); // an unknown mode does nothing
    EXPECT_EQ(ui.progress_labels.size(), 0u);
}

// Progress at most once per 0.4 s of clock time, by the absolute difference: the clock goes back
// to 0 at midnight and the reports go on.
TEST_F(Cache_Builder, ProgressIsThrottledAndSurvivesMidnight) {
    struct Midnight_Clock : Clock {
        double now = 86399.0;
        double Seconds_Since_Midnight() override {
            const double reading = now;
            now = std::fmod(now + 0.25, 86400.0);
            return reading;
        }
        double Today() override { return 0; }
    } midnight;
    std::vector<Ticket_Record> tickets(40, Make_Ticket({.sell = today}));
    Write_Database(tickets);
    CreateCacheFile(state, ui, midnight, state.settings.Cache_User_File, "proection", 0, "",
                    state.settings.Database_File, "form");
    // The first reading notes the time; then every second reading is 0.5 s on.
    ASSERT_EQ(ui.progress_values.size(), 1u + 20u);
    EXPECT_EQ(ui.progress_values.front(), 0);
    for (std::size_t k = 1; k < ui.progress_values.size(); ++k)
        EXPECT_EQ(ui.progress_values[k], static_cast<int>(100 * (2 * k) / 40));
    EXPECT_EQ(ui.pumps, 20);
    EXPECT_FALSE(ui.main_window_enabled);
}

TEST_F(Cache_Builder, AddModePutsACompanyIntoTheFirstFreeRecord) {
    // Record 1 used, record 2 free but holding an old name, nothing behind.
    Bytes users(64, 0);
    users[0] = 1;
    Put(users, 1, std::int32_t{4});
    std::memcpy(users.data() + 37, "OLD NAME", 8);
    Write_All_Bytes(Path("Cache_Users.dat"), users);

    auto add = [this](long company, const std::string& name) {
        return CreateCacheFile(state, ui, clock, "Cache_Users.dat", " Add", company, name, "",
                               "null");
    };
    EXPECT_EQ(add(0, "Nobody"), "1");
    EXPECT_EQ(File_Bytes("Cache_Users.dat"), users);

    EXPECT_EQ(add(7, ""), "0"); // without a name the record keeps its old one
    Bytes expected = users;
    expected[32] = 1;
    Put(expected, 33, std::int32_t{7});
    EXPECT_EQ(File_Bytes("Cache_Users.dat"), expected);

    EXPECT_EQ(add(9, "Заправочная компания с длинным именем"), "0");
    const Bytes after = File_Bytes("Cache_Users.dat");
    ASSERT_EQ(after.size(), 96u);
    EXPECT_EQ(after[64], 1);
    EXPECT_EQ(bytes::Get_I32(after.data() + 65), 9);
    EXPECT_EQ(bytes::Get_Text(after.data() + 69, 27), "Заправочная компания с длин");
    EXPECT_TRUE(ui.progress_labels.empty()); // "add" never shows progress
    EXPECT_TRUE(ui.fatals.empty());

    // "add" on a user cache that can't be opened.
    ASSERT_EQ(::mkdir(Path("Blocked.dat").c_str(), 0755), 0);
    EXPECT_THROW(CreateCacheFile(state, ui, clock, "Blocked.dat", "add", 3, "X", "", "null"),
                 Process_Ended);
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Core\\CreateCacheFile");
    EXPECT_EQ(ui.fatals[0].code, "0xEE0035453");
}

// Tickets counted behind the end of the file are zero records of the pair (0, 0). They are made in
// one step, not read: every derived file must come out as if the zero records stood in the file.
TEST_F(Cache_Builder, ZeroRecordsPastTheEndGiveWhatZerosInTheFileGive) {
    struct Shape {
        std::vector<Ticket_Record> tickets;
        long count;
    };
    const auto ticket = [&](int fuel, int volume, int company, std::string serial) {
        return Make_Ticket(
            {.fuel = fuel, .volume = volume, .company = company, .sell = today, .serial = serial});
    };
    const std::vector<Shape> shapes = {
        // Behind a ticket of another pair the index file of (0, 0) is opened for the tail.
        {{ticket(1, 10, 1, "000001"), ticket(2, 20, 2, "000002")}, 2 + 3 * 8192 + 5},
        // The last ticket in the file is of the pair (0, 0) already.
        {{ticket(1, 10, 1, "000001"), ticket(0, 0, 0, "000002")}, 2 + 700},
        // Nothing in the file: the pair (0, 0) never has its file opened.
        {{}, 500},
        // A tail large enough for memory of its own, after a full table of the same size.
        {{ticket(3, 30, 3, "000003")}, 1 + 120000},
    };
    for (const Shape& shape : shapes) {
        // The zeros stand in the file: the reading path of every pass.
        Write_Database(shape.tickets, shape.count);
        {
            Record_File db(Path("TD.cdb"), Ticket_Record_Size);
            const Bytes zero(Ticket_Record_Size, 0);
            ASSERT_TRUE(db.Write(static_cast<std::uint64_t>(shape.count + 6), zero.data()));
        }
        Remove_Number_Index_Files(folder.Path());
        state.Z_Counts.Clear();
        Run("new");
        const Ticket_Array full_table = state.Ticket_Table;
        std::map<std::string, Bytes> derived;
        for (const char* name : {"z0_0.dat", "z1_10.dat", "z2_20.dat", "z3_30.dat", "Cache_d.dat",
                                 "Cache_u.dat", "Cache_Users.dat"})
            if (folder.Exists(name))
                derived[name] = File_Bytes(name);
        const std::int32_t zero_pair = state.Z_Counts.Get(0, 0);

        // The file ends behind its last ticket; the table's memory held other tickets before.
        Remove_All_Files();
        Write_Database(shape.tickets, shape.count);
        state.Z_Counts.Clear();
        const std::size_t n = static_cast<std::size_t>(shape.count);
        state.Ticket_Table.assign(n + 1, ticket(7, 70, 9, "999999"));
        Run("new");
        ASSERT_EQ(state.Ticket_Table.size(), n + 1);
        EXPECT_EQ(std::memcmp(state.Ticket_Table.data(), full_table.data(),
                              (n + 1) * sizeof(Ticket_Record)),
                  0)
            << shape.count;
        EXPECT_EQ(state.Z_Counts.Get(0, 0), zero_pair);
        std::map<std::string, Bytes> now;
        for (const auto& [name, bytes] : derived)
            now[name] = File_Bytes(name);
        EXPECT_EQ(now, derived) << shape.count;
        EXPECT_EQ(folder.Exists("z0_0.dat"), derived.count("z0_0.dat") != 0);
        Remove_All_Files();
    }
    // Worked out by hand for the first shape: entries 1 and 2 of (0, 0) are tickets 3 and 4 of
    // the file, at records 9 and 10; the last one is ticket 24583 at record 24589.
    Write_Database(shapes[0].tickets, shapes[0].count);
    state.Z_Counts.Clear();
    Run("proection");
    EXPECT_EQ(state.Z_Counts.Get(0, 0), 3 * 8192 + 5);
    const Bytes z = File_Bytes("z0_0.dat");
    ASSERT_EQ(z.size(), (3u * 8192 + 5 + 1) * 12);
    EXPECT_EQ(Bytes(z.begin(), z.begin() + 12), Bytes(12, 0)); // no header for volume 0
    Bytes first(12, 0), last(12, 0);
    Put(first, 6, std::int32_t{9});
    Put(last, 6, std::int32_t{24589});
    EXPECT_EQ(Bytes(z.begin() + 12, z.begin() + 24), first);
    EXPECT_EQ(Bytes(z.end() - 12, z.end()), last);
}

// Without a readable header the pass ends at once: no tickets, no files touched.
TEST_F(Cache_Builder, UnreadableHeaderEndsThePassWithAnEmptyTable) {
    Write_All_Bytes(Path("Cache_d.dat"), Bytes(84, 5));
    state.Ticket_Table.assign(10, Ticket_Record{});
    EXPECT_EQ(Run("new"), "Error!"); // no database at all
    EXPECT_EQ(state.Ticket_Table.size(), 1u);
    EXPECT_EQ(File_Bytes("Cache_d.dat"), Bytes(84, 5));

    folder.Write("TD.cdb", std::string(350, 'P')); // one line only
    state.Ticket_Table.assign(10, Ticket_Record{});
    EXPECT_EQ(CreateCacheFile(state, ui, clock, "Cache_Users.dat", "proection", 0, "", "", "form"),
              "Error!");
    EXPECT_EQ(Run("proection"), "Error!");
    EXPECT_EQ(state.Ticket_Table.size(), 1u);
    EXPECT_FALSE(folder.Exists("z1_10.dat"));
    EXPECT_TRUE(ui.fatals.empty());
}

using Dated_Caches = Data_Folder_Test;

// What the whole pass above leaves to the dated caches: litres drawn count from a hundredth of a
// litre up, by the day of redemption whatever its time; the splash target leaves the main window
// alone; progress counts to the number of tickets and one more.
TEST_F(Dated_Caches, RangeCountsLitresDrawnFromAHundredthUpAndProgressToNPlusOne) {
    const double day = today - 10;
    auto drawn = [day](double real, double when) {
        return Make_Ticket({.fuel = 1,
                            .volume = 50,
                            .sell = day - 5,
                            .used = 1,
                            .validation = when,
                            .real = real,
                            .station = 2});
    };
    Write_Database(
        {drawn(0.004, day), drawn(0.01, day), drawn(12.5, day + 0.9), drawn(7, day - 1)});
    ui.main_window_enabled = false;
    CreateCacheFileForRange(state, ui, clock, "Cache_u.dat", day, day, "TD.cdb", "splash");
    Totals drawn_by(257);
    drawn_by[2][1] = 0.01 + 12.5;
    EXPECT_EQ(File_Bytes("Cache_u.dat"), Totals_Bytes(drawn_by));
    EXPECT_EQ(ui.splash_progress.back(), 100);
    EXPECT_FALSE(ui.main_window_enabled);

    CreateCacheFileForRange(state, ui, clock, "Cache_u.dat", day - 1, day + 1, "TD.cdb", "ps");
    drawn_by[2][1] += 7;
    EXPECT_EQ(File_Bytes("Cache_u.dat"), Totals_Bytes(drawn_by));
    EXPECT_TRUE(ui.main_window_enabled);

    clock.step = 0.5; // every reading after the first is a report
    ui.progress_values.clear();
    ui.pumps = 0;
    CreateCacheFileForRequest(state, ui, clock, "Cache_d.dat", today, "TD.cdb", "form");
    EXPECT_EQ(ui.progress_values, (std::vector<int>{0, 20, 40, 60, 80, 100}));
    EXPECT_EQ(ui.pumps, 5);
}

} // namespace
} // namespace td::test
