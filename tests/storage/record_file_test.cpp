// Random access by record number: zeros past the end, extension with zeros, ragged file ends.
#include "storage/record_file.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace td {
namespace {

using Bytes = std::vector<std::uint8_t>;
using test::Read_All_Bytes;
using test::Temp_Folder;
using test::Write_All_Bytes;

Bytes Pattern(std::size_t n, std::uint8_t start) {
    Bytes b(n);
    std::iota(b.begin(), b.end(), start);
    return b;
}

TEST(RecordFile, OpensCreatingInReadWriteModeOnly) {
    Temp_Folder dir;
    Record_File ro;
    EXPECT_FALSE(ro.Open(dir.File("missing.dat"), 10, Record_File::Mode::Read_Only));
    EXPECT_FALSE(File_Exists(dir.File("missing.dat")));

    Record_File rw(dir.File("new.dat"), 10);
    ASSERT_TRUE(rw.Is_Open());
    EXPECT_TRUE(File_Exists(dir.File("new.dat")));
    EXPECT_EQ(rw.Size(), 0u);
    rw.Close();
    EXPECT_FALSE(rw.Is_Open());

    // A read-only handle refuses writes; a record number below 1 is refused either way.
    ASSERT_TRUE(ro.Open(dir.File("new.dat"), 10, Record_File::Mode::Read_Only));
    Bytes rec = Pattern(10, 1);
    EXPECT_FALSE(ro.Write(1, rec.data()));
    EXPECT_FALSE(ro.Read(0, rec.data()));
    EXPECT_FALSE(Record_File().Read(1, rec.data()));
    EXPECT_FALSE(Record_File(dir.File("x.dat"), 0).Is_Open());

    EXPECT_TRUE(Remove_File(dir.File("new.dat")));
    EXPECT_FALSE(File_Exists(dir.File("new.dat")));
    EXPECT_FALSE(Remove_File(dir.File("new.dat")));
}

TEST(RecordFile, ZerosPastTheEndAndExtensionWithZeros) {
    Temp_Folder dir;
    const std::string path = dir.File("r.dat");
    Record_File f(path, 8);
    ASSERT_TRUE(f.Is_Open());
    Bytes out(8, 0xAA);
    ASSERT_TRUE(f.Read(3, out.data()));
    EXPECT_EQ(out, Bytes(8, 0));
    EXPECT_EQ(f.Size(), 0u) << "a read must not extend the file";

    // Writing record 4 of an empty file fills records 1 to 3 with zeros.
    Bytes rec4 = Pattern(8, 100);
    ASSERT_TRUE(f.Write(4, rec4.data()));
    EXPECT_TRUE(f.Sync());
    EXPECT_EQ(f.Size(), 32u);
    EXPECT_EQ(f.Record_Count(), 4u);
    Bytes expected(24, 0);
    expected.insert(expected.end(), rec4.begin(), rec4.end());
    EXPECT_EQ(Read_All_Bytes(path), expected);
    EXPECT_EQ(f.Read(4), rec4);
    EXPECT_EQ(f.Read(2), Bytes(8, 0));

    // A block across the end: records 3 to 6, the last two zeros.
    Bytes block(32, 0xAA);
    ASSERT_TRUE(f.Read_Block(3, 4, block.data()));
    Bytes want(8, 0);
    want.insert(want.end(), rec4.begin(), rec4.end());
    want.resize(32, 0);
    EXPECT_EQ(block, want);

    // Write_Block writes consecutive records in place.
    Bytes two = Pattern(16, 1);
    ASSERT_TRUE(f.Write_Block(2, 2, two.data()));
    Bytes all(32);
    ASSERT_TRUE(f.Read_Block(1, 4, all.data()));
    Bytes all_want(8, 0);
    all_want.insert(all_want.end(), two.begin(), two.end());
    all_want.insert(all_want.end(), rec4.begin(), rec4.end());
    EXPECT_EQ(all, all_want);
    EXPECT_EQ(Read_All_Bytes(path), all_want);
}

TEST(RecordFile, FileNotAWholeNumberOfRecords) {
    Temp_Folder dir;
    const std::string path = dir.File("ragged.dat");
    Bytes content = Pattern(25, 1); // two records of 10 and half of a third
    Write_All_Bytes(path, content);
    Record_File f(path, 10, Record_File::Mode::Read_Only);
    ASSERT_TRUE(f.Is_Open());
    EXPECT_EQ(f.Size(), 25u);
    EXPECT_EQ(f.Record_Count(), 2u);

    Bytes third = f.Read(3);
    Bytes want(content.begin() + 20, content.end());
    want.resize(10, 0);
    EXPECT_EQ(third, want);

    Bytes block(40, 0xAA);
    ASSERT_TRUE(f.Read_Block(1, 4, block.data()));
    Bytes block_want = content;
    block_want.resize(40, 0);
    EXPECT_EQ(block, block_want);

    // Writing the partial record completes it; writing record 5 pads record 4 with zeros.
    Record_File w(path, 10);
    Bytes rec = Pattern(10, 200);
    ASSERT_TRUE(w.Write(5, rec.data()));
    ASSERT_TRUE(w.Write(3, rec.data()));
    Bytes file = Read_All_Bytes(path);
    ASSERT_EQ(file.size(), 50u);
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 20), Bytes(content.begin(), content.begin() + 20));
    EXPECT_EQ(Bytes(file.begin() + 20, file.begin() + 30), rec);
    EXPECT_EQ(Bytes(file.begin() + 30, file.begin() + 40), Bytes(10, 0));
    EXPECT_EQ(Bytes(file.begin() + 40, file.end()), rec);
}

TEST(RecordFile, BytesAtAnyOffsetAndMove) {
    Temp_Folder dir;
    const std::string path = dir.File("b.dat");
    Record_File f(path, 72);
    Bytes head = Pattern(5, 65);
    ASSERT_TRUE(f.Write_Bytes(3, head.size(), head.data()));
    Bytes back(10, 0xAA);
    ASSERT_TRUE(f.Read_Bytes(0, back.size(), back.data()));
    EXPECT_EQ(back, (Bytes{0, 0, 0, 65, 66, 67, 68, 69, 0, 0}));

    Record_File moved(std::move(f));
    EXPECT_FALSE(f.Is_Open());
    ASSERT_TRUE(moved.Is_Open());
    EXPECT_EQ(moved.Record_Length(), 72u);
    EXPECT_EQ(moved.Size(), 8u);
    Record_File assigned;
    assigned = std::move(moved);
    EXPECT_FALSE(moved.Is_Open());
    EXPECT_EQ(assigned.Size(), 8u);
}

} // namespace
} // namespace td
