// The note a redemption keeps while it books a ticket: the next start puts back a record written
// in part, keeps one written whole, and ignores a note that was itself cut short.
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/redemption_note.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class Redemption_Note_Test : public ::testing::Test {
protected:
    Temp_Folder folder;
    std::string database = folder.File("TD.cdb");
    Bytes before = Bytes(Ticket_Record_Size, 0x11);
    Bytes after = Bytes(Ticket_Record_Size, 0x22);

    // Record 7 of a database of ten records of 0x11, then `record` written over it.
    void Database_With(const Bytes& record) {
        Bytes bytes(10 * Ticket_Record_Size, 0x11);
        std::copy(record.begin(), record.end(), bytes.begin() + 6 * Ticket_Record_Size);
        Write_All_Bytes(database, bytes);
    }
    Bytes Record_7() {
        const Bytes bytes = Read_All_Bytes(database);
        return Bytes(bytes.begin() + 6 * Ticket_Record_Size,
                     bytes.begin() + 7 * Ticket_Record_Size);
    }
    void Note() {
        Redemption_Note note(folder.Path(), database);
        ASSERT_TRUE(note.Before_Write(7, before.data(), after.data()));
    }
};

TEST_F(Redemption_Note_Test, TheNextStartPutsBackARecordWrittenInPart) {
    // Written in part: the first 40 bytes new, the rest old. Back as it was.
    Bytes torn = before;
    std::fill(torn.begin(), torn.begin() + 40, 0x22);
    Database_With(torn);
    Note();
    Redemption_Repair repair = Finish_Interrupted_Redemption(folder.Path());
    EXPECT_TRUE(repair.found);
    EXPECT_TRUE(repair.repaired);
    EXPECT_EQ(repair.record, 7);
    EXPECT_EQ(Record_7(), before);
    EXPECT_FALSE(folder.Exists(Redemption_Note_File));
    EXPECT_EQ(Read_All_Bytes(database).size(), 10 * Ticket_Record_Size);

    // Written whole: it stays booked.
    Database_With(after);
    Note();
    repair = Finish_Interrupted_Redemption(folder.Path());
    EXPECT_TRUE(repair.found);
    EXPECT_FALSE(repair.repaired);
    EXPECT_EQ(Record_7(), after);

    // A note cut short (its write was what stopped): nothing is touched, the note goes.
    Database_With(torn);
    Note();
    const Bytes note = Read_All_Bytes(folder.File(Redemption_Note_File));
    Write_All_Bytes(folder.File(Redemption_Note_File), Bytes(note.begin(), note.end() - 3));
    repair = Finish_Interrupted_Redemption(folder.Path());
    EXPECT_FALSE(repair.found);
    EXPECT_EQ(Record_7(), torn);
    EXPECT_FALSE(folder.Exists(Redemption_Note_File));

    // No note: nothing at all.
    EXPECT_FALSE(Finish_Interrupted_Redemption(folder.Path()).found);
}

} // namespace
} // namespace td::test
