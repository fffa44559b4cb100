// Random access by record number: zeros past the end, extension with zeros, ragged file ends, and
// what is not a regular file. (The write budget that fails as a full disk does is used by every
// write-failure test of the passes and of start-up.)
#include "storage/cache_fixture.h"
#include "storage/file_failure.h"
#include "storage/record_file.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace td::test {
namespace {

Bytes Pattern(std::size_t n, std::uint8_t start) {
    Bytes b(n);
    std::iota(b.begin(), b.end(), start);
    return b;
}

// Only a read-write open creates a file; a read-only handle refuses writes, a record number below
// 1 and a record length of 0 are refused either way; a moved handle goes on with its length.
TEST(RecordFile, OpensCreatingInReadWriteModeOnly) {
    Temp_Folder dir;
    Record_File ro;
    EXPECT_FALSE(ro.Open(dir.File("new.dat"), 10, Record_File::Mode::Read_Only));
    EXPECT_FALSE(File_Exists(dir.File("new.dat")));
    EXPECT_TRUE(Record_File(dir.File("new.dat"), 10).Is_Open());
    ASSERT_TRUE(ro.Open(dir.File("new.dat"), 10, Record_File::Mode::Read_Only));
    Bytes rec = Pattern(10, 1);
    EXPECT_FALSE(ro.Write(1, rec.data()));
    EXPECT_FALSE(ro.Read(0, rec.data()));
    EXPECT_FALSE(Record_File().Read(1, rec.data()));
    EXPECT_FALSE(Record_File(dir.File("x.dat"), 0).Is_Open());

    Record_File moved(std::move(ro));
    EXPECT_FALSE(ro.Is_Open()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(moved.Record_Length(), 10u);
    EXPECT_TRUE(moved.Read(1, rec.data()));
}

// Records past the end read as zeros without extending the file; writing past the end extends it
// with zeros; a last record cut short reads padded with zeros and is completed in place.
TEST(RecordFile, ZerosPastTheEndAndRaggedEnds) {
    Temp_Folder dir;
    const std::string path = dir.File("r.dat");
    Record_File f(path, 8);
    Bytes out(8, 0xAA);
    ASSERT_TRUE(f.Read(3, out.data()));
    EXPECT_EQ(out, Bytes(8, 0));
    EXPECT_EQ(f.Size(), 0u) << "a read must not extend the file";

    const Bytes rec4 = Pattern(8, 100);
    ASSERT_TRUE(f.Write(4, rec4.data()));
    EXPECT_TRUE(f.Sync());
    EXPECT_EQ(f.Record_Count(), 4u);
    EXPECT_EQ(Read_All_Bytes(path), Join({Bytes(24, 0), rec4}));
    EXPECT_EQ(f.Read(4), rec4);
    // A block across the end (records 3 to 6), and consecutive records written in place.
    Bytes block(32, 0xAA);
    ASSERT_TRUE(f.Read_Block(3, 4, block.data()));
    EXPECT_EQ(block, Join({Bytes(8, 0), rec4, Bytes(16, 0)}));
    const Bytes two = Pattern(16, 1);
    ASSERT_TRUE(f.Write_Block(2, 2, two.data()));
    ASSERT_TRUE(f.Read_Block(1, 4, block.data()));
    EXPECT_EQ(block, Join({Bytes(8, 0), two, rec4}));
    EXPECT_EQ(Read_All_Bytes(path), block);
    // Bytes at any offset, whatever the record length.
    ASSERT_TRUE(f.Write_Bytes(3, 5, Pattern(5, 65).data()));
    ASSERT_TRUE(f.Read_Bytes(0, 10, block.data()));
    EXPECT_EQ(Bytes(block.begin(), block.begin() + 10), (Bytes{0, 0, 0, 65, 66, 67, 68, 69, 1, 2}));

    const Bytes content = Pattern(25, 1); // two records of 10 and half of a third
    Write_All_Bytes(dir.File("ragged.dat"), content);
    Record_File ragged(dir.File("ragged.dat"), 10);
    EXPECT_EQ(ragged.Size(), 25u);
    EXPECT_EQ(ragged.Record_Count(), 2u);
    EXPECT_EQ(ragged.Read(3), Join({Pattern(5, 21), Bytes(5, 0)}));
    Bytes four(40, 0xAA);
    ASSERT_TRUE(ragged.Read_Block(1, 4, four.data()));
    EXPECT_EQ(four, Join({content, Bytes(15, 0)}));
    const Bytes rec = Pattern(10, 200);
    ASSERT_TRUE(ragged.Write(5, rec.data()));
    ASSERT_TRUE(ragged.Write(3, rec.data()));
    EXPECT_EQ(Read_All_Bytes(dir.File("ragged.dat")),
              Join({Pattern(20, 1), rec, Bytes(10, 0), rec}));
}

TEST(RecordFile, WhatIsNotARegularFileIsRefusedWithoutWaiting) {
    Temp_Folder dir;
    // A FIFO with nobody at the other end: an ordinary open would wait for ever.
    ASSERT_EQ(::mkfifo(dir.File("fifo.dat").c_str(), 0644), 0);
    for (auto mode : {Record_File::Mode::Read_Write, Record_File::Mode::Read_Only}) {
        Record_File fifo;
        EXPECT_FALSE(fifo.Open(dir.File("fifo.dat"), 8, mode));
        EXPECT_EQ(fifo.Error(), Not_A_Regular_File);
        EXPECT_EQ(fifo.Path(), dir.File("fifo.dat"));
    }
    struct stat info {};
    ASSERT_EQ(::stat(dir.File("fifo.dat").c_str(), &info), 0);
    EXPECT_TRUE(S_ISFIFO(info.st_mode)) << "the FIFO stays what it was";

    Record_File device;
    EXPECT_FALSE(device.Open("/dev/null", 8));
    EXPECT_EQ(device.Error(), Not_A_Regular_File);

    ASSERT_EQ(::mkdir(dir.File("folder.dat").c_str(), 0755), 0);
    Record_File folder;
    EXPECT_FALSE(folder.Open(dir.File("folder.dat"), 8, Record_File::Mode::Read_Only));
    EXPECT_EQ(folder.Error(), EISDIR);
    Bytes record(8, 0x11);
    EXPECT_FALSE(folder.Write(1, record.data()));
    EXPECT_EQ(folder.Error(), EISDIR) << "a later write keeps the reason of the open";

    // A link to a regular file opens as the file does.
    Write_All_Bytes(dir.File("real.dat"), Pattern(16, 1));
    ASSERT_EQ(::symlink("real.dat", dir.File("link.dat").c_str()), 0);
    Record_File link(dir.File("link.dat"), 8);
    ASSERT_TRUE(link.Is_Open());
    ASSERT_TRUE(link.Read(2, record.data()));
    EXPECT_EQ(record, Pattern(8, 9));
    ASSERT_TRUE(link.Write(3, record.data())) << "writes go as before: no O_NONBLOCK is left";
    EXPECT_EQ(Read_All_Bytes(dir.File("real.dat")).size(), 24u);
}

} // namespace
} // namespace td::test
