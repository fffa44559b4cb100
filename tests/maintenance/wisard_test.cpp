// The backup wizard on a temporary installation: its pages and buttons, backup and restore with
// their messages, the one-level folder creation, failures that leave both files whole.
#include "maintenance/wisard.h"
#include "maintenance_fixture.h"
#include "support/scratch_mount.h"

#include <filesystem>
#include <sys/stat.h>

namespace td::test {
namespace {

class Wisard_Test : public Maintenance_Test {
protected:
    Wisard_Test() {
        Wizard_Mode = 0;
        Restore_From_Menu = false;
        state.settings.Databases_Path = "\\data";
    }
    Wisard Make() { return Wisard(state, ui, clock, settings_store, views); }
    // To page 3 with `folder` typed on page 2.
    void To_Finish(Wisard& w, const std::string& folder) {
        w.Form_Load();
        w.OKButton_Click();
        w.BkR_Path_Change(folder);
        w.OKButton_Click();
    }
    std::vector<Ticket_Record> Tickets(int n, int volume) {
        std::vector<Ticket_Record> tickets;
        for (int i = 0; i < n; ++i)
            tickets.push_back(Make_Ticket(
                {.volume = volume, .sell = today - 1, .serial = std::to_string(100000 + i)}));
        return tickets;
    }
};

TEST_F(Wisard_Test, PagesButtonsAndTheSummary) {
    // The buttons of each page along the ordinary way are driven through the view in tests/qt.
    Wisard w = Make();
    w.Form_Load();
    // The default joins the data folder's setting under the program's folder.
    EXPECT_EQ(w.BkR_Path(), folder.Path() + "/data/BackUp");
    w.CancelButton_Click();
    EXPECT_EQ(w.Page(), 1) << "back stays on page 1";
    w.OKButton_Click();
    EXPECT_TRUE(w.CancelButton_Enabled());
    // Page 2 takes a network path, a drive path or a path from the root.
    const std::pair<const char*, bool> paths[] = {{"", false},
                                                  {"backup", false},
                                                  {"\\\\server\\share", true},
                                                  {"D:\\Arc", true},
                                                  {"/srv/arc/", true}};
    for (const auto& [path, allowed] : paths) {
        w.BkR_Path_Change(path);
        EXPECT_EQ(w.OKButton_Enabled(), allowed) << path;
    }
    w.OKButton_Click();
    EXPECT_EQ(w.Frame_Shown(), 3);
    EXPECT_EQ(w.BkR_Path(), "/srv/arc") << "the trailing separator is cut on page 3";
    EXPECT_TRUE(w.Command1_Enabled());
    w.CancelButton_Click();
    w.BkR_Path_Change("D:\\Arc\\");
    w.Option2_Click();
    w.OKButton_Click();
    EXPECT_EQ(w.BkR_Path(), "D:\\Arc");
    EXPECT_EQ(w.lblcomplete(),
              "Мастер завершил подготовку к восстановлению базы данных из директории: 'D:\\Arc'");
    w.Option3_Click();
    w.CancelButton_Click();
    w.OKButton_Click();
    EXPECT_EQ(w.lblcomplete(), "Мастер завершил подготовку к ");
    // No ordinary path leads past page 3; the counter itself wraps above 5 back to 3.
    w.OKButton_Click();
    EXPECT_EQ(w.Frame_Shown(), 0);
    w.OKButton_Click();
    w.OKButton_Click();
    EXPECT_EQ(w.Page(), 3);
    // The check does nothing and leaves the wizard open.
    w.Command1_Click();
    EXPECT_FALSE(w.Closed());
    EXPECT_TRUE(ui.boxes.empty());
    // "Отмена" closes and stores the folder.
    w.Command2_Click();
    EXPECT_TRUE(w.Closed());
    EXPECT_EQ(settings_store.Get("Tally Depot", "Kernel", "Wisard", ""), "D:\\Arc");

    Wisard again = Make();
    again.Form_Load();
    EXPECT_EQ(again.BkR_Path(), "D:\\Arc") << "the stored folder comes back";
    // "Обзор": the folder of the chosen file, the dialog preset to the folder's name.
    views.dialog_answer = folder.File("picked/$Директория РК");
    again.Command3_Click();
    EXPECT_EQ(views.dialogs.back(), "/Arc|$Директория РК") << "a drive prefix means nothing here";
    EXPECT_EQ(again.BkR_Path(), folder.File("picked"));
    views.dialog_answer.clear();
    again.Command3_Click();
    EXPECT_EQ(again.BkR_Path(), folder.File("picked")) << "a cancelled dialog changes nothing";
}

TEST_F(Wisard_Test, BackupMakesOneFolderLevelAndKeepsOneGeneration) {
    Write_Database(Tickets(3, 10));
    const Bytes first = File_Bytes("TD.cdb");
    Wisard w = Make();
    To_Finish(w, folder.File("arc"));
    w.Command1_Click();
    ASSERT_TRUE(w.Succeeded()) << (ui.boxes.empty() ? "" : ui.boxes.back().text);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Резервное копирование базы данных успешно завершено!");
    EXPECT_EQ(ui.boxes[0].title, "Резервное копирование базы данных");
    EXPECT_TRUE(w.Closed());
    EXPECT_EQ(Whole_File(folder.File("arc/TD.cbk")), first);

    // Two missing levels: the general message, nothing made, the wizard stays.
    ui.boxes.clear();
    Wisard w3 = Make();
    To_Finish(w3, folder.File("x/y"));
    w3.Command1_Click();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Ошибка!");
    EXPECT_EQ(ui.boxes[0].flags, box::Stop);
    EXPECT_EQ(ui.boxes[0].text.rfind("Ошибка! \r\n", 0), 0u);
    EXPECT_NE(ui.boxes[0].text.find(" (76)"), std::string::npos) << ui.boxes[0].text;
    EXPECT_FALSE(w3.Closed());
    EXPECT_FALSE(std::filesystem::exists(folder.File("x")));
}

TEST_F(Wisard_Test, RestoreFromTheMenuAndFromTheWizardsOwnOption) {
    // The menu's question: No does nothing.
    ui.Answer_Next(box::Answer_No);
    EXPECT_FALSE(Mnu_Restore_From_Backup(ui));
    EXPECT_EQ(ui.children_closed, 0);
    EXPECT_EQ(ui.boxes[0].title, "Восстановление базы данных с резервной копии");
    EXPECT_EQ(ui.boxes[0].flags, box::Yes_No + box::Question);

    // Yes: restore mode, children closed; with no backup the general message, the database as
    // it was and no rebuild.
    Write_Database(Tickets(4, 10));
    const Bytes current = File_Bytes("TD.cdb");
    EXPECT_TRUE(Mnu_Restore_From_Backup(ui));
    EXPECT_EQ(Wizard_Mode, 1);
    EXPECT_TRUE(Restore_From_Menu);
    EXPECT_EQ(ui.children_closed, 1);
    ui.boxes.clear();
    Wisard missing = Make();
    To_Finish(missing, folder.File("arc"));
    EXPECT_EQ(missing.Option_Selected(), 2);
    missing.Command1_Click();
    EXPECT_EQ(ui.children_closed, 2) << "the children are closed before the copy";
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_NE(ui.boxes[0].text.find(" (53)"), std::string::npos) << ui.boxes[0].text;
    EXPECT_FALSE(missing.Closed());
    EXPECT_EQ(File_Bytes("TD.cdb"), current);
    EXPECT_TRUE(ui.progress_labels.empty()) << "no rebuild after a failed restore";

    // Opened for a backup, the user picks the restore: no question, no children closed.
    ASSERT_EQ(::mkdir(folder.File("arc").c_str(), 0755), 0);
    Write_Database(Tickets(2, 30));
    const Bytes backup = File_Bytes("TD.cdb");
    ASSERT_TRUE(std::filesystem::copy_file(Path("TD.cdb"), folder.File("arc/TD.cbk")));
    Write_Database(Tickets(6, 10));
    Mnu_Create_Backup();
    ui.boxes.clear();
    const int children = ui.children_closed;
    Wisard w = Make();
    w.Form_Load();
    w.Option2_Click();
    w.OKButton_Click();
    w.BkR_Path_Change(folder.File("arc"));
    w.OKButton_Click();
    w.Command1_Click();
    ASSERT_TRUE(w.Succeeded());
    EXPECT_EQ(ui.children_closed, children);
    EXPECT_EQ(File_Bytes("TD.cdb"), backup);
    EXPECT_EQ(ui.boxes[0].text, "Восстановление баз данных успешно проведено!");
    EXPECT_EQ(ui.boxes[0].title, "Восстановление базы данных");
    // The rebuild: two unredeemed tickets of 30 litres sold to company 1 yesterday.
    EXPECT_EQ(Total("Cache_d.dat", 1, 1), 60.0);
    EXPECT_EQ(state.Ticket_Table.size(), 3u);
    EXPECT_EQ(state.Ticket_Count, 2) << "the count follows the restored database";
    EXPECT_FALSE(ui.progress_visible);
    EXPECT_TRUE(ui.main_window_enabled);
    EXPECT_TRUE(w.Closed());
}

// A disk that fills up during the copy, either way, is tried through tdctl in
// tests/maintenance_cli; here a folder that can't be written.
TEST_F(Wisard_Test, ACopyIntoAFolderThatCantBeWrittenLeavesBothFilesWhole) {
    Scratch_Mount mount;
    if (!mount.Mounted())
        GTEST_SKIP() << "needs root to mount a small file system";
    const std::string arc = mount.Folder().Path();
    Write_Database(Tickets(10, 10));
    {
        Wisard w = Make();
        To_Finish(w, arc);
        w.Command1_Click();
        ASSERT_TRUE(w.Succeeded());
    }
    const Bytes old_backup = Whole_File(arc + "/TD.cbk");

    // A folder that can't be written: the access failure, both files whole.
    Write_Database(Tickets(3, 10));
    const Bytes small = File_Bytes("TD.cdb");
    ASSERT_TRUE(mount.Make_Read_Only());
    ui.boxes.clear();
    Wisard ro = Make();
    To_Finish(ro, arc);
    ro.Command1_Click();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_NE(ui.boxes[0].text.find(" (75)"), std::string::npos) << ui.boxes[0].text;
    EXPECT_EQ(Whole_File(arc + "/TD.cbk"), old_backup);
    EXPECT_EQ(File_Bytes("TD.cdb"), small);

    // Restoring from a backup the disk holds, into a data folder that can't take it, is the
    // other direction of the same copy: the database stays as it was.
    Wizard_Mode = 1;
    ui.boxes.clear();
    state.Data_Folder = arc;
    Wisard back = Make();
    To_Finish(back, folder.Path());
    ASSERT_TRUE(std::filesystem::copy_file(Path("TD.cdb"), folder.File("TD.cbk")));
    back.Command1_Click();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Ошибка!");
    EXPECT_FALSE(back.Succeeded());
}

} // namespace
} // namespace td::test
