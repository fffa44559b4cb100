// Reading tickets ahead of a pass, and the ticket table it reads into.
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/ticket_array.h"
#include "storage/ticket_reader.h"
#include "support/temp_folder.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td::test {
namespace {

Ticket_Record Numbered(long long k) {
    Ticket_Record t;
    t.Fuel = static_cast<std::uint8_t>(1 + k % 8);
    t.Volume = static_cast<std::int32_t>(k);
    t.Real_Volume = static_cast<double>(k) / 4;
    t.Set_Serial(std::to_string(100000 + k % 900000));
    t.Company = static_cast<std::int32_t>(k * 7);
    t.Sell_Date = 45000.0 + static_cast<double>(k) / 1000;
    t.Establishments_Mask = -static_cast<std::int32_t>(k);
    return t;
}

bool Same(const Ticket_Record& a, const Ticket_Record& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// `records` records numbered 1.. in a file of their own.
std::string Write_Records(const Temp_Folder& folder, long long records) {
    const std::string path = folder.File("tickets.dat");
    std::vector<Ticket_Record> all;
    for (long long k = 1; k <= records; ++k)
        all.push_back(Numbered(k));
    Record_File file(path, Ticket_Record_Size);
    EXPECT_TRUE(file.Write_Block(1, all.size(), reinterpret_cast<const std::uint8_t*>(all.data())));
    return path;
}

// Many blocks, read ahead on the reader's thread, straight into a table and through the ring of
// buffers. With an offset of -3 the first three tickets have no record and get the working record
// as it was (empty); tickets past the end of the file read as zeros.
TEST(Ticket_Reader, ReadsEveryBlockInOrderWhereverTheTicketsGo) {
    Temp_Folder folder;
    const long long records = 3 * Ticket_Reader::Block_Tickets + 10;
    const std::string path = Write_Records(folder, records);
    Record_File file(path, Ticket_Record_Size, Record_File::Mode::Read_Only);
    const long long offset = -3, count = records + 3 + 5;

    auto expected = [&](long long i) {
        const long long record = i + offset;
        return record < 1 || record > records ? Ticket_Record{} : Numbered(record);
    };

    Ticket_Array table;
    table.Resize_For_Overwrite(static_cast<std::size_t>(count) + 1);
    {
        Ticket_Reader reader(file, offset, count, table.data());
        ASSERT_EQ(reader.Blocks(), 4);
        for (long long b = 0; b < reader.Blocks(); ++b)
            ASSERT_EQ(reader.Next(), table.data() + reader.First_Of(b));
        EXPECT_EQ(reader.Next(), nullptr);
    }
    for (long long i = 1; i <= count; ++i)
        ASSERT_TRUE(Same(table[static_cast<std::size_t>(i)], expected(i))) << "ticket " << i;

    Ticket_Reader ring(file, offset, count);
    long long i = 1;
    for (long long b = 0; b < ring.Blocks(); ++b) {
        const Ticket_Record* block = ring.Next();
        ASSERT_NE(block, nullptr);
        ASSERT_EQ(ring.First_Of(b), i);
        for (long long j = 0; j < ring.Count_Of(b); ++j, ++i)
            ASSERT_TRUE(Same(block[j], expected(i))) << "ticket " << i;
    }
    EXPECT_EQ(i, count + 1);
}

TEST(Ticket_Reader, UnreadableFileAndEarlyEndsNeitherCrashNorHang) {
    Temp_Folder folder;
    const long long records = 6 * Ticket_Reader::Block_Tickets;
    const std::string path = Write_Records(folder, records);

    // A file that isn't open can't be read: every ticket keeps the empty working record.
    Record_File closed;
    Ticket_Reader unreadable(closed, 6, 2 * Ticket_Reader::Block_Tickets);
    for (const Ticket_Record* block = unreadable.Next(); block != nullptr;
         block = unreadable.Next())
        for (long long j = 0; j < Ticket_Reader::Block_Tickets; ++j)
            ASSERT_TRUE(Same(block[j], Ticket_Record{}));

    // A pass that stops early (a fatal error) drops its reader while the thread still waits for
    // a buffer to come free.
    Record_File file(path, Ticket_Record_Size, Record_File::Mode::Read_Only);
    for (int stop_after = 0; stop_after < 3; ++stop_after) {
        Ticket_Reader reader(file, 0, records);
        for (int b = 0; b < stop_after; ++b)
            ASSERT_TRUE(Same(reader.Next()[0], Numbered(1 + b * Ticket_Reader::Block_Tickets)));
    }

    // No tickets, no blocks.
    Ticket_Reader none(file, 0, 0);
    EXPECT_EQ(none.Blocks(), 0);
    EXPECT_EQ(none.Next(), nullptr);
}

// Large tables live in memory of their own; growing keeps what is there, in both kinds of memory.
TEST(Ticket_Array, GrowsKeepsCopiesAndTakesItsOwnElements) {
    Ticket_Array table;
    table.assign(3, Numbered(5));
    table.push_back(table[0]); // an element of its own, while the table moves
    for (int k = 0; k < 100; ++k)
        table.push_back(table.back());
    ASSERT_EQ(table.size(), 104u);
    for (const Ticket_Record& t : table)
        ASSERT_TRUE(Same(t, Numbered(5)));

    const std::size_t large = (std::size_t{16} << 20) / sizeof(Ticket_Record);
    table.Resize_For_Overwrite(large);
    ASSERT_EQ(table.size(), large);
    EXPECT_TRUE(Same(table[103], Numbered(5)));
    for (std::size_t i = 104; i < large; ++i)
        table[i] = Numbered(static_cast<long long>(i));
    table.resize(large + 10, table[200]);
    EXPECT_TRUE(Same(table[large + 9], Numbered(200)));
    EXPECT_TRUE(Same(table[large - 1], Numbered(static_cast<long long>(large - 1))));

    Ticket_Array copy = table;
    copy[104].Volume = -1;
    EXPECT_EQ(table[104].Volume, 104);
    EXPECT_EQ(copy.size(), table.size());
    EXPECT_TRUE(Same(copy[large - 1], table[large - 1]));

    Ticket_Array moved = std::move(copy);
    EXPECT_EQ(moved[104].Volume, -1);
    EXPECT_TRUE(copy.empty()); // NOLINT(bugprone-use-after-move): a moved-from table is empty

    table.assign(1, Ticket_Record{});
    EXPECT_EQ(table.size(), 1u);
    EXPECT_TRUE(Same(table[0], Ticket_Record{}));
    table.Release();
    EXPECT_EQ(table.capacity(), 0u);
}

} // namespace
} // namespace td::test
