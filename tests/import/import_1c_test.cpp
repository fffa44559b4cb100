// The import's three operations and its screen, on temporary data folders; expected company files
// are laid out by the test from the record layout. An update killed as its new file takes the old
// one's place is tried through tdctl in tests/import_cli.
#include "import/dbf_table.h"
#include "import/dbf_writer.h"
#include "import/import_1c.h"
#include "kernel/state.h"
#include "storage/record_file.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace td::test {
namespace {

// A table held in memory, rows of cells from column 1.
class Memory_Table : public Table_Reader {
public:
    std::vector<std::vector<std::string>> rows;
    int columns = 4;
    bool Load(const std::string&) override { return true; }
    int Row_Count() const override { return static_cast<int>(rows.size()); }
    int Column_Count() const override { return columns; }
    std::string Text(int r, int c) const override {
        if (r < 1 || r > Row_Count() || c < 1 || c > static_cast<int>(rows[r - 1].size()))
            return {};
        return rows[static_cast<std::size_t>(r - 1)][static_cast<std::size_t>(c - 1)];
    }
    const Table_Failure& Failure() const override { return failure; }
    Table_Failure failure;
};

std::string Pad(const std::string& utf8_in_1251_width, std::size_t width) {
    std::string bytes = To_1251(utf8_in_1251_width);
    bytes.resize(width, ' ');
    return bytes;
}

class Import_Test : public ::testing::Test {
protected:
    Temp_Folder folder;
    Program_State state;
    Fake_Ui ui;
    Fake_Clock clock; // 23.11.2026, 10:00:00
    Memory_Settings settings;
    Dbf_Table table;

    Import_Test() { state.Data_Folder = folder.Path(); }

