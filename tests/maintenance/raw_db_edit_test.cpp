// The raw record editor on a temporary database: what it shows, where navigation holds, what
// Update writes (the number lost, as kept), conversions that end the run, the search's bounds.
#include "maintenance/raw_db_edit.h"
#include "maintenance_fixture.h"

namespace td::test {
namespace {

class Raw_Edit_Test : public Maintenance_Test {
protected:
    Raw_Edit_Test() {
        std::vector<Ticket_Record> tickets;
        for (int i = 0; i < 10; ++i)
            tickets.push_back(Make_Ticket({2, 20, 3, today - 5, "00000" + std::to_string(i)}));
        tickets[2] = Make_Ticket({1, 30, 1, 0, "123456", 1, 0, today + 0.5, 19.5, 2});
        tickets[2].Date_Limits = 1;
        tickets[2].Valid_From = today - 30;
        tickets[2].Expire_Date = today + 30;
        tickets[2].Establishment_Limits = 1;
        tickets[2].Establishments_Mask = 65536 + 4;
        Write_Database(tickets);
    }
};

TEST_F(Raw_Edit_Test, ShowsAndMovesWithinTheCountedRecords) {
    Raw_DB_Edit edit(state, ui, clock);
    edit.Form_Load();
    EXPECT_EQ(edit.Raw_Offset, 6);
    EXPECT_EQ(edit.Raw_Count, 10);
    EXPECT_EQ(edit.Text1, "7");
    EXPECT_EQ(edit.Text2, "000000");
    EXPECT_EQ(edit.Text3, "2");
    EXPECT_EQ(edit.Text4, "20");
    EXPECT_EQ(edit.Text10, "3");
    EXPECT_EQ(edit.Text6, "10.03.2024");
    EXPECT_FALSE(edit.Check1);
    EXPECT_FALSE(edit.Text5_Enabled());
    EXPECT_FALSE(edit.Text8_Enabled());
    edit.Command3_Click();
    EXPECT_EQ(edit.Raw_Current_Record, 7) << "Prev on the first stays";
    edit.Command4_Click();
    edit.Command4_Click();
    EXPECT_EQ(edit.Text1, "9");
    EXPECT_EQ(edit.Text2, "123456");
    EXPECT_TRUE(edit.Check1);
    EXPECT_TRUE(edit.Text5_Enabled());
    EXPECT_EQ(edit.Text5, "19,5");
    EXPECT_EQ(edit.Text7, "15.03.2024 12:00:00");
    EXPECT_EQ(edit.Text8, "14.02.2024");
    EXPECT_EQ(edit.Text9, "14.04.2024");
    EXPECT_EQ(edit.Text12, "65540");
    EXPECT_EQ(edit.Text11, "2");
    edit.Command5_Click();
    EXPECT_EQ(edit.Text1, "16");
    edit.Command4_Click();
    EXPECT_EQ(edit.Raw_Current_Record, 16) << "Next on the last stays";
    edit.Command6_Click();
    EXPECT_EQ(edit.Raw_Current_Record, 7);
    // Enter with a number beyond the end: an empty record.
    edit.Text1 = "500";
    edit.Text1_Enter();
    EXPECT_EQ(edit.Raw_Current_Record, 500);
    EXPECT_EQ(edit.Text2, std::string(6, '\0'));
    EXPECT_EQ(edit.Text7, "0:00:00");
    // A number the file can't have: the box, and the screen stays.
    edit.Text1 = "0";
    edit.Text1_Enter();
    EXPECT_EQ(ui.boxes.back().text, "Error! Code: 63\r\nDescription: Bad record number");
    EXPECT_EQ(edit.Raw_Current_Record, 500);
}

TEST_F(Raw_Edit_Test, UpdateWritesTheScreenAndLosesTheNumber) {
    Raw_DB_Edit edit(state, ui, clock);
    edit.Form_Load();
    edit.Command4_Click();
    edit.Command4_Click(); // record 9, the redeemed one
    edit.Text5 = "18,25";
    edit.Text11 = "5";
    edit.Check2 = true;
    edit.Text7 = "16.03.2024";
    edit.Command2_Click();
    const Bytes raw = Ticket_Bytes(3);
    ASSERT_EQ(raw.size(), 72u);
    EXPECT_EQ(raw[0], 1);
    EXPECT_EQ(raw[1], 1);
    EXPECT_EQ(raw[3], 1); // fuel
    double real;
    std::memcpy(&real, raw.data() + 8, 8);
    EXPECT_EQ(real, 18.25);
    EXPECT_EQ(Bytes(raw.begin() + 16, raw.begin() + 22), Bytes(6, 0)) << "the number is lost";
    EXPECT_EQ(Bytes(raw.begin() + 26, raw.begin() + 30), Bytes(4, 0)) << "the reserved field too";
    std::int32_t station;
    std::memcpy(&station, raw.data() + 30, 4);
    EXPECT_EQ(station, 5);
    double validation;
    std::memcpy(&validation, raw.data() + 44, 8);
    EXPECT_EQ(validation, today + 1);
    std::int32_t mask;
    std::memcpy(&mask, raw.data() + 68, 4);
    EXPECT_EQ(mask, 65540);

    // Clearing "Used" empties the litres; Update then fails to convert and ends the run, the
    // record untouched.
    edit.Check1 = false;
    edit.Check1_Click();
    EXPECT_EQ(edit.Text5, "");
    EXPECT_FALSE(edit.Text5_Enabled());
    EXPECT_THROW(edit.Command2_Click(), Process_Ended);
    EXPECT_EQ(ui.boxes.back().text, "Run-time error '13':\n\nType mismatch");
    EXPECT_EQ(Ticket_Bytes(3), raw);
    // Limits cleared: their fields empty and disabled.
    edit.Check3 = false;
    edit.Check3_Click();
    EXPECT_EQ(edit.Text8, "");
    EXPECT_FALSE(edit.Text9_Enabled());
    edit.Check4 = false;
    edit.Check4_Click();
    EXPECT_EQ(edit.Text12, "");
    EXPECT_FALSE(edit.Text12_Enabled());
}

TEST_F(Raw_Edit_Test, SearchFromTheShownRecordUpToTheCountAlone) {
    Raw_DB_Edit edit(state, ui, clock);
    edit.Form_Load();
    edit.Text2 = "123456";
    edit.Text2_KeyUp('F', false);
    EXPECT_EQ(edit.Raw_Current_Record, 7) << "F without Ctrl does nothing";
    edit.Text2_KeyUp('F', true);
    EXPECT_EQ(edit.Raw_Current_Record, 9);
    EXPECT_FALSE(edit.Progress_Visible());
    edit.Text2_KeyUp('F', true);
    EXPECT_EQ(edit.Raw_Current_Record, 9) << "a second search finds the same record";
    // Padded to six digits: "3" finds 000003 at file record 10.
    edit.Command6_Click();
    edit.Text2 = "3";
    edit.Text2_KeyUp('F', true);
    EXPECT_EQ(edit.Raw_Current_Record, 10);
    // The bound is the count, not offset + count: the last six records aren't searched.
    edit.Command6_Click();
    edit.Text2 = "4"; // ticket 5, file record 11
    edit.Text2_KeyUp('F', true);
    EXPECT_EQ(edit.Raw_Current_Record, 7);
    EXPECT_EQ(ui.boxes.back().text, "Search complete...");
    // Exit: the box, then the end of the run.
    EXPECT_THROW(edit.Command1_Click(), Process_Ended);
    EXPECT_EQ(ui.boxes.back().text, "You need restart application!");
}

} // namespace
} // namespace td::test
