// tdctl reports every failure: which file and why on standard error, exit 1, nothing passed off
// as done, and never an abort. Faults come from outside the program: a size limit, strace
// injecting errors, FIFOs, folders and links where files belong.
#include "cli/tdctl_runner.h"
#include "support/temp_folder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;
using td::test::Run_Result;
using td::test::Temp_Folder;

// From "/" unless told otherwise: a relative path must never find the test's own folder.
Run_Result Run_From(const std::string& arguments, const Temp_Folder& config,
                    const std::string& shell_prefix = "", const std::string& cwd = "/") {
    return td::test::Run_Tdctl(arguments, config, td::test::Runtime_Folder::Config, shell_prefix,
                               cwd);
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

bool Strace_Present() {
    return std::system("strace -V >/dev/null 2>&1") == 0;
}

class Tdctl_Failures : public ::testing::Test {
protected:
    Temp_Folder config;
    Temp_Folder home;

    void SetUp() override {
        ::chmod(config.Path().c_str(), 0700);
        const Run_Result init = Run_From("init --demo --home " + home.Path(), config);
        ASSERT_EQ(init.exit_code, 0) << init.err;
    }
    Run_Result Verb(const std::string& arguments, const std::string& prefix = "") {
        return Run_From(arguments + " --home " + home.Path(), config, prefix);
    }
    std::string Data(const std::string& name) const { return home.File("data/" + name); }
};

// A read error on the database at start-up ends the start with the reason, and the database keeps
// every byte: its header is not rewritten with a count of 0.
TEST_F(Tdctl_Failures, AReadErrorAtStartLeavesTheDatabaseAlone) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    const std::string database = home.Read("data/TD.cdb");
    const std::string counted = Verb("verify").out;
    const Run_Result run = Verb("totals buyers", "strace -f -o /dev/null -e trace=pread64 "
                                                 "-e inject=pread64:error=EIO:when=1 -P '" +
                                                     Data("TD.cdb") + "'");
    EXPECT_EQ(run.exit_code, 1) << run.err;
    EXPECT_TRUE(Has(run.err, "Cannot read " + Data("TD.cdb") + ": Input/output error")) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(home.Read("data/TD.cdb") == database) << "the database changed";
    EXPECT_EQ(Verb("verify").out, counted);
}

// A rebuild that can't write its totals (a file size limit) says which file and why, exits 1,
// keeps the work marker; the next start rebuilds and the totals are whole again.
TEST_F(Tdctl_Failures, ARebuildThatCantWriteFailsAndTheNextStartMendsIt) {
    const Run_Result before = Verb("totals buyers");
    ASSERT_EQ(before.exit_code, 0) << before.err;
    ASSERT_NE(before.out, "");

    const Run_Result run = Verb("rebuild", "ulimit -f 1000;");
    EXPECT_EQ(run.exit_code, 1) << run.err;
    EXPECT_FALSE(Has(run.out, "rebuilt:")) << run.out;
    EXPECT_TRUE(Has(run.err, Data("Cache_d.dat") + ": File too large")) << run.err;
    EXPECT_TRUE(home.Exists("data/Work.$$$"));
    EXPECT_LT(fs::file_size(Data("Cache_d.dat")), 16384u * 84u);

    const Run_Result after = Verb("totals buyers");
    EXPECT_EQ(after.exit_code, 0) << after.err;
    EXPECT_TRUE(Has(after.err, "Программа была завершена неожиданно.")) << after.err;
    EXPECT_EQ(after.out, before.out);
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
}

// Tickets that can't be read during the pass are a failure of the pass too.
TEST_F(Tdctl_Failures, AReadErrorDuringTheRebuildIsReported) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    // The first two reads are the header's (start-up's and the pass's); the third is tickets.
    const Run_Result run = Verb("rebuild", "strace -f -o /dev/null -e trace=pread64 "
                                           "-e inject=pread64:error=EIO:when=3 -P '" +
                                               Data("TD.cdb") + "'");
    EXPECT_EQ(run.exit_code, 1) << run.err;
    EXPECT_FALSE(Has(run.out, "rebuilt:")) << run.out;
    EXPECT_TRUE(Has(run.err, Data("TD.cdb") + ": Input/output error")) << run.err;
    EXPECT_TRUE(home.Exists("data/Work.$$$"));
}

TEST_F(Tdctl_Failures, RefusedDefragmentationAndFailedSavesExitWithOne) {
    const std::string database = home.Read("data/TD.cdb");
    fs::create_directories(Data("$Defrag$.bin/left"));
    const Run_Result defrag = Verb("defrag");
    EXPECT_EQ(defrag.exit_code, 1) << defrag.err;
    EXPECT_FALSE(Has(defrag.out, "defragmented")) << defrag.out;
    EXPECT_TRUE(Has(defrag.err, "Невозможно провести дефрагментацию!")) << defrag.err;
    EXPECT_TRUE(Has(defrag.err, Data("$Defrag$.bin"))) << defrag.err;
    EXPECT_TRUE(home.Read("data/TD.cdb") == database) << "the database changed";
    fs::remove_all(Data("$Defrag$.bin"));

    fs::remove(Data("Establishments.dat"));
    fs::create_directory(Data("Establishments.dat"));
    const Run_Result station = Verb("station set 3 Новая");
    EXPECT_EQ(station.exit_code, 1) << station.err;
    EXPECT_TRUE(Has(station.err, Data("Establishments.dat") + ": Is a directory")) << station.err;

    fs::remove(Data("UsVol.dat"));
    ASSERT_EQ(::mkfifo(Data("UsVol.dat").c_str(), 0644), 0);
    const Run_Result volume = Verb("volume add 35");
    EXPECT_EQ(volume.exit_code, 1) << volume.err;
    EXPECT_TRUE(Has(volume.err, Data("UsVol.dat") + ": Not a regular file")) << volume.err;

    // The settings store can't be written: the date is not changed, and tdctl says so.
    fs::remove(config.File("Tally Depot/Tally Depot.ini"));
    fs::create_directories(config.File("Tally Depot/Tally Depot.ini"));
    const Run_Result date = Verb("date 01.02.2026");
    EXPECT_EQ(date.exit_code, 1) << date.err;
    EXPECT_EQ(date.out, "");
    EXPECT_TRUE(Has(date.err, config.File("Tally Depot/Tally Depot.ini"))) << date.err;
}