    std::string Company_Path() const { return folder.File("Company_Db.dat"); }
    std::string Companies() const { return folder.Read("Company_Db.dat"); }
    void Write_Table(const std::string& name, const std::vector<Dbf_Row>& rows,
                     int name_width = 100) {
        folder.Write(name, Dbf_Bytes(Buyer_Fields(name_width), rows, 0x65));
    }
    std::unique_ptr<Import_1C> Screen(const std::string& table_name, int option) {
        auto screen = std::make_unique<Import_1C>(state, ui, clock, settings, table);
        screen->Form_Load();
        screen->Text1_Change(folder.File(table_name));
        screen->Option_Click(option);
        return screen;
    }
};

TEST_F(Import_Test, UpdateRenamesInPlaceAddsAtTheFirstFreeAndLeavesTheRest) {
    // Record 3 is free; record 4 lies behind it and is not seen by the scan.
    const std::string before = Company_Bytes(1, "00001", "1", "00010", "00002", "Старое имя") +
                               Company_Bytes(1, "00002", "1  ", "", "", "Второй") +
                               Company_Bytes(0, "00009", "1", "", "", "Стёртый") +
                               Company_Bytes(1, "00004", "1", "", "", "За дырой");
    folder.Write("Company_Db.dat", before);
    Write_Table("sc.dbf", {{{"00001", "1", "0001000002", To_866("Новое имя")}},
                           {{"00002", "2", "", To_866("Не компания: вид 2")}},
                           {{"00005", "1.0", "00003", To_866("Новая")}},
                           {{"00005", " 1", "00003", To_866("Новая, второй раз")}},
                           {{"00002", "1", "", To_866("Второй")}},
                           {{"00006", "11", "", To_866("Вид 11")}}});
    auto screen = Screen("sc.dbf", 1);
    screen->Command_Import_Click();
    ASSERT_TRUE(ui.fatals.empty()) << ui.fatals[0].module_path;

    // Record 1 keeps its number and its kind; the new company takes the free record 3 and its
    // second row finds it there (Next_Free has moved on) and renames it; record 4, behind the
    // first free record, is overwritten by nothing since only one company was new.
    const std::string expected =
        Company_Bytes(1, "00001", "1", "00010", "00002", "Новое имя") +
        Company_Bytes(1, "00002", "1  ", "", "", "Второй") +
        Company_Bytes(1, "00005", "1.0", "00003", "", "Новая, второй раз") +
        Company_Bytes(1, "00004", "1", "", "", "За дырой");
    EXPECT_EQ(Companies(), expected);
    EXPECT_EQ(screen->Updated().renamed, 2);
    EXPECT_EQ(screen->Updated().added, 1);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Импорт в базу данных успешо завершён!");
    EXPECT_EQ(ui.boxes[0].title, "Импорт");
    EXPECT_TRUE(screen->closed);
    EXPECT_EQ(screen->ProgressBar1, 0);
    EXPECT_EQ(settings.Get("Tally Depot", "Kernel", "1C DB Path", "?"), folder.File("sc.dbf"));
    // The company table is loaded anew: four used records before the first free one.
    EXPECT_EQ(state.Company_Count, 5);
    EXPECT_EQ(state.Company_Table[3].Name.rfind("Новая, второй раз", 0), 0u);
    EXPECT_FALSE(folder.Exists("Company_Db.dat.new"));
}

TEST_F(Import_Test, UpdateGivesEveryRecordOfAKeyTheNameAndATableOfNoCompaniesChangesNothing) {
    const std::string twice =
        Company_Bytes(1, "7", "1", "AB", "", "Один") + Company_Bytes(1, "7", "3", "AB", "", "Два");
    folder.Write("Company_Db.dat", twice);
    Write_Table("one.dbf", {{{"7", "1", "AB", To_866("Три")}}});
    Screen("one.dbf", 1)->Command_Import_Click();
    EXPECT_EQ(Companies(), Company_Bytes(1, "7", "1", "AB", "", "Три") +
                               Company_Bytes(1, "7", "3", "AB", "", "Три"));

    // No company rows: the file stays byte for byte, with the success message all the same. An
    // odd-sized file (a last record cut short) is not touched either.
    const std::string odd = twice + "\x01"
                                    "12";
    folder.Write("Company_Db.dat", odd);
    Write_Table("none.dbf", {{{"7", "2", "AB", "X"}}, {{"8", "", "", "Y"}}, {{"9", "0", "", "Z"}}});
    ui.boxes.clear();
    Screen("none.dbf", 1)->Command_Import_Click();
    EXPECT_EQ(Companies(), odd);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Импорт в базу данных успешо завершён!");

    // A missing company file is made by the first update.
    std::remove(Company_Path().c_str());
    Screen("one.dbf", 1)->Command_Import_Click();
    EXPECT_EQ(Companies(), Company_Bytes(1, "7", "1", "AB", "", "Три"));
}

TEST_F(Import_Test, AnUpdateWritesWhereASymlinkedCompanyFileReallyLives) {
    Temp_Folder elsewhere;
    elsewhere.Write("companies.dat", Company_Bytes(1, "1", "1", "", "", "Был"));
    ASSERT_EQ(::symlink(elsewhere.File("companies.dat").c_str(), Company_Path().c_str()), 0);
    Write_Table("sc.dbf", {{{"1", "1", "", To_866("Стал")}}});
    Screen("sc.dbf", 1)->Command_Import_Click();
    ASSERT_TRUE(ui.fatals.empty());
    struct stat link {};
    ASSERT_EQ(::lstat(Company_Path().c_str(), &link), 0);
    EXPECT_TRUE(S_ISLNK(link.st_mode));
    EXPECT_EQ(elsewhere.Read("companies.dat"), Company_Bytes(1, "1", "1", "", "", "Стал"));

    // A replace moves the link aside, leaves what it points to, and makes a file of its own.
    Screen("sc.dbf", 2)->Command_Import_Click();
    ASSERT_EQ(::lstat(Company_Path().c_str(), &link), 0);
    EXPECT_TRUE(S_ISREG(link.st_mode));
    EXPECT_EQ(Companies(), Company_Bytes(1, "1", "1", "", "", "Стал"));
    EXPECT_EQ(elsewhere.Read("companies.dat"), Company_Bytes(1, "1", "1", "", "", "Стал"));
    ASSERT_EQ(::lstat(folder.File("Replaced-20261123-100000/Company_Db.dat").c_str(), &link), 0);
    EXPECT_TRUE(S_ISLNK(link.st_mode));
}

TEST_F(Import_Test, MappingCutsEachFieldToItsWidthInBytes) {
    Memory_Table rows;
    std::string long_name(300, 'x');
    rows.rows = {{"ABCDEFG", "1xyz", "ГРУППАПОДГР-лишнее", long_name},
                 {"1", "01", "12", ""},
                 {"1", "1e0", "", ""},
                 {"1", "-1", "", ""},
                 {"1", "", "", ""},
                 {"1", "  1.5", "", ""}};
    const std::vector<Import_Row> mapped = Map_Rows(rows);
    ASSERT_EQ(mapped.size(), 6u);
    const std::string first(reinterpret_cast<const char*>(mapped[0].raw.data()), 276);
    EXPECT_EQ(first, std::string("\x01") + "ABCDE" + "1xyz " + Pad("ГРУПП", 5) + Pad("АПОДГ", 5) +
                         std::string(255, 'x'));
    const std::string second(reinterpret_cast<const char*>(mapped[1].raw.data()), 276);
    EXPECT_EQ(second.substr(11, 10), "12        ");
    EXPECT_TRUE(mapped[0].company); // the leading number of "1xyz" is 1
    EXPECT_TRUE(mapped[1].company);
    EXPECT_TRUE(mapped[2].company);
    EXPECT_FALSE(mapped[3].company);
    EXPECT_FALSE(mapped[4].company);
    EXPECT_FALSE(mapped[5].company);
}

TEST_F(Import_Test, CompareReportsAtFullWidthsWithCrLfAndWritesNothing) {
    const std::string before = Company_Bytes(1, "00001", "1", "00010", "00002", "Ромашка") +
                               Company_Bytes(1, "00002", "1", "", "", "Лютик");
    folder.Write("Company_Db.dat", before);
    // Equal tables: nothing to report.
    Write_Table("same.dbf", {{{"00001", "1", "0001000002", To_866("Ромашка")}},
                             {{"00002", "1", "", To_866("Лютик")}},
                             {{"00003", "2", "", To_866("не компания")}}});
    auto same = Screen("same.dbf", 3);
    same->Command_Compare_Click();
    EXPECT_EQ(same->Text3, "");
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Сравнение баз данных завершено!");
    EXPECT_FALSE(same->closed);

    std::string long_name;
    for (int i = 0; i < 255; ++i)
        long_name += "Ж";
    Write_Table("diff.dbf",
                {{{"00001", "1", "0001000002", To_866("Ромашка и К")}},
                 {{"00008", "1", "12", To_866(long_name)}},
                 {{"00002", "1", "", To_866("Лютик")}}},
                255);
    auto diff = Screen("diff.dbf", 3);
    diff->Command_Compare_Click();
    auto name = [](const std::string& utf8) {
        std::string padded = utf8;
        std::size_t letters = Code_Points(utf8).size();
        return padded + std::string(255 - letters, ' ');
    };
    const std::string expected = "Найдено отличие:\r\n"
                                 "В БД программы запись: 1    :00001:00010:00002 - CN: " +
                                 name("Ромашка") +
                                 "\r\n"
                                 "  - в БД 1С: 1    :00001:00010:00002 - CN: " +
                                 name("Ромашка и К") +
                                 "\r\n"
                                 "Найдено отличие:\r\n"
                                 "В БД программы запись отсутствует: \r\n"
                                 "  - в БД 1С: 1    :00008:12   :      - CN: " +
                                 long_name + "\r\n";
    EXPECT_EQ(diff->Text3, expected);
    EXPECT_EQ(Companies(), before);
    EXPECT_FALSE(folder.Exists("Company_Db.dat.new"));
}

TEST_F(Import_Test, ReplaceMovesTheFiveFilesAsideAndWritesTheCompanyRowsWithDuplicates) {
    folder.Write("Company_Db.dat", Company_Bytes(1, "1", "1", "", "", "Был"));
    folder.Write("TD.cdb", "database");
    folder.Write("Cache_d.dat", "d");
    folder.Write("Cache_Users.dat", "users");
    folder.Write("Fuel.dat", "fuel stays");
    Write_Table("new.dbf", {{{"5", "1", "", To_866("Первый")}},
                            {{"6", "3", "", To_866("Не компания")}},
                            {{"5", "1", "", To_866("Первый снова")}}});
    // Answered No: nothing changes.
    ui.Answer_Next(box::Answer_No);
    auto refused = Screen("new.dbf", 2);
    refused->Command_Import_Click();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, Import_1C::Replace_Question);
    EXPECT_EQ(ui.boxes[0].flags, box::Yes_No | box::Stop);
    EXPECT_EQ(ui.boxes[0].title, "Подтвердение удаления текущих баз данных");
    EXPECT_EQ(state.Answer, box::Answer_No);
    EXPECT_FALSE(refused->closed);
    EXPECT_EQ(Companies(), Company_Bytes(1, "1", "1", "", "", "Был"));

