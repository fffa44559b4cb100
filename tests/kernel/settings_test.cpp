#include "kernel/settings.h"
#include "kernel/state.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace td {
namespace {

constexpr const char* Section = "Tally depot beta";

std::optional<std::string> Find(std::string_view text, std::string_view key) {
    return Find_Setting(text, Section, key);
}

TEST(Find_Setting, KeyCaseBlanksAndLineEnds) {
    EXPECT_EQ(Find("[Tally depot beta]\nDatabase=TD.cdb\n", "Database"), "TD.cdb");
    EXPECT_EQ(Find("[Tally depot beta]\nDATABASE=Big.cdb\n", "Database"), "Big.cdb");
    EXPECT_EQ(Find("[Tally depot beta]\n   database   =   Mine.cdb   \n", "Database"), "Mine.cdb");
    EXPECT_EQ(Find("[Tally depot beta]\nDatabase = TD.cdb", "DATABASE"), "TD.cdb");
    // Windows line ends leave nothing behind in the value.
    EXPECT_EQ(Find("[Tally depot beta]\r\nDatabase = Win.cdb\r\nFuel_DB = F.dat\r\n", "Database"),
              "Win.cdb");
    EXPECT_EQ(Find("[Tally depot beta]\rDatabase = Mac.cdb\r", "Database"), "Mac.cdb");
    // An empty value is a value.
    EXPECT_EQ(Find("[Tally depot beta]\nUser =\n", "User"), "");
    // A key is matched whole, not as a prefix.
    EXPECT_EQ(Find("[Tally depot beta]\nDatabases = \\data\n", "Database"), std::nullopt);
}

TEST(Find_Setting, CommentCharactersAnywhereMakeTheLineAComment) {
    std::string text = "[Tally depot beta]\n"
                       "Database = D:/data/TD.cdb\n"
                       "Fuel_DB = Fuel.dat # grades\n"
                       "Towns_DB = 'Towns.dat'\n"
                       "# User = commented\n"
                       "Company = ООО Топливо\n";
    EXPECT_EQ(Find(text, "Database"), std::nullopt);
    EXPECT_EQ(Find(text, "Fuel_DB"), std::nullopt);
    EXPECT_EQ(Find(text, "Towns_DB"), std::nullopt);
    EXPECT_EQ(Find(text, "User"), std::nullopt);
    EXPECT_EQ(Find(text, "Company"), "ООО Топливо");
    // A commented-out section line doesn't open the section.
    EXPECT_EQ(Find("# [Tally depot beta]\nDatabase = TD.cdb\n", "Database"), std::nullopt);
}

TEST(Find_Setting, SectionsDecideWhereAKeyCounts) {
    // Before any section line nothing counts.
    EXPECT_EQ(Find("Database = TD.cdb\n[Tally depot beta]\n", "Database"), std::nullopt);
    // A key in another section is not found, and "[end]" closes the section.
    EXPECT_EQ(Find("[Other]\nDatabase = X.cdb\n", "Database"), std::nullopt);
    EXPECT_EQ(Find("[Tally depot beta]\n[end]\nDatabase = X.cdb\n", "Database"), std::nullopt);
    EXPECT_EQ(Find("[Other]\nDatabase = X.cdb\n[Tally depot beta]\nDatabase = Y.cdb\n", "Database"),
              "Y.cdb");
    // Section names compare without regard to case, and are trimmed.
    EXPECT_EQ(Find("[TALLY DEPOT BETA]\nDatabase = A.cdb\n", "Database"), "A.cdb");
    EXPECT_EQ(Find("[  tally Depot beta  ]\nDatabase = B.cdb\n", "Database"), "B.cdb");
    // Something after the "]" doesn't matter.
    EXPECT_EQ(Find("[Tally depot beta] main\nDatabase = C.cdb\n", "Database"), "C.cdb");
}

TEST(Find_Setting, WhatIsNotASectionLine) {
    // "[" without a "]" is no section line: the section before goes on.
    EXPECT_EQ(Find("[Tally depot beta]\n[Other\nDatabase = A.cdb\n", "Database"), "A.cdb");
    // "]" must stand at the third position or later: "[]" names no section.
    EXPECT_EQ(Find("[Tally depot beta]\n[]\nDatabase = B.cdb\n", "Database"), "B.cdb");
    // "[" not in the first column: no section either.
    EXPECT_EQ(Find("[Tally depot beta]\n [Other]\nDatabase = C.cdb\n", "Database"), "C.cdb");
    // A one-letter section is one: its "]" is at the third position.
    EXPECT_EQ(Find("[Tally depot beta]\n[x]\nDatabase = D.cdb\n", "Database"), std::nullopt);
    EXPECT_EQ(Find_Setting("[x]\nDatabase = D.cdb\n", "X", "Database"), "D.cdb");
}

TEST(Find_Setting, FirstKeyWinsAndValueKeepsFurtherEquals) {
    std::string text = "[Tally depot beta]\n"
                       "Comment line without equals\n"
                       "Database = First.cdb\n"
                       "database = Second.cdb\n"
                       "User = a=b = c\n";
    EXPECT_EQ(Find(text, "Database"), "First.cdb");
    EXPECT_EQ(Find(text, "User"), "a=b = c");
    EXPECT_EQ(Find(text, "Comment line without equals"), std::nullopt);
    // A byte order mark doesn't hide the first section line.
    EXPECT_EQ(Find("\xEF\xBB\xBF[Tally depot beta]\nDatabase = M.cdb\n", "Database"), "M.cdb");
}

TEST(Find_Setting, NulBytesAndHugeLines) {
    std::string nul_line = std::string("[Tally depot beta]\nDat\0abase = X\nDatabase = Y\0Z\n", 47);
    EXPECT_EQ(Find(nul_line, "Database"), std::string("Y\0Z", 3));

    std::string long_value(1 << 20, 'x');
    std::string text = "[Tally depot beta]\n" + std::string(1 << 20, 'q') +
                       "\nDatabase = " + long_value + "\nFuel_DB = F.dat\n";
    EXPECT_EQ(Find(text, "Database"), long_value);
    EXPECT_EQ(Find(text, "Fuel_DB"), "F.dat");
}

class Settings_File : public ::testing::Test {
protected:
    void SetUp() override { Reset_State(); }
    void TearDown() override { Reset_State(); }

