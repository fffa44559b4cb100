// tdctl reports every failure: which file and why on standard error, exit 1, nothing passed off
// as done, and never an abort. Faults come from outside the program: a size limit, strace
// injecting errors, FIFOs, folders and links where files belong.
#include "cli/tdctl_runner.h"

#include <filesystem>

namespace td::test {
namespace {

namespace fs = std::filesystem;

class Tdctl_Failures : public Tdctl_Test {
protected:
    void SetUp() override {
        Tdctl_Test::SetUp();
        Install();
    }
    // `verb` ends with 1 and says `reason` on standard error.
    Run_Result Expect_Failure(const std::string& verb, const std::string& reason) {
        const Run_Result run = Verb(verb);
        EXPECT_EQ(run.exit_code, 1) << verb << "\n" << run.err;
        EXPECT_TRUE(Has(run.err, reason)) << verb << "\n" << run.err;
        return run;
    }
};

// A read error on the database at start-up ends the start with the reason, and the database keeps
// every byte: its header is not rewritten with a count of 0. A read error during the rebuild's
// pass is a failure of the pass: the work marker stays.
TEST_F(Tdctl_Failures, ReadErrorsOnTheDatabaseAreReported) {
    if (!Strace_Present())
        GTEST_SKIP() << "strace is not installed";
    const std::string database = Read("TD.cdb");
    const std::string counted = Verb("verify").out;
    const Run_Result run =
        Verb("totals buyers", Inject("pread64", "error=EIO", 1, {Data("TD.cdb")}));
    EXPECT_EQ(run.exit_code, 1) << run.err;
    EXPECT_TRUE(Has(run.err, "Cannot read " + Data("TD.cdb") + ": Input/output error")) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(Read("TD.cdb") == database) << "the database changed";
    EXPECT_EQ(Verb("verify").out, counted);

    // The first two reads are the header's (start-up's and the pass's); the third is tickets.
    const Run_Result pass = Verb("rebuild", Inject("pread64", "error=EIO", 3, {Data("TD.cdb")}));
    EXPECT_EQ(pass.exit_code, 1) << pass.err;
    EXPECT_FALSE(Has(pass.out, "rebuilt:")) << pass.out;
    EXPECT_TRUE(Has(pass.err, Data("TD.cdb") + ": Input/output error")) << pass.err;
    EXPECT_TRUE(home.Exists("data/Work.$$$"));
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

TEST_F(Tdctl_Failures, RefusedDefragmentationAndFailedSavesExitWithOne) {
    const std::string database = Read("TD.cdb");
    fs::create_directories(Data("$Defrag$.bin/left"));
    const Run_Result defrag = Verb("defrag");
    EXPECT_EQ(defrag.exit_code, 1) << defrag.err;
    EXPECT_FALSE(Has(defrag.out, "defragmented")) << defrag.out;
    EXPECT_TRUE(Has(defrag.err, "Невозможно провести дефрагментацию!")) << defrag.err;
    EXPECT_TRUE(Has(defrag.err, Data("$Defrag$.bin"))) << defrag.err;
    EXPECT_TRUE(Read("TD.cdb") == database) << "the database changed";

    fs::remove(Data("Establishments.dat"));
    fs::create_directory(Data("Establishments.dat"));
    Expect_Failure("station set 3 Новая", Data("Establishments.dat") + ": Is a directory");
    fs::remove(Data("UsVol.dat"));
    ASSERT_EQ(::mkfifo(Data("UsVol.dat").c_str(), 0644), 0);
    Expect_Failure("volume add 35", Data("UsVol.dat") + ": Not a regular file");

    // The settings store can't be written: the date is not changed, and tdctl says so.
    const std::string store = config.File("Tally Depot/Tally Depot.ini");
    fs::remove(store);
    fs::create_directories(store);
    EXPECT_EQ(Expect_Failure("date 01.02.2026", store).out, "");
}

// What is not a regular file, a name too long, a link to itself, a deleted current folder: each
// is reported with its reason, never an abort and never a wait.
TEST_F(Tdctl_Failures, OddFilesAndFoldersAreReportedNeverAborted) {
    const std::string database = Data("TD.cdb");
    fs::rename(database, Data("TD.real"));
    ASSERT_EQ(::mkfifo(database.c_str(), 0644), 0);
    for (const char* verb : {"verify", "totals buyers"})
        Expect_Failure(verb, database + ": Not a regular file");
    fs::remove(database);
    fs::create_symlink("TD.cdb", database);
    for (const char* verb : {"verify", "totals buyers"})
        Expect_Failure(verb, database + ": Too many levels of symbolic links");
    fs::remove(database);
    fs::rename(Data("TD.real"), database);

    const std::string ini = home.Read("td.ini");
    std::string renamed = ini;
    renamed.replace(renamed.find("Database = TD.cdb"), 17, "Database = " + std::string(256, 'a'));
    home.Write("td.ini", renamed);
    Expect_Failure("verify", "File name too long");
    home.Write("td.ini", ini);
    const Run_Result init = Run_Tdctl("init --home " + home.File(std::string(256, 'b')), config,
                                      Runtime_Folder::Config);
    EXPECT_EQ(init.exit_code, 1) << init.err;
    EXPECT_TRUE(Has(init.err, "File name too long")) << init.err;

    // The current folder is gone: a home given in full still works, none at all is reported.
    Temp_Folder gone;
    const std::string cwd = gone.File("gone");
    const std::string in_gone = "mkdir '" + cwd + "' && cd '" + cwd + "' && rmdir '" + cwd + "' &&";
    EXPECT_EQ(Verb("verify", in_gone).exit_code, 0);
    const Run_Result nowhere = Run_Tdctl("verify", config, Runtime_Folder::Config,
                                         "unset TALLY_DEPOT_HOME; " + in_gone, "/");
    EXPECT_EQ(nowhere.exit_code, 1) << nowhere.err;
    EXPECT_TRUE(Has(nowhere.err, "No such file or directory")) << nowhere.err;

    // The settings file as a FIFO, then missing: the fatal line and its cause.
    fs::remove(home.File("td.ini"));
    ASSERT_EQ(::mkfifo(home.File("td.ini").c_str(), 0644), 0);
    Expect_Failure("rebuild", "cause: " + home.File("td.ini") + ": Not a regular file");
    fs::remove(home.File("td.ini"));
    const Run_Result no_ini =
        Expect_Failure("rebuild", "cause: " + home.File("td.ini") + ": No such file or directory");
    EXPECT_TRUE(Has(no_ini.err, "Std_Functions\\Get_Var")) << no_ini.err;
    EXPECT_TRUE(Has(no_ini.err, "0x07331056FFAD")) << no_ini.err;
    home.Write("td.ini", ini);

    // A totals file that can't be opened: the fatal line names it in full, with the reason.
    fs::remove(Data("Cache_u.dat"));
    fs::create_directory(Data("Cache_u.dat"));
    Expect_Failure("rebuild", "Cannot open " + Data("Cache_u.dat") + ": Is a directory");
}

} // namespace
} // namespace td::test
