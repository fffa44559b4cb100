// Two processes on one installation or one database, and what a crash or a lock that can't be
// made leaves for the next start: black-box runs of tdctl.
#include "cli/tdctl_runner.h"
#include "support/scratch_mount.h"
#include "support/temp_folder.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using td::test::Run_Result;
using td::test::Run_Tdctl;
using td::test::Runtime_Folder;
using td::test::Scratch_Mount;
using td::test::Temp_Folder;

constexpr std::size_t First_Ticket_Byte = 432; // 6 records of 72 bytes before the first ticket

// What defragmentation must leave after the header page: the gap of zeros and the live records in
// their old order. Byte 1 of a ticket record is its deletion mark.
std::string Live_Records(const std::string& database) {
    std::string live;
    for (std::size_t at = First_Ticket_Byte; at + 72 <= database.size(); at += 72)
        if (database[at + 1] == 0)
            live += database.substr(at, 72);
    return live;
}

// Whether a database file holds exactly `expected`; on a difference, the sizes and the first
// differing byte rather than the whole binary file.
::testing::AssertionResult Same_Bytes(const std::string& actual, const std::string& expected) {
    if (actual == expected)
        return ::testing::AssertionSuccess();
    std::size_t at = 0;
    while (at < actual.size() && at < expected.size() && actual[at] == expected[at])
        ++at;
    return ::testing::AssertionFailure() << actual.size() << " bytes where " << expected.size()
                                         << " were expected, first difference at byte " << at;
}