    std::string Ini() const { return folder.File("td.ini"); }

    test::Temp_Folder folder;
    test::Fake_Ui ui;
};

TEST_F(Settings_File, Get_VarFindsKeysAndFallsBackToTheDefault) {
    folder.Write("td.ini", "[Tally depot beta]\r\n"
                           "DATABASE = Main.cdb\r\n"
                           "Fuel_DB = C:/fuel.dat\r\n"
                           "[end]\r\n");
    EXPECT_EQ(Get_Var(Ini(), Section, "Database", "TD.cdb", ui), "Main.cdb");
    // A slash makes the line a comment: the default stands.
    EXPECT_EQ(Get_Var(Ini(), Section, "Fuel_DB", "Fuel.dat", ui), "Fuel.dat");
    EXPECT_EQ(Get_Var(Ini(), Section, "User", "nobody", ui), "nobody");
    EXPECT_EQ(Get_Var(Ini(), "Other", "Database", "TD.cdb", ui), "TD.cdb");
    EXPECT_TRUE(ui.fatals.empty());
    EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(Settings_File, Get_VarReadsCodePage1251AsWellAsUtf8) {
    // "Бухгалтер" in code page 1251, as a file written on the other system holds it.
    folder.Write("td.ini", "[Tally depot beta]\nUser = \xC1\xF3\xF5\xE3\xE0\xEB\xF2\xE5\xF0\n"
                           "Company = ООО Топливная компания\n");
    EXPECT_EQ(Get_Var(Ini(), Section, "User", "", ui), "Бухгалтер");
    EXPECT_EQ(Get_Var(Ini(), Section, "Company", "", ui), "ООО Топливная компания");
}

void Expect_Get_Var_Ends_Process(const std::string& ini, test::Fake_Ui& ui) {
    try {
        Get_Var(ini, Section, "Database", "TD.cdb", ui);
        ADD_FAILURE() << "Get_Var returned";
    } catch (const test::Process_Ended& ended) {
        EXPECT_EQ(ended.exit_code, 1);
    }
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Std_Functions\\Get_Var");
    EXPECT_EQ(ui.fatals[0].code, "0x07331056FFAD");
    ui.fatals.clear();
}

TEST_F(Settings_File, MissingEmptyOrUnreadableFileTakesTheFatalPath) {
    Expect_Get_Var_Ends_Process(Ini(), ui);

    folder.Write("td.ini", "");
    Expect_Get_Var_Ends_Process(Ini(), ui);

    std::filesystem::create_directory(folder.File("folder.ini"));
    Expect_Get_Var_Ends_Process(folder.File("folder.ini"), ui);

    // Even when the user resumes the fatal screen, the process ends: there are no settings.
    ui.resume_fatal = true;
    Expect_Get_Var_Ends_Process(Ini(), ui);
}

TEST_F(Settings_File, BlankLinesOnlyIsNoErrorAndGivesDefaults) {
    folder.Write("td.ini", "\n\n   \r\n");
    EXPECT_EQ(Get_Var(Ini(), Section, "Database", "TD.cdb", ui), "TD.cdb");
    EXPECT_TRUE(ui.fatals.empty());
}

TEST_F(Settings_File, Read_SettingsReadsEveryKeyAndMovesTheBar) {
    folder.Write("td.ini", "[Tally depot beta]\n"
                           "User = Бухгалтер\n"
                           "Company = ООО Топливная компания\n"
                           "Databases = \\data\n"
                           "Company_DB = Co.dat\n"
                           "Towns_DB = Tw.dat\n"
                           "Establishment_DB = Es.dat\n"
                           "DB_Ext = xdb\n"
                           "Database = Main.cdb\n"
                           "Fuel_DB = Fu.dat\n"
                           "BackUp = Main.cbk\n"
                           "User_Volume = Uv.dat\n"
                           "CS_PATH = D:\\Tools\n"
                           "Cache_Diff = Cd.dat\n"
                           "Cache_Used = Cu.dat\n"
                           "Cache_User = Cus.dat\n"
                           "[end]\n");
    std::vector<int> bar;
    Settings s = Read_Settings(Ini(), "/opt/td", ui, [&bar](int value) { bar.push_back(value); });
    EXPECT_EQ(s.User_Name, "Бухгалтер");
    EXPECT_EQ(s.Company_Name, "ООО Топливная компания");
    EXPECT_EQ(s.Databases_Path, "\\data");
    EXPECT_EQ(s.Company_File, "Co.dat");
    EXPECT_EQ(s.Towns_File, "Tw.dat");
    EXPECT_EQ(s.Establishments_File, "Es.dat");
    EXPECT_EQ(s.DB_Extension, "xdb");
    EXPECT_EQ(s.Database_File, "Main.cdb");
    EXPECT_EQ(s.Fuel_File, "Fu.dat");
    EXPECT_EQ(s.Backup_File, "Main.cbk");
    EXPECT_EQ(s.User_Volume_File, "Uv.dat");
    EXPECT_EQ(s.CS_Program_Path, "D:\\Tools\\Cloud sculptor.exe");
    EXPECT_EQ(s.Cache_Diff_File, "Cd.dat");
    EXPECT_EQ(s.Cache_Used_File, "Cu.dat");
    EXPECT_EQ(s.Cache_User_File, "Cus.dat");
    EXPECT_EQ(bar, (std::vector<int>{2, 3, 4, 4, 5, 6, 7, 8, 9}));
}

TEST_F(Settings_File, Read_SettingsDefaultsAndTheSiblingProgramPath) {
    folder.Write("td.ini", "[Tally depot beta]\nCS_PATH = E:\\Cloud\\\n[end]\n");
    Settings s = Read_Settings(Ini(), "/opt/td", ui);
    Settings defaults;
    EXPECT_EQ(s.User_Name, "");
    EXPECT_EQ(s.Company_Name, "");
    EXPECT_EQ(s.Databases_Path, "/opt/td");
    EXPECT_EQ(s.Company_File, "Company_Db.dat");
    EXPECT_EQ(s.Database_File, "TD.cdb");
    EXPECT_EQ(s.Cache_User_File, "Cache_Users.dat");
    // A value ending in a backslash doesn't get a second one.
    EXPECT_EQ(s.CS_Program_Path, "E:\\Cloud\\Cloud sculptor.exe");

    folder.Write("td.ini", "[Tally depot beta]\nCS_PATH = Not define\n");
    EXPECT_EQ(Read_Settings(Ini(), "/opt/td", ui).CS_Program_Path, "Not define");
}

TEST_F(Settings_File, Read_SettingsWithoutAFileStopsAtTheFirstKey) {
    std::vector<int> bar;
    EXPECT_THROW(Read_Settings(Ini(), "/opt/td", ui, [&bar](int value) { bar.push_back(value); }),
                 test::Process_Ended);
    EXPECT_EQ(ui.fatals.size(), 1u);
    EXPECT_TRUE(bar.empty());
}

TEST(Paths, BackslashesDrivesAndRelativeFolders) {
    const std::string base = "/opt/td";
    EXPECT_EQ(Translate_Path("\\data", base), "/opt/td/data");
    EXPECT_EQ(Translate_Path("data\\2024", base), "/opt/td/data/2024");
    EXPECT_EQ(Translate_Path("\\data\\", base), "/opt/td/data");
    EXPECT_EQ(Translate_Path("", base), "/opt/td");
    EXPECT_EQ(Translate_Path("C:\\var\\tally", base), "/var/tally");
    EXPECT_EQ(Translate_Path("d:\\\\var\\\\tally\\", base), "/var/tally");
    EXPECT_EQ(Translate_Path("C:", base), "/");
    // The program's folder as a default is already a path of this system.
    EXPECT_EQ(Translate_Path("/opt/td", "/elsewhere"), "/opt/td");
    EXPECT_EQ(Translate_Path("\\data", "/opt/td/"), "/opt/td/data");

    EXPECT_EQ(Data_File_Path("/srv/data", "TD.cdb"), "/srv/data/TD.cdb");
    EXPECT_EQ(Data_File_Path("/srv/data/", "sub\\Fuel.dat"), "/srv/data/sub/Fuel.dat");
    EXPECT_EQ(Data_File_Path("/srv/data", "C:\\other\\TD.cdb"), "/other/TD.cdb");
}

} // namespace
} // namespace td
