// Black-box runs of `tdctl import` on the installation of tests/data: the company file it leaves
// is compared byte for byte with the one the test lays out from the table's rows.
#include "cli/tdctl_runner.h"
#include "import/dbf_writer.h"

namespace td::test {
namespace {

class Import_Verb : public Tdctl_Test {
protected:
    Temp_Folder tables;

    void SetUp() override {
        Tdctl_Test::SetUp();
        Install();
    }
    std::string Companies() const { return Read("Company_Db.dat"); }
};

TEST_F(Import_Verb, ReplaceThenUpdateLeaveTheCompanyFileTheTestLaysOut) {
    std::string long_name;
    for (int i = 0; i < 255; ++i)
        long_name += "Щ";
    // Code page 866 named by the driver byte; a name of exactly 255 characters.
    tables.Write("sc.dbf", Dbf_Bytes(Buyer_Fields(255),
                                     {{{"00001", "1", "0000100002", To_866("ООО «Ромашка»")}},
                                      {{"00002", "2", "00001", To_866("Группа покупателей")}},
                                      {{"00003", "1", "00001", To_866(long_name)}},
                                      {{"00001", "1", "0000100002", To_866("Дубль")}}},
                                     0x65));
    const std::string before = Companies();
    const Run_Result replaced = Verb("import " + tables.File("sc.dbf") + " --replace --yes");
    ASSERT_EQ(replaced.exit_code, 0) << replaced.err;
    EXPECT_EQ(replaced.out, "companies\t3\n");
    EXPECT_TRUE(Has(replaced.err, "Импорт новой базы данных успешо завершён!"));
    // «» are not in code page 866: the table can't hold them, and they read as "?".
    EXPECT_EQ(Companies(), Company_Bytes(1, "00001", "1", "00001", "00002", "ООО ?Ромашка?") +
                               Company_Bytes(1, "00003", "1", "00001", "", long_name) +
                               Company_Bytes(1, "00001", "1", "00001", "00002", "Дубль"));
    // The old files are kept aside, where the run said.
    const std::size_t at = replaced.err.find("moved to ");
    ASSERT_NE(at, std::string::npos) << replaced.err;
    const std::string aside = replaced.err.substr(at + 9, replaced.err.find('\n', at) - at - 9);
    EXPECT_EQ(aside.rfind(home.File("data/Replaced-"), 0), 0u) << aside;
    EXPECT_EQ(Read_All_Bytes(aside + "/Company_Db.dat").size(), before.size());
    EXPECT_EQ(Read_All_Bytes(aside + "/TD.cdb").size(),
              std::size_t{First_Ticket + 20 * Ticket_Size});

    // Code page 1251 with no driver byte: the letters tell it. A name changes, a company comes.
    tables.Write("upd.dbf", Dbf_Bytes(Buyer_Fields(),
                                      {{{"00001", "1", "0000100002", To_1251("ООО Ромашка и Ко")}},
                                       {{"00004", "1", "", To_1251("ИП Ёжиков")}},
                                       {{"00005", "3", "", To_1251("не покупатель")}}},
                                      0x00));
    const Run_Result updated = Verb("import " + tables.File("upd.dbf") + " --update");
    ASSERT_EQ(updated.exit_code, 0) << updated.err;
    EXPECT_EQ(updated.out, "renamed\t2\nadded\t1\n");
    EXPECT_EQ(Companies(),
              Company_Bytes(1, "00001", "1", "00001", "00002", "ООО Ромашка и Ко") +
                  Company_Bytes(1, "00003", "1", "00001", "", long_name) +
                  Company_Bytes(1, "00001", "1", "00001", "00002", "ООО Ромашка и Ко") +
                  Company_Bytes(1, "00004", "1", "", "", "ИП Ёжиков"));

    // Compared with the table it came from: no difference, exit 0.
    const Run_Result same = Verb("import " + tables.File("upd.dbf") + " --compare");
    EXPECT_EQ(same.exit_code, 0) << same.err;
    EXPECT_EQ(same.out, "");
    // With the first table: the name of record 1 differs. The first record of a key is compared.
    const Run_Result differs = Verb("import " + tables.File("sc.dbf") + " --compare");
    EXPECT_EQ(differs.exit_code, 1);
    const std::string blanks_after_ko(255 - 16, ' ');
    EXPECT_EQ(differs.out.substr(0, 100),
              ("Найдено отличие:\r\nВ БД программы запись: 1    :00001:00001:00002 - CN: ООО "
               "Ромашка и Ко" +
               blanks_after_ko)
                  .substr(0, 100));
    EXPECT_TRUE(Has(differs.out, "\r\n  - в БД 1С: 1    :00001:00001:00002 - CN: Дубль   "));
    EXPECT_TRUE(Has(differs.err, "differs"));
}

TEST_F(Import_Verb, BadTablesChangeNothing) {
    const std::string before = Companies();
    tables.Write("notes.dbf", "Это не таблица.\n");
    const Run_Result update = Verb("import " + tables.File("notes.dbf") + " --update");
    EXPECT_EQ(update.exit_code, 1);
    EXPECT_TRUE(Has(update.err, "FATAL ERROR 0x0FEAA10CD in module: DB Import")) << update.err;
    EXPECT_TRUE(Has(update.err, "cause: " + tables.File("notes.dbf") + ": not a dBASE table"))
        << update.err;
    EXPECT_EQ(Companies(), before);

    const std::string whole = Dbf_Bytes(Buyer_Fields(), {{{"1", "1", "", "A"}}, {{"2"}}}, 0xC9);
    tables.Write("cut.dbf", whole.substr(0, whole.size() - 50));
    const Run_Result replace = Verb("import " + tables.File("cut.dbf") + " --replace --yes");
    EXPECT_EQ(replace.exit_code, 1);
    EXPECT_TRUE(Has(replace.err, "cut short: the header counts 2 rows, the file holds 1 whole"))
        << replace.err;
    EXPECT_EQ(Companies(), before);
    EXPECT_TRUE(home.Exists("data/TD.cdb"));

    const Run_Result compare = Verb("import " + tables.File("missing.dbf") + " --compare");
    EXPECT_EQ(compare.exit_code, 1);
    EXPECT_TRUE(Has(compare.err, "Run-time error '2':")) << compare.err;
    EXPECT_TRUE(Has(compare.err, "missing.dbf: No such file or directory")) << compare.err;
}

// A write that fails (a file size limit) and a kill at the moment the new file would take the
// old one's place: the company file stays as it was, and the next update does the work.
TEST_F(Import_Verb, AFailedOrKilledUpdateLeavesTheCompanyFileAsItWas) {
    tables.Write("sc.dbf",
                 Dbf_Bytes(Buyer_Fields(), {{{"77777", "1", "", To_866("Новый")}}}, 0x65));
    const std::string before = Companies();
    const std::string update = "import " + tables.File("sc.dbf") + " --update";
    const Run_Result limited = Verb(update, "ulimit -f 1;");
    EXPECT_EQ(limited.exit_code, 1);
    EXPECT_TRUE(Has(limited.err, "FATAL ERROR 0x0FEAA1B in module: DB Import")) << limited.err;
    EXPECT_TRUE(Has(limited.err, "Company_Db.dat.new: File too large")) << limited.err;
    EXPECT_EQ(Companies(), before);
    EXPECT_FALSE(home.Exists("data/Company_Db.dat.new"));

    const std::string added = before + Company_Bytes(1, "77777", "1", "", "", "Новый");
    if (Strace_Present()) {
        EXPECT_NE(Verb(update, Inject("rename", "signal=KILL", 1, {})).exit_code, 0);
        EXPECT_EQ(Companies(), before);
        // Killed with the new file written in full beside the old one.
        EXPECT_EQ(Read("Company_Db.dat.new"), added);
    }
    const Run_Result updated = Verb(update);
    ASSERT_EQ(updated.exit_code, 0) << updated.err;
    EXPECT_EQ(updated.out, "renamed\t0\nadded\t1\n");
    EXPECT_EQ(Companies(), added);
    EXPECT_FALSE(home.Exists("data/Company_Db.dat.new"));
}

} // namespace
} // namespace td::test
