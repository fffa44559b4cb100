#include "kernel/settings.h"
#include "kernel/state.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace td {
namespace {

constexpr const char* Section = "Tally depot beta";

// Where a key counts: in the section named (case and blanks aside, whatever follows its "]"),
// behind no comment character, matched whole, first occurrence winning, whatever the line ends.
TEST(Find_Setting, SectionsCommentsKeysAndLineEnds) {
    const std::string head = "[Tally depot beta]\n";
    const struct {
        std::string text;
        const char* key;
        std::optional<std::string> value;
    } rows[] = {
        {head + "Database=TD.cdb\n", "Database", "TD.cdb"},
        {head + "DATABASE=Big.cdb\n", "Database", "Big.cdb"},
        {head + "   database   =   Mine.cdb   \n", "Database", "Mine.cdb"},
        {head + "Database = TD.cdb", "DATABASE", "TD.cdb"},
        {"[Tally depot beta]\r\nDatabase = Win.cdb\r\nFuel_DB = F.dat\r\n", "Database", "Win.cdb"},
        {"[Tally depot beta]\rDatabase = Mac.cdb\r", "Database", "Mac.cdb"},
        {head + "User =\n", "User", ""}, // an empty value is a value
        {head + "Databases = \\data\n", "Database", std::nullopt},
        // A comment character anywhere makes the line a comment.
        {head + "Database = D:/data/TD.cdb\n", "Database", std::nullopt},
        {head + "Fuel_DB = Fuel.dat # grades\n", "Fuel_DB", std::nullopt},
        {head + "Towns_DB = 'Towns.dat'\n", "Towns_DB", std::nullopt},
        {head + "# User = commented\nCompany = ООО Топливо\n", "User", std::nullopt},
        {head + "# User = commented\nCompany = ООО Топливо\n", "Company", "ООО Топливо"},
        {"# [Tally depot beta]\nDatabase = TD.cdb\n", "Database", std::nullopt},
        // Before any section line nothing counts; "[end]" and other sections close the section.
        {"Database = TD.cdb\n" + head, "Database", std::nullopt},
        {"[Other]\nDatabase = X.cdb\n", "Database", std::nullopt},
        {head + "[end]\nDatabase = X.cdb\n", "Database", std::nullopt},
        {"[Other]\nDatabase = X.cdb\n" + head + "Database = Y.cdb\n", "Database", "Y.cdb"},
        {"[TALLY DEPOT BETA]\nDatabase = A.cdb\n", "Database", "A.cdb"},
        {"[  tally Depot beta  ]\nDatabase = B.cdb\n", "Database", "B.cdb"},
        {"[Tally depot beta] main\nDatabase = C.cdb\n", "Database", "C.cdb"},
        // No section lines: "[" without "]", "]" before the third position, "[" not first.
        {head + "[Other\nDatabase = A.cdb\n", "Database", "A.cdb"},
        {head + "[]\nDatabase = B.cdb\n", "Database", "B.cdb"},
        {head + " [Other]\nDatabase = C.cdb\n", "Database", "C.cdb"},
        {head + "[x]\nDatabase = D.cdb\n", "Database", std::nullopt},
        // The first key wins, the value keeps further "=", a line without "=" is no key.
        {head + "Database = First.cdb\ndatabase = Second.cdb\n", "Database", "First.cdb"},
        {head + "User = a=b = c\n", "User", "a=b = c"},
        {head + "Comment line without equals\n", "Comment line without equals", std::nullopt},
        {"\xEF\xBB\xBF" + head + "Database = M.cdb\n", "Database", "M.cdb"}, // a byte order mark
        {head + std::string("Dat\0abase = X\nDatabase = Y\0Z\n", 28), "Database",
         std::string("Y\0Z", 3)},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Find_Setting(row.text, Section, row.key), row.value) << row.text;
    EXPECT_EQ(Find_Setting("[x]\nDatabase = D.cdb\n", "X", "Database"), "D.cdb");

    const std::string long_value(1 << 20, 'x');
    const std::string text =
        head + std::string(1 << 20, 'q') + "\nDatabase = " + long_value + "\nFuel_DB = F.dat\n";
    EXPECT_EQ(Find_Setting(text, Section, "Database"), long_value);
    EXPECT_EQ(Find_Setting(text, Section, "Fuel_DB"), "F.dat");
}

class Settings_File : public ::testing::Test {
protected:
    void SetUp() override { Reset_State(); }
    void TearDown() override { Reset_State(); }

    std::string Ini() const { return folder.File("td.ini"); }

