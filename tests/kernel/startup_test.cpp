// Start-up and shutdown on temporary installations, judged by what they leave on disk.
#include "base/dates.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using namespace td;
using td::test::Fake_Clock;
using td::test::Fake_Ui;
using td::test::Memory_Settings;
using td::test::Process_Ended;
using td::test::Temp_Folder;

class Fake_Guard : public Instance_Guard {
public:
    Result answer;
    bool asked = false;
    Result Acquire() override {
        asked = true;
        return answer;
    }
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

TEST_F(Startup, FirstRunWithOnlySettingsFile) {
    home.Write("td.ini", Minimal_Ini);
    std::filesystem::create_directory(home.File("data"));
    Start();

    // The three warnings, in a row, and no word of an unexpected end.
    EXPECT_EQ(ui.Box_Texts(),
              (std::vector<std::string>{"Error, no towns defined in database!",
                                        "Error, no companys defined in database!",
                                        "Error, no establishments defined in database!"}));
    EXPECT_EQ(ui.splash_captions,
              (std::vector<std::string>{"Загрузка настроек", "Индексация базы данных",
                                        "Загрузка завершена"}));
    for (int value : ui.splash_progress)
        EXPECT_LE(value, 100);

    // A header with zero tickets, the marker, and the totals files at their first sizes.
    Header_Info header;
    EXPECT_EQ(Read_Header(home.File("data/TD.cdb"), header), "Ok");
    EXPECT_EQ(header.count, 0);
    EXPECT_EQ(State().Ticket_Count, 0);
    EXPECT_EQ(State().Records_Offset, 6);
    EXPECT_TRUE(home.Exists("data/Work.$$$"));
    EXPECT_EQ(Size_Of("data/Cache_u.dat"), 16384u * Cache_Record_Size);
    EXPECT_EQ(Size_Of("data/Cache_d.dat"), 256u * Cache_Record_Size);
    // The index pass wrote the headers of the indexed series.
    EXPECT_TRUE(home.Exists("data/z1_10.dat"));
    EXPECT_TRUE(home.Exists("data/z8_100.dat"));
    // No stored date: the machine's.
    EXPECT_EQ(State().Current_Date, clock.today);
}

TEST_F(Startup, CleanExitThenKilledRun) {
    home.Write("td.ini", Minimal_Ini);
    std::filesystem::create_directory(home.File("data"));
    Start();
    State().Current_Date = Date_Serial(2026, 3, 14);
    Shutdown_Steps(State(), store);
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
    EXPECT_FALSE(home.Exists("data/z1_10.dat"));

    // After a clean exit: no message; the saved working date comes back though the clock moved.
    clock.today += 40;
    Start();
    EXPECT_FALSE(Box_Shown("Программа была завершена неожиданно."));
    EXPECT_EQ(State().Current_Date, Date_Serial(2026, 3, 14));
    auto totals_before = test::Read_All_Bytes(home.File("data/Cache_d.dat"));

    // The run is killed: the marker stays, the next start says so and rebuilds in full, which
    // writes the company totals with all 16384 records.
    Start();
    EXPECT_TRUE(Box_Shown("Программа была завершена неожиданно."));
    EXPECT_EQ(Size_Of("data/Cache_d.dat"), 16384u * Cache_Record_Size);
    EXPECT_EQ(Size_Of("data/Cache_u.dat"), 256u * Cache_Record_Size);
    EXPECT_NE(totals_before.size(), 16384u * Cache_Record_Size);
    EXPECT_TRUE(home.Exists("data/Work.$$$"));
}

TEST_F(Startup, StoredZeroDateMeansNone) {
    home.Write("td.ini", Minimal_Ini);
    std::filesystem::create_directory(home.File("data"));
    store.Save("Tally Depot", "Kernel", "Date", "0:00:00");
    Start();
    EXPECT_EQ(State().Current_Date, clock.today);
}

TEST_F(Startup, MissingDataFolderIsCreatedAndThisRunWorksInProgramFolder) {
    home.Write("td.ini", "[Tally depot beta]\nDatabases = \\elsewhere\\data\n");
    std::filesystem::create_directory(home.File("elsewhere"));
    Start();
    EXPECT_TRUE(std::filesystem::is_directory(home.File("elsewhere/data")));
    EXPECT_EQ(State().Data_Folder, home.Path());
    EXPECT_TRUE(home.Exists("TD.cdb"));
    EXPECT_TRUE(home.Exists("Work.$$$"));
    EXPECT_FALSE(home.Exists("elsewhere/data/TD.cdb"));

    // The next run finds the folder and works in it.
    Shutdown_Steps(State(), store);
    Start();
    EXPECT_EQ(State().Data_Folder, home.File("elsewhere/data"));
    EXPECT_TRUE(home.Exists("elsewhere/data/TD.cdb"));
}

TEST_F(Startup, DamagedHeadIsRewrittenAndRecordsKept) {
    home.Write("td.ini", Minimal_Ini);
    std::filesystem::create_directory(home.File("data"));
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
// read error must never cost the tickets.
TEST_F(Startup, ADatabaseThatCantBeOpenedEndsTheStartAndStaysAsItIs) {
    home.Write("td.ini", Minimal_Ini);
    std::filesystem::create_directory(home.File("data"));
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

    ASSERT_EQ(::mkfifo(database.c_str(), 0644), 0);
    Expect_Fatal("Not a regular file", "0x4B");
    EXPECT_TRUE(std::filesystem::is_fifo(database));
    std::filesystem::remove(database);

    std::filesystem::create_symlink("TD.cdb", database);
    Expect_Fatal("Too many levels of symbolic links", "0x4B");
    EXPECT_TRUE(std::filesystem::is_symlink(database));
    std::filesystem::remove(database);

    // A link to a file that doesn't exist yet is a database that doesn't exist yet.
    std::filesystem::create_symlink("real.cdb", database);
    Start();
    EXPECT_TRUE(home.Exists("data/real.cdb"));
    EXPECT_EQ(State().Ticket_Count, 0);
}

TEST_F(Startup, TotalsFilesAndAHeaderThatCantBeWrittenSayWhichAndWhy) {
    home.Write("td.ini", Minimal_Ini);
    std::filesystem::create_directory(home.File("data"));
    std::filesystem::create_directory(home.File("data/Cache_u.dat"));
    EXPECT_THROW(Start(), Process_Ended);
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Tally_depot\\Main\\Cannot open " +
                                            home.File("data/Cache_u.dat") + ": Is a directory");
    std::filesystem::remove(home.File("data/Cache_u.dat"));

    // The disk fills up in the middle of the new header.
    Start();
    Shutdown_Steps(State(), store);
    std::filesystem::remove(home.File("data/TD.cdb"));
    record_file_hook::Write_Budget = 100;
    EXPECT_THROW(Start(), Process_Ended);
    record_file_hook::Write_Budget = -1;
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

TEST_F(Startup, SettingsFileThatIsAFifoIsRefusedAtOnce) {
    ASSERT_EQ(::mkfifo(home.File("td.ini").c_str(), 0644), 0);
    EXPECT_THROW(Start(), Process_Ended);
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Std_Functions\\Get_Var");
    EXPECT_EQ(ui.fatals[0].cause, home.File("td.ini") + ": Not a regular file");
}

TEST_F(Startup, SecondInstanceOrALockThatCantBeMadeIsRefusedBeforeAnythingIsTouched) {
    home.Write("td.ini", Minimal_Ini);
    auto exit_code = [this] {
        Reset_State();
        try {
            Main_Startup(State(), ports, home.Path());
        } catch (const Process_Ended& ended) {
            return ended.exit_code;
        }
        return -1;
    };
    guard.answer = {Instance_Guard::Outcome::Already_Running, home.File("tallydepot.lock"), ""};
    EXPECT_EQ(exit_code(), 1);
    EXPECT_EQ(ui.Box_Texts(), std::vector<std::string>{"Программа уже запущена"});
    EXPECT_FALSE(home.Exists("data"));

    // A lock that can't be made is no proof of another instance: it is told as what it is.
    ui = Fake_Ui();
    guard.answer = {Instance_Guard::Outcome::Cannot_Lock, "/ro/tallydepot.lock",
                    "Read-only file system"};
    EXPECT_EQ(exit_code(), 1);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text,
              "cannot create the lock file /ro/tallydepot.lock: Read-only file system");
    EXPECT_EQ(ui.boxes[0].flags, 16);
    EXPECT_FALSE(home.Exists("data"));
}

TEST_F(Startup, MissingSettingsFileIsFatal) {
    Reset_State();
    EXPECT_THROW(Main_Startup(State(), ports, home.Path()), Process_Ended);
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Std_Functions\\Get_Var");
    EXPECT_EQ(ui.fatals[0].code, "0x07331056FFAD");
    EXPECT_EQ(ui.fatals[0].cause, home.File("td.ini") + ": No such file or directory");
}

TEST_F(Startup, ConfirmExitAnsweredNoThenYes) {
    home.Write("td.ini", Minimal_Ini);
    std::filesystem::create_directory(home.File("data"));
    Start();
    State().Current_Date = Date_Serial(2026, 11, 2);
    ui.boxes.clear();

    ui.Answer_Next(box::Answer_No);
    EXPECT_FALSE(Confirm_Exit(State(), ui, store));
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Подтверждение выхода из программы");
    EXPECT_EQ(ui.boxes[0].flags, 36);
    EXPECT_EQ(State().Answer, box::Answer_No);
    EXPECT_TRUE(home.Exists("data/Work.$$$"));

    ui.Answer_Next(box::Answer_Yes);
    EXPECT_THROW(Confirm_Exit(State(), ui, store), Process_Ended);
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
    EXPECT_EQ(store.Get("Tally Depot", "Kernel", "Date", ""), "02.11.2026");
}

} // namespace
