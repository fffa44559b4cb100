// Two processes on one installation or one database, and what a crash or a lock that can't be
// made leaves for the next start: black-box runs of tdctl.
#include "cli/tdctl_runner.h"
#include "support/scratch_mount.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <regex>
#include <sstream>
#include <unistd.h>

namespace td::test {
namespace {

namespace fs = std::filesystem;

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

class Two_Processes : public Tdctl_Test {
protected:
    std::string before; // the database of the installation, some of its tickets deleted

    void SetUp() override {
        Tdctl_Test::SetUp();
        Install();
        before = Read("TD.cdb");
    }
    // The database holds the live records of `before` and nothing else, and verify counts them.
    void Expect_Defragmented(const std::string& database) {
        const std::string live = Live_Records(before);
        EXPECT_EQ(database.size(), First_Ticket + live.size());
        EXPECT_TRUE(Same_Bytes(database.substr(First_Ticket), live));
        const Run_Result verify = Verb("verify");
        std::smatch count;
        EXPECT_TRUE(std::regex_search(verify.out, count, std::regex("\ncount: (\\d+)\n")) &&
                    std::stoul(count[1]) == live.size() / Ticket_Size)
            << verify.out;
        EXPECT_FALSE(home.Exists("data/$Defrag$.bin"));
    }
};

// The acceptance case of the single-instance lock: the second of two defragmentations, started
// while the first is in the middle of its copy, reaches the installation by another path (a
// symlink) and without a runtime folder (as from cron or ssh). It is refused, and the database
// ends as the first one leaves it. Both ways round.
TEST_F(Two_Processes, ASecondDefragmentationByAnotherPathIsRefused) {
    Temp_Folder links;
    const std::string linked = links.File("installation");
    fs::create_symlink(home.Path(), linked);
    ASSERT_LT(Live_Records(before).size(), before.size() - First_Ticket); // some are deleted

    for (bool linked_first : {false, true}) {
        SCOPED_TRACE(linked_first ? "first through the link" : "second through the link");
        home.Write("data/TD.cdb", before);
        Held_Defragmentation first(linked_first ? linked : home.Path(), config,
                                   linked_first ? Runtime_Folder::None : Runtime_Folder::Config);
        ASSERT_TRUE(first.Wait_Held()) << first.Release_And_Wait().err;
        EXPECT_TRUE(home.Exists("tallydepot.lock"));

        const Run_Result second =
            Run_Tdctl("defrag --home " + (linked_first ? home.Path() : linked), config,
                      linked_first ? Runtime_Folder::Config : Runtime_Folder::None);
        EXPECT_EQ(second.exit_code, 1);
        EXPECT_TRUE(Has(second.err, "Программа уже запущена")) << second.err;
        EXPECT_EQ(second.out, "");
        // The first is still in the middle of its copy: the database and its work file are as
        // it left them.
        EXPECT_TRUE(Same_Bytes(Read("TD.cdb"), before));
        EXPECT_TRUE(home.Exists("data/$Defrag$.bin"));

        const Run_Result done = first.Release_And_Wait();
        ASSERT_EQ(done.exit_code, 0) << done.err;
        Expect_Defragmented(Read("TD.cdb"));
        EXPECT_FALSE(home.Exists("tallydepot.lock"));
    }
}

// Two installations whose settings name one data folder are two instances by the installation's
// lock; the lock on the database file itself keeps the second defragmentation off the file the
// first is replacing, and off its work file.
TEST_F(Two_Processes, TwoInstallationsOnOneDatabaseDoNotDefragmentItTogether) {
    // The other installation's settings: the same, with the first one's data folder named by its
    // full path (td.ini writes paths with backslashes and a drive).
    Temp_Folder other;
    std::string ini = home.Read("td.ini");
    std::string shared = home.File("data");
    std::replace(shared.begin(), shared.end(), '/', '\\');
    const std::string databases = "Databases = \\data";
    ASSERT_TRUE(Has(ini, databases));
    other.Write("td.ini",
                ini.replace(ini.find(databases), databases.size(), "Databases = C:" + shared));

    Held_Defragmentation first(home.Path(), config, Runtime_Folder::Config);
    ASSERT_TRUE(first.Wait_Held()) << first.Release_And_Wait().err;
    const Run_Result second = Run_Tdctl("defrag --home " + other.Path(), config);
    EXPECT_TRUE(Has(second.err, "Ошибка!: Невозможно провести дефрагментацию!")) << second.err;
    EXPECT_FALSE(Has(second.err, "Дефрагментация завершена")) << second.err;
    EXPECT_TRUE(Same_Bytes(Read("TD.cdb"), before));
    EXPECT_TRUE(home.Exists("data/$Defrag$.bin"));

    const Run_Result done = first.Release_And_Wait();
    ASSERT_EQ(done.exit_code, 0) << done.err;
    Expect_Defragmented(Read("TD.cdb"));
}

// A run that crashed leaves its lock file behind; the next start takes it over, as it does a lock
// file that a crash left empty, or one naming a live process that holds no lock (a process id
// used again).
TEST_F(Two_Processes, ACrashedRunNeverBlocksTheNextStart) {
    {
        Held_Defragmentation crashed(home.Path(), config, Runtime_Folder::None);
        ASSERT_TRUE(crashed.Wait_Held()) << crashed.Release_And_Wait().err;
        crashed.Kill();
    }
    EXPECT_TRUE(home.Exists("tallydepot.lock"));
    EXPECT_TRUE(Same_Bytes(Read("TD.cdb"), before)); // killed mid-copy: the old database, whole

    const Run_Result next = Verb("defrag");
    ASSERT_EQ(next.exit_code, 0) << next.err;
    EXPECT_TRUE(Has(next.err, "Программа была завершена неожиданно.")) << next.err;
    Expect_Defragmented(Read("TD.cdb"));
    EXPECT_FALSE(home.Exists("tallydepot.lock"));

    char host[256] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    const std::string this_process = std::to_string(::getpid());
    for (const std::string& left : {std::string(), this_process + "\ntdctl_tests\n" + host + "\n",
                                    this_process + "\ntdctl\n" + host + "\n"}) {
        home.Write("tallydepot.lock", left);
        const Run_Result run = Verb("totals buyers");
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
    const Run_Result nowhere = Run_Tdctl("totals buyers --home " + missing, config);
    EXPECT_EQ(nowhere.exit_code, 1);
    EXPECT_TRUE(Has(nowhere.err, "cannot create the lock file " + missing +
                                     "/tallydepot.lock: No such file or directory"))
        << nowhere.err;
    EXPECT_FALSE(Has(nowhere.err, "Программа уже запущена"));
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
    const Run_Result refused = Run_Tdctl("totals buyers --home " + home, config);
    ::chmod(parent.Path().c_str(), 0755);
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_TRUE(
        Has(refused.err, "cannot create the lock file " + home + "/tallydepot.lock: " + reason))
        << refused.err;
    EXPECT_FALSE(Has(refused.err, "Программа уже запущена"));
    EXPECT_FALSE(fs::exists(home + "/data"));
}

// A database that is a symlink to a file in another folder is compacted there, and the link
// stays a link.
TEST_F(Two_Processes, DefragmentingALinkedDatabaseReplacesTheTargetAndKeepsTheLink) {
    Temp_Folder elsewhere;
    fs::rename(Data("TD.cdb"), elsewhere.File("TD.cdb"));
    fs::create_symlink(elsewhere.File("TD.cdb"), Data("TD.cdb"));

    const Run_Result run = Verb("defrag");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_FALSE(Has(run.err, "FATAL")) << run.err;
    EXPECT_TRUE(fs::is_symlink(Data("TD.cdb")));
    Expect_Defragmented(elsewhere.Read("TD.cdb"));
    EXPECT_FALSE(elsewhere.Exists("$Defrag$.bin"));
}

// The work marker's name is made durable: its folder is flushed once the marker is created.
// Seen from outside through strace; skipped where strace can't trace.
TEST_F(Two_Processes, TheWorkMarkersFolderIsFlushedAfterItIsCreated) {
    Temp_Folder capture;
    const int status = Verb("totals buyers", "strace -f -qq -o '" + capture.File("trace") +
                                                 "' -e trace=openat,fsync")
                           .exit_code;
    const std::string trace = capture.Read("trace");
    const std::string marker_open = "\"" + Data("Work.$$$") + "\", O_RDWR|O_CREAT";
    if (!Has(trace, marker_open))
        GTEST_SKIP() << "strace could not trace tdctl (status " << status << ")";

    // The marker's creation, then the folder opened (as a folder) and flushed by that handle.
    std::istringstream lines(trace);
    const std::string folder_open = "openat(AT_FDCWD, \"" + home.File("data") + "\", O_RDONLY";
    bool marker_made = false;
    std::string folder_fd;
    bool flushed = false;
    for (std::string line; std::getline(lines, line) && !flushed;) {
        const std::size_t result = line.rfind(" = ");
        if (!marker_made) {
            marker_made = Has(line, marker_open);
        } else if (Has(line, folder_open) && Has(line, "O_DIRECTORY") &&
                   result != std::string::npos) {
            folder_fd = line.substr(result + 3);
        } else if (!folder_fd.empty() && Has(line, "fsync(" + folder_fd + ")")) {
            flushed = result != std::string::npos && line.substr(result) == " = 0";
        }
    }
    EXPECT_TRUE(flushed) << trace;
}

} // namespace
} // namespace td::test
