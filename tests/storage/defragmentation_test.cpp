// Defragmentation: the live tickets copied into a new file that takes the database's place. (The
// reindex command is tried as tdctl's rebuild and from the main window's menu.)
#include "kernel/cache_passes.h"
#include "kernel/fatal.h"
#include "shell/database_commands.h"
#include "storage/cache_fixture.h"
#include "storage/defrag_hook.h"
#include "storage/defragmentation.h"
#include "storage/file_safety.h"
#include "support/scratch_mount.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace td::test {
namespace {

constexpr std::size_t First_Ticket_Byte = 432;

// What the database must become: a header page for the live count, the gap as the new file has it
// (zeros), then the live records in their old order, untouched.
Bytes Compacted(const Bytes& old_db) {
    Bytes live;
    for (std::size_t at = First_Ticket_Byte; at + Ticket_Record_Size <= old_db.size();
         at += Ticket_Record_Size)
        if (old_db[at + 1] == 0)
            live.insert(live.end(), old_db.begin() + static_cast<long>(at),
                        old_db.begin() + static_cast<long>(at + Ticket_Record_Size));
    const std::string page = Build_Header_Page(static_cast<long>(live.size() / Ticket_Record_Size));
    Bytes expected(page.begin(), page.end());
    if (!live.empty()) {
        expected.resize(First_Ticket_Byte, 0);
        expected.insert(expected.end(), live.begin(), live.end());
    }
    return expected;
}

std::vector<Ticket_Record> Tickets(int count, int every_deleted, double sell) {
    std::vector<Ticket_Record> tickets;
    for (int i = 1; i <= count; ++i)
        tickets.push_back(Make_Ticket({.fuel = 1 + i % 8,
                                       .volume = 10 * (1 + i % 5),
                                       .company = 1 + i % 7,
                                       .sell = sell,
                                       .serial = std::to_string(500000 + i),
                                       .deleted = every_deleted > 0 && i % every_deleted == 0}));
    return tickets;
}

class Defragmentation : public Data_Folder_Test {
protected:
    ~Defragmentation() override {
        defrag_hook::After_Step = nullptr;
        defrag_hook::Block_Tickets = 65536;
    }

    std::string Defragment() {
        return SE_Defragmentation(state, ui, clock, "TD.cdb", Defrag_Uncounted::Refuse);
    }

