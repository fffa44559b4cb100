// Start-up and shutdown on temporary installations, judged by what they leave on disk, and passes
// that can't write (or read) a file whole: the database stays intact, the user learns which file
// and why, and the run keeps the work marker so that the next start rebuilds.
#include "kernel/cache_passes.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "shell/database_commands.h"
#include "storage/cache_fixture.h"
#include "storage/defragmentation.h"
#include "storage/file_failure.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace td::test {
namespace {

class Fake_Guard : public Instance_Guard {
public:
    Result answer;
    Result Acquire() override { return answer; }
};

const char* Minimal_Ini = "[Tally depot beta]\r\nDatabases = \\data\r\n[end]\r\n";

class Startup : public ::testing::Test {
protected:
    Temp_Folder home;
    Fake_Ui ui;
    Fake_Clock clock;
    Memory_Settings store;
    Fake_Guard guard;
    Startup_Ports ports{ui, clock, store, guard};

    void SetUp() override { Reset_State(); }

    // The settings file and the data folder it names.
    void Install() {
        home.Write("td.ini", Minimal_Ini);
        std::filesystem::create_directory(home.File("data"));
    }

    void Start() {
        Reset_State();
        ui = Fake_Ui();
        Main_Startup(State(), ports, home.Path());
    }

    bool Box_Shown(const std::string& text) const {
        auto texts = ui.Box_Texts();
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    }

