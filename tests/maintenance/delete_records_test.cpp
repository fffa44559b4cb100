// Mass deletion on a temporary installation: the screen's fields, the two confirmations, each
// option's marks on disk, messages and rebuild, and the kept failure of the redemption-date option.
#include "maintenance/delete_records.h"
#include "maintenance_fixture.h"

#include <filesystem>

namespace td::test {
namespace {

class Delete_Test : public Maintenance_Test {
protected:
    Delete_Test() {
        EXPECT_TRUE(test::Write_Fuels(Path(state.settings.Fuel_File), {"АИ-92", "", "ДТ"}));
        EXPECT_TRUE(
            test::Write_Stations(Path(state.settings.Establishments_File), {"Север", "Юг"}));
        EXPECT_TRUE(test::Write_User_Volumes(Path(state.settings.User_Volume_File), {5, 150, 2.5}));
        Write_Companies({"Альфа", "Бета"});
    }
    Delete_records Make() {
        Delete_records form(state, ui, clock, views);
        form.Form_Load();
        return form;
    }
    // Tickets: 1 unredeemed, 2 redeemed today at station 1, 3 redeemed earlier at station 2,
    // 4 deleted and redeemed, 5 redeemed today of fuel 3.
    void Write_Mixed() {
        auto t = [&](const char* serial, int fuel, int used, int deleted, double when, double real,
                     int station) {
            return Make_Ticket(
                {fuel, 20, 1, today - 10, serial, used, deleted, when, real, station});
        };
        Write_Database({t("000101", 1, 0, 0, 0, 0, 0), t("000102", 1, 1, 0, today, 19.5, 1),
                        t("000103", 1, 1, 0, today - 3, 20, 2), t("000104", 1, 1, 1, today, 7, 1),
                        t("000105", 3, 1, 0, today, 18, 2)});
        Keep_Originals(5);
    }
    void Keep_Originals(long count) {
        originals.clear();
        for (long i = 1; i <= count; ++i)
            originals.push_back(Ticket_Bytes(i));
    }
    // Ticket i is its original with the Deleted byte set, or the original itself.
    void Expect_Marked(long i, bool marked) {
        Bytes expected = originals[static_cast<std::size_t>(i - 1)];
        if (marked)
            expected[1] = 1;
        EXPECT_EQ(Ticket_Bytes(i), expected) << "ticket " << i;
    }
    std::vector<Bytes> originals;
};

// The options enabling the fields and the caption of the day are seen through the view in tests/qt.
TEST_F(Delete_Test, TheScreenOpensWithItsListsAndOptions) {
    Delete_records form = Make();
    ASSERT_EQ(form.Combo2.Count(), 13);
    EXPECT_EQ(form.Combo2.Item(9), "100");
    EXPECT_EQ(form.Combo2.Item(10), "005");
    EXPECT_EQ(form.Combo2.Item(11), "150");
    EXPECT_EQ(form.Combo2.Item(12), "2,5");
    ASSERT_EQ(form.Combo1.Count(), 2) << "empty fuel slots are left out";
    EXPECT_EQ(form.Combo1.Item(1), "ДТ");
    EXPECT_EQ(form.Combo1.Text(), "АИ-92");
    form.Option4_Click();
    views.calendar_date = today + 1;
    form.Option2_Click();
    EXPECT_FALSE(form.Fields_Enabled());
    EXPECT_EQ(views.calendars, 1);
    EXPECT_EQ(form.Option2_Caption(), "Удалить все списанные талоны за 16.03.2024");
    views.calendar_date = today + 2;
    form.Option2_DblClick();
    EXPECT_EQ(views.calendars, 2);
    EXPECT_EQ(form.Option2_Caption(), "Удалить все списанные талоны за 17.03.2024");
    form.Command2_Click();
    EXPECT_TRUE(form.Closed());
}

TEST_F(Delete_Test, RedeemedTicketsAreMarkedInPlaceAfterBothConfirmations) {
    Write_Mixed();
    const auto size = std::filesystem::file_size(Path("TD.cdb"));
    Rebuild_All(state, ui, clock, Progress_Target::Form);
    Delete_records form = Make();
    form.Option1_Click();

    // No to either question changes nothing.
    ui.Answer_Next(box::Answer_No);
    form.Command1_Click();
    ui.Answer_Next(box::Answer_Yes);
    ui.Answer_Next(box::Answer_No);
    form.Command1_Click();
    for (long i = 1; i <= 5; ++i)
        Expect_Marked(i, false);
    EXPECT_TRUE(views.closed.empty());
    ASSERT_EQ(ui.boxes.size(), 3u);
    EXPECT_EQ(ui.boxes[0].text, "Вы точно хотите удалить талоны?");
    EXPECT_EQ(ui.boxes[0].title, "Удаление");
    EXPECT_EQ(ui.boxes[0].flags, box::Yes_No + box::Question);
    EXPECT_EQ(ui.boxes[2].text,
              "Статистическая информация по удалёным талонам будет недоступна!\r\nПродолжить?");
    EXPECT_EQ(ui.boxes[2].title, "Информация");
    EXPECT_EQ(ui.boxes[2].flags, box::Yes_No + box::Information);

    ui.boxes.clear();
    form.Command1_Click();
    ASSERT_EQ(views.closed.size(), 1u);
    EXPECT_EQ(views.closed[0], Delete_records::Forms_To_Close());
    Expect_Marked(1, false);
    Expect_Marked(2, true);
    Expect_Marked(3, true);
    Expect_Marked(4, false); // deleted before: left as it is, not counted
    Expect_Marked(5, true);
    EXPECT_EQ(std::filesystem::file_size(Path("TD.cdb")), size) << "nothing leaves the file";
    ASSERT_EQ(ui.boxes.size(), 3u);
    EXPECT_EQ(ui.boxes[2].text, "Все списанные талоны, в количестве 3 шт - удалены!");
    EXPECT_EQ(ui.boxes[2].title, "Удаление завершено");
    EXPECT_EQ(form.Progress(), 0) << "the bar goes back after the option";
    EXPECT_FALSE(ui.progress_visible);
    EXPECT_TRUE(ui.main_window_enabled);
    // The rebuild: the redeemed tickets are gone from the station totals, the unredeemed one stays
    // on its company.
    EXPECT_EQ(Total("Cache_u.dat", 1, 1), 0.0);
    EXPECT_EQ(Total("Cache_u.dat", 2, 3), 0.0);
    EXPECT_EQ(Total("Cache_d.dat", 1, 1), 20.0);
    EXPECT_EQ(state.Ticket_Table[2].Deleted, 1);

    // Again: nothing left to delete, the message says 0 and the rebuild still runs.
    ui.boxes.clear();
    const std::size_t passes = ui.progress_labels.size();
    form.Command1_Click();
    EXPECT_EQ(ui.boxes.back().text, "Все списанные талоны, в количестве 0 шт - удалены!");
    EXPECT_GT(ui.progress_labels.size(), passes);
}

TEST_F(Delete_Test, TheRedemptionDateOptionEndsTheRunAtItsFirstTicket) {
    Write_Mixed();
    Delete_records form = Make();
    // A day with no redemption: the option runs to its message.
    views.calendar_date = today - 1;
    form.Option2_Click();
    form.Command1_Click();
    EXPECT_EQ(ui.boxes.back().text,
              "Все списанные талоны за 14.03.2024, в количестве 0 шт - удалены!");
    for (long i = 1; i <= 5; ++i)
        Expect_Marked(i, false);

    // The working day: ticket 2 is marked and written, then the station of an empty record is
    // asked for and the run ends with the unhandled failure.
    views.calendar_date = today;
    form.Option2_Click();
    EXPECT_THROW(form.Command1_Click(), Process_Ended);
    EXPECT_EQ(ui.boxes.back().text, std::string("Run-time error '63':\n\nBad record number"));
    Expect_Marked(2, true);
    Expect_Marked(5, false);
    Expect_Marked(3, false);
}

TEST_F(Delete_Test, ARangeOfOneFuelAndVolumeRedeemedOrNot) {
    auto t = [&](const char* serial, int fuel, int volume, int used, int deleted) {
        return Make_Ticket({fuel, volume, 1, today - 1, serial, used, deleted, used ? today : 0,
                            used ? 20.0 : 0.0, used ? 1 : 0});
    };
    // Fuel "ДТ" is slot 3 but second in the list: the option takes position + 1 = 2.
    Write_Database({t("000010", 1, 20, 0, 0), t("000011", 1, 20, 1, 0), t("000012", 1, 20, 0, 1),
                    t("000013", 1, 20, 0, 0), t("000011", 1, 30, 0, 0), t("000011", 2, 20, 0, 0),
                    t("000011", 3, 20, 0, 0), t("000009", 1, 20, 0, 0)});
    Keep_Originals(8);
    Delete_records form = Make();
    form.Option4_Click();
    // Empty boxes: the two questions, then a silent stop.
    form.Command1_Click();
    EXPECT_EQ(ui.boxes.size(), 2u);
    form.Text1 = "5";
    form.Text2 = "3";
    form.Command1_Click();
    EXPECT_EQ(ui.boxes.size(), 4u) << "a span below 0 stops silently";
    for (long i = 1; i <= 8; ++i)
        Expect_Marked(i, false);

    form.Combo2.Set_List_Index(1); // "020"
    form.Text1 = "000010";
    form.Text2 = "12";
    form.Command1_Click();
    // 10, 11 (redeemed) and 12 (deleted before, counted again); not 13, not other pairs, not 9.
    for (long i = 1; i <= 8; ++i)
        Expect_Marked(i, i <= 3);
    EXPECT_EQ(ui.boxes.back().text, "Удалено: 3 талонов\r\nНеобходима полная переиндексация!");
    EXPECT_EQ(ui.boxes.back().title, "Удаление талонов");

    form.Combo1.Set_List_Index(1); // "ДТ": position 2, which is fuel slot 2
    form.Text1 = "11";
    form.Text2 = "11";
    form.Command1_Click();
    Expect_Marked(6, true);
    Expect_Marked(7, false);
}

TEST_F(Delete_Test, ClearingMovesTheFilesAsideAndEndsTheRun) {
    Write_Mixed();
    Rebuild_All(state, ui, clock, Progress_Target::Form);
    const Bytes database = File_Bytes("TD.cdb");
    const Bytes fuels = File_Bytes("Fuel.dat");
    Delete_records form = Make();
    std::string told;
    form.On_Cleared = [&](const std::string& where) { told = where; };
    form.Option3_Click();
    try {
        form.Command1_Click();
        FAIL() << "the run goes on after clearing";
    } catch (const Process_Ended& ended) {
        EXPECT_EQ(ended.exit_code, 0);
    }
    // The clock of the fake: 23.11.2026, 10:00:00.
    const std::string aside = folder.File("Cleared-20261123-100000");
    EXPECT_EQ(told, aside);
    EXPECT_EQ(ui.boxes.back().text,
              "База данных очищена.\r\nУдалено: 0\r\nНеобходимо перезапустить программу!");
    EXPECT_EQ(ui.boxes.back().title, "Удаление завершено");
    EXPECT_FALSE(File_Exists(Path("TD.cdb")));
    EXPECT_FALSE(File_Exists(Path("Cache_d.dat")));
    EXPECT_FALSE(File_Exists(Path("Cache_u.dat")));
    EXPECT_FALSE(File_Exists(Path("Cache_Users.dat")));
    EXPECT_EQ(Whole_File(aside + "/TD.cdb"), database);
    EXPECT_TRUE(File_Exists(aside + "/Cache_d.dat"));
    EXPECT_EQ(File_Bytes("Fuel.dat"), fuels) << "reference files are kept";

    // A second clearing in the same second goes to a folder of its own.
    Write_Database({});
    Delete_records again = Make();
    again.Option3_Click();
    EXPECT_THROW(again.Command1_Click(), Process_Ended);
    EXPECT_TRUE(File_Exists(aside + "-2/TD.cdb"));
}

} // namespace
} // namespace td::test