// The price the program wrote itself, in the exponent form, is a number.
TEST_F(Tdctl_Failures, FuelTakesThePricesItsOwnNumberFormatWrites) {
    for (const char* price : {"7,74860418548935E-304", "1,79769313486232E+308", "-2,5E-07"}) {
        const Run_Result set = Verb(std::string("fuel set 5 Газ ") + price);
        EXPECT_EQ(set.exit_code, 0) << price << set.err;
        EXPECT_TRUE(Has(set.out, std::string("5\tГаз\t") + price + "\t")) << set.out;
        // Saving the screen again reads the price back from its own text.
        const Run_Result again = Verb("fuel set 6 Мазут");
        EXPECT_EQ(again.exit_code, 0) << again.err;
        EXPECT_TRUE(Has(again.out, std::string("5\tГаз\t") + price + "\t")) << again.out;
    }
}

// What is not a regular file, a name too long, a link to itself, a deleted current folder: each
// is reported with its reason, never an abort and never a wait.
TEST_F(Tdctl_Failures, OddFilesAndFoldersAreReportedNeverAborted) {
    const std::string database = Data("TD.cdb");
    fs::rename(database, Data("TD.real"));
    ASSERT_EQ(::mkfifo(database.c_str(), 0644), 0);
    for (const char* verb : {"verify", "totals buyers"}) {
        const Run_Result run = Verb(verb);
        EXPECT_EQ(run.exit_code, 1) << verb << run.err;
        EXPECT_TRUE(Has(run.err, database + ": Not a regular file")) << verb << run.err;
    }
    fs::remove(database);
    fs::create_symlink("TD.cdb", database);
    for (const char* verb : {"verify", "totals buyers"}) {
        const Run_Result run = Verb(verb);
        EXPECT_EQ(run.exit_code, 1) << verb << run.err;
        EXPECT_TRUE(Has(run.err, database + ": Too many levels of symbolic links")) << run.err;
    }
    fs::remove(database);
    fs::rename(Data("TD.real"), database);

    const std::string ini = home.Read("td.ini");
    const std::string long_name(256, 'a');
    std::string renamed = ini;
    renamed.replace(renamed.find("Database = TD.cdb"), 17, "Database = " + long_name);
    home.Write("td.ini", renamed);
    const Run_Result verify = Verb("verify");
    EXPECT_EQ(verify.exit_code, 1) << verify.err;
    EXPECT_TRUE(Has(verify.err, "File name too long")) << verify.err;
    home.Write("td.ini", ini);

    const Run_Result init = Run_From("init --home " + home.File(std::string(256, 'b')), config);
    EXPECT_EQ(init.exit_code, 1) << init.err;
    EXPECT_TRUE(Has(init.err, "File name too long")) << init.err;

    // The current folder is gone: a home given in full still works, none at all is reported.
    Temp_Folder gone;
    const std::string cwd = gone.File("gone");
    const std::string in_gone = "mkdir '" + cwd + "' && cd '" + cwd + "' && rmdir '" + cwd + "' &&";
    EXPECT_EQ(Run_From("verify --home " + home.Path(), config, in_gone).exit_code, 0);
    const Run_Result nowhere = Run_From("verify", config, "unset TALLY_DEPOT_HOME; " + in_gone);
    EXPECT_EQ(nowhere.exit_code, 1) << nowhere.err;
    EXPECT_TRUE(Has(nowhere.err, "No such file or directory")) << nowhere.err;

    // The settings file as a FIFO, then missing: the fatal line and its cause.
    fs::remove(home.File("td.ini"));
    ASSERT_EQ(::mkfifo(home.File("td.ini").c_str(), 0644), 0);
    const Run_Result fifo_ini = Verb("rebuild");
    EXPECT_EQ(fifo_ini.exit_code, 1) << fifo_ini.err;
    EXPECT_TRUE(Has(fifo_ini.err, "cause: " + home.File("td.ini") + ": Not a regular file"))
        << fifo_ini.err;
    fs::remove(home.File("td.ini"));
    const Run_Result no_ini = Verb("rebuild");
    EXPECT_EQ(no_ini.exit_code, 1);
    EXPECT_TRUE(Has(no_ini.err, "0x07331056FFAD")) << no_ini.err;
    EXPECT_TRUE(Has(no_ini.err, "cause: " + home.File("td.ini") + ": No such file or directory"))
        << no_ini.err;
    home.Write("td.ini", ini);

    // A totals file that can't be opened: the fatal line names it in full, with the reason.
    fs::remove(Data("Cache_u.dat"));
    fs::create_directory(Data("Cache_u.dat"));
    const Run_Result totals = Verb("rebuild");
    EXPECT_EQ(totals.exit_code, 1);
    EXPECT_TRUE(Has(totals.err, "Cannot open " + Data("Cache_u.dat") + ": Is a directory"))
        << totals.err;
}

} // namespace
