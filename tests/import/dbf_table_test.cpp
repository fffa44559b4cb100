// The dBASE table reader on tables written byte by byte: code pages, widths, blanks, bad files.
#include "import/dbf_table.h"
#include "import/dbf_writer.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace td::test {
namespace {

const std::string Plain_Ru = "ООО Ромашка Ёлки-палки";

TEST(Dbf_Table, ReadsEveryCodePageByItsDriverByteCpgOrGuess) {
    Temp_Folder dir;
    struct Case {
        const char* title;
        bool cp866;
        std::uint8_t driver;
        const char* cpg; // beside the table, or null
        Dbf_Table::Code_Page_Source from;
    };
    const Case cases[] = {
        {"866 by 0x65", true, 0x65, nullptr, Dbf_Table::Code_Page_Source::Language_Driver},
        {"866 by 0x26", true, 0x26, nullptr, Dbf_Table::Code_Page_Source::Language_Driver},
        {"1251 by 0xC9", false, 0xC9, nullptr, Dbf_Table::Code_Page_Source::Language_Driver},
        {"866 guessed", true, 0x00, nullptr, Dbf_Table::Code_Page_Source::Guess},
        {"1251 guessed", false, 0x00, nullptr, Dbf_Table::Code_Page_Source::Guess},
        {"1251 guessed, 0x57", false, 0x57, nullptr, Dbf_Table::Code_Page_Source::Guess},
        {"866 by .cpg", true, 0x00, "866\n", Dbf_Table::Code_Page_Source::Cpg_File},
        {"1251 by .cpg", false, 0x00, "ANSI 1251\r\n", Dbf_Table::Code_Page_Source::Cpg_File},
        // The driver byte wins over a .cpg that says otherwise.
        {"1251 by 0xC9 over .cpg", false, 0xC9, "866",
         Dbf_Table::Code_Page_Source::Language_Driver},
    };
    int n = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.title);
        auto enc = [&](const std::string& s) { return c.cp866 ? To_866(s) : To_1251(s); };
        const std::string base = "t" + std::to_string(++n);
        dir.Write(
            base + ".dbf",
            Dbf_Bytes(Buyer_Fields(),
                      {{{"00012", "1", "0000100002", enc(Plain_Ru)}},
                       {{enc("Б-1"), "2", enc("Группа  ю"), enc("Строительная группа: все цеха")}}},
                      c.driver));
        if (c.cpg != nullptr)
            dir.Write(base + ".cpg", c.cpg);
        Dbf_Table table;
        ASSERT_TRUE(table.Load(dir.File(base + ".dbf"))) << table.Failure().description;
        EXPECT_EQ(table.Code_Page_From(), c.from);
        EXPECT_EQ(table.Code_Page(), c.cp866 ? Table_Code_Page::Cp866 : Table_Code_Page::Cp1251);
        ASSERT_EQ(table.Row_Count(), 2);
        ASSERT_EQ(table.Column_Count(), 4);
        // Character fields keep their blanks: the name is padded to the field's 100 characters.
        EXPECT_EQ(table.Text(1, 4), Plain_Ru + std::string(100 - 22, ' '));
        EXPECT_EQ(table.Text(1, 1), "00012");
        EXPECT_EQ(table.Text(1, 2), "1    ");
        EXPECT_EQ(table.Text(2, 1), "Б-1  ");
        EXPECT_EQ(table.Text(2, 3), "Группа  ю ");
        EXPECT_EQ(table.Text(0, 1), "");
        EXPECT_EQ(table.Text(3, 1), "");
        EXPECT_EQ(table.Text(1, 5), "");
    }
}