    test::Temp_Folder folder;
    test::Fake_Ui ui;
};

// Keys in either code page ("Бухгалтер" in 1251, as a file written on the other system holds it);
// a default where the key is missing, commented out (a slash), or the file holds blank lines only.
TEST_F(Settings_File, Get_VarFindsKeysAndFallsBackToTheDefault) {
    folder.Write("td.ini", "[Tally depot beta]\r\n"
                           "DATABASE = Main.cdb\r\n"
                           "Fuel_DB = C:/fuel.dat\r\n"
                           "User = \xC1\xF3\xF5\xE3\xE0\xEB\xF2\xE5\xF0\r\n"
                           "Company = ООО Топливная компания\r\n"
                           "[end]\r\n");
    EXPECT_EQ(Get_Var(Ini(), Section, "Database", "TD.cdb", ui), "Main.cdb");
    EXPECT_EQ(Get_Var(Ini(), Section, "User", "", ui), "Бухгалтер");
    EXPECT_EQ(Get_Var(Ini(), Section, "Company", "", ui), "ООО Топливная компания");
    EXPECT_EQ(Get_Var(Ini(), Section, "Fuel_DB", "Fuel.dat", ui), "Fuel.dat");
    EXPECT_EQ(Get_Var(Ini(), Section, "Towns_DB", "nobody", ui), "nobody");
    EXPECT_EQ(Get_Var(Ini(), "Other", "Database", "TD.cdb", ui), "TD.cdb");
    folder.Write("td.ini", "\n\n   \r\n");
    EXPECT_EQ(Get_Var(Ini(), Section, "Database", "TD.cdb", ui), "TD.cdb");
    EXPECT_TRUE(ui.fatals.empty());
    EXPECT_TRUE(ui.boxes.empty());
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

    // Reading all the settings stops at the first key, before the bar moves.
    std::vector<int> bar;
    EXPECT_THROW(Read_Settings(Ini(), "/opt/td", ui, [&bar](int value) { bar.push_back(value); }),
                 test::Process_Ended);
    EXPECT_EQ(ui.fatals.size(), 1u);
    EXPECT_TRUE(bar.empty());
}

// Every key of the settings file into its field, or the field's default where the key is missing;
// the bar moves as the keys are read. The program path gets its file name behind one backslash.
TEST_F(Settings_File, Read_SettingsReadsEveryKeyOrItsDefault) {
    const struct {
        const char *key, *value;
        std::string Settings::*field;
        const char *read, *by_default;
    } keys[] = {
        {"User", "Бухгалтер", &Settings::User_Name, "Бухгалтер", ""},
        {"Company", "ООО Топливо", &Settings::Company_Name, "ООО Топливо", ""},
        {"Databases", "\\data", &Settings::Databases_Path, "\\data", "/opt/td"},
        {"Company_DB", "Co.dat", &Settings::Company_File, "Co.dat", "Company_Db.dat"},
        {"Towns_DB", "Tw.dat", &Settings::Towns_File, "Tw.dat", "Towns.dat"},
        {"Establishment_DB", "Es.dat", &Settings::Establishments_File, "Es.dat",
         "Establishments.dat"},
        {"DB_Ext", "xdb", &Settings::DB_Extension, "xdb", "ddb"},
        {"Database", "Main.cdb", &Settings::Database_File, "Main.cdb", "TD.cdb"},
        {"Fuel_DB", "Fu.dat", &Settings::Fuel_File, "Fu.dat", "Fuel.dat"},
        {"BackUp", "Main.cbk", &Settings::Backup_File, "Main.cbk", "TD.cbk"},
        {"User_Volume", "Uv.dat", &Settings::User_Volume_File, "Uv.dat", "UsVol.dat"},
        {"CS_PATH", "D:\\Tools", &Settings::CS_Program_Path, "D:\\Tools\\Cloud sculptor.exe",
         "Not define"},
        {"Cache_Diff", "Cd.dat", &Settings::Cache_Diff_File, "Cd.dat", "Cache_d.dat"},
        {"Cache_Used", "Cu.dat", &Settings::Cache_Used_File, "Cu.dat", "Cache_u.dat"},
        {"Cache_User", "Cus.dat", &Settings::Cache_User_File, "Cus.dat", "Cache_Users.dat"},
    };
    std::string text = "[Tally depot beta]\n";
    for (const auto& k : keys)
        text += std::string(k.key) + " = " + k.value + "\n";
    folder.Write("td.ini", text + "[end]\n");
    std::vector<int> bar;
    const Settings read =
        Read_Settings(Ini(), "/opt/td", ui, [&bar](int value) { bar.push_back(value); });
    EXPECT_EQ(bar, (std::vector<int>{2, 3, 4, 4, 5, 6, 7, 8, 9}));
    folder.Write("td.ini", "[Tally depot beta]\n[end]\n");
    const Settings defaults = Read_Settings(Ini(), "/opt/td", ui);
    for (const auto& k : keys) {
        EXPECT_EQ(read.*k.field, k.read) << k.key;
        EXPECT_EQ(defaults.*k.field, k.by_default) << k.key;
    }

    folder.Write("td.ini", "[Tally depot beta]\nCS_PATH = E:\\Cloud\\\n[end]\n");
    EXPECT_EQ(Read_Settings(Ini(), "/opt/td", ui).CS_Program_Path, "E:\\Cloud\\Cloud sculptor.exe");
    folder.Write("td.ini", "[Tally depot beta]\nCS_PATH = Not define\n");
    EXPECT_EQ(Read_Settings(Ini(), "/opt/td", ui).CS_Program_Path, "Not define");
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