    auto screen = Screen("new.dbf", 2);
    screen->Command_Import_Click();
    ASSERT_TRUE(ui.fatals.empty());
    EXPECT_EQ(Companies(), Company_Bytes(1, "5", "1", "", "", "Первый") +
                               Company_Bytes(1, "5", "1", "", "", "Первый снова"));
    const std::string aside = "Replaced-20261123-100000";
    EXPECT_EQ(screen->Replaced_Folder(), folder.File(aside));
    EXPECT_EQ(folder.Read(aside + "/Company_Db.dat"), Company_Bytes(1, "1", "1", "", "", "Был"));
    EXPECT_EQ(folder.Read(aside + "/TD.cdb"), "database");
    EXPECT_EQ(folder.Read(aside + "/Cache_d.dat"), "d");
    EXPECT_EQ(folder.Read(aside + "/Cache_Users.dat"), "users");
    EXPECT_FALSE(folder.Exists("TD.cdb"));
    EXPECT_FALSE(folder.Exists("Cache_Users.dat"));
    EXPECT_EQ(folder.Read("Fuel.dat"), "fuel stays");
    EXPECT_EQ(ui.boxes.back().text, "Импорт новой базы данных успешо завершён!");
    EXPECT_EQ(state.Company_Count, 3);

    // A second replace in the same second keeps the first folder and makes another.
    screen = Screen("new.dbf", 2);
    screen->Command_Import_Click();
    EXPECT_EQ(screen->Replaced_Folder(), folder.File(aside + "-2"));
    EXPECT_EQ(folder.Read(aside + "/Company_Db.dat"), Company_Bytes(1, "1", "1", "", "", "Был"));
    EXPECT_EQ(folder.Read(aside + "-2/Company_Db.dat"), Companies());
}

