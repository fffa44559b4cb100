// The date pickers: the working date with its dated totals, the period of a report, the validity
// of coupons being sold.
#include "catalogues/date_pickers.h"
#include "storage/cache_fixture.h"
#include "support/reference_writers.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td::test {
namespace {

struct Recording_Panel : Date_Panel {
    std::vector<std::string> texts;
    void Set_Date_Panel_Text(const std::string& text) override { texts.push_back(text); }
};

// Records what the working date asks of the browsers, in order.
struct Recording_Browsers : Browser_Refresh {
    std::vector<std::string> calls;
    int row = 4;
    int col = 2;
    void Buyer_Show() override { calls.push_back("buyer show"); }
    void Buyer_Set_Label(const std::string& text) override { calls.push_back("buyer " + text); }
    int Buyer_Grid_Row() const override { return row; }
    int Buyer_Grid_Col() const override { return col; }
    void Buyer_Node_Click_Again() override {
        calls.push_back("buyer node click");
        row = 1; // the node click refills the grid and moves its cursor
        col = 1;
    }
    void Buyer_Set_Grid_Cell(int r, int c) override {
        calls.push_back("buyer cell " + std::to_string(r) + "," + std::to_string(c));
    }
    void Station_Show() override { calls.push_back("station show"); }
    void Station_Set_Label(const std::string& text) override { calls.push_back("station " + text); }
    void Station_Refresh_Data(double date) override {
        calls.push_back("station refresh " + Format_Date(date));
    }
};

struct Recording_Option : Validity_Option {
    std::string caption;
    int unlimited = 0;
    void Set_Limited_Caption(const std::string& text) override { caption = text; }
    void Select_Unlimited() override { ++unlimited; }
};

class Date_Pickers : public Data_Folder_Test {
protected:
    Memory_Settings settings;
    Recording_Panel panel;