    void Expect_Done_Box() const {
        ASSERT_EQ(ui.boxes.size(), 1u);
        EXPECT_EQ(ui.boxes[0].text, "Дефрагментация завершена, необходима полная переиндексация!");
        EXPECT_EQ(ui.boxes[0].flags, 64);
        EXPECT_EQ(ui.boxes[0].title, "Дефрагментация");
    }
};

// None deleted (only the header and the gap change), some, all, and no tickets at all: the live
// tickets move up in their old order, the new file keeps the old one's permissions, and the rebuild
// behind it ("new", target "null") indexes the new record numbers and leaves its progress form up.
TEST_F(Defragmentation, DeletedTicketsGoAndTheRestMoveUp) {
    const struct { int count, every_deleted; } shapes[] = {{50, 0}, {30, 3}, {12, 1}, {0, 0}};
    for (const auto& shape : shapes) {
        SCOPED_TRACE(testing::Message()
                     << shape.count << " tickets, every " << shape.every_deleted);
        std::filesystem::remove(Path("TD.cdb"));
        Write_Database(Tickets(shape.count, shape.every_deleted, today));
        Bytes old_db = File_Bytes("TD.cdb");
        if (old_db.size() > 432) // an earlier write's leftovers in the gap
            std::fill(old_db.begin() + 350, old_db.begin() + 432, 0xAB);
        Write_All_Bytes(Path("TD.cdb"), old_db);
        ASSERT_EQ(::chmod(Path("TD.cdb").c_str(), 0640), 0);
        state.Ticket_Count = 999;
        ui = Fake_Ui();

        EXPECT_EQ(Defragment(), "$ERROR$");
        const Bytes now = File_Bytes("TD.cdb");
        EXPECT_EQ(now, Compacted(old_db));
        struct stat st {};
        ASSERT_EQ(::stat(Path("TD.cdb").c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0640u);
        EXPECT_EQ(state.Ticket_Count, 999); // kept until the next start, as required
        Expect_Done_Box();
        EXPECT_FALSE(folder.Exists("$Defrag$.bin"));

        const std::size_t live = (now.size() - std::min<std::size_t>(now.size(), 432)) / 72;
        ASSERT_EQ(state.Ticket_Table.size(), live + 1);
        for (std::size_t i = 1; i <= live; ++i) {
            EXPECT_EQ(state.Ticket_Table[i].Deleted, 0);
            EXPECT_EQ(state.Ticket_Table[i].Serial_Text(),
                      std::string(now.begin() + 432 + 72 * (i - 1) + 16,
                                  now.begin() + 432 + 72 * (i - 1) + 22));
        }
        EXPECT_EQ(File_Bytes("Cache_d.dat").size(), 16384u * 84);
        EXPECT_TRUE(ui.progress_visible);
        EXPECT_TRUE(ui.main_window_enabled);
        EXPECT_TRUE(ui.fatals.empty());
    }
}

// The copy goes by the header's count. Records behind it, or a header whose sum disagrees, stop
// the operation before anything is touched, and the box says which (an explicit Drop, which copies
// by the count regardless, is tdctl's "defrag --drop-uncounted", tried there).
TEST_F(Defragmentation, RecordsBehindTheCountOrABadChecksumRefuse) {
    Write_Database(Tickets(20, 4, today), 9);
    const Bytes old_db = File_Bytes("TD.cdb");
    state.Ticket_Table.assign(4, Ticket_Record{});

    Defrag_Refusal refusal;
    EXPECT_EQ(SE_Defragmentation(state, ui, clock, "TD.cdb", Defrag_Uncounted::Refuse, &refusal),
              "$ERROR$");
    EXPECT_TRUE(refusal.refused);
    EXPECT_EQ(refusal.uncounted_records, 11);
    EXPECT_EQ(refusal.count, 9);
    EXPECT_FALSE(refusal.checksum_disagrees);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].flags, 16);
    EXPECT_EQ(ui.boxes[0].title, "Ошибка!");
    EXPECT_NE(ui.boxes[0].text.find("(9): 11."), std::string::npos) << ui.boxes[0].text;
    EXPECT_EQ(ui.boxes[0].text.find("Контрольная сумма"), std::string::npos);
    EXPECT_EQ(File_Bytes("TD.cdb"), old_db);
    EXPECT_FALSE(folder.Exists("$Defrag$.bin"));
    EXPECT_EQ(state.Ticket_Table.size(), 4u); // no rebuild
    EXPECT_TRUE(ui.progress_labels.empty());
    EXPECT_TRUE(ui.fatals.empty());

    // Every record counted, but one character of the version line changed.
    Write_Database(Tickets(20, 4, today));
    Bytes damaged = File_Bytes("TD.cdb");
    damaged[30] = static_cast<std::uint8_t>(damaged[30] + 1);
    Write_All_Bytes(Path("TD.cdb"), damaged);
    ui.boxes.clear();
    SE_Defragmentation(state, ui, clock, "TD.cdb", Defrag_Uncounted::Refuse, &refusal);
    EXPECT_TRUE(refusal.refused);
    EXPECT_EQ(refusal.uncounted_records, 0);
    EXPECT_TRUE(refusal.checksum_disagrees);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_NE(ui.boxes[0].text.find("Контрольная сумма"), std::string::npos);
    EXPECT_EQ(ui.boxes[0].text.find("сверх"), std::string::npos);
    EXPECT_EQ(File_Bytes("TD.cdb"), damaged);
}

// A work file left behind by a crash is cleared, read-only or not, and must not leak into the new
// file; one that can't be removed (a folder in its place) refuses the operation.
TEST_F(Defragmentation, AWorkFileLeftBehindIsClearedOrRefusesTheOperation) {
    EXPECT_FALSE(Defrag_File_Busy(state.Path_Of(Defrag_Work_File))); // nothing there: not busy
    folder.Write("$Defrag$.bin", "left behind by a crash");
    ASSERT_EQ(::chmod(Path("$Defrag$.bin").c_str(), 0444), 0);
    EXPECT_FALSE(Defrag_File_Busy(state.Path_Of(Defrag_Work_File)));
    EXPECT_FALSE(folder.Exists("$Defrag$.bin"));

    Write_Database(Tickets(10, 2, today));
    const Bytes old_db = File_Bytes("TD.cdb");
    Write_All_Bytes(Path("$Defrag$.bin"), Bytes(5000, 0xEE));
    ASSERT_EQ(::chmod(Path("$Defrag$.bin").c_str(), 0444), 0);
    Defragment();
    EXPECT_EQ(File_Bytes("TD.cdb"), Compacted(old_db));
    EXPECT_FALSE(folder.Exists("$Defrag$.bin"));
    Expect_Done_Box();

    Write_Database(Tickets(10, 2, today));
    const Bytes again = File_Bytes("TD.cdb");
    ASSERT_EQ(::mkdir(Path("$Defrag$.bin").c_str(), 0755), 0);
    folder.Write("$Defrag$.bin/inside", "x");
    state.Ticket_Table.assign(4, Ticket_Record{});
    ui = Fake_Ui();
    EXPECT_TRUE(Defrag_File_Busy(state.Path_Of(Defrag_Work_File)));
    EXPECT_EQ(Defragment(), "$ERROR$");
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Невозможно провести дефрагментацию!");
    EXPECT_EQ(ui.boxes[0].flags, 16);
    EXPECT_EQ(ui.boxes[0].title, "Ошибка!");
    EXPECT_EQ(File_Bytes("TD.cdb"), again);
    EXPECT_EQ(state.Ticket_Table.size(), 4u); // no rebuild
    EXPECT_TRUE(ui.progress_labels.empty());
}

