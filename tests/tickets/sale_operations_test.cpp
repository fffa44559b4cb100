// The check and the commit of a sale on a temporary installation: the rows they write, and every
// byte the commit puts on disk.
#include "storage/commit_journal.h"
#include "storage/file_safety.h"
#include "tickets/result_log.h"
#include "tickets/sale_fixture.h"

#include <unistd.h>

namespace td::test {
namespace {

using Strings = std::vector<std::string>;

// Computed where used: the date routines' own tables are not ready while statics are built.
#define March_1 Date_Serial(2024, 3, 1)
#define March_5 Date_Serial(2024, 3, 5)

class Sale_Operations_Test : public Sale_Fixture {
protected:
    // АИ-95 is grade 2, ДТ grade 3 (the list has no blank), АИ-92 grade 1.
    // With `deleted`, ticket 3 is deleted: a single sale then takes its slot.
    void Standard_Database(bool deleted = true) {
        Database({
            {"000100", 2, 20, 2, March_1},                     // 1 sold
            {"000101", 2, 20, 2, March_1, 1, 0, March_5},      // 2 redeemed
            {"000102", 2, 20, 2, March_1, 0, deleted ? 1 : 0}, // 3 deleted
            {"000103", 1, 20, 2, March_1},                     // 4 another grade
            {"000104", 2, 30, 2, March_1},                     // 5 another volume
            {"000100", 3, 20, 4, March_1},                     // 6 the same number, ДТ
        });
    }

