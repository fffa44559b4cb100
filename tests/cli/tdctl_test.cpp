// Black-box runs of tdctl on temporary installations.
#include "cli/tdctl_runner.h"
#include "support/temp_folder.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

namespace {

using td::test::Run_Result;
using td::test::Run_Tdctl;
using td::test::Temp_Folder;

TEST(Tdctl, InitWritesSettingsAndRefusesToOverwrite) {
    Temp_Folder config;
    Temp_Folder home;
    Run_Result first = Run_Tdctl("init --home " + home.Path(), config);
    ASSERT_EQ(first.exit_code, 0) << first.err;
    std::string ini = home.Read("td.ini");
    for (const char* key : {"User", "Company", "Databases", "Company_DB", "Towns_DB",
                            "Establishment_DB", "DB_Ext", "Database", "Fuel_DB", "BackUp",
                            "User_Volume", "CS_PATH", "Cache_Diff", "Cache_Used", "Cache_User"})
        EXPECT_NE(ini.find(std::string("\n") + key + " ="), std::string::npos) << key;
    EXPECT_NE(ini.find("[Tally depot beta]"), std::string::npos);

    home.Write("td.ini", "[Tally depot beta]\nUser = kept\n");
    Run_Result second = Run_Tdctl("init --demo --home " + home.Path(), config);
    EXPECT_EQ(second.exit_code, 1);
    EXPECT_NE(second.err.find("already exists"), std::string::npos) << second.err;
    EXPECT_EQ(home.Read("td.ini"), "[Tally depot beta]\nUser = kept\n");
    EXPECT_FALSE(home.Exists("data/TD.cdb"));
}

TEST(Tdctl, DemoInstallationVerifies) {
    Temp_Folder config;
    Temp_Folder home;
    Run_Result init = Run_Tdctl("init --demo --home " + home.Path(), config);
    ASSERT_EQ(init.exit_code, 0) << init.err;
    for (const char* file :
         {"Towns.dat", "Company_Db.dat", "Establishments.dat", "Fuel.dat", "UsVol.dat", "TD.cdb"})
        EXPECT_TRUE(home.Exists(std::string("data/") + file)) << file;

    // The environment variable names the home when --home is absent.
    std::string command_env = "TALLY_DEPOT_HOME='" + home.Path() + "' ";
    Temp_Folder capture;
    int status = std::system((command_env + "XDG_CONFIG_HOME='" + config.Path() + "' " +
                              TDCTL_PATH + " verify >'" + capture.File("out") + "' 2>&1")
                                 .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 0) << capture.Read("out");

    // A second demo into the same data refuses.
    Run_Result again = Run_Tdctl("init --demo --home " + home.Path(), config);
    EXPECT_EQ(again.exit_code, 1);
}

TEST(Tdctl, VerifyFailsOnAHeadWithoutLines) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    home.Write("data/TD.cdb", std::string(350, 'x'));
    Run_Result garbage = Run_Tdctl("verify --home " + home.Path(), config);
    EXPECT_EQ(garbage.exit_code, 1);
    EXPECT_NE(garbage.err.find("cannot be parsed"), std::string::npos) << garbage.err;
}

TEST(Tdctl, MissingSettingsFileTakesTheFatalPath) {
    Temp_Folder config;
    Temp_Folder home;
    Run_Result verify = Run_Tdctl("verify --home " + home.Path(), config);
    EXPECT_EQ(verify.exit_code, 1);
    EXPECT_NE(verify.err.find("Std_Functions\\Get_Var"), std::string::npos) << verify.err;
    EXPECT_NE(verify.err.find("0x07331056FFAD"), std::string::npos) << verify.err;
}

} // namespace

// ---- Verbs that start the installation ----------------------------------------------------

#include "qt/qt_instance_guard.h"

#include <filesystem>
#include <sstream>

namespace {

std::vector<std::string> Lines_Of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

bool Any_Index_File(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::string name = entry.path().filename().string();
        if (name.size() > 4 && name[0] == 'z' && name.substr(name.size() - 4) == ".dat")
            return true;
    }
    return false;
}