TEST(Dbf_Table, LongNamesNumbersDeletedRowsAndAnyFileName) {
    Temp_Folder dir;
    std::string long_name;
    for (int i = 0; i < 255; ++i)
        long_name += (i % 2 == 0) ? "Я" : "ё";
    const std::vector<Dbf_Field> fields = {{"CODE", 'C', 5},    {"KIND", 'N', 5},
                                           {"GRP", 'C', 10},    {"NAME", 'C', 255},
                                           {"SUM", 'N', 12, 2}, {"DATE", 'D', 8}};
    // Stored as ".DAT": the very file chosen is read, whatever its extension.
    dir.Write("buyers.dat",
              Dbf_Bytes(fields,
                        {{{"1", "1", "  12   345", To_1251(long_name), "1234.50", "20240315"}},
                         {{"2", "1", "x", "gone"}, true},
                         {{"3", "17", "", "", "-1"}}},
                        0xC9));
    // A table of the same name with the usual extension is not the one asked for.
    dir.Write("buyers.dbf", Dbf_Bytes(Buyer_Fields(), {{{"X"}}}, 0xC9));
    Dbf_Table table;
    ASSERT_TRUE(table.Load(dir.File("buyers.dat"))) << table.Failure().description;
    ASSERT_EQ(table.Row_Count(), 2); // the deleted row is not part of the table
    ASSERT_EQ(table.Column_Count(), 6);
    EXPECT_EQ(table.Text(1, 4), long_name);
    EXPECT_EQ(table.Text(1, 1), "1    ");
    EXPECT_EQ(table.Text(1, 2), "1"); // a number without the blanks that align it
    EXPECT_EQ(table.Text(1, 3), "  12   345");
    EXPECT_EQ(table.Text(1, 5), "1234.50");
    EXPECT_EQ(table.Text(1, 6), "20240315");
    EXPECT_EQ(table.Text(2, 1), "3    ");
    EXPECT_EQ(table.Text(2, 2), "17");
    EXPECT_EQ(table.Text(2, 4), std::string(255, ' '));
}