// Which buttons and panes each option shows is driven through the view in tests/import_qt.
TEST_F(Import_Test, ScreenStateFollowsThePathAndTheOptions) {
    settings.Save("Tally Depot", "Kernel", "1C DB Path", "C:\\1C\\base\\SC.DBF");
    Import_1C screen(state, ui, clock, settings, table);
    screen.Form_Load();
    EXPECT_EQ(screen.Text1, "C:\\1C\\base\\SC.DBF");
    EXPECT_EQ(screen.Text2, "SC.DBF");
    screen.Text1_Change("");
    EXPECT_FALSE(screen.Import_Enabled || screen.Compare_Enabled);
    screen.Browse_Chosen("/data/1c/buyers.dbf");
    EXPECT_EQ(screen.Text1, "/data/1c/buyers.dbf");
    EXPECT_EQ(screen.Text2, "buyers.dbf");
    EXPECT_TRUE(screen.Compare_Enabled);
    screen.Command_Cancel_Click();
    EXPECT_TRUE(screen.closed);
}

TEST_F(Import_Test, BadTablesTakeTheFatalPathOnImportAndEndTheRunOnCompare) {
    const std::string before = Company_Bytes(1, "1", "1", "", "", "Был");
    folder.Write("Company_Db.dat", before);
    folder.Write("notes.dbf", "Это не таблица, а заметки.\n");
    folder.Write("three.dbf", Dbf_Bytes({{"A", 'C', 5}, {"B", 'C', 5}, {"C", 'C', 5}},
                                        {{{"1", "1", "1"}}}, 0x65));
    for (int option : {1, 2}) {
        for (const char* name : {"notes.dbf", "three.dbf"}) {
            SCOPED_TRACE(name);
            ui.fatals.clear();
            ui.resume_fatal = true;
            folder.Write("TD.cdb", "database");
            auto screen = Screen(name, option);
            screen->Command_Import_Click();
            ASSERT_EQ(ui.fatals.size(), 1u);
            const bool notes = std::string(name) == "notes.dbf";
            EXPECT_EQ(ui.fatals[0].code, notes ? "0x0FEAA10CD" : "0x0FEAA10CF");
            EXPECT_EQ(ui.fatals[0].module_path.rfind("DB Import\r\n" + folder.File(name), 0), 0u)
                << ui.fatals[0].module_path;
            EXPECT_NE(ui.fatals[0].cause.find(notes ? "not a dBASE table" : "has 3 columns"),
                      std::string::npos);
            EXPECT_FALSE(screen->closed);
            EXPECT_EQ(Companies(), before);
            EXPECT_EQ(folder.Read("TD.cdb"), "database");
            EXPECT_EQ(settings.Get("Tally Depot", "Kernel", "1C DB Path", ""), "");
        }
    }
    // The comparison has no handler: the run ends with the plain box of an unhandled failure.
    auto screen = Screen("notes.dbf", 3);
    try {
        screen->Command_Compare_Click();
        FAIL() << "the run went on";
    } catch (const Process_Ended& ended) {
        EXPECT_EQ(ended.exit_code, 1);
    }
    EXPECT_EQ(
        ui.boxes.back().text.rfind("Run-time error '4301':\n\n" + folder.File("notes.dbf"), 0), 0u)
        << ui.boxes.back().text;
}