// A defragmentation run in the background and held in the middle of its copy through tdctl's test
// hook, until released or killed.
class Held_Defragmentation {
public:
    Held_Defragmentation(const std::string& home, const Temp_Folder& config,
                         Runtime_Folder runtime) {
        int held[2];
        int release[2];
        if (::pipe2(held, O_CLOEXEC) != 0 || ::pipe2(release, O_CLOEXEC) != 0)
            return;
        pid_ = ::fork();
        if (pid_ == 0) {
            // Only these two ends go over to tdctl.
            ::fcntl(held[1], F_SETFD, 0);
            ::fcntl(release[0], F_SETFD, 0);
            const std::string fds = std::to_string(held[1]) + "," + std::to_string(release[0]);
            ::setenv("TDCTL_TEST_HOLD_DEFRAG", fds.c_str(), 1);
            ::setenv("XDG_CONFIG_HOME", config.Path().c_str(), 1);
            if (runtime == Runtime_Folder::Config)
                ::setenv("XDG_RUNTIME_DIR", config.Path().c_str(), 1);
            else
                ::unsetenv("XDG_RUNTIME_DIR");
            const int out =
                ::open(capture_.File("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int err =
                ::open(capture_.File("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            ::dup2(out, 1);
            ::dup2(err, 2);
            ::execl(TDCTL_PATH, "tdctl", "defrag", "--home", home.c_str(),
                    static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(held[1]);
        ::close(release[0]);
        held_fd_ = held[0];
        release_fd_ = release[1];
    }

    ~Held_Defragmentation() {
        if (pid_ > 0)
            Kill();
        Close_Pipes();
    }

    // True once the run is held mid-copy; false if it ended before that.
    bool Wait_Held() {
        char text[8] = {};
        ssize_t got;
        do {
            got = ::read(held_fd_, text, sizeof text - 1);
        } while (got < 0 && errno == EINTR);
        return got > 0 && std::string(text) == "held\n";
    }

    Run_Result Release_And_Wait() {
        Run_Result result;
        if (pid_ <= 0)
            return result;
        (void)!::write(release_fd_, "go", 2);
        Close_Pipes();
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
        result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.out = capture_.Read("out");
        result.err = capture_.Read("err");
        return result;
    }

    // Ends the run as a crash would: no shutdown, nothing cleaned up.
    void Kill() {
        ::kill(pid_, SIGKILL);
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
    }

private:
    void Close_Pipes() {
        if (held_fd_ >= 0)
            ::close(held_fd_);
        if (release_fd_ >= 0)
            ::close(release_fd_);
        held_fd_ = release_fd_ = -1;
    }

    Temp_Folder capture_;
    pid_t pid_ = -1;
    int held_fd_ = -1;
    int release_fd_ = -1;
};

// The count tdctl verify reads from the header.
long Verified_Count(const std::string& home, const Temp_Folder& config) {
    Run_Result verify = Run_Tdctl("verify --home " + home, config);
    if (verify.exit_code != 0)
        return -1;
    std::smatch found;
    return std::regex_search(verify.out, found, std::regex("\ncount: (\\d+)\n"))
               ? std::stol(found[1])
               : -1;
}

// The acceptance case of the single-instance lock: the second of two defragmentations, started
// while the first is in the middle of its copy, reaches the installation by another path (a
// symlink) and without a runtime folder (as from cron or ssh). It is refused, and the database
// ends as the first one leaves it. Both ways round.
TEST(Two_Processes, ASecondDefragmentationByAnotherPathIsRefused) {
    Temp_Folder config;
    Temp_Folder home;
    Temp_Folder links;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    const std::string linked = links.File("installation");
    fs::create_symlink(home.Path(), linked);
    const std::string before = home.Read("data/TD.cdb");
    const std::string live = Live_Records(before);
    ASSERT_LT(live.size(), before.size() - First_Ticket_Byte); // some tickets are deleted
    ASSERT_GT(live.size(), 72u);

    for (bool linked_first : {false, true}) {
        SCOPED_TRACE(linked_first ? "first through the link" : "second through the link");
        home.Write("data/TD.cdb", before);
        const std::string first_home = linked_first ? linked : home.Path();
        const std::string second_home = linked_first ? home.Path() : linked;
        const Runtime_Folder first_runtime =
            linked_first ? Runtime_Folder::None : Runtime_Folder::Config;
        const Runtime_Folder second_runtime =
            linked_first ? Runtime_Folder::Config : Runtime_Folder::None;

        Held_Defragmentation first(first_home, config, first_runtime);
        ASSERT_TRUE(first.Wait_Held()) << first.Release_And_Wait().err;
        EXPECT_TRUE(home.Exists("tallydepot.lock"));

        Run_Result second = Run_Tdctl("defrag --home " + second_home, config, second_runtime);
        EXPECT_EQ(second.exit_code, 1);
        EXPECT_NE(second.err.find("Программа уже запущена"), std::string::npos) << second.err;
        EXPECT_EQ(second.out, "");
        // The first is still in the middle of its copy: the database and its work file are as
        // it left them.
        EXPECT_TRUE(Same_Bytes(home.Read("data/TD.cdb"), before));
        EXPECT_TRUE(home.Exists("data/$Defrag$.bin"));

        Run_Result done = first.Release_And_Wait();
        ASSERT_EQ(done.exit_code, 0) << done.err;
        const std::string after = home.Read("data/TD.cdb");
        ASSERT_EQ(after.size(), First_Ticket_Byte + live.size());
        EXPECT_TRUE(Same_Bytes(after.substr(First_Ticket_Byte), live));
        EXPECT_EQ(Verified_Count(home.Path(), config), static_cast<long>(live.size() / 72));
        EXPECT_FALSE(home.Exists("data/$Defrag$.bin"));
        EXPECT_FALSE(home.Exists("tallydepot.lock"));
    }
}

// Two installations whose settings name one data folder are two instances by the installation's
// lock; the lock on the database file itself keeps the second defragmentation off the file the
// first is replacing, and off its work file.
TEST(Two_Processes, TwoInstallationsOnOneDatabaseDoNotDefragmentItTogether) {
    Temp_Folder config;
    Temp_Folder home;
    Temp_Folder other;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    // The other installation's settings: the same, with the first one's data folder named by its
    // full path (td.ini writes paths with backslashes and a drive).
    std::string ini = home.Read("td.ini");
    std::string shared = home.File("data");
    for (char& c : shared)
        if (c == '/')
            c = '\\';
    const std::size_t at = ini.find("Databases = \\data");
    ASSERT_NE(at, std::string::npos);
    ini.replace(at, std::strlen("Databases = \\data"), "Databases = C:" + shared);
    other.Write("td.ini", ini);
    const std::string before = home.Read("data/TD.cdb");
    const std::string live = Live_Records(before);

    Held_Defragmentation first(home.Path(), config, Runtime_Folder::Config);
    ASSERT_TRUE(first.Wait_Held()) << first.Release_And_Wait().err;
    Run_Result second = Run_Tdctl("defrag --home " + other.Path(), config);
    EXPECT_NE(second.err.find("Ошибка!: Невозможно провести дефрагментацию!"), std::string::npos)
        << second.err;
    EXPECT_EQ(second.err.find("Дефрагментация завершена"), std::string::npos) << second.err;
    EXPECT_TRUE(Same_Bytes(home.Read("data/TD.cdb"), before));
    EXPECT_TRUE(home.Exists("data/$Defrag$.bin"));

    Run_Result done = first.Release_And_Wait();
    ASSERT_EQ(done.exit_code, 0) << done.err;
    EXPECT_TRUE(Same_Bytes(home.Read("data/TD.cdb").substr(First_Ticket_Byte), live));
    EXPECT_EQ(Verified_Count(home.Path(), config), static_cast<long>(live.size() / 72));
}

// A run that crashed leaves its lock file behind; the next start takes it over, as it does a lock
// file that a crash left empty, or one naming a live process that holds no lock (a process id
// used again).
TEST(Two_Processes, ACrashedRunNeverBlocksTheNextStart) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    const std::string before = home.Read("data/TD.cdb");
    {
        Held_Defragmentation crashed(home.Path(), config, Runtime_Folder::None);
        ASSERT_TRUE(crashed.Wait_Held()) << crashed.Release_And_Wait().err;
        crashed.Kill();
    }
    EXPECT_TRUE(home.Exists("tallydepot.lock"));
    EXPECT_TRUE(
        Same_Bytes(home.Read("data/TD.cdb"), before)); // killed mid-copy: the old database, whole

    Run_Result next = Run_Tdctl("defrag --home " + home.Path(), config);
    ASSERT_EQ(next.exit_code, 0) << next.err;
    EXPECT_NE(next.err.find("Программа была завершена неожиданно."), std::string::npos) << next.err;
    EXPECT_TRUE(
        Same_Bytes(home.Read("data/TD.cdb").substr(First_Ticket_Byte), Live_Records(before)));
    EXPECT_FALSE(home.Exists("data/$Defrag$.bin"));
    EXPECT_FALSE(home.Exists("tallydepot.lock"));

    char host[256] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    const std::string this_process = std::to_string(::getpid());
    for (const std::string& left : {std::string(), this_process + "\ntdctl_tests\n" + host + "\n",
                                    this_process + "\ntdctl\n" + host + "\n"}) {
        home.Write("tallydepot.lock", left);
        Run_Result run = Run_Tdctl("totals buyers --home " + home.Path(), config);
        EXPECT_EQ(run.exit_code, 0) << "lock file: " << left << "\n" << run.err;
        EXPECT_FALSE(home.Exists("tallydepot.lock"));
    }
}

// A lock that can't be made is said as what it is, never as another instance running, and the
// run ends before it touches anything.
TEST(Instance_Lock, ALockThatCantBeMadeIsSaidSo) {
    Temp_Folder config;
    Temp_Folder parent;
    const std::string missing = parent.File("no-such-installation");
    Run_Result nowhere = Run_Tdctl("totals buyers --home " + missing, config);
    EXPECT_EQ(nowhere.exit_code, 1);
    EXPECT_NE(nowhere.err.find("cannot create the lock file " + missing +
                               "/tallydepot.lock: No such file or directory"),
              std::string::npos)
        << nowhere.err;
    EXPECT_EQ(nowhere.err.find("Программа уже запущена"), std::string::npos);
    EXPECT_FALSE(fs::exists(missing));

    // A read-only installation: a read-only file system as root, a folder without write
    // permission otherwise.
    Scratch_Mount read_only;
    std::string home;
    std::string reason;
    if (read_only.Mounted()) {
        home = fs::canonical(read_only.Folder().Path()).string();
        read_only.Folder().Write("td.ini", "[Tally depot beta]\r\nDatabases = \\data\r\n");
        ASSERT_TRUE(read_only.Make_Read_Only());
        reason = std::strerror(EROFS);
    } else if (::geteuid() != 0) {
        home = fs::canonical(parent.Path()).string();
        parent.Write("td.ini", "[Tally depot beta]\r\nDatabases = \\data\r\n");
        ASSERT_EQ(::chmod(home.c_str(), 0555), 0);
        reason = std::strerror(EACCES);
    } else {
        GTEST_SKIP() << "no read-only file system could be mounted";
    }
    Run_Result refused = Run_Tdctl("totals buyers --home " + home, config);
    ::chmod(parent.Path().c_str(), 0755);
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_NE(
        refused.err.find("cannot create the lock file " + home + "/tallydepot.lock: " + reason),
        std::string::npos)
        << refused.err;
    EXPECT_EQ(refused.err.find("Программа уже запущена"), std::string::npos);
    EXPECT_FALSE(fs::exists(home + "/data"));
}

// A database that is a symlink to a file in another folder is compacted there, and the link
// stays a link.
TEST(Linked_Database, DefragmentationReplacesTheTargetAndKeepsTheLink) {
    Temp_Folder config;
    Temp_Folder home;
    Temp_Folder elsewhere;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    const std::string before = home.Read("data/TD.cdb");
    fs::rename(home.File("data/TD.cdb"), elsewhere.File("TD.cdb"));
    fs::create_symlink(elsewhere.File("TD.cdb"), home.File("data/TD.cdb"));

    Run_Result run = Run_Tdctl("defrag --home " + home.Path(), config);
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.err.find("FATAL"), std::string::npos) << run.err;
    EXPECT_TRUE(fs::is_symlink(home.File("data/TD.cdb")));
    EXPECT_TRUE(
        Same_Bytes(elsewhere.Read("TD.cdb").substr(First_Ticket_Byte), Live_Records(before)));
    EXPECT_FALSE(home.Exists("data/$Defrag$.bin"));
    EXPECT_FALSE(elsewhere.Exists("$Defrag$.bin"));
}

// The work marker's name is made durable: its folder is flushed once the marker is created.
// Seen from outside through strace; skipped where strace can't trace.
TEST(Work_Marker, ItsFolderIsFlushedAfterItIsCreated) {
    Temp_Folder config;
    Temp_Folder home;
    Temp_Folder capture;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    const int status =
        Run_Tdctl("totals buyers --home '" + home.Path() + "'", config, Runtime_Folder::Config,
                  "strace -f -qq -o '" + capture.File("trace") + "' -e trace=openat,fsync")
            .exit_code;
    const std::string trace = capture.Read("trace");
    const std::string data = home.File("data");
    const std::string marker_open = "\"" + data + "/Work.$$$\", O_RDWR|O_CREAT";
    if (trace.find(marker_open) == std::string::npos)
        GTEST_SKIP() << "strace could not trace tdctl (status " << status << ")";

    // The marker's creation, then the folder opened (as a folder) and flushed by that handle.
    std::istringstream lines(trace);
    const std::string folder_open = "openat(AT_FDCWD, \"" + data + "\", O_RDONLY";
    bool marker_made = false;
    std::string folder_fd;
    bool flushed = false;
    for (std::string line; std::getline(lines, line) && !flushed;) {
        const std::size_t result = line.rfind(" = ");
        if (!marker_made) {
            marker_made = line.find(marker_open) != std::string::npos;
        } else if (line.find(folder_open) != std::string::npos &&
                   line.find("O_DIRECTORY") != std::string::npos && result != std::string::npos) {
            folder_fd = line.substr(result + 3);
        } else if (!folder_fd.empty() &&
                   line.find("fsync(" + folder_fd + ")") != std::string::npos) {
            flushed = result != std::string::npos && line.substr(result) == " = 0";
        }
    }
    EXPECT_TRUE(flushed) << trace;
}

} // namespace
