// Finding tickets by number: which volumes go through the index file, which scan the database,
// and that what comes back is the live record.
#include "storage/cache_fixture.h"
#include "storage/number_index.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td::test {
namespace {

constexpr long Offset = 6;

Ticket_Record Ticket(const std::string& serial, int fuel, int volume, int used = 0,
                     int deleted = 0) {
    return Make_Ticket(
        {.fuel = fuel, .volume = volume, .serial = serial, .used = used, .deleted = deleted});
}

Z_Record Entry(const std::string& serial, std::int32_t record_no, std::uint8_t used = 0,
               std::uint8_t deleted = 0) {
    Z_Record z;
    std::copy(serial.begin(), serial.begin() + 6, z.Serial.begin());
    z.Record_No = record_no;
    z.Used = used;
    z.Deleted = deleted;
    return z;
}

Z_Count_Table Counts(int fuel, int volume, int n) {
    Z_Count_Table counts;
    for (int i = 0; i < n; ++i)
        counts.Increment(fuel, volume);
    return counts;
}

class Number_Index : public Data_Folder_Test {
protected:
    // The index file of a pair: its header record, then the entries.
    void Write_Index(const std::string& name, const std::vector<Z_Record>& entries) {
        Bytes bytes((entries.size() + 1) * Z_Record_Size);
        Z_Header header;
        header.Z_Count = static_cast<std::int32_t>(entries.size());
        Encode(header, bytes.data());
        for (std::size_t k = 0; k < entries.size(); ++k)
            Encode(entries[k], bytes.data() + (k + 1) * Z_Record_Size);
        Write_All_Bytes(Path(name), bytes);
    }