TEST(Tdctl, TotalsFollowTheWorkingDateAndShutdownCleansUp) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);

    Run_Result buyers = Run_Tdctl("totals buyers --home " + home.Path(), config);
    ASSERT_EQ(buyers.exit_code, 0) << buyers.err;
    // The first start after init is a clean one: no word of an unexpected end.
    EXPECT_EQ(buyers.err.find("Программа была завершена неожиданно."), std::string::npos);
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
    EXPECT_FALSE(Any_Index_File(home.File("data")));

    // A working date before every sale: no buyer holds unredeemed litres on it.
    Run_Result set = Run_Tdctl("date 01.01.2000 --home " + home.Path(), config);
    ASSERT_EQ(set.exit_code, 0) << set.err;
    EXPECT_EQ(set.out, "01.01.2000\n");
    Run_Result shown = Run_Tdctl("date --home " + home.Path(), config);
    EXPECT_EQ(shown.out, "01.01.2000\n");
    EXPECT_EQ(Run_Tdctl("totals buyers --home " + home.Path(), config).out, "");
    EXPECT_EQ(Run_Tdctl("totals stations --home " + home.Path(), config).out, "");

    // Back to a date after the history: the buyers' stock is there again, one line per buyer
    // with the record number and ten totals.
    ASSERT_EQ(Run_Tdctl("date 31.12.2099 --home " + home.Path(), config).exit_code, 0);
    Run_Result later = Run_Tdctl("totals buyers --home " + home.Path(), config);
    std::vector<std::string> lines = Lines_Of(later.out);
    ASSERT_FALSE(lines.empty()) << later.err;
    for (const auto& line : lines)
        EXPECT_EQ(std::count(line.begin(), line.end(), '\t'), 10) << line;

    Run_Result bad = Run_Tdctl("date 31.02.2026 --home " + home.Path(), config);
    EXPECT_EQ(bad.exit_code, 2);
}

TEST(Tdctl, KilledRunIsReportedAndRebuilt) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    // A marker left behind is what a killed run leaves.
    home.Write("data/Work.$$$", "");
    Run_Result run = Run_Tdctl("rebuild --home " + home.Path(), config);
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_NE(run.err.find("Программа была завершена неожиданно."), std::string::npos) << run.err;
    EXPECT_NE(run.out.find("rebuilt:"), std::string::npos);
    EXPECT_FALSE(home.Exists("data/Work.$$$"));
    EXPECT_EQ(std::filesystem::file_size(home.File("data/Cache_d.dat")), 16384u * 84u);
}

TEST(Tdctl, DefragDropsDeletedTicketsAndKeepsTheRest) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    std::string before = home.Read("data/TD.cdb");
    std::size_t deleted = 0;
    std::string live;
    for (std::size_t at = 432; at + 72 <= before.size(); at += 72) {
        if (before[at + 1] != 0)
            ++deleted;
        else
            live += before.substr(at, 72);
    }
    ASSERT_GT(deleted, 0u);

    Run_Result run = Run_Tdctl("defrag --home " + home.Path(), config);
    ASSERT_EQ(run.exit_code, 0) << run.err;
    std::string after = home.Read("data/TD.cdb");
    EXPECT_EQ(after.substr(432), live);
    EXPECT_FALSE(home.Exists("data/$Defrag$.bin"));
    Run_Result verify = Run_Tdctl("verify --home " + home.Path(), config);
    EXPECT_EQ(verify.exit_code, 0) << verify.out << verify.err;
}

TEST(Tdctl, RefusesWhileAnotherInstanceRuns) {
    Temp_Folder config;
    Temp_Folder home;
    ASSERT_EQ(Run_Tdctl("init --demo --home " + home.Path(), config).exit_code, 0);
    setenv("XDG_RUNTIME_DIR", config.Path().c_str(), 1);
    {
        td::Qt_Instance_Guard running(home.Path());
        ASSERT_TRUE(running.Acquire());
        Run_Result refused = Run_Tdctl("totals buyers --home " + home.Path(), config);
        EXPECT_EQ(refused.exit_code, 1);
        EXPECT_NE(refused.err.find("Программа уже запущена"), std::string::npos) << refused.err;
        EXPECT_FALSE(home.Exists("data/Work.$$$"));
    }
    // Once the other instance is gone the verb runs, and a clean end takes its lock file away
    // with it, so that the next start finds no stale lock to clear.
    EXPECT_EQ(Run_Tdctl("totals buyers --home " + home.Path(), config).exit_code, 0);
    for (const auto& entry : std::filesystem::directory_iterator(config.Path()))
        EXPECT_NE(entry.path().extension(), ".lock") << entry.path();
}

} // namespace