// A header that can't be read gives no count to trust: copying by it could only lose tickets, so
// the operation stops at the fatal report and leaves the database as it is.
TEST_F(Defragmentation, AnUnreadableHeaderIsFatalAndTheDatabaseStays) {
    Bytes damaged(350, 'P');
    const Bytes tickets(72 * 5, 0x01);
    damaged.resize(432, 0);
    damaged.insert(damaged.end(), tickets.begin(), tickets.end());
    Write_All_Bytes(Path("TD.cdb"), damaged);

    EXPECT_THROW(Defragment(), Process_Ended);
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path.rfind("Core\\SE_Defragmentation\r\n", 0), 0u);
    EXPECT_GT(ui.fatals[0].module_path.size(), std::string("Core\\SE_Defragmentation\r\n").size());
    EXPECT_EQ(ui.fatals[0].code, "0xFDAABCC00" + Hex_Number(EINVAL));
    EXPECT_EQ(File_Bytes("TD.cdb"), damaged);
    EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(Defragmentation, ProgressMovesEveryHalfSecondAndEndsAtFull) {
    Write_Database(Tickets(8, 4, today));
    clock.step = 0.3; // a report every second ticket
    Defragment();
    // The copy's reports, its full bar, the reset before the box; the rebuild's values follow.
    const std::vector<int> own(ui.progress_values.begin(), ui.progress_values.begin() + 6);
    const std::vector<int> expected{25, 50, 75, 100, 100, 0};
    EXPECT_EQ(own, expected);
}

int steps_seen = 0;
int kill_at_step = 0;

void Count_Step() {
    ++steps_seen;
}
void Kill_At_Step() {
    if (++steps_seen == kill_at_step)
        std::raise(SIGKILL);
}

// The process dies at every point where a file changes, and at a few moments in between: the
// database is always either the old file or the new one, whole, never a mixture.
TEST_F(Defragmentation, KilledAtAnyPointLeavesTheOldOrTheNewDatabaseWhole) {
    Write_Database(Tickets(3000, 3, today));
    const Bytes old_db = File_Bytes("TD.cdb");
    const Bytes new_db = Compacted(old_db);
    defrag_hook::Block_Tickets = 100;

    {
        Temp_Folder dry;
        Write_All_Bytes(dry.File("TD.cdb"), old_db);
        Program_State dry_state = state;
        dry_state.Data_Folder = dry.Path();
        Fake_Ui dry_ui;
        defrag_hook::After_Step = Count_Step;
        SE_Defragmentation(dry_state, dry_ui, clock, "TD.cdb", Defrag_Uncounted::Refuse);
        defrag_hook::After_Step = nullptr;
        ASSERT_EQ(Whole_File(dry.File("TD.cdb")), new_db);
    }
    const int steps = steps_seen;
    ASSERT_GE(steps, 30); // one per block of the copy, then header, sync, rename, folder sync

    auto run_child = [this](void (*hook)()) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            steps_seen = 0;
            defrag_hook::After_Step = hook;
            Fake_Ui child_ui;
            SE_Defragmentation(state, child_ui, clock, "TD.cdb", Defrag_Uncounted::Refuse);
            ::_exit(0);
        }
        return pid;
    };
    auto check_and_restore = [&](const std::string& when) {
        const Bytes now = File_Bytes("TD.cdb");
        const bool old_whole = now == old_db, new_whole = now == new_db;
        EXPECT_TRUE(old_whole || new_whole) << when << ": " << now.size() << " bytes";
        Write_All_Bytes(Path("TD.cdb"), old_db); // the work file stays, as a crash leaves it
        return new_whole;
    };

    bool replaced = false;
    int old_outcomes = 0, new_outcomes = 0;
    for (int k = 1; k <= steps; ++k) {
        kill_at_step = k;
        const pid_t pid = run_child(Kill_At_Step);
        ASSERT_GT(pid, 0);
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "step " << k;
        const bool is_new = check_and_restore("killed after step " + std::to_string(k));
        EXPECT_FALSE(replaced && !is_new) << "step " << k << " went back to the old file";
        replaced = replaced || is_new;
        (is_new ? new_outcomes : old_outcomes)++;
    }
    EXPECT_EQ(new_outcomes, 2); // after the rename and after the folder's sync
    EXPECT_EQ(old_outcomes, steps - 2);

    for (int delay_us : {0, 300, 1000, 3000, 10000, 30000}) {
        const pid_t pid = run_child(nullptr);
        ASSERT_GT(pid, 0);
        ::usleep(static_cast<useconds_t>(delay_us));
        ::kill(pid, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFSIGNALED(status) || (WIFEXITED(status) && WEXITSTATUS(status) == 0));
        check_and_restore("killed after " + std::to_string(delay_us) + " us");
    }
}

