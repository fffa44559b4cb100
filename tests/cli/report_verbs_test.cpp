// tdctl's report verbs as a user meets them: arguments refused with exit 2 and a reason, the
// ticket information's two commands writing one byte of one record, refused off a terminal
// without --yes, and a write that fails or a process killed at the write leaving the database
// whole. The installation is the report fixture of tests/data.
#include "cli/tdctl_runner.h"
#include "support/temp_folder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using td::test::Run_Result;
using td::test::Temp_Folder;

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

bool Strace_Present() {
    return std::system("strace -V >/dev/null 2>&1") == 0;
}

// The coupon 100002 (А-92, 20 litres, redeemed) is the fixture's 2nd ticket: record 8.
constexpr std::size_t Record_Of_100002 = 350 + 82 + 72;

class Report_Verbs : public ::testing::Test {
protected:
    Temp_Folder config;
    Temp_Folder home;

    void SetUp() override {
        ::chmod(config.Path().c_str(), 0700);
        const std::string data = TD_TEST_DATA;
        fs::create_directories(home.File("data"));
        fs::copy_file(data + "/installation/td.ini", home.File("td.ini"));
        for (const char* folder : {"/installation/data", "/reports/data"})
            for (const auto& entry : fs::directory_iterator(data + folder))
                fs::copy_file(entry.path(), home.File("data/" + entry.path().filename().string()),
                              fs::copy_options::overwrite_existing);
        ASSERT_EQ(Verb("date 15.03.2024").exit_code, 0);
    }
    Run_Result Verb(const std::string& arguments, const std::string& prefix = "") {
        return td::test::Run_Tdctl(arguments + " --home " + home.Path(), config,
                                   td::test::Runtime_Folder::Config, "exec </dev/null; " + prefix);
    }
    std::string Database() const { return home.Read("data/TD.cdb"); }
};

TEST_F(Report_Verbs, BadArgumentsAreRefusedWithAReason) {
    const struct {
        const char* arguments;
        const char* reason;
    } cases[] = {
        {"report", "which report?"},
        {"report monthly", "unknown report 'monthly'"},
        {"report left --period 01.03.2024 15.03.2024", "has no period"},
        {"report full --period 01.03.2024", "--period needs 2 values"},
        {"report full --period 01.03.2024 31.02.2024", "'31.02.2024' is not a date"},
        {"report full --csv --pdf x.pdf", "one at a time"},
        {"report full --extra", "unknown argument '--extra'"},
        {"stats station 17 1", "not a station from 1 to 16"},
        {"stats buyer 1:10", "usage: tdctl stats"},
        {"ticket 100002 --fuel 1", "usage: tdctl ticket"},
        {"ticket 100002 --fuel 1 --volume 20 --yes", "--yes goes with --delete or --restore"},
        {"ticket 100002 --fuel 1 --volume 20 --delete --restore --yes", "one at a time"},
    };
    for (const auto& c : cases) {
        const Run_Result run = Verb(c.arguments);
        EXPECT_EQ(run.exit_code, 2) << c.arguments << "\n" << run.err;
        EXPECT_TRUE(Has(run.err, c.reason)) << c.arguments << "\n" << run.err;
        EXPECT_EQ(run.out, "") << c.arguments;
    }
    // A fuel nobody has named: refused once the installation is open.
    const Run_Result fuel = Verb("stats station 1 Керосин");
    EXPECT_EQ(fuel.exit_code, 1);
    EXPECT_TRUE(Has(fuel.err, "no fuel grade is named 'Керосин'")) << fuel.err;
}

TEST_F(Report_Verbs, DeleteAndRestoreWriteOneRecordAndNeedYesOffATerminal) {
    const std::string before = Database();
    // Off a terminal (standard input is /dev/null) without --yes: nothing changes.
    Run_Result run = Verb("ticket 100002 --fuel 1 --volume 20 --delete");
    EXPECT_EQ(run.exit_code, 2) << run.err;
    EXPECT_TRUE(Database() == before);

    // A sold coupon has no redemption to undo.
    run = Verb("ticket 100003 --fuel ДТ --volume 10 --restore --yes");
    EXPECT_EQ(run.exit_code, 1) << run.err;
    EXPECT_TRUE(Has(run.err, "nothing to restore")) << run.err;
    EXPECT_TRUE(Database() == before);

    // Restore: Used 0 (byte 0 of the record), nothing else.
    run = Verb("ticket 100002 --fuel 1 --volume 20 --restore --yes");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(Has(run.err, "Талон восстановлен. Необходима переиндексация!!! ")) << run.err;
    std::string expected = before;
    expected[Record_Of_100002] = 0;
    EXPECT_TRUE(Database() == expected);
    // Sold again in the reports: 20 litres left instead of 18.5 redeemed.
    run = Verb("report left");
    EXPECT_TRUE(Has(run.out, "00010:00101 ООО Ромашка\t40\t0\t0")) << run.out;

    // Delete: Deleted 1 (byte 1); the coupon is gone from the information and the reports.
    run = Verb("ticket 100002 --fuel 1 --volume 20 --delete --yes");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(Has(run.err, "Восстановление талона: Талон удалён. Необходима переиндексация!!! "))
        << run.err;
    expected[Record_Of_100002 + 1] = 1;
    EXPECT_TRUE(Database() == expected);
    run = Verb("ticket 100002 --fuel 1 --volume 20");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.out, "");
    run = Verb("report left");
    EXPECT_TRUE(Has(run.out, "00010:00101 ООО Ромашка\t20\t0\t0")) << run.out;
}

TEST_F(Report_Verbs, AFailedOrKilledWriteLeavesTheDatabaseWhole) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    const std::string before = Database();
    const std::string database = home.File("data/TD.cdb");
    Run_Result run = Verb("ticket 100002 --fuel 1 --volume 20 --delete --yes",
                          "strace -f -o /dev/null -e trace=pwrite64 "
                          "-e inject=pwrite64:error=ENOSPC:when=1 -P '" +
                              database + "'");
    EXPECT_EQ(run.exit_code, 1) << run.err;
    EXPECT_TRUE(Has(run.err, "No space left on device")) << run.err;
    EXPECT_FALSE(Has(run.err, "Талон удалён")) << run.err;
    EXPECT_TRUE(Database() == before);

    run = Verb("ticket 100002 --fuel 1 --volume 20 --delete --yes",
               "strace -f -o /dev/null -e trace=pwrite64 "
               "-e inject=pwrite64:signal=KILL:when=1 -P '" +
                   database + "'");
    EXPECT_NE(run.exit_code, 0);
    EXPECT_TRUE(Database() == before);
    // The next start rebuilds after the crash, and the coupon is there as it was.
    run = Verb("ticket 100002 --fuel 1 --volume 20");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(Has(run.out, "Талон был списан!")) << run.out;
}

} // namespace