    std::unique_ptr<Register_ticket> Screen_For(const std::string& fuel,
                                                const std::string& volume) {
        Select_Buyer("1:1:101", "root\\1\\");
        auto screen = Open_Screen();
        Choose(*screen, fuel, volume);
        return screen;
    }
};

TEST_F(Sale_Operations_Test, CheckOfOneNumberFollowsFuelVolumeAndNotDeletion) {
    Standard_Database();
    auto screen = Screen_For("АИ-95", "020");
    Register_ticket& s = *screen;

    One(s, "100");
    s.Command1_Click();
    EXPECT_EQ(Rows(s),
              (Strings{"||", "|Проверка регистрации талонов|", "|марка ГСМ 'АИ-95' литраж: 020|",
                       "||", "000100|Ошибка. Талон уже зарегистрирован: 01.03.2024|7", "||",
                       "|Талон НЕ может быть зарегистрирован.|"}));
    EXPECT_FALSE(state.Sale_Checked);
    EXPECT_EQ(s.Last_Outcome(), Sale_Outcome::Refused);
    const int title = Row_Of(s, "марка ГСМ 'АИ-95' литраж: 020");
    EXPECT_TRUE(s.MSFlexGrid2.Cell(title, 1).bold);
    EXPECT_EQ(s.MSFlexGrid2.Cell(title, 1).colour, (Rgb{70, 70, 110}));
    EXPECT_EQ(s.MSFlexGrid2.Cell(title + 2, 1).colour, (Rgb{170, 30, 30}));
    EXPECT_TRUE(s.MSFlexGrid2.Cell(Row_Of(s, "Проверка регистрации талонов"), 1).bold);
    EXPECT_FALSE(s.Busy());
    EXPECT_TRUE(s.MSFlexGrid2.Visible());

    // Redeemed: the date of redemption. Deleted: still taken for a single sale.
    One(s, "000101");
    s.Command1_Click();
    EXPECT_EQ(Rows(s)[Rows(s).size() - 3], "000101|Ошибка. Талон был списан: 05.03.2024|8");
    One(s, "000102");
    s.Command1_Click();
    EXPECT_EQ(Rows(s)[Rows(s).size() - 3],
              "000102|Ошибка. Талон уже зарегистрирован: 01.03.2024|9");

    // Another grade or volume with the number does not count.
    One(s, "103");
    s.Command1_Click();
    EXPECT_TRUE(state.Sale_Checked);
    EXPECT_EQ(s.Last_Outcome(), Sale_Outcome::Accepted);
    const Strings rows = Rows(s);
    EXPECT_EQ(rows[rows.size() - 2], "|Талон(ы) могут быть зарегистрирован(ы).|");
    EXPECT_EQ(rows.back(), "|Номер: 000103 кол-во: 1 шт.|");
    EXPECT_EQ(s.MSFlexGrid2.Cell(s.MSFlexGrid2.Rows() - 2, 1).colour, (Rgb{30, 120, 50}));
    // Earlier output stays above.
    EXPECT_EQ(rows[1], "|Проверка регистрации талонов|");
}

TEST_F(Sale_Operations_Test, CheckOfARangeReportsEveryLiveHitAndItsEdges) {
    Standard_Database();
    auto screen = Screen_For("АИ-95", "020");
    Register_ticket& s = *screen;

    Range(s, "99", "6");
    s.Command1_Click();
    EXPECT_EQ(Rows(s),
              (Strings{"||", "|Проверка регистрации талонов|", "|марка ГСМ 'АИ-95' литраж: 020|",
                       "||", "000100|Ошибка. Талон уже зарегистрирован: 01.03.2024|7",
                       "000101|Ошибка. Талон был списан: 05.03.2024|8", "||",
                       "|Талон(ы) НЕ могут быть зарегистрирован(ы).|",
                       "|Начальный номер: 000099 кол-во: 6 шт|"}));
    EXPECT_FALSE(state.Sale_Checked);

    // Nothing between a first number and itself less one: a count of 0 is accepted.
    s.Clear_Log();
    Range(s, "500", "0");
    s.Command1_Click();
    EXPECT_EQ(Rows(s).back(), "|Начальный номер: 000500 кол-во: 0 шт|");
    EXPECT_TRUE(state.Sale_Checked);

    // A first number of 0 and no count: no verdict at all, and the mark as it was.
    s.Clear_Log();
    s.Text_Change(5, "");
    s.Text_Change(4, "");
    s.Focus_To(Sale_Focus::Text4);
    s.Focus_To(Sale_Focus::Command1);
    EXPECT_EQ(s.Text(4), "000000");
    state.Sale_Checked = true;
    s.Command1_Click();
    EXPECT_EQ(Rows(s).back(), "||");
    EXPECT_EQ(Rows(s).size(), 4u);
    EXPECT_TRUE(state.Sale_Checked);
}

TEST_F(Sale_Operations_Test, BuyerNotFoundIsToldAndAnEmptyDatabaseAcceptsAll) {
    Database({});
    Select_Buyer("1:1:101:1001", "root\\1\\101\\");
    auto screen = Open_Screen();
    One(*screen, "1");
    screen->Command1_Click();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Ошибка");
    EXPECT_EQ(ui.boxes[0].flags, box::Stop);
    const Strings rows = Rows(*screen);
    EXPECT_EQ(rows[4], "------|Ошибка название компании не найдено в базе данных! Свяжитесь с "
                       "разработчиком!|");
    // The scan sets the mark again: this failure alone does not refuse.
    EXPECT_TRUE(state.Sale_Checked);
    EXPECT_EQ(rows.back(), "|Номер: 000001 кол-во: 1 шт.|");
}

// Each way a sale writes (a deleted slot taken quietly, a range over free slots then appended, an
// append with its index entry and the header) is worked out byte by byte through tdctl, on this
// screen, in tests/cli/tdctl_sell_test.cpp. Here: the station list's mask, what the screen shows
// and keeps after a commit, and the index the pass after it leaves for the next check.
TEST_F(Sale_Operations_Test, AnAppendedTicketIsOnDiskAndTheNextCheckFindsIt) {
    Standard_Database(false);
    auto screen = Screen_For("ДТ", "020");
    Register_ticket& s = *screen;
    s.Option_Click(2);
    state.Valid_From = Date_Serial(2024, 3, 10);
    state.Valid_To = Date_Serial(2024, 4, 10);
    s.Option_Click(4);
    s.ListView1_Click(1); // "Юг", station 3: the blank station 2 has no entry
    One(s, "200");
    s.Command1_Click();
    ASSERT_TRUE(state.Sale_Checked);
    const double before = Balance(2, 3);
    s.Command2_Click();
    EXPECT_EQ(s.Last_Outcome(), Sale_Outcome::Registered);

    Bytes expected(72, 0);
    expected[3] = 3; // Fuel: ДТ is third in the list
    Put<std::int32_t>(expected, 4, 20);
    std::memcpy(expected.data() + 16, "000200", 6);
    Put<std::int32_t>(expected, 22, 2); // Company
    Put<std::int32_t>(expected, 26, 1); // Sale_Mark
    expected[34] = 1;                   // Date_Limits
    expected[35] = 1;                   // Establishment_Limits
    Put<double>(expected, 36, today);   // Sell_Date: the working date
    Put<double>(expected, 52, Date_Serial(2024, 3, 10));
    Put<double>(expected, 60, Date_Serial(2024, 4, 10));
    Put<std::int32_t>(expected, 68, 65536 + 8);
    const Bytes database = File_Bytes(state.settings.Database_File);
    ASSERT_EQ(database.size(), (6u + 7u) * 72u);
    EXPECT_EQ(Bytes(database.end() - 72, database.end()), expected);
    EXPECT_EQ(Header_Count(), 7);
    EXPECT_EQ(Balance(2, 3), before + 20);

    const Strings rows = Rows(s);
    EXPECT_EQ(rows[rows.size() - 2], "|Талон(ы) зарегистрирован(ы).|");
    EXPECT_EQ(rows.back(), "|Номер: 000200 кол-во: 1 шт.|");
    for (int n = 1; n <= 5; ++n)
        EXPECT_EQ(s.Text(n), "") << n;
    EXPECT_FALSE(state.Sale_Checked);
    // The buyer browser shows the new balance in the column of the grade's slot number.
    EXPECT_EQ(buyer->MSFlexGrid1.Text(buyer->MSFlexGrid1.Row(), 1), "1:1:101");
    One(s, "200");
    s.Command1_Click();
    EXPECT_EQ(Rows(s)[Rows(s).size() - 3],
              "000200|Ошибка. Талон уже зарегистрирован: 15.03.2024|13");

    // Chosen stations, none ticked: a mask that is present and names no station.
    s.Option_Click(3);
    s.Option_Click(4);
    s.ListView1_Click(1);
    One(s, "201");
    s.Command1_Click();
    s.Command2_Click();
    EXPECT_EQ(Ticket_At(8).Establishments_Mask, 65536);
}

TEST_F(Sale_Operations_Test, ARangeKeepsWritingTheSlotBeforeTheLastOnceItTookIt) {
    Database({{"000001", 1, 10, 2, March_1},
              {"000002", 1, 10, 2, March_1},
              {"000003", 1, 10, 2, March_1, 0, 1},
              {"000004", 1, 10, 2, March_1}});
    auto screen = Screen_For("АИ-92", "010");
    Register_ticket& s = *screen;
    Range(s, "700", "3");
    s.Command1_Click();
    s.Command2_Click();
    // Every ticket of the batch went to record 3; the count grew by two past the file.
    EXPECT_EQ(Ticket_At(3).Serial_Text(), "000702");
    EXPECT_EQ(File_Bytes(state.settings.Database_File).size(), (6u + 4u) * 72u);
    EXPECT_EQ(Header_Count(), 6);
    EXPECT_EQ(Balance(2, 1), 30);
}

TEST_F(Sale_Operations_Test, ARangePast999999StopsWithoutAWordAndTheNextStartCountsIt) {
    Database({{"000001", 1, 10, 2, March_1}});
    auto screen = Screen_For("АИ-92", "010");
    Register_ticket& s = *screen;
    Range(s, "999990", "20");
    s.Command1_Click();
    const std::size_t rows_before = Rows(s).size();
    s.Command2_Click();
    EXPECT_EQ(s.Last_Outcome(), Sale_Outcome::Partly_Registered);
    EXPECT_EQ(Rows(s).size(), rows_before + 4); // the opening rows only
    EXPECT_EQ(state.Ticket_Count, 11);
    EXPECT_EQ(Ticket_At(11).Serial_Text(), "999999");
    EXPECT_EQ(Header_Count(), 1);
    EXPECT_EQ(Balance(2, 1), 100);

    // A start after it counts the ten the range appended.
    const Commit_Recovery recovery = Finish_Interrupted_Commit(folder.Path());
    EXPECT_TRUE(recovery.interrupted);
    EXPECT_EQ(recovery.appended, 10);
    EXPECT_EQ(Header_Count(), 11);
    EXPECT_TRUE(Verify_Header_Checksum(Database()).checksum_agrees);
    EXPECT_FALSE(File_Exists(Path(Commit_Journal_File)));
}

TEST_F(Sale_Operations_Test, ACommitWithoutCheckAsksAndRefusesThroughTheIndex) {
    Standard_Database();
    auto screen = Screen_For("АИ-95", "020");
    Register_ticket& s = *screen;
    Range(s, "99", "6");
    const Bytes database = File_Bytes(state.settings.Database_File);

    ui.Answer_Next(box::Answer_No);
    s.Command2_Click();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Предупреждение...");
    EXPECT_EQ(ui.boxes[0].text, "Вы не выполнили проверку талонов на списание или в результате "
                                "проверки были обнаружены ошибки. Продолжить?");
    EXPECT_EQ(ui.boxes[0].flags, box::Question | box::Yes_No);
    EXPECT_EQ(s.Last_Outcome(), Sale_Outcome::Stopped);
    EXPECT_EQ(Rows(s).size(), 0u);

    s.Command2_Click(); // yes
    // The same refusals as the check, found through the index; the third cell names no ticket
    // of the kind (the list's last position plus the offset).
    EXPECT_EQ(Rows(s), (Strings{"||", "|Регистрация талонов|", "|марка ГСМ 'АИ-95' литраж: 020|",
                                "||", "000100|Ошибка. Талон уже зарегистрирован: 01.03.2024|9",
                                "000101|Ошибка. Талон был списан: 05.03.2024|9", "||",
                                "|Талон(ы) НЕ могут быть зарегистрирован(ы).|",
                                "|Начальный номер: 000099 кол-во: 6 шт|"}));
    EXPECT_EQ(File_Bytes(state.settings.Database_File), database);

    // One number, deleted: taken through the index as well.
    One(s, "102");
    s.Command2_Click();
    EXPECT_EQ(Rows(s)[Rows(s).size() - 3],
              "000102|Ошибка. Талон уже зарегистрирован: 01.03.2024|9");
    EXPECT_EQ(File_Bytes(state.settings.Database_File), database);
    // An empty number ends before anything is written.
    s.Option_Click(5);
    s.Text_Change(1, " ");
    s.Command2_Click();
    EXPECT_EQ(s.Last_Outcome(), Sale_Outcome::Stopped);
    EXPECT_EQ(File_Bytes(state.settings.Database_File), database);
}

// A volume the index doesn't hold (a user volume) is scanned: there too a deleted coupon's number
// stays taken for a single sale.
TEST_F(Sale_Operations_Test, AUserVolumeIsScannedAndADeletedNumberStaysTaken) {
    Database({{"000150", 2, 150, 2, March_1, 0, 1}});
    auto screen = Screen_For("АИ-95", "150");
    const Bytes database = File_Bytes(state.settings.Database_File);
    One(*screen, "150");
    state.Sale_Checked = true;
    screen->Command2_Click();
    EXPECT_EQ(screen->Last_Outcome(), Sale_Outcome::Refused);
    EXPECT_EQ(File_Bytes(state.settings.Database_File), database);
}

TEST_F(Sale_Operations_Test, WhatCantBeWrittenSafelyIsRefusedAndFailuresGoToTheFatalScreen) {
    Standard_Database(false);
    auto screen = Screen_For("АИ-92", "010");
    Register_ticket& s = *screen;
    const Bytes database = File_Bytes(state.settings.Database_File);

    // Another process holds the database.
    {
        Database_Lock other(Database());
        ASSERT_TRUE(other.Held());
        One(s, "900");
        s.Command2_Click();
        EXPECT_EQ(s.Last_Outcome(), Sale_Outcome::Failed);
        EXPECT_EQ(ui.boxes.back().text,
                  "База данных занята другой программой. Талоны не зарегистрированы.");
        EXPECT_EQ(File_Bytes(state.settings.Database_File), database);
    }

    // Whole tickets behind the count would be overwritten by an append.
    {
        Record_File db(Database(), Ticket_Record_Size);
        Bytes raw(Ticket_Record_Size);
        Encode(Ticket({"000777", 1, 10, 2, March_1}), raw.data());
        ASSERT_TRUE(db.Write(7 + 6, raw.data()));
    }
    One(s, "901");
    s.Command2_Click();
    EXPECT_EQ(s.Last_Outcome(), Sale_Outcome::Failed);
    EXPECT_NE(ui.boxes.back().text.find("записано ещё 1 записей"), std::string::npos);
    EXPECT_EQ(Ticket_At(7).Serial_Text(), "000777");
    ASSERT_EQ(::truncate(Database().c_str(), (6 + 6) * 72), 0);

    // The disk fills up at the ticket: the fatal screen, and nothing counted that isn't whole.
    record_file_hook::Write_Budget = 10;
    One(s, "902");
    EXPECT_THROW(s.Command2_Click(), Process_Ended);
    record_file_hook::Write_Budget = -1;
    ASSERT_FALSE(ui.fatals.empty());
    EXPECT_EQ(ui.fatals.back().module_path, "Disk full:");
    EXPECT_EQ(ui.fatals.back().code, "61");
    const Commit_Recovery torn = Finish_Interrupted_Commit(folder.Path());
    EXPECT_TRUE(torn.interrupted);
    EXPECT_EQ(torn.appended, 0);
    EXPECT_EQ(Header_Count(), 6);
    EXPECT_EQ(File_Bytes(state.settings.Database_File).size(), (6u + 6u) * 72u);
}

TEST_F(Sale_Operations_Test, ABuyerNotFoundGetsTheTicketThenTheFatalScreenAsItAlwaysDid) {
    Standard_Database(false);
    Select_Buyer("1:1:101:1001", "root\\1\\101\\");
    auto screen = Open_Screen();
    Choose(*screen, "АИ-92", "010");
    One(*screen, "800");
    screen->Command1_Click();
    EXPECT_THROW(screen->Command2_Click(), Process_Ended);
    ASSERT_EQ(ui.fatals.size(), 1u);
    EXPECT_EQ(ui.fatals[0].module_path, "Bad record number:");
    EXPECT_EQ(ui.fatals[0].code, "63");
    // The ticket was appended with company 0; the next start counts it.
    EXPECT_EQ(Ticket_At(7).Company, 0);
    EXPECT_EQ(Header_Count(), 6);
    EXPECT_EQ(Finish_Interrupted_Commit(folder.Path()).appended, 1);
    EXPECT_EQ(Header_Count(), 7);
}

} // namespace
} // namespace td::test