    std::uintmax_t Size_Of(const std::string& relative) const {
        return std::filesystem::file_size(home.File(relative));
    }
};

TEST_F(Startup, FirstRunWithOnlySettingsFileThenCleanExitThenKilledRun) {
    Install();
    Start();

    // (The three warnings of an empty installation are tried on the Qt program.)
    EXPECT_EQ(ui.splash_captions,
              (std::vector<std::string>{"Загрузка настроек", "Индексация базы данных",
                                        "Загрузка завершена"}));

    // A header with zero tickets, the marker, and the totals files at their first sizes.
    Header_Info header;
    EXPECT_EQ(Read_Header(home.File("data/TD.cdb"), header), "Ok");
    EXPECT_EQ(header.count, 0);
    EXPECT_EQ(State().Ticket_Count, 0);
    EXPECT_TRUE(home.Exists("data/Work.$$$"));
    EXPECT_EQ(Size_Of("data/Cache_u.dat"), 16384u * Cache_Record_Size);
    EXPECT_EQ(Size_Of("data/Cache_d.dat"), 256u * Cache_Record_Size);
    // The index pass wrote the headers of the indexed series.
    EXPECT_TRUE(home.Exists("data/z1_10.dat"));
    EXPECT_TRUE(home.Exists("data/z8_100.dat"));
    // No stored date: the machine's.
    EXPECT_EQ(State().Current_Date, clock.today);

    // A clean exit removes the marker and the index files.
    State().Current_Date = Date_Serial(2026, 3, 14);
    Shutdown_Steps(State(), store);
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
    EXPECT_FALSE(home.Exists("data/z1_10.dat"));

    // After a clean exit: no message; the saved working date comes back though the clock moved.
    clock.today += 40;
    Start();
    EXPECT_FALSE(Box_Shown("Программа была завершена неожиданно."));
    EXPECT_EQ(State().Current_Date, Date_Serial(2026, 3, 14));
    auto totals_before = Read_All_Bytes(home.File("data/Cache_d.dat"));

    // The run is killed: the marker stays, the next start says so and rebuilds in full, which
    // writes the company totals with all 16384 records.
    Start();
    EXPECT_TRUE(Box_Shown("Программа была завершена неожиданно."));
    EXPECT_EQ(Size_Of("data/Cache_d.dat"), 16384u * Cache_Record_Size);
    EXPECT_EQ(Size_Of("data/Cache_u.dat"), 256u * Cache_Record_Size);
    EXPECT_NE(totals_before.size(), 16384u * Cache_Record_Size);
    EXPECT_TRUE(home.Exists("data/Work.$$$"));

    // A stored date of 0 is no date: the machine's again.
    store.Save("Tally Depot", "Kernel", "Date", "0:00:00");
    Start();
    EXPECT_EQ(State().Current_Date, clock.today);
}

TEST_F(Startup, MissingDataFolderIsCreatedAndThisRunWorksInProgramFolder) {
    home.Write("td.ini", "[Tally depot beta]\nDatabases = \\elsewhere\\data\n");
    std::filesystem::create_directory(home.File("elsewhere"));
    Start(); // (the folder made and the database in the program's folder: tried on the Qt program)
    EXPECT_EQ(State().Data_Folder, home.Path());
    EXPECT_TRUE(home.Exists("Work.$$$"));
    EXPECT_FALSE(home.Exists("elsewhere/data/TD.cdb"));

    // The next run finds the folder and works in it.
    Shutdown_Steps(State(), store);
    Start();
    EXPECT_EQ(State().Data_Folder, home.File("elsewhere/data"));
    EXPECT_TRUE(home.Exists("elsewhere/data/TD.cdb"));
}

TEST_F(Startup, DamagedHeadIsRewrittenAndRecordsKept) {
    Install();
    std::string garbage(350, 'x');
    garbage += std::string(82, '\0') + std::string(72, '\x01');
    home.Write("data/TD.cdb", garbage);
    Start();
    std::string after = home.Read("data/TD.cdb");
    ASSERT_EQ(after.size(), garbage.size());
    EXPECT_EQ(after.substr(350), garbage.substr(350));
    EXPECT_EQ(after.substr(0, 21), "TD HDR *Ver 1.84.745*");
}

// Only a missing database or a damaged head gets a new header. A file that exists but can't be
// opened or read ends the start with the file and the reason, and keeps its bytes: a passing
// read error must never cost the tickets. (tdctl's tests try a FIFO and a link to itself.)
TEST_F(Startup, ADatabaseThatCantBeOpenedEndsTheStartAndStaysAsItIs) {
    Install();
    const std::string database = home.File("data/TD.cdb");
    auto Expect_Fatal = [&](const std::string& reason, const std::string& code) {
        EXPECT_THROW(Start(), Process_Ended);
        ASSERT_EQ(ui.fatals.size(), 1u);
        EXPECT_EQ(ui.fatals[0].module_path,
                  "Tally_depot\\Main\\Cannot read " + database + ": " + reason);
        EXPECT_EQ(ui.fatals[0].code, code);
        EXPECT_FALSE(home.Exists("data/Work.$$$"));
    };

    std::filesystem::create_directory(database);
    Expect_Fatal("Is a directory", "0x4B");
    EXPECT_TRUE(std::filesystem::is_directory(database));
    std::filesystem::remove(database);

    // A link to a file that doesn't exist yet is a database that doesn't exist yet.
    std::filesystem::create_symlink("real.cdb", database);
    Start();
    EXPECT_TRUE(home.Exists("data/real.cdb"));
    EXPECT_EQ(State().Ticket_Count, 0);
}

// The disk fills up in the middle of the new header: the start ends saying which file and why.
// (A totals file that can't be opened is tried through tdctl.)
TEST_F(Startup, AHeaderThatCantBeWrittenSaysWhichAndWhy) {
    Install();
    Start(); // the other files first, so that the header is what the disk has no room for
    Shutdown_Steps(State(), store);
    std::filesystem::remove(home.File("data/TD.cdb"));
    {
        Write_Budget budget(100);
        EXPECT_THROW(Start(), Process_Ended);
    }
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Tally_depot\\Main\\Cannot create the database header of " +
                                            home.File("data/TD.cdb") + ": No space left on device");
    EXPECT_EQ(ui.fatals[0].code, "0x3D");
    // The hundred bytes are no head: the next start writes a whole one.
    EXPECT_EQ(Size_Of("data/TD.cdb"), 100u);
    Start();
    Header_Info header;
    EXPECT_EQ(Read_Header(home.File("data/TD.cdb"), header), "Ok");
    EXPECT_EQ(header.count, 0);
}