    std::vector<Number_Hit> Lookup(int fuel, int volume, const std::vector<std::string>& wanted,
                                   const Z_Count_Table& counts, long ticket_count) {
        return Lookup_Numbers(folder.Path(), Path("TD.cdb"), fuel, volume, wanted, counts,
                              ticket_count, Offset);
    }
};

TEST(Number_Index_Files, WhichVolumesAreIndexed) {
    for (int v = 10; v <= 90; v += 10)
        EXPECT_TRUE(Z_Index_Used_For_Lookup(v)) << v;
    for (int v : {15, 25, 100, 110, 200, 210})
        EXPECT_FALSE(Z_Index_Used_For_Lookup(v)) << v;
}

TEST_F(Number_Index, UnindexedVolumesScanTheDatabase) {
    // The same number under another fuel and another volume, then the real one at position 3.
    Write_Database({Ticket("000123", 2, 15), Ticket("000123", 1, 20), Ticket("000123", 1, 15),
                    Ticket("000777", 1, 100), Ticket("000123", 1, 100)});
    // Index files that point elsewhere: a scan must not consult them.
    Write_Index("z1_15.dat", {Entry("000123", 1 + Offset)});
    Write_Index("z1_100.dat", {Entry("000123", 2 + Offset)});

    auto hits = Lookup(1, 15, {"000123"}, Counts(1, 15, 1), 5);
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(hits[0].serial, "000123");
    EXPECT_EQ(hits[0].record_no, 3 + Offset);
    EXPECT_EQ(hits[0].ticket.Fuel, 1);
    EXPECT_EQ(hits[0].ticket.Volume, 15);

    hits = Lookup(1, 100, {"000123", "000777", "000999"}, Counts(1, 100, 1), 5);
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(hits[0].serial, "000777");
    EXPECT_EQ(hits[0].record_no, 4 + Offset);
    EXPECT_EQ(hits[1].serial, "000123");
    EXPECT_EQ(hits[1].record_no, 5 + Offset);
    EXPECT_EQ(hits[1].ticket.Volume, 100);

    // Only tickets 1 to the count are scanned.
    hits = Lookup(1, 100, {"000123"}, Counts(1, 100, 1), 4);
    EXPECT_TRUE(hits.empty());
}

// The hits come in the order of the entries, each with the live record the entry names: what the
// record holds decides, not the number or the marks the entry copied.
TEST_F(Number_Index, IndexedVolumesReadTheRecordTheEntryNames) {
    // Ticket 3 is of another pair and number, redeemed and deleted: a scan would never return it.
    Write_Database(
        {Ticket("000555", 2, 20), Ticket("000556", 2, 20), Ticket("999999", 3, 40, 1, 1)});
    Write_Index("z2_20.dat", {Entry("000556", 2 + Offset, 1, 1), Entry("000555", 3 + Offset)});

    auto hits = Lookup(2, 20, {"000555", "000556"}, Counts(2, 20, 2), 3);
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(hits[0].serial, "000556");
    EXPECT_EQ(hits[0].ticket.Used + hits[0].ticket.Deleted, 0);
    EXPECT_EQ(hits[1].record_no, 3 + Offset) << "Record_No is absolute: no offset is added";
    EXPECT_EQ(hits[1].ticket.Serial_Text(), "999999");
    EXPECT_EQ(hits[1].ticket.Fuel, 3);
    EXPECT_EQ(hits[1].ticket.Used, 1);
    EXPECT_EQ(hits[1].ticket.Deleted, 1);

    // Copies of the entries, as the passes over single sales leave them: each record once.
    Write_Index("z2_20.dat", {Entry("000556", 2 + Offset), Entry("000555", 3 + Offset),
                              Entry("000556", 2 + Offset), Entry("000555", 3 + Offset)});
    hits = Lookup(2, 20, {"000555", "000556", "000557"}, Counts(2, 20, 4), 3);
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(hits[1].record_no, 3 + Offset);
    Write_Index("z2_20.dat", {Entry("000556", 2 + Offset, 1, 1), Entry("000555", 3 + Offset)});

    // Entries beyond the count of the pair are not read, even though the file holds them.
    hits = Lookup(2, 20, {"000555"}, Counts(2, 20, 1), 3);
    EXPECT_TRUE(hits.empty());

    // The whole six characters count: "00055" is not a prefix match.
    hits = Lookup(2, 20, {"00055"}, Counts(2, 20, 2), 3);
    EXPECT_TRUE(hits.empty());

    // No index file: nothing found, and the database is not scanned instead.
    hits = Lookup(2, 30, {"000555"}, Counts(2, 30, 2), 3);
    EXPECT_TRUE(hits.empty());
}

TEST_F(Number_Index, StopsOnceEveryNumberIsFoundAcrossLargeFiles) {
    // More tickets and entries than one block holds, the wanted numbers near the end.
    constexpr int N = 9000;
    std::vector<Ticket_Record> tickets;
    std::vector<Z_Record> entries;
    for (int i = 1; i <= N; ++i) {
        char serial[8];
        std::snprintf(serial, sizeof serial, "%06d", i);
        tickets.push_back(Ticket(serial, 4, i % 2 == 0 ? 50 : 55));
        if (i % 2 == 0)
            entries.push_back(Entry(serial, i + Offset));
    }
    // A second ticket "008999" of the scanned pair, behind the first: never reached.
    tickets.push_back(Ticket("008999", 4, 55, 1));
    Write_Database(tickets);
    Write_Index("z4_50.dat", entries);

    auto hits = Lookup(4, 55, {"008999", "000001", "008999"}, Z_Count_Table{}, N + 1);
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(hits[0].record_no, 1 + Offset);
    EXPECT_EQ(hits[1].record_no, 8999 + Offset);
    EXPECT_EQ(hits[1].ticket.Used, 0);

    hits = Lookup(4, 50, {"009000", "004096"}, Counts(4, 50, N / 2), N + 1);
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(hits[0].serial, "004096");
    EXPECT_EQ(hits[0].record_no, 4096 + Offset);
    EXPECT_EQ(hits[1].serial, "009000");
    EXPECT_EQ(hits[1].ticket.Serial_Text(), "009000");

    EXPECT_TRUE(Lookup(4, 50, {}, Counts(4, 50, N / 2), N).empty());
}

} // namespace
} // namespace td::test
