// The sale screen's model: what it shows at opening, what it keeps between runs, and the rules
// of its number fields.
#include "tickets/sale_fixture.h"

namespace td::test {
namespace {

using Strings = std::vector<std::string>;

class Sale_Screen_Test : public Sale_Fixture {
protected:
    Sale_Screen_Test() { Database({}); }

    void Keep(const std::string& key, const std::string& value) {
        settings.Save(Settings_Application, "Windows", key, value);
    }
    std::string Kept(const std::string& key) {
        return settings.Get(Settings_Application, "Windows", key, "(none)");
    }
};

TEST_F(Sale_Screen_Test, OpeningFillsTheListsFromTheCataloguesAndTheBuyerRow) {
    Select_Buyer("1:1:101", "root\\1\\", 4);
    auto screen = Open_Screen();

    Strings fuels, volumes;
    for (int i = 0; i < screen->Combo2.Count(); ++i)
        fuels.push_back(screen->Combo2.Item(i));
    for (int i = 0; i < screen->Combo3.Count(); ++i)
        volumes.push_back(screen->Combo3.Item(i));
    EXPECT_EQ(fuels, (Strings{"АИ-92", "АИ-95", "ДТ"}));
    EXPECT_EQ(volumes, (Strings{"010", "020", "030", "040", "050", "060", "070", "080", "090",
                                "100", "005", "12,5", "150"}));
    // Column 4 of the buyer grid is the second grade; the volume always starts at "010".
    EXPECT_EQ(screen->Combo2.Text(), "АИ-95");
    EXPECT_EQ(screen->Combo3.Text(), "010");
    EXPECT_EQ(screen->Label7, "ООО Ромашка; 1:1:101");

    // A blank station leaves no entry: the key keeps the record number.
    ASSERT_EQ(screen->ListView1.Count(), 2);
    EXPECT_EQ(screen->ListView1.Text(1), "Юг");
    EXPECT_EQ(screen->ListView1.Key(1), "root\\3");

    EXPECT_EQ(screen->MSFlexGrid2.Rows(), 2);
    EXPECT_EQ(screen->MSFlexGrid2.Text(0, 0), "Номер талона");
    EXPECT_EQ(screen->MSFlexGrid2.Text(0, 1), "Результат регистрации");
    EXPECT_EQ(screen->MSFlexGrid2.Column_Width(2), 0);

    // Columns left of the grades, and past the list, give the first grade.
    for (int col : {0, 2, 10}) {
        buyer->MSFlexGrid1.Set_Col(col);
        EXPECT_EQ(Open_Screen()->Combo2.Text(), "АИ-92") << col;
    }
}

TEST_F(Sale_Screen_Test, OptionsAndStationMarksAreKeptBetweenRuns) {
    Select_Buyer("1:1:101", "root\\1\\");
    // Defaults: unlimited, all stations, one ticket.
    {
        auto screen = Open_Screen();
        EXPECT_TRUE(screen->Option(1) && screen->Option(3) && screen->Option(5));
        EXPECT_FALSE(screen->ListView1_Enabled);
        EXPECT_TRUE(screen->Text_Enabled(1));
        EXPECT_FALSE(screen->Text_Enabled(2) || screen->Text_Enabled(4));
        EXPECT_EQ(screen->Focus(), Sale_Focus::Text1);
    }
    Keep("RTO3", "False");
    Keep("RTO4", "True");
    Keep("RTO5", "False");
    Keep("RTO7", "True");
    Keep("RTLV2", "True");
    Keep("RTLV1", "nonsense"); // not a truth value: ignored
    auto screen = Open_Screen();
    EXPECT_TRUE(screen->Option(4) && screen->Option(7));
    EXPECT_FALSE(screen->Option(3) || screen->Option(5));
    EXPECT_TRUE(screen->ListView1_Enabled);
    EXPECT_TRUE(screen->Text_Enabled(4) && screen->Text_Enabled(5));
    EXPECT_FALSE(screen->Text_Enabled(1));
    EXPECT_FALSE(screen->ListView1.Checked(0));
    EXPECT_TRUE(screen->ListView1.Checked(1));

    // A click on a row reverses its mark; ticking a box selects the row.
    screen->ListView1_Click(0);
    screen->ListView1_ItemCheck(1, false);
    EXPECT_TRUE(screen->ListView1.Checked(0));
    EXPECT_FALSE(screen->ListView1.Checked(1));
    EXPECT_EQ(screen->ListView1.List_Index(), 1);

    screen->Option_Click(3);
    EXPECT_FALSE(screen->ListView1_Enabled);
    screen->Form_Unload();
    EXPECT_EQ(Kept("RTO3"), "True");
    EXPECT_EQ(Kept("RTO4"), "False");
    EXPECT_EQ(Kept("RTO7"), "True");
    EXPECT_EQ(Kept("RTLV1"), "True");
    EXPECT_EQ(Kept("RTLV2"), "False");

    // Restoring the limited validity chooses it: the calendar opens while the screen is built,
    // since the dates themselves are not kept.
    Keep("RTO1", "False");
    Keep("RTO2", "True");
    Register_ticket limited(state, ui, clock, settings, browsers);
    int calendars = 0;
    limited.Open_Calendar = [&] { ++calendars; };
    limited.Form_Load();
    EXPECT_EQ(calendars, 1);
    limited.Set_Limited_Caption("Действителен с: 01.03.2024 по: 31.03.2024");
    EXPECT_EQ(limited.Option2_Caption, "Действителен с: 01.03.2024 по: 31.03.2024");
    limited.Select_Unlimited(); // the calendar cancelled
    EXPECT_TRUE(limited.Option(1));
    EXPECT_FALSE(limited.Option(2));
}

TEST_F(Sale_Screen_Test, NumberFieldsPadOnLeavingAndTheRangeFormsStayCoupled) {
    Select_Buyer("1:1:101", "root\\1\\");
    auto screen = Open_Screen();
    Register_ticket& s = *screen;

    // An empty number left shows "000000"; Enter goes to "Проверить".
    s.Text_KeyPress_Enter(1);
    EXPECT_EQ(s.Text(1), "000000");
    EXPECT_EQ(s.Focus(), Sale_Focus::Command1);

    // Range by ends, the ordinary way, is typed through the view in tests/qt. Reversed ends: the
    // smaller is the first number and the count comes out two short, which then sets the last one.
    s.Option_Click(6);
    s.Focus_To(Sale_Focus::Text2);
    s.Text_Change(2, "130");
    s.Focus_To(Sale_Focus::Text3);
    s.Text_Change(3, "123");
    s.Focus_To(Sale_Focus::Command1);
    EXPECT_EQ(s.Text(4), "000123");
    EXPECT_EQ(s.Text(5), "6");
    EXPECT_EQ(s.Text(2), "000123");
    EXPECT_EQ(s.Text(3), "000128");

    // The first number or the count changed: the ends follow; only a count pads the last end.
    s.Text_Change(4, "000200");
    EXPECT_EQ(s.Text(2), "000200");
    EXPECT_EQ(s.Text(3), "205");
    s.Text_Change(5, "10");
    EXPECT_EQ(s.Text(3), "000209");

    // With the count empty the ends stay as they are.
    s.Text_Change(5, "");
    s.Text_Change(4, "000300");
    EXPECT_EQ(s.Text(2), "000200");
    EXPECT_EQ(s.Text(3), "000209");
    // The count itself is never padded.
    s.Focus_To(Sale_Focus::Text5);
    s.Text_Change(5, "7");
    s.Focus_To(Sale_Focus::Command1);
    EXPECT_EQ(s.Text(5), "7");

    // Any change of a number clears the check's mark; fuel and volume do not.
    state.Sale_Checked = true;
    s.Combo2_Click(2);
    s.Combo3_Click(1);
    s.Option_Click(4);
    EXPECT_TRUE(state.Sale_Checked);
    s.Text_Change(5, "8");
    EXPECT_FALSE(state.Sale_Checked);

    // The mouse on a disabled field chooses its option.
    s.Text_Mouse_Down(1);
    EXPECT_TRUE(s.Option(5));
    EXPECT_EQ(s.Focus(), Sale_Focus::Text1);
    s.Text_Mouse_Down(1); // enabled now: nothing more
    EXPECT_TRUE(s.Option(5));
}

} // namespace
} // namespace td::test
