// Black-box runs of `tdctl import` on a demo installation: the company file it leaves is compared
// byte for byte with the one the test lays out from the table's rows.
#include "cli/tdctl_runner.h"
#include "import/dbf_writer.h"
#include "support/temp_folder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace td::test {
namespace {

class Import_Verb : public ::testing::Test {
protected:
    Temp_Folder config;
    Temp_Folder home;
    Temp_Folder tables;

    void SetUp() override {
        Run_Result init = Run_Tdctl("init --demo --home " + home.Path(), config);
        ASSERT_EQ(init.exit_code, 0) << init.err;
    }
    Run_Result Run(const std::string& arguments) {
        return Run_Tdctl(arguments + " --home " + home.Path(), config);
    }
    std::string Companies() const { return home.Read("data/Company_Db.dat"); }
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
    const std::string demo = Companies();
    Run_Result refused = Run("import " + tables.File("sc.dbf") + " --replace");
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_NE(refused.err.find("add --yes"), std::string::npos) << refused.err;
    EXPECT_EQ(Companies(), demo);

    Run_Result replaced = Run("import " + tables.File("sc.dbf") + " --replace --yes");
    ASSERT_EQ(replaced.exit_code, 0) << replaced.err;
    EXPECT_EQ(replaced.out, "companies\t3\n");
    EXPECT_NE(replaced.err.find("Импорт новой базы данных успешо завершён!"), std::string::npos);
    // «» are not in code page 866: the table can't hold them, and they read as "?".
    const std::string after_replace =
        Company_Bytes(1, "00001", "1", "00001", "00002", "ООО ?Ромашка?") +
        Company_Bytes(1, "00003", "1", "00001", "", long_name) +
        Company_Bytes(1, "00001", "1", "00001", "00002", "Дубль");
    EXPECT_EQ(Companies(), after_replace);
    // The old files are kept aside, where the run said.
    const std::size_t at = replaced.err.find("moved to ");
    ASSERT_NE(at, std::string::npos) << replaced.err;
    const std::string aside = replaced.err.substr(at + 9, replaced.err.find('\n', at) - at - 9);
    EXPECT_EQ(aside.rfind(home.File("data/Replaced-"), 0), 0u) << aside;
    EXPECT_EQ(Read_All_Bytes(aside + "/Company_Db.dat").size(), demo.size());
    EXPECT_TRUE(std::filesystem::exists(aside + "/TD.cdb"));

    // Code page 1251 with no driver byte: the letters tell it. A name changes, a company comes.
    tables.Write("upd.dbf", Dbf_Bytes(Buyer_Fields(),
                                      {{{"00001", "1", "0000100002", To_1251("ООО Ромашка и Ко")}},
                                       {{"00004", "1", "", To_1251("ИП Ёжиков")}},
                                       {{"00005", "3", "", To_1251("не покупатель")}}},
                                      0x00));
    Run_Result updated = Run("import " + tables.File("upd.dbf") + " --update");
    ASSERT_EQ(updated.exit_code, 0) << updated.err;
    EXPECT_EQ(updated.out, "renamed\t2\nadded\t1\n");
    EXPECT_EQ(Companies(),
              Company_Bytes(1, "00001", "1", "00001", "00002", "ООО Ромашка и Ко") +
                  Company_Bytes(1, "00003", "1", "00001", "", long_name) +
                  Company_Bytes(1, "00001", "1", "00001", "00002", "ООО Ромашка и Ко") +
                  Company_Bytes(1, "00004", "1", "", "", "ИП Ёжиков"));

