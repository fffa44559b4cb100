// The main window's logic, headless: what is enabled, where each command goes, the exit path,
// the reset of settings, and the small screens behind the About box.
#include "base/dates.h"
#include "base/ports.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "shell/mdi_form.h"
#include "shell/small_forms.h"
#include "shell_fakes.h"
#include "storage/record_file.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>
#include <set>

namespace {

using namespace td;
using td::test::Fake_Clock;
using td::test::Fake_Ui;
using td::test::Fake_Views;
using td::test::Memory_Settings;
using td::test::Process_Ended;
using td::test::Temp_Folder;

class Shell : public ::testing::Test {
protected:
    Temp_Folder home;
    Fake_Ui ui;
    Fake_Clock clock;
    Memory_Settings store;
    Fake_Views views;
    Program_State& state = State();
    std::unique_ptr<MDI_Form> form;

    void SetUp() override {
        Reset_State();
        state.Program_Folder = home.Path();
        state.Data_Folder = home.Path();
        state.Current_Date = Date_Serial(2026, 3, 5);
        state.settings.Company_Name = "ООО Топливная компания";
        form = std::make_unique<MDI_Form>(state, ui, clock, store, views);
        form->MDIForm_Load();
    }

    // A run in progress leaves these on disk; a clean exit removes them.
    void Leave_Run_Files() {
        home.Write(Work_Marker_File, "");
        home.Write("z1_10.dat", "x");
        home.Write("Z2_20.DAT", "x");
    }
};

TEST_F(Shell, WhatIsEnabledAndWhatWaitsForItsScreen) {
    // The names and captions are the view's test's; here what is enabled.
    std::set<std::string> enabled;
    for (const Top_Menu& menu : form->Menus()) {
        for (const Menu_Item& item : menu.items) {
            if (item.separator)
                continue;
            if (item.enabled)
                enabled.insert(item.name);
            else
                EXPECT_EQ(item.unavailable, Not_Built_Reason) << item.name;
        }
    }
    const std::set<std::string> working = {
        "mnu_save_report", "mnu_print",        "mnu_File_exit",
        "mnu_reindex_DB",  "mnu_se_defrag",    "mnu_restore_settings",
        "mnu_tile_hor",    "mnu_tile_vert",    "mnu_cas_ord",
        "mnu_icon_order",  "mnu_help_Help_TD", "mnu_help_About"};
    EXPECT_EQ(enabled, working);

    // Every context entry waits for the screen that raises its menu.
    for (const Context_Menu& menu : form->Context_Menus())
        for (const Menu_Item& item : menu.items)
            EXPECT_TRUE(item.separator || !item.enabled) << item.name;

    std::set<std::string> buttons_on;
    for (const Toolbar_Button& button : form->Buttons())
        if (button.enabled)
            buttons_on.insert(button.key);
    EXPECT_EQ(buttons_on,
              (std::set<std::string>{"Up One Level", "Печать", "Поик", "Помощь", "Выход"}));

    // A screen that lands enables its entry and the button that shares its command.
    int reports = 0;
    form->Set_Command("mnu_full_report", [&] { ++reports; });
    EXPECT_TRUE(form->Find_Item("mnu_full_report")->enabled);
    EXPECT_TRUE(form->Find_Button("Отчёт")->enabled);
    EXPECT_FALSE(form->Find_Button("Остатки")->enabled); // the balances are a screen of their own
    form->tbToolBar_ButtonClick("Отчёт");
    form->Menu_Click("mnu_full_report");
    EXPECT_EQ(reports, 2);

    // Disabled, unknown and separator entries do nothing.
    form->Menu_Click("mnu_Sell_Tickets");
    form->Menu_Click("mnu_sep4");
    form->Menu_Click("no_such_entry");
    form->tbToolBar_ButtonClick("Продажа таллонов");
    form->tbToolBar_ButtonClick("No such key");
    EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(Shell, SortingWorksOnlyWhileABrowserIsActive) {
    int ascending = 0;
    int descending = 0;
    form->Set_Command("mnu_sort_acd", [&] { ++ascending; });
    form->Set_Command("mnu_sort_desc", [&] { ++descending; });
    form->tbToolBar_ButtonClick("Сортировка по возрастанию");
    form->Menu_Click("mnu_sort_desc");
    EXPECT_EQ(ascending + descending, 0);

    form->Browser_Active(true);
    form->tbToolBar_ButtonClick("Сортировка по возрастанию");
    form->tbToolBar_ButtonClick("Сортировка по убыванию");
    form->Menu_Click("mnu_sort_acd");
    EXPECT_EQ(ascending, 2);
    EXPECT_EQ(descending, 1);

    form->Browser_Active(false);
    form->Menu_Click("mnu_sort_acd");
    EXPECT_EQ(ascending, 2);
}

TEST_F(Shell, ToolbarStubsPrintingAndArranging) {
    form->tbToolBar_ButtonClick("Up One Level");
    form->tbToolBar_ButtonClick("Поик");
    form->tbToolBar_ButtonClick("Помощь");
    ASSERT_EQ(ui.boxes.size(), 3u);
    EXPECT_EQ(ui.boxes[0].text, "Переходы на один уровень выше в бета версии отсутствует.");
    EXPECT_EQ(ui.boxes[1].text, "Поисковая система в бета версии отсутствует.");
    EXPECT_EQ(ui.boxes[2].text, "Справочная система в бета версии отсутствует.");
    for (const auto& b : ui.boxes) {
        EXPECT_EQ(b.flags, box::Information);
        EXPECT_EQ(b.title, "Ошибка");
    }

    // No report in front: printing asks nothing. The menu's entries do nothing at all.
    ui.boxes.clear();
    form->tbToolBar_ButtonClick("Печать");
    form->Menu_Click("mnu_save_report");
    form->Menu_Click("mnu_print");
    form->Menu_Click("mnu_help_Help_TD");
    EXPECT_TRUE(ui.boxes.empty());
    EXPECT_EQ(views.pages_printed, 0);

    views.active_child_caption = "Полный отчёт";
    ui.Answer_Next(box::Answer_No);
    form->tbToolBar_ButtonClick("Печать");
    ui.Answer_Next(box::Answer_Yes);
    form->tbToolBar_ButtonClick("Печать");
    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_EQ(ui.boxes[0].text, "Напечатать текущую станицу на принтере?");
    EXPECT_EQ(ui.boxes[0].title, "Печать");
    EXPECT_EQ(ui.boxes[0].flags, box::Yes_No | box::Question);
    EXPECT_EQ(views.pages_printed, 1);
    EXPECT_EQ(state.Answer, box::Answer_Yes);

    form->Menu_Click("mnu_tile_hor");
    form->Menu_Click("mnu_tile_vert");
    form->Menu_Click("mnu_cas_ord");
    form->Menu_Click("mnu_icon_order");
    EXPECT_EQ(views.arranged,
              (std::vector<Arrange_Mode>{Arrange_Mode::Tile_Horizontal, Arrange_Mode::Tile_Vertical,
                                         Arrange_Mode::Cascade, Arrange_Mode::Icons}));
}

TEST_F(Shell, UnloadPathShutsDownWithoutAsking) {
    Leave_Run_Files();
    EXPECT_THROW(form->MDIForm_Unload(), Process_Ended);
    EXPECT_TRUE(ui.boxes.empty());
    EXPECT_EQ(ui.children_closed, 1);
    EXPECT_FALSE(home.Exists(Work_Marker_File));
    EXPECT_FALSE(home.Exists("z1_10.dat"));
    EXPECT_EQ(store.Get(Settings_Application, "Kernel", "Date", ""), "05.03.2026");
}

// Records the order of writes, since the shutdown writes `Date` a second time.
class Recording_Settings : public Memory_Settings {
public:
    std::vector<std::string> writes;
    void Save(const std::string& application, const std::string& section, const std::string& key,
              const std::string& value) override {
        writes.push_back(application + "/" + section + "/" + key + "=" + value);
        Memory_Settings::Save(application, section, key, value);
    }
};

TEST_F(Shell, ResetOfSettingsWritesTheDefaultsThenShutsDown) {
    Recording_Settings recording;
    recording.Save(Settings_Application, "Kernel", "Wisard", "3");
    recording.Save(Settings_Application, "Kernel", "Low Date", "01.01.2026");
    recording.Save(Settings_Application, "Windows", "RTLV16", "True");
    recording.writes.clear();
    MDI_Form reset_form(state, ui, clock, recording, views);
    Leave_Run_Files();

    EXPECT_THROW(reset_form.Menu_Click("mnu_restore_settings"), Process_Ended);

    std::vector<std::string> expected = {
        "Tally_depot/Settings/MainLeft=1000",  "Tally_depot/Settings/MainTop=1000",
        "Tally_depot/Settings/MainWidth=6500", "Tally_depot/Settings/MainHeight=6500",
        "Tally Depot/Kernel/1C DB Path=",      "Tally Depot/Kernel/Date=0:00:00"};
    for (int i = 1; i <= 15; ++i) {
        std::string n = std::to_string(i);
        expected.push_back("Tally Depot/Windows/SlTsC" + n + "=960");
        expected.push_back("Tally Depot/Windows/RTLV" + n + "=False");
        expected.push_back("Tally Depot/Windows/RsTsC" + n + "=960");
    }
    for (const char* rto : {"RTO1=True", "RTO2=False", "RTO3=True", "RTO4=False", "RTO5=True",
                            "RTO6=False", "RTO7=False"})
        expected.push_back(std::string("Tally Depot/Windows/") + rto);
    // The shutdown that follows saves the working date over the reset one, as it always did.
    expected.push_back("Tally Depot/Kernel/Date=05.03.2026");
    EXPECT_EQ(recording.writes, expected);

    EXPECT_EQ(ui.children_closed, 1);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text,
              "Настройки по умолчанию восстановлены!\nНеобходимо перезапустить программу");
    EXPECT_EQ(ui.boxes[0].title, "Информация");
    EXPECT_EQ(ui.boxes[0].flags, box::Information);
    EXPECT_FALSE(home.Exists(Work_Marker_File));
    // What the reset doesn't own stays as it was.
    EXPECT_EQ(recording.Get(Settings_Application, "Kernel", "Wisard", ""), "3");
    EXPECT_EQ(recording.Get(Settings_Application, "Kernel", "Low Date", ""), "01.01.2026");
    EXPECT_EQ(recording.Get(Settings_Application, "Windows", "RTLV16", ""), "True");
}

TEST_F(Shell, ReindexOnAnEmptyInstallationLeavesTheWindowUsable) {
    form->Menu_Click("mnu_reindex_DB");
    EXPECT_GE(ui.children_closed, 1);
    EXPECT_FALSE(ui.progress_visible);
    EXPECT_TRUE(ui.main_window_enabled);
    EXPECT_TRUE(ui.fatals.empty());
}

TEST_F(Shell, SplashAndEggs) {
    frmSplash splash;
    splash.Form_Load();
    EXPECT_EQ(splash.Version_Label(), "Версия 1.0.1");
    splash.Set_Progress(140);
    EXPECT_EQ(splash.Progress(), 100);
    splash.Set_Progress(-3);
    EXPECT_EQ(splash.Progress(), 0);
    EXPECT_FALSE(splash.Timer_Enabled());
    splash.Loading_Complete();
    EXPECT_EQ(splash.Progress(), 100);
    EXPECT_TRUE(splash.Timer_Enabled());
    EXPECT_FALSE(splash.Closed());
    splash.Timer1_Timer();
    EXPECT_TRUE(splash.Closed());

    Eggs eggs(state, ui, views);
    EXPECT_TRUE(eggs.Command2_Enabled());
    eggs.Command2_Click();
    EXPECT_EQ(views.raw_editor_shown, 1);
    state.settings.CS_Program_Path = "Not define";
    try {
        eggs.Command3_Click();
        ADD_FAILURE() << "a missing program was started";
    } catch (const Process_Ended& ended) {
        EXPECT_EQ(ended.exit_code, 1);
    }
    EXPECT_EQ(views.started, std::vector<std::string>{"Not define"});
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Run-time error '53':\n\nFile not found");

    views.start_fails = false;
    eggs.Command3_Click();
    EXPECT_EQ(ui.boxes.size(), 1u);
}

} // namespace
