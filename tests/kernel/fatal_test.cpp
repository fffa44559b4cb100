#include "kernel/fatal.h"
#include "kernel/state.h"
#include "support/fakes.h"

#include <gtest/gtest.h>

namespace td {
namespace {

TEST(Hex_Number, LikeTheClassicHexFunction) {
    EXPECT_EQ(Hex_Number(0), "0");
    EXPECT_EQ(Hex_Number(76), "4C");
    EXPECT_EQ(Hex_Number(255), "FF");
    EXPECT_EQ(Hex_Number(0x7331056FFAD), "7331056FFAD");
    EXPECT_EQ(Hex_Number(-1), "FFFFFFFF");
    EXPECT_EQ(Hex_Number(-2147483647 - 1), "80000000");
    // A code with an appended number has no separator.
    EXPECT_EQ(std::string("0xFDAABCC00") + Hex_Number(53), "0xFDAABCC0035");
}

class Fatal : public ::testing::Test {
protected:
    void SetUp() override { Reset_State(); }
    void TearDown() override { Reset_State(); }
    test::Fake_Ui ui;
};

TEST_F(Fatal, ShowsTheScreenAndEndsUnlessResumed) {
    EXPECT_THROW(Fatal_Error(ui, "Core\\CreateCacheFile", "0xEE0035453"), test::Process_Ended);
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Core\\CreateCacheFile");
    EXPECT_EQ(ui.fatals[0].code, "0xEE0035453");

    ui.resume_fatal = true;
    Fatal_Error(ui, "Sell tickets\\Load", "0x4590" + Hex_Number(9));
    ASSERT_EQ(ui.fatals.size(), 2u);
    EXPECT_EQ(ui.fatals[1].code, "0x45909");
}

TEST_F(Fatal, DefaultsForMissingTexts) {
    ui.resume_fatal = true;
    Fatal_Error(ui);
    ASSERT_EQ(ui.fatals.size(), 1u);
    // No error is pending: its value and number are 0.
    EXPECT_EQ(ui.fatals[0].module_path, "0:");
    EXPECT_EQ(ui.fatals[0].code, "0");
    // One text given, the other defaults.
    Fatal_Error(ui, "", "0x07331056FFAD");
    ASSERT_EQ(ui.fatals.size(), 2u);
    EXPECT_EQ(ui.fatals[1].module_path, "0:");
    EXPECT_EQ(ui.fatals[1].code, "0x07331056FFAD");
}

TEST_F(Fatal, CountdownStartsAgainOnlyFromZero) {
    ui.resume_fatal = true;
    State().Fatal_Countdown = 0;
    Fatal_Error(ui, "m", "c");
    EXPECT_EQ(State().Fatal_Countdown, 30);

    // After a resume, a second report counts on from what was left.
    State().Fatal_Countdown = 12;
    Fatal_Error(ui, "m", "c");
    EXPECT_EQ(State().Fatal_Countdown, 12);
}

} // namespace
} // namespace td
