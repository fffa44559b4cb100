// Fatal errors: the report handed to the port, and the fatal screen's logic: texts, the two timers
// in step, the dump and the resume. (The timers' intervals, the resume box's caption, and the end
// of the process when the screen is closed or its first timer runs out are tried on the Qt screen.)
#include "base/ports.h"
#include "kernel/errorscreen.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "support/fakes.h"

#include <gtest/gtest.h>

namespace {

using namespace td;
using td::test::Fake_Ui;
using td::test::Process_Ended;

class Fatal_Screen : public ::testing::Test {
protected:
    Fake_Ui ui;
    Program_State& state = State();
    std::vector<std::string> painted;
    int timer_changes = 0;
    int unloads = 0;
    std::unique_ptr<Errorscreen> screen;

    void SetUp() override {
        Reset_State();
        Open();
    }
    void TearDown() override { Reset_State(); }

    void Open() {
        screen = std::make_unique<Errorscreen>(state, ui);
        screen->On_Repaint = [this] { painted.push_back(screen->Label2()); };
        screen->On_Timers = [this] { ++timer_changes; };
        screen->On_Unload = [this] { ++unloads; };
        screen->Set_Report("Core\\SE_Defragmentation\r\nDisk full", "0xFDAABCC00" + Hex_Number(61));
        screen->Form_Load();
    }

    void Tick(int times) {
        for (int i = 0; i < times; ++i)
            screen->Timer2_Timer();
    }
};

TEST_F(Fatal_Screen, TextsAndTheCountdownWithItsLeadingZero) {
    EXPECT_EQ(screen->Label1(),
              "FATAL ERROR 0xFDAABCC003D\nin module: Core\\SE_Defragmentation\r\nDisk full\n");
    EXPECT_EQ(screen->Label2(), "Program will terminate in: 30 c...");
    EXPECT_EQ(screen->Label3(), "Press Ctrl + D if you want dump program vars...");

    Tick(20);
    EXPECT_EQ(screen->Label2(), "Program will terminate in: 10 c...");
    Tick(1);
    EXPECT_EQ(screen->Label2(), "Program will terminate in: 09 c...");
    Tick(8);
    EXPECT_EQ(screen->Label2(), "Program will terminate in: 01 c...");
    EXPECT_THROW(Tick(1), Process_Ended);
    EXPECT_EQ(screen->Label2(), "Program will terminate in: 00 c...");
    EXPECT_FALSE(screen->Timer1_Enabled());

    // After a countdown that reached 0, the next screen starts from 30 again.
    Open();
    EXPECT_EQ(screen->Label2(), "Program will terminate in: 30 c...");
    EXPECT_EQ(state.Fatal_Countdown, 30);
}

TEST_F(Fatal_Screen, CtrlDDumpsNothingAndRetimesTheFirstTimer) {
    Tick(25);
    painted.clear();
    int changes_before = timer_changes;
    screen->Form_KeyUp(Errorscreen::Key_D, Errorscreen::Ctrl_Mask);
    EXPECT_EQ(painted, (std::vector<std::string>{"Dumping all vars...", "Dump complete"}));
    EXPECT_GT(timer_changes, changes_before); // the view restarts its timers
    EXPECT_EQ(state.Fatal_Countdown, 5);

    // D and R without Ctrl, or with more than Ctrl, do nothing.
    painted.clear();
    screen->Form_KeyUp(Errorscreen::Key_D, 0);
    screen->Form_KeyUp(Errorscreen::Key_D, Errorscreen::Ctrl_Mask | Errorscreen::Shift_Mask);
    screen->Form_KeyUp(Errorscreen::Key_R, 0);
    screen->Form_KeyUp(Errorscreen::Key_R, Errorscreen::Alt_Mask);
    EXPECT_TRUE(painted.empty());
    EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(Fatal_Screen, ResumeAnsweredNoCountsOnAndYesReturnsToTheCaller) {
    Tick(3);
    ui.Answer_Next(box::Answer_No);
    screen->Form_KeyUp(Errorscreen::Key_R, Errorscreen::Ctrl_Mask);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text,
              "Now system try to resume this error. You OS may crash!!!\rAre you sure???");
    EXPECT_EQ(unloads, 0);
    EXPECT_FALSE(state.Resume_Requested);
    EXPECT_TRUE(screen->Timer2_Enabled());
    Tick(1);
    EXPECT_EQ(screen->Label2(), "Program will terminate in: 26 c...");

    ui.Answer_Next(box::Answer_Yes);
    screen->Form_KeyUp(Errorscreen::Key_R, Errorscreen::Ctrl_Mask);
    EXPECT_EQ(unloads, 1);
    EXPECT_TRUE(screen->Unload_Requested());
    EXPECT_TRUE(state.Resume_Requested);
    screen->Form_Unload(); // returns: the caller goes on
    EXPECT_FALSE(state.Resume_Requested);
    EXPECT_FALSE(screen->Timer1_Enabled());

    // A second fatal error counts from what was left.
    Open();
    EXPECT_EQ(screen->Label2(), "Program will terminate in: 26 c...");
    EXPECT_EQ(screen->Timer1_Interval(), 26000);
}

TEST(Hex_Number, LikeTheClassicHexFunction) {
    EXPECT_EQ(Hex_Number(0), "0");
    EXPECT_EQ(Hex_Number(76), "4C");
    EXPECT_EQ(Hex_Number(255), "FF");
    EXPECT_EQ(Hex_Number(0x7331056FFAD), "7331056FFAD");
    EXPECT_EQ(Hex_Number(-1), "FFFFFFFF");
    EXPECT_EQ(Hex_Number(-2147483647 - 1), "80000000");
}

// Fatal_Error hands both texts to the port's screen, which ends the process unless resumed; missing
// texts are those of no pending error (number and value 0); the countdown starts again only from 0.
TEST_F(Fatal_Screen, FatalErrorShowsTheScreenAndEndsUnlessResumed) {
    EXPECT_THROW(Fatal_Error(ui, "Core\\CreateCacheFile", "0xEE0035453"), Process_Ended);
    ui.resume_fatal = true;
    Fatal_Error(ui);
    Fatal_Error(ui, "", "0x07331056FFAD");
    ASSERT_EQ(ui.fatals.size(), 3u);
    EXPECT_EQ(ui.fatals[0].module_path, "Core\\CreateCacheFile");
    EXPECT_EQ(ui.fatals[0].code, "0xEE0035453");
    EXPECT_EQ(ui.fatals[1].module_path, "0:");
    EXPECT_EQ(ui.fatals[1].code, "0");
    EXPECT_EQ(ui.fatals[2].module_path, "0:");
    EXPECT_EQ(ui.fatals[2].code, "0x07331056FFAD");

    state.Fatal_Countdown = 0;
    Fatal_Error(ui, "m", "c");
    EXPECT_EQ(state.Fatal_Countdown, 30);
    state.Fatal_Countdown = 12; // after a resume, a second report counts on from what was left
    Fatal_Error(ui, "m", "c");
    EXPECT_EQ(state.Fatal_Countdown, 12);
}

} // namespace