    std::string Remembered(const std::string& key) {
        return settings.Get("Tally Depot", "Kernel", key, "<none>");
    }
};

TEST_F(Date_Pickers, WorkingDateWithNoBrowserOpenStillRebuildsBothTotals) {
    const double day = today - 10;
    Write_Database({Make_Ticket({1, 20, 3, day - 2}),
                    Make_Ticket({1, 40, 3, day + 1}), // sold later
                    Make_Ticket({2, 50, 5, day - 3, "000001", 1, 0, day, 49.5, 2}),
                    // drawn the day before
                    Make_Ticket({2, 50, 5, day - 3, "000001", 1, 0, day - 1, 30, 2})});
    // Stale totals of another day that must go.
    Write_All_Bytes(Path("Cache_d.dat"), Bytes(16384 * 84, 7));
    Write_All_Bytes(Path("Cache_u.dat"), Bytes(256 * 84, 7));

    Calendar_Single form(state, ui, clock, &panel, nullptr);
    form.Form_Load();
    EXPECT_EQ(form.Calendar1.value, today);
    form.Command3_Click();
    EXPECT_EQ(form.Calendar1.value, clock.today);
    EXPECT_EQ(state.Current_Date, today); // the button only moves the calendar
    form.Calendar1.value = day;
    form.Command1_Click();
    EXPECT_TRUE(form.closed);
    EXPECT_EQ(state.Current_Date, day);
    EXPECT_EQ(panel.texts, std::vector<std::string>{"Текущая дата: 05.03.2024"});

    EXPECT_EQ(File_Bytes("Cache_d.dat").size(), 16384u * 84);
    EXPECT_EQ(Read_Total(Path("Cache_d.dat"), 3, 1), 20.0);
    EXPECT_EQ(Read_Total(Path("Cache_d.dat"), 5, 2), 0.0);
    EXPECT_EQ(Read_Total(Path("Cache_d.dat"), 1, 0), 0.0);
    EXPECT_EQ(File_Bytes("Cache_u.dat").size(), 256u * 84);
    EXPECT_EQ(Read_Total(Path("Cache_u.dat"), 2, 2), 49.5);
    EXPECT_FALSE(ui.progress_visible);
    EXPECT_TRUE(ui.main_window_enabled);
    // Nothing is remembered here: the date is saved at exit.
    EXPECT_TRUE(settings.values.empty());
}

TEST_F(Date_Pickers, WorkingDateRefreshesOnlyTheOpenBrowsers) {
    Write_Database({});
    Recording_Browsers browsers;
    state.Buyer_Browser_Open = true;
    Calendar_Single form(state, ui, clock, nullptr, &browsers);
    form.Calendar1.value = Date_Serial(2024, 2, 29);
    form.Command1_Click();
    EXPECT_EQ(browsers.calls,
              (std::vector<std::string>{"buyer show", "buyer На текущую дату: 29.02.2024",
                                        "buyer node click", "buyer cell 4,2"}));

    browsers.calls.clear();
    state.Buyer_Browser_Open = false;
    state.Station_Browser_Open = true;
    form.Command1_Click();
    EXPECT_EQ(browsers.calls,
              (std::vector<std::string>{"station show", "station За текущую дату: 29.02.2024",
                                        "station refresh 29.02.2024"}));
}

TEST_F(Date_Pickers, APeriodIsPresetRememberedAsChosenAndSwappedForTheReport) {
    // The first period presets the year so far.
    clock.today = Date_Serial(2026, 11, 23);
    std::string label;
    EXPECT_TRUE(Ask_Period(state, clock, settings, [&](Cld_Usr& dialog) {
        label = dialog.Label1;
        EXPECT_EQ(dialog.Calendar2.Month_Caption(), "Январь 2026");
        dialog.Command1_Click();
    }));
    EXPECT_EQ(label, "Выбран период: [01.01.2026 - 23.11.2026]");
    EXPECT_EQ(state.Low_Date, Date_Serial(2026, 1, 1));
    EXPECT_EQ(state.High_Date, clock.today);
    EXPECT_EQ(Remembered("Low Date"), "01.01.2026");
    EXPECT_EQ(Remembered("High Date"), "23.11.2026");

    // The next opens on it. Reversed, it is swapped for the report and remembered as chosen.
    const double late = Date_Serial(2025, 6, 30);
    const double early = Date_Serial(2025, 6, 1);
    EXPECT_TRUE(Ask_Period(state, clock, settings, [&](Cld_Usr& dialog) {
        EXPECT_EQ(dialog.Calendar2.value, Date_Serial(2026, 1, 1));
        EXPECT_EQ(dialog.Calendar1.value, clock.today);
        dialog.Set_Start(late + 0.75); // a time of day changes nothing
        dialog.Set_End(early);
        EXPECT_EQ(dialog.Label1, "Выбран период: [30.06.2025 - 01.06.2025]");
        dialog.Command1_Click();
    }));
    EXPECT_EQ(state.Low_Date, early);
    EXPECT_EQ(state.High_Date, late + 0.75);
    EXPECT_EQ(Remembered("Low Date"), "30.06.2025");
    EXPECT_EQ(Remembered("High Date"), "01.06.2025");

    // Cancelled: the remembered period stays, the report's dates are unset.
    EXPECT_FALSE(Ask_Period(state, clock, settings, [&](Cld_Usr& dialog) {
        dialog.Command3_Click(); // "Тек. дата" moves the start and rewrites the label
        EXPECT_EQ(dialog.Calendar2.value, clock.today);
        EXPECT_EQ(dialog.Label1, "Выбран период: [23.11.2026 - 01.06.2025]");
        dialog.Command2_Click();
    }));
    EXPECT_EQ(state.Low_Date, -1);
    EXPECT_EQ(state.High_Date, -1);
    EXPECT_EQ(Remembered("Low Date"), "30.06.2025");
    EXPECT_EQ(Remembered("High Date"), "01.06.2025");
}

TEST_F(Date_Pickers, ValidityOkSetsTheDatesAndCaptionCancelGoesBackToUnlimited) {
    Recording_Option option;
    Calendar form(state, clock, &option);
    form.Calendar2.value = Date_Serial(2024, 1, 1);
    form.Command4_Click();
    EXPECT_EQ(form.Calendar1.value, clock.today);
    form.Command1_Click();
    EXPECT_EQ(state.Valid_From, Date_Serial(2024, 1, 1));
    EXPECT_EQ(state.Valid_To, clock.today);
    EXPECT_EQ(option.caption, "Действителен с: 01.01.2024 по: 23.11.2026");
    EXPECT_EQ(option.unlimited, 0);

    Calendar again(state, clock, &option);
    again.Command3_Click();
    again.Command2_Click();
    EXPECT_TRUE(again.closed);
    EXPECT_EQ(option.unlimited, 1);
    EXPECT_EQ(state.Valid_From, Date_Serial(2024, 1, 1)); // cancel leaves the dates
}

} // namespace
} // namespace td::test