    // Compared with the table it came from: no difference, exit 0.
    Run_Result same = Run("import " + tables.File("upd.dbf") + " --compare");
    EXPECT_EQ(same.exit_code, 0) << same.err;
    EXPECT_EQ(same.out, "");
    // With the first table: the name of record 1 differs. The first record of a key is compared.
    Run_Result differs = Run("import " + tables.File("sc.dbf") + " --compare");
    EXPECT_EQ(differs.exit_code, 1);
    const std::string blanks_after_ko(255 - 16, ' ');
    EXPECT_EQ(differs.out.substr(0, 100),
              ("Найдено отличие:\r\nВ БД программы запись: 1    :00001:00001:00002 - CN: ООО "
               "Ромашка и Ко" +
               blanks_after_ko)
                  .substr(0, 100));
    EXPECT_NE(differs.out.find("\r\n  - в БД 1С: 1    :00001:00001:00002 - CN: Дубль   "),
              std::string::npos);
    EXPECT_NE(differs.err.find("differs"), std::string::npos);
}

TEST_F(Import_Verb, BadArgumentsAndBadTables) {
    const std::string demo = Companies();
    EXPECT_EQ(Run("import").exit_code, 2);
    EXPECT_EQ(Run("import x.dbf").exit_code, 2);
    EXPECT_EQ(Run("import x.dbf --update --compare").exit_code, 2);
    EXPECT_EQ(Run("import x.dbf --update --yes").exit_code, 2);
    EXPECT_EQ(Run("import x.dbf y.dbf --update").exit_code, 2);

    tables.Write("notes.dbf", "Это не таблица.\n");
    Run_Result update = Run("import " + tables.File("notes.dbf") + " --update");
    EXPECT_EQ(update.exit_code, 1);
    EXPECT_NE(update.err.find("FATAL ERROR 0x0FEAA10CD in module: DB Import"), std::string::npos)
        << update.err;
    EXPECT_NE(update.err.find("cause: " + tables.File("notes.dbf") + ": not a dBASE table"),
              std::string::npos)
        << update.err;
    EXPECT_EQ(Companies(), demo);

    const std::string whole = Dbf_Bytes(Buyer_Fields(), {{{"1", "1", "", "A"}}, {{"2"}}}, 0xC9);
    tables.Write("cut.dbf", whole.substr(0, whole.size() - 50));
    Run_Result replace = Run("import " + tables.File("cut.dbf") + " --replace --yes");
    EXPECT_EQ(replace.exit_code, 1);
    EXPECT_NE(replace.err.find("cut short: the header counts 2 rows, the file holds 1 whole"),
              std::string::npos)
        << replace.err;
    EXPECT_EQ(Companies(), demo);
    EXPECT_TRUE(home.Exists("data/TD.cdb"));

    Run_Result compare = Run("import " + tables.File("missing.dbf") + " --compare");
    EXPECT_EQ(compare.exit_code, 1);
    EXPECT_NE(compare.err.find("Run-time error '2':"), std::string::npos) << compare.err;
    EXPECT_NE(compare.err.find("missing.dbf: No such file or directory"), std::string::npos);
}

// A write that fails (a file size limit) and a kill at the moment the new file would take the
// old one's place: the company file stays as it was, and the next update does the work.
TEST_F(Import_Verb, AFailedOrKilledUpdateLeavesTheCompanyFileAsItWas) {
    tables.Write("sc.dbf",
                 Dbf_Bytes(Buyer_Fields(), {{{"77777", "1", "", To_866("Новый")}}}, 0x65));
    // A first run does the start-up rebuild, so that the runs below write only the import's file.
    ASSERT_EQ(Run("import " + tables.File("sc.dbf") + " --compare").exit_code, 1);
    const std::string demo = Companies();

    Run_Result limited =
        Run_Tdctl("import " + tables.File("sc.dbf") + " --update --home " + home.Path(), config,
                  Runtime_Folder::Config, "ulimit -f 20;");
    EXPECT_EQ(limited.exit_code, 1);
    EXPECT_NE(limited.err.find("FATAL ERROR 0x0FEAA1B in module: DB Import"), std::string::npos)
        << limited.err;
    EXPECT_NE(limited.err.find("Company_Db.dat.new: File too large"), std::string::npos);
    EXPECT_EQ(Companies(), demo);
    EXPECT_FALSE(home.Exists("data/Company_Db.dat.new"));

    if (std::system("strace -V >/dev/null 2>&1") == 0) {
        Run_Result killed = Run_Tdctl(
            "import " + tables.File("sc.dbf") + " --update --home " + home.Path(), config,
            Runtime_Folder::Config, "strace -f -o /dev/null -e inject=rename:signal=KILL");
        EXPECT_NE(killed.exit_code, 0);
        EXPECT_EQ(Companies(), demo);
        // Killed with the new file written in full beside the old one.
        EXPECT_EQ(home.Read("data/Company_Db.dat.new"),
                  demo + Company_Bytes(1, "77777", "1", "", "", "Новый"));
    }
    Run_Result updated = Run("import " + tables.File("sc.dbf") + " --update");
    ASSERT_EQ(updated.exit_code, 0) << updated.err;
    EXPECT_EQ(updated.out, "renamed\t0\nadded\t1\n");
    EXPECT_EQ(Companies(), demo + Company_Bytes(1, "77777", "1", "", "", "Новый"));
    EXPECT_FALSE(home.Exists("data/Company_Db.dat.new"));
}

} // namespace
} // namespace td::test
