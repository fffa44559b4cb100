// The audit on installations written here: one with an anomaly of every kind, found each once and
// named; a clean one after a full rebuild, where it finds nothing; a cache changed by hand.
#include "maintenance/audit.h"
#include "maintenance_fixture.h"

#include <set>

namespace td::test {
namespace {

class Audit_Test : public Maintenance_Test {
protected:
    Audit_Test() {
        EXPECT_TRUE(test::Write_Stations(Path(state.settings.Establishments_File),
                                         {"Север", "Юг", "", "Запад"}, true));
        Write_Companies({"Альфа", "Бета", "Гамма"});
    }
    Audit_Files Files() {
        return {Path("TD.cdb"), Path("Company_Db.dat"), Path("Establishments.dat"),
                Path("Cache_d.dat"), Path("Cache_u.dat")};
    }
    Ticket_Record Sold(const char* serial, int company = 1) {
        return Make_Ticket({.company = company, .sell = today - 2, .serial = serial});
    }
    Ticket_Record Redeemed(const char* serial, int station, double when) {
        return Make_Ticket({1, 10, 1, today - 2, serial, 1, 0, when, 9.5, station});
    }
    // Fuel_Total[1] of one record of a totals file, changed by hand.
    void Set_Total(const std::string& file, std::uint64_t record, double litres) {
        Cache_Record total;
        total.Fuel_Total[1] = litres;
        Bytes raw(Cache_Record_Size);
        Encode(total, raw.data());
        ASSERT_TRUE(Record_File(Path(file), Cache_Record_Size).Write(record, raw.data()));
    }
};

TEST_F(Audit_Test, ACleanInstallationHasNoFindings) {
    std::vector<Ticket_Record> tickets{Sold("000001"), Sold("000002", 2),
                                       Redeemed("000003", 1, today),
                                       Redeemed("000004", 2, today - 1)};
    Ticket_Record limited = Sold("000005");
    limited.Establishment_Limits = 1;
    limited.Establishments_Mask = 65536; // valid nowhere, as the sale makes it
    tickets.push_back(limited);
    Ticket_Record dated = Sold("000006");
    dated.Date_Limits = 1;
    dated.Valid_From = today;
    dated.Expire_Date = today;
    tickets.push_back(dated);
    Ticket_Record gone = Redeemed("000001", 0, today - 9); // deleted: not a live duplicate
    gone.Deleted = 1;
    tickets.push_back(gone);
    Write_Database(tickets);
    Rebuild_All(state, ui, clock, Progress_Target::Form);
    Audit_Result result = Audit_Installation(Files(), today);
    EXPECT_EQ(result.tickets, 7);
    for (const Audit_Finding& f : result.findings)
        ADD_FAILURE() << Audit_Line(f);

    // A balance changed by hand: company 2, fuel 1 holds 10 litres by the tickets.
    Set_Total("Cache_d.dat", 2, 12);
    result = Audit_Installation(Files(), today);
    ASSERT_EQ(result.findings.size(), 1u);
    EXPECT_EQ(result.findings[0].kind, Audit_Finding::Kind::Company_Balance_Differs);
    EXPECT_EQ(Audit_Line(result.findings[0]).substr(0, 10), "company\t2\t");
}

TEST_F(Audit_Test, OneAnomalyOfEveryKindIsFoundAndNamed) {
    using K = Audit_Finding::Kind;
    std::vector<Ticket_Record> tickets;
    tickets.push_back(Redeemed("000001", 1, today - 5)); // 7: redeemed before sold
    tickets.push_back(Redeemed("000002", 0, today));     // 8: no station
    tickets.push_back(Redeemed("000003", 3, today));     // 9: station slot 3 is empty
    tickets.push_back(Sold("000004"));                   // 10
    tickets.push_back(Sold("000004"));                   // 11: the same number again
    Ticket_Record mask = Sold("000005");                 // 12: bit 3 has no station
    mask.Establishment_Limits = 1;
    mask.Establishments_Mask = 65536 + 2 + 8;
    tickets.push_back(mask);
    Ticket_Record dates = Sold("000006"); // 13: ends before it starts
    dates.Date_Limits = 1;
    dates.Valid_From = today;
    dates.Expire_Date = today - 1;
    tickets.push_back(dates);
    tickets.push_back(Sold("000007", 4)); // 14: only three companies
    Write_Database(tickets);
    Rebuild_All(state, ui, clock, Progress_Target::Form);
    // A record behind the count, and a station total off by hand.
    tickets.push_back(Sold("000008"));
    Write_Database(tickets, static_cast<long>(tickets.size()) - 1);
    Set_Total("Cache_u.dat", 4, 1);

    const Audit_Result result = Audit_Installation(Files(), today);
    std::multiset<K> kinds;
    std::set<std::string> lines;
    for (const Audit_Finding& f : result.findings) {
        kinds.insert(f.kind);
        lines.insert(Audit_Line(f).substr(0, Audit_Line(f).rfind('\t')));
    }
    for (K kind :
         {K::Redeemed_Before_Sold, K::Duplicate_Number, K::Mask_Without_Station,
          K::Validity_Ends_Before_Start, K::Records_Beyond_Count, K::Station_Total_Differs})
        EXPECT_EQ(kinds.count(kind), 1u) << static_cast<int>(kind);
    EXPECT_EQ(kinds.count(K::Redeemed_Without_Station), 2u);
    // Company 4 is out of range and its balance has no record in the totals either way: the
    // rebuild skips it, so the balances agree.
    EXPECT_EQ(kinds.count(K::Company_Out_Of_Range), 1u);
    EXPECT_EQ(result.findings.size(), 9u);
    const std::set<std::string> expected{
        "ticket\t7\t000001",  "ticket\t8\t000002",  "ticket\t9\t000003",
        "ticket\t11\t000004", "ticket\t12\t000005", "ticket\t13\t000006",
        "ticket\t14\t000007", "database\t0\t",      "station\t4\t"};
    EXPECT_EQ(lines, expected);
    // The balance kind on its own: a company total the tickets don't give.
    Set_Total("Cache_d.dat", 3, 1);
    bool found = false;
    for (const Audit_Finding& f : Audit_Installation(Files(), today).findings)
        found = found || (f.kind == K::Company_Balance_Differs && f.number == 3);
    EXPECT_TRUE(found);
}

} // namespace
} // namespace td::test