TEST_F(Import_Test, AFailedWriteLeavesEveryFileAsItWas) {
    const std::string before =
        Company_Bytes(1, "1", "1", "", "", "Был") + Company_Bytes(1, "2", "1", "", "", "Второй");
    folder.Write("Company_Db.dat", before);
    folder.Write("TD.cdb", "database");
    Write_Table("sc.dbf", {{{"1", "1", "", "Новый"}}, {{"3", "1", "", "Третий"}}});
    ui.resume_fatal = true;
    for (long long budget : {0LL, 100LL, 276LL, 500LL}) {
        for (int option : {1, 2}) {
            SCOPED_TRACE(budget);
            ui.fatals.clear();
            record_file_hook::Write_Budget = budget;
            auto screen = Screen("sc.dbf", option);
            screen->Command_Import_Click();
            record_file_hook::Write_Budget = -1;
            ASSERT_EQ(ui.fatals.size(), 1u);
            EXPECT_EQ(ui.fatals[0].code, "0x0FEAA1C"); // ENOSPC
            EXPECT_EQ(ui.fatals[0].module_path, "DB Import\r\nNo space left on device");
            EXPECT_NE(ui.fatals[0].cause.find("Company_Db.dat.new: No space left on device"),
                      std::string::npos)
                << ui.fatals[0].cause;
            EXPECT_EQ(Companies(), before);
            EXPECT_EQ(folder.Read("TD.cdb"), "database");
            EXPECT_FALSE(folder.Exists("Company_Db.dat.new"));
            EXPECT_FALSE(screen->closed);
        }
    }
}

} // namespace
} // namespace td::test
