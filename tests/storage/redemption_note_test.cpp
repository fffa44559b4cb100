// The note a redemption keeps while it books a ticket: the next start puts back a record written
// in part, keeps one written whole, and ignores a note that was itself cut short. (A redemption
// whose writes fail at every point, and the next start's repair, are tried on the shop screen.)
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

TEST(Redemption_Note, TheNextStartPutsBackARecordWrittenInPartOnly) {
    Temp_Folder folder;
    const std::string database = folder.File("TD.cdb");
    const Bytes before(Ticket_Record_Size, 0x11), after(Ticket_Record_Size, 0x22);
    Bytes torn = before; // the first 40 bytes new, the rest old
    std::fill(torn.begin(), torn.begin() + 40, 0x22);
    const struct {
        Bytes record;
        bool note_cut_short, repaired;
        Bytes left;
    } cases[] = {
        {torn, false, true, before}, {after, false, false, after}, {torn, true, false, torn}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        // Record 7 of ten records of 0x11.
        Bytes bytes(10 * Ticket_Record_Size, 0x11);
        std::copy(c.record.begin(), c.record.end(), bytes.begin() + 6 * Ticket_Record_Size);
        Write_All_Bytes(database, bytes);
        ASSERT_TRUE(
            Redemption_Note(folder.Path(), database).Before_Write(7, before.data(), after.data()));
        const Bytes note = Read_All_Bytes(folder.File(Redemption_Note_File));
        if (c.note_cut_short) // its write was what stopped
            Write_All_Bytes(folder.File(Redemption_Note_File), Bytes(note.begin(), note.end() - 3));
        const Redemption_Repair repair = Finish_Interrupted_Redemption(folder.Path());
        EXPECT_EQ(repair.found, !c.note_cut_short);
        EXPECT_EQ(repair.repaired, c.repaired);
        std::copy(c.left.begin(), c.left.end(), bytes.begin() + 6 * Ticket_Record_Size);
        EXPECT_EQ(Read_All_Bytes(database), bytes);
        EXPECT_FALSE(folder.Exists(Redemption_Note_File));
    }
    EXPECT_FALSE(Finish_Interrupted_Redemption(folder.Path()).found); // no note: nothing at all
}

} // namespace
} // namespace td::test
