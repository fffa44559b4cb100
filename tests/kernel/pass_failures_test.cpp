// Passes that can't write (or read) a file whole: the database stays intact, the user learns which
// file and why, and the run keeps the work marker so that the next start rebuilds.
#include "kernel/cache_passes.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "shell/database_commands.h"
#include "storage/cache_fixture.h"
#include "storage/defragmentation.h"
#include "storage/file_failure.h"
#include "storage/record_file.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>

namespace td::test {
namespace {

class Fake_Guard : public Instance_Guard {
public:
    Result Acquire() override { return {}; }
};

// The budget of the file layer, lifted again whatever the test does.
struct Write_Budget {
    explicit Write_Budget(long long bytes) { record_file_hook::Write_Budget = bytes; }
    ~Write_Budget() { record_file_hook::Write_Budget = -1; }
};

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

    // The company totals worked out from the list above, as record bytes of Cache_d.dat.
    Bytes Expected_Company_Totals() const {
        Bytes bytes(16384 * Cache_Record_Size, 0);
        for (int i = 1; i <= 40; ++i) {
            if (i % 5 == 0)
                continue;
            const std::size_t at = static_cast<std::size_t>(i % 3) * Cache_Record_Size + 4 +
                                   static_cast<std::size_t>(1 + i % 2) * 8;
            double total;
            std::memcpy(&total, bytes.data() + at, 8);
            Put(bytes, at, total + 10.0 * (1 + i % 3));
        }
        return bytes;
    }

    // Towns and stations are named, so that start-up has nothing to warn about.
    void Write_References() {
        Write_All_Bytes(Path("Towns.dat"), Bytes{1});
        Write_All_Bytes(Path("Establishments.dat"), Bytes{1});
    }

    void Start() {
        state = Program_State{};
        ui = Fake_Ui();
        store.Save("Tally Depot", "Kernel", "Date", Format_Date(today));
        Main_Startup(state, ports, folder.Path());
    }
};

TEST_F(Pass_Failures, ARebuildThatCantWriteNamesTheFileAndTheNextStartRebuilds) {
    folder.Write("td.ini", Ini);
    Write_References();
    Write_Companies({"Альфа", "Бета", "Гамма"});
    Write_Database(Tickets());
    Start();
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

    // Shutdown keeps the marker; the next start says so and rebuilds the totals whole.
    Shutdown_Steps(state, store);
    EXPECT_TRUE(folder.Exists("Work.$$$"));
    EXPECT_FALSE(folder.Exists("z1_10.dat"));
    Start();
    EXPECT_EQ(ui.Box_Texts(), std::vector<std::string>{"Программа была завершена неожиданно."});
    EXPECT_FALSE(state.Derived_Failure.Failed());
    EXPECT_EQ(File_Bytes("Cache_d.dat"), Expected_Company_Totals());
    Shutdown_Steps(state, store);
    EXPECT_FALSE(folder.Exists("Work.$$$"));
    EXPECT_EQ(File_Bytes("TD.cdb"), database);
}

TEST_F(Pass_Failures, TheIndexPassAndTheDatedTotalsReportTheirFailuresToo) {
    folder.Write("td.ini", Ini);
    Write_References();
    Write_Companies({"Альфа", "Бета", "Гамма"});
    Write_Database(Tickets());
    Start();
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