constexpr const char* Ini = "[Tally depot beta]\r\nCompany = Test\r\n[end]\r\n";

class Pass_Failures : public Data_Folder_Test {
protected:
    Memory_Settings store;
    Fake_Guard guard;
    Startup_Ports ports{ui, clock, store, guard};

    // Tickets of companies 1 to 3, fuels 1 and 2, sold yesterday and not redeemed; every fifth
    // is deleted.
    std::vector<Ticket_Record> Tickets() const {
        std::vector<Ticket_Record> tickets;
        for (int i = 1; i <= 40; ++i)
            tickets.push_back(Make_Ticket({.fuel = 1 + i % 2,
                                           .volume = 10 * (1 + i % 3),
                                           .company = 1 + i % 3,
                                           .sell = today - 1,
                                           .serial = std::to_string(100000 + i),
                                           .deleted = i % 5 == 0}));
        return tickets;
    }

    // The tickets above, companies, and towns and stations named, so that start-up has nothing
    // to warn about; then the start.
    void Install_And_Start() {
        folder.Write("td.ini", Ini);
        Write_All_Bytes(Path("Towns.dat"), Bytes{1});
        Write_All_Bytes(Path("Establishments.dat"), Bytes{1});
        Write_Companies({"Альфа", "Бета", "Гамма"});
        Write_Database(Tickets());
        Start();
    }

    void Start() {
        state = Program_State{};
        ui = Fake_Ui();
        store.Save("Tally Depot", "Kernel", "Date", Format_Date(today));
        Main_Startup(state, ports, folder.Path());
    }
};

TEST_F(Pass_Failures, ARebuildThatCantWriteNamesTheFileAndKeepsTheMarker) {
    Install_And_Start();
    ASSERT_FALSE(state.Derived_Failure.Failed());
    const Bytes database = File_Bytes("TD.cdb");

    // The disk fills up 500 bytes into the company totals: the index entries (12 bytes for each
    // of the 40 tickets) and the buyer list (32 bytes for each of 3 companies) still fit.
    {
        Write_Budget budget(40 * 12 + 3 * 32 + 500);
        const File_Failure failure = Rebuild_All(state, ui, clock, Progress_Target::Form);
        EXPECT_EQ(failure.path, Path("Cache_d.dat"));
        EXPECT_EQ(failure.error, ENOSPC);
    }
    EXPECT_EQ(state.Derived_Failure.path, Path("Cache_d.dat"));
    EXPECT_EQ(File_Bytes("Cache_d.dat").size(), 500u);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Ошибка при работе с файлом " + Path("Cache_d.dat") +
                                    ": No space left on device.\r\nИтоги и индексы построены не "
                                    "полностью; они будут перестроены при следующем запуске "
                                    "программы.");
    EXPECT_EQ(ui.boxes[0].flags, 16);
    EXPECT_EQ(File_Bytes("TD.cdb"), database);

    // Shutdown keeps the marker, so that the next start rebuilds (tried through tdctl, where the
    // next start says so and the totals come back whole).
    Shutdown_Steps(state, store);
    EXPECT_TRUE(folder.Exists("Work.$$$"));
    EXPECT_FALSE(folder.Exists("z1_10.dat"));
    EXPECT_EQ(File_Bytes("TD.cdb"), database);
}

