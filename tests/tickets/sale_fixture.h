// An installation for the sale screen: catalogues, companies, a database, the start-up pass run
// on it, and the buyer browser standing on a buyer, as the operator finds them.
#pragma once

#include "browsers/browser_refresh.h"
#include "browsers/sell_ticets.h"
#include "storage/cache_fixture.h"
#include "storage/reference.h"
#include "support/reference_writers.h"
#include "tickets/register_ticket.h"

#include <memory>

namespace td::test {

// A ticket as a test writes it: the fields that tell tickets apart.
struct Sold {
    std::string serial;
    int fuel = 2;
    int volume = 20;
    int company = 2;
    double sold = 0;
    int used = 0;
    int deleted = 0;
    double redeemed = 0;
};

class Sale_Fixture : public Data_Folder_Test {
protected:
    Memory_Settings settings;
    Open_Browsers browsers;
    std::unique_ptr<Sell_Ticets> buyer;

    // A blank slot between named grades: a coupon's grade is its place in the list. Companies: 1
    // a level 1 group; 2 and 4 buyers under it; 3 a buyer of level 3, whose subgroup code is
    // shorter than its field, so that the sale's lookup never finds it.
    Sale_Fixture() {
        EXPECT_TRUE(Write_Fuels(Path(state.settings.Fuel_File), {"АИ-92", "АИ-95", "", "ДТ"}));
        EXPECT_TRUE(Write_Stations(Path(state.settings.Establishments_File), {"Север", "", "Юг"}));
        EXPECT_TRUE(Write_User_Volumes(Path(state.settings.User_Volume_File), {5, 12.5, 150}));
        EXPECT_TRUE(test::Write_Companies(Path(state.settings.Company_File),
                                          {{"1", "", "", "Транспорт"},
                                           {"101", "1", "", "ООО Ромашка"},
                                           {"1001", "1", "101", "ЗАО Филиал"},
                                           {"102", "1", "000", "ООО Гранит"}}));
        state.Company_Count =
            Load_Company_Table(Path(state.settings.Company_File), state.Company_Table);
    }

    std::string Database() const { return Path(state.settings.Database_File); }

    static Ticket_Record Ticket(const Sold& s) {
        return Make_Ticket({.fuel = s.fuel,
                            .volume = s.volume,
                            .company = s.company,
                            .sell = s.sold,
                            .serial = s.serial,
                            .used = s.used,
                            .deleted = s.deleted,
                            .validation = s.redeemed});
    }

    // The database, then the start-up pass on it: the table, the counts and the number index.
    void Database(const std::vector<Sold>& tickets) {
        std::vector<Ticket_Record> records;
        for (const Sold& s : tickets)
            records.push_back(Ticket(s));
        Write_Database(records);
        state.Ticket_Count = static_cast<long>(tickets.size());
        state.Records_Offset = Header_Records_Offset;
        Rebuild_Index(state, ui, clock, Progress_Target::Splash);
        ASSERT_FALSE(state.Derived_Failure.Failed()) << state.Derived_Failure.Text();
    }

    // The buyer browser open, standing on the buyer with this code path, on column `col`.
    void Select_Buyer(const std::string& code, const std::string& node, int col = 1) {
        if (!buyer) {
            buyer = std::make_unique<Sell_Ticets>(state, ui, clock, settings, nullptr);
            ASSERT_TRUE(buyer->Form_Load());
            browsers.Set_Buyer(buyer.get());
        }
        buyer->TreeView1_NodeClick(node);
        state.Current_Node_Key = node;
        for (int r = 1; r < buyer->MSFlexGrid1.Rows(); ++r)
            if (buyer->MSFlexGrid1.Text(r, 1) == code) {
                buyer->MSFlexGrid1.Set_Row(r);
                buyer->MSFlexGrid1.Set_Col(col);
                return;
            }
        FAIL() << "no row for " << code;
    }

    std::unique_ptr<Register_ticket> Open_Screen() {
        auto screen = std::make_unique<Register_ticket>(state, ui, clock, settings, browsers);
        screen->Form_Load();
        return screen;
    }

    // Fuel and volume chosen by their texts, as from the lists.
    static void Choose(Register_ticket& screen, const std::string& fuel,
                       const std::string& volume) {
        screen.Combo2_Click(screen.Combo2.Find(fuel));
        screen.Combo3_Click(screen.Combo3.Find(volume));
    }

    // The numbers typed as an operator does, each field left.
    static void One(Register_ticket& screen, const std::string& number) {
        screen.Option_Click(5);
        screen.Text_Change(1, number);
        screen.Focus_To(Sale_Focus::Command1);
    }
    static void Range(Register_ticket& screen, const std::string& first, const std::string& count) {
        screen.Option_Click(7);
        screen.Focus_To(Sale_Focus::Text4);
        screen.Text_Change(4, first);
        screen.Focus_To(Sale_Focus::Text5);
        screen.Text_Change(5, count);
        screen.Focus_To(Sale_Focus::Command1);
    }

    // The result rows after the grid's first blank row: "number|text|record".
    static std::vector<std::string> Rows(const Register_ticket& screen) {
        std::vector<std::string> rows;
        const Grid& grid = screen.MSFlexGrid2;
        for (int r = 2; r < grid.Rows(); ++r)
            rows.push_back(grid.Text(r, 0) + "|" + grid.Text(r, 1) + "|" + grid.Text(r, 2));
        return rows;
    }
    static int Row_Of(const Register_ticket& screen, const std::string& text) {
        for (int r = 0; r < screen.MSFlexGrid2.Rows(); ++r)
            if (screen.MSFlexGrid2.Text(r, 1) == text)
                return r;
        return -1;
    }

    long Header_Count() const {
        Header_Info header;
        return Read_Header(Database(), header) == "Ok" ? static_cast<long>(header.count) : -1;
    }
    Ticket_Record Ticket_At(long position) const {
        Record_File db(Database(), Ticket_Record_Size, Record_File::Mode::Read_Only);
        Bytes raw(Ticket_Record_Size);
        db.Read(static_cast<std::uint64_t>(position + Header_Records_Offset), raw.data());
        return Decode_Ticket(raw.data());
    }
    double Balance(int company, int fuel) const {
        return Read_Total(Path(state.settings.Cache_Diff_File), company, fuel);
    }
};

} // namespace td::test