TEST(Dbf_Table, FilesThatAreNoTableOrCutShortAreNamedWithWhatIsWrong) {
    Temp_Folder dir;
    const std::string whole =
        Dbf_Bytes(Buyer_Fields(), {{{"1", "1", "", "А"}}, {{"2", "1", "", "Б"}}, {{"3"}}}, 0x65);
    const std::size_t header = 32 + 4 * 32 + 1;
    const std::size_t record = 1 + 5 + 5 + 10 + 100;
    struct Case {
        std::string name;
        std::string bytes;
        long number;
        std::string words;
    };
    std::string bad_type = whole;
    bad_type[32 + 32 + 11] = 'Q';
    std::string bad_length = whole;
    bad_length[10] = 50;
    const std::string wide =
        Dbf_Bytes({{"CODE", 'C', 5}, {"NAME", 'C', 300}}, {{{"1", "А"}}}, 0x65);
    const std::vector<Case> cases = {
        {"wide.dbf", wide, table_error::Not_A_Table,
         "its records of 306 bytes disagree with its fields of 50"},
        {"text.dbf", "Клиенты;Код\nРомашка;1\n" + std::string(200, 'x'), table_error::Not_A_Table,
         "not a dBASE table: its first byte is 0xD0"},
        {"empty.dbf", "", table_error::Not_A_Table, "not a dBASE table: 0 bytes"},
        {"short_head.dbf", whole.substr(0, 20), table_error::Not_A_Table,
         "not a dBASE table: 20 bytes"},
        {"cut_in_header.dbf", whole.substr(0, 100), table_error::Cut_Short,
         "cut short: the file ends inside its header of 161 bytes"},
        {"cut_in_rows.dbf", whole.substr(0, header + 2 * record + 30), table_error::Cut_Short,
         "cut short: the header counts 3 rows, the file holds 2 whole"},
        {"bad_type.dbf", bad_type, table_error::Not_A_Table, "field 2 has the type 0x51"},
        {"bad_length.dbf", bad_length, table_error::Not_A_Table,
         "its records of 50 bytes disagree with its fields of 121"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        dir.Write(c.name, c.bytes);
        Dbf_Table table;
        EXPECT_FALSE(table.Load(dir.File(c.name)));
        EXPECT_EQ(table.Failure().number, c.number);
        EXPECT_EQ(table.Failure().description.rfind(dir.File(c.name) + ": ", 0), 0u)
            << table.Failure().description;
        EXPECT_NE(table.Failure().description.find(c.words), std::string::npos)
            << table.Failure().description;
        EXPECT_EQ(table.Row_Count(), 0);
    }
    // Without the end-of-file mark the table is whole.
    dir.Write("no_mark.dbf", whole.substr(0, whole.size() - 1));
    Dbf_Table table;
    EXPECT_TRUE(table.Load(dir.File("no_mark.dbf"))) << table.Failure().description;
    EXPECT_EQ(table.Row_Count(), 3);
    // A file that isn't there, and a folder.
    EXPECT_FALSE(table.Load(dir.File("missing.dbf")));
    EXPECT_EQ(table.Failure().number, ENOENT);
    EXPECT_NE(table.Failure().description.find("missing.dbf: No such file"), std::string::npos);
    ::mkdir(dir.File("folder.dbf").c_str(), 0700);
    EXPECT_FALSE(table.Load(dir.File("folder.dbf")));
    EXPECT_NE(table.Failure().description.find("folder.dbf: "), std::string::npos);
}

// Every byte of the header and the field descriptors spoilt in turn, and the file cut at every
// length: the reader either reads a table or says what is wrong, and never reads past what it was
// given (the sanitized build checks that).
TEST(Dbf_Table, SpoiltHeadersAndCutsAreReadOrRefusedNeverMisread) {
    Temp_Folder dir;
    const std::string whole = Dbf_Bytes({{"CODE", 'C', 5}, {"KIND", 'N', 5}, {"NAME", 'C', 255}},
                                        {{{"1", "1", "А"}}, {{"2", "2", "Б"}}}, 0x65);
    const std::size_t header = 32 + 3 * 32 + 1;
    int read = 0;
    int refused = 0;
    auto load = [&](const std::string& bytes) {
        dir.Write("t.dbf", bytes);
        Dbf_Table table;
        if (table.Load(dir.File("t.dbf"))) {
            ++read;
            EXPECT_LE(table.Row_Count(), 2);
            for (int r = 1; r <= table.Row_Count(); ++r)
                for (int c = 1; c <= table.Column_Count(); ++c)
                    EXPECT_LE(table.Text(r, c).size(), 3u * 255);
        } else {
            ++refused;
            EXPECT_EQ(table.Failure().description.rfind(dir.File("t.dbf") + ": ", 0), 0u);
            EXPECT_NE(table.Failure().number, 0);
        }
    };
    for (std::size_t at = 0; at < header; ++at)
        for (unsigned char value : {0x00, 0xFF, 0x0D}) {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(value);
            load(bytes);
        }
    for (std::size_t length = 0; length < whole.size(); ++length)
        load(whole.substr(0, length));
    EXPECT_GT(read, 0);
    EXPECT_GT(refused, 0);
}

TEST(Dbf_Table, GuessCountsTheLettersEachCodePageWouldGive) {
    EXPECT_EQ(Guess_Code_Page({To_866("Ромашка"), To_866("ЗАО СТРОЙ")}), Table_Code_Page::Cp866);
    EXPECT_EQ(Guess_Code_Page({To_1251("Ромашка"), To_1251("ЗАО СТРОЙ")}), Table_Code_Page::Cp1251);
    // Capitals only: in 866 they are all below 0xA0, in 1251 all above 0xBF.
    EXPECT_EQ(Guess_Code_Page({To_866("ООО ТОПАЗ")}), Table_Code_Page::Cp866);
    EXPECT_EQ(Guess_Code_Page({To_1251("ООО ТОПАЗ")}), Table_Code_Page::Cp1251);
    EXPECT_EQ(Guess_Code_Page({"plain latin"}), Table_Code_Page::Cp866);
}

} // namespace
} // namespace td::test