TEST_F(Pass_Failures, TheIndexPassAndTheDatedTotalsReportTheirFailuresToo) {
    Install_And_Start();
    {
        Write_Budget budget(0);
        const File_Failure index = Rebuild_Index(state, ui, clock, Progress_Target::Form);
        EXPECT_EQ(index.path.rfind(folder.Path() + "/z", 0), 0u) << index.path;
        EXPECT_EQ(index.error, ENOSPC);
        const File_Failure headers = Write_Z_Headers(state);
        EXPECT_EQ(headers.path, Path("z1_10.dat"));
        const File_Failure company =
            Rebuild_Company_Totals(state, ui, clock, today, Progress_Target::Form);
        EXPECT_EQ(company.path, Path("Cache_d.dat"));
        const File_Failure station =
            Rebuild_Station_Totals(state, ui, clock, today, today, Progress_Target::Form);
        EXPECT_EQ(station.path, Path("Cache_u.dat"));
    }
    // The first failure is the one the run keeps; each pass told the user (the headers have no
    // box of their own).
    EXPECT_EQ(state.Derived_Failure.path.rfind(folder.Path() + "/z", 0), 0u);
    EXPECT_EQ(ui.boxes.size(), 3u);
    Shutdown_Steps(state, store);
    EXPECT_TRUE(folder.Exists("Work.$$$"));

    // The text entry points of the passes keep their answer and report the same way.
    state.Derived_Failure = File_Failure{};
    {
        Write_Budget budget(0);
        EXPECT_EQ(Run("new"), "Error!");
    }
    EXPECT_TRUE(state.Derived_Failure.Failed());
}

TEST_F(Pass_Failures, DefragmentationThatCantWriteLeavesTheDatabaseWhole) {
    Write_Companies({"Альфа", "Бета", "Гамма"});
    Write_Database(Tickets());
    const Bytes database = File_Bytes("TD.cdb");
    const long long kept = 32;
    // Into the copy, at its end, into the new header.
    for (long long budget_bytes : {0LL, 100LL, kept * 72 - 1, kept * 72 + 100}) {
        SCOPED_TRACE(budget_bytes);
        ui = Fake_Ui();
        ui.resume_fatal = true;
        Defrag_Outcome outcome = Defrag_Outcome::Done;
        {
            Write_Budget budget(budget_bytes);
            EXPECT_EQ(SE_Defragmentation(state, ui, clock, "TD.cdb", Defrag_Uncounted::Refuse,
                                         nullptr, &outcome),
                      "$ERROR$");
        }
        EXPECT_EQ(outcome, Defrag_Outcome::Failed);
        ASSERT_EQ(ui.fatals.size(), 1u);
        EXPECT_EQ(ui.fatals[0].module_path, "Core\\SE_Defragmentation\r\nNo space left on device");
        EXPECT_EQ(ui.fatals[0].code, "0xFDAABCC001C");
        EXPECT_EQ(ui.fatals[0].cause, Path("$Defrag$.bin") + ": No space left on device");
        EXPECT_EQ(File_Bytes("TD.cdb"), database);
        EXPECT_FALSE(state.Derived_Failure.Failed());
    }

    // The new database is in place when the disk fills up in the rebuild behind it: the database
    // is whole and compacted, the totals are not, and the run knows it.
    ui = Fake_Ui();
    Defrag_Outcome outcome = Defrag_Outcome::Failed;
    {
        Write_Budget budget(kept * 72 + 350);
        SE_Defragmentation(state, ui, clock, "TD.cdb", Defrag_Uncounted::Refuse, nullptr, &outcome);
    }
    EXPECT_EQ(outcome, Defrag_Outcome::Done);
    EXPECT_TRUE(ui.fatals.empty());
    Header_Info header;
    ASSERT_EQ(Read_Header(Path("TD.cdb"), header), "Ok");
    EXPECT_EQ(header.count, kept);
    EXPECT_EQ(File_Bytes("TD.cdb").size(), 432u + kept * 72);
    EXPECT_TRUE(state.Derived_Failure.Failed());
    EXPECT_EQ(state.Derived_Failure.error, ENOSPC);

    // A work file that can't be cleared refuses, and says so to a caller that asks.
    std::filesystem::create_directories(Path("$Defrag$.bin/inside"));
    SE_Defragmentation(state, ui, clock, "TD.cdb", Defrag_Uncounted::Refuse, nullptr, &outcome);
    EXPECT_EQ(outcome, Defrag_Outcome::Refused);
}

} // namespace
} // namespace td::test