// A database that is a symlink to a file elsewhere, on this file system or on another one, is
// compacted beside its real file and replaced there (the rename stays within that file system):
// the link stays a link, and no work file lands in either folder.
TEST_F(Defragmentation, ALinkedDatabaseIsReplacedAtItsTarget) {
    Temp_Folder elsewhere;
    Scratch_Mount other;
    std::vector<const Temp_Folder*> targets{&elsewhere};
    if (other.Mounted()) // mounting a tmpfs needs root
        targets.push_back(&other.Folder());
    for (const Temp_Folder* target : targets) {
        SCOPED_TRACE(target->Path());
        Write_Database(Tickets(40, 4, today));
        const Bytes old_db = File_Bytes("TD.cdb");
        Write_All_Bytes(target->File("TD.cdb"), old_db);
        ASSERT_EQ(::chmod(target->File("TD.cdb").c_str(), 0600), 0);
        ASSERT_EQ(::unlink(Path("TD.cdb").c_str()), 0);
        ASSERT_EQ(::symlink(target->File("TD.cdb").c_str(), Path("TD.cdb").c_str()), 0);
        EXPECT_EQ(Defrag_Work_Path(Path("TD.cdb")),
                  std::filesystem::canonical(target->Path()).string() + "/$Defrag$.bin");
        ui = Fake_Ui();

        Defragment();
        EXPECT_TRUE(ui.fatals.empty());
        Expect_Done_Box();
        struct stat link {};
        ASSERT_EQ(::lstat(Path("TD.cdb").c_str(), &link), 0);
        EXPECT_TRUE(S_ISLNK(link.st_mode));
        EXPECT_EQ(Whole_File(target->File("TD.cdb")), Compacted(old_db));
        struct stat real {};
        ASSERT_EQ(::stat(target->File("TD.cdb").c_str(), &real), 0);
        EXPECT_EQ(real.st_mode & 0777, 0600u);
        EXPECT_FALSE(folder.Exists("$Defrag$.bin"));
        EXPECT_FALSE(target->Exists("$Defrag$.bin"));
        EXPECT_EQ(state.Ticket_Table.size(), 31u);
        ASSERT_EQ(::unlink(Path("TD.cdb").c_str()), 0);
    }
}

// The copy refuses a lock that doesn't hold the file it is to replace, and touches nothing, not
// even the work file. (Another writer holding the database, a second defragmentation, is tried
// with two tdctl processes.)
TEST_F(Defragmentation, ALockOfAnotherFileIsRefusedUntouched) {
    Write_Database(Tickets(20, 2, today));
    const Bytes old_db = File_Bytes("TD.cdb");
    folder.Write("other.cdb", "x");
    Database_Lock wrong(Path("other.cdb"));
    ASSERT_TRUE(wrong.Held());
    Ui_Progress_Display display(ui, Progress_Target::Form, false);
    Pass_Progress progress(display, clock, Progress_Target::Form, 0.5);
    Defrag_Failure failure;
    Defrag_Refusal refusal;
    long long kept = -1;
    EXPECT_FALSE(Compact_Database(Path("TD.cdb"), Defrag_Work_Path(Path("TD.cdb")), wrong,
                                  Defrag_Uncounted::Refuse, progress, failure, refusal, kept));
    EXPECT_EQ(failure.number, EWOULDBLOCK);
    EXPECT_EQ(File_Bytes("TD.cdb"), old_db);
    EXPECT_FALSE(folder.Exists("$Defrag$.bin"));
}

} // namespace
} // namespace td::test
