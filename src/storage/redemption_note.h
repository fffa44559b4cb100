// The note a redemption keeps beside the database while it books a ticket in place. A ticket is
// booked by one write of its record, and a write can stop short (a failing disk, a process killed
// between the pages the record spans): the record would then hold part of a booking. The note,
// written before the record, holds the record's number and its bytes before and after; the next
// start finds the note and puts a record that is neither back as it was before. A redemption that
// ended removes the note itself.
#pragma once

#include "storage/file_failure.h"
#include "storage/record_file.h"

#include <cstdint>
#include <string>

namespace td {

inline constexpr const char* Redemption_Note_File = "Redeem.$$$";

class Redemption_Note {
public:
    // The note of the database at `database` (a full path), in `data_folder`.
    Redemption_Note(const std::string& data_folder, const std::string& database);
    // Before record `record` of the database changes from `before` to `after` (72 bytes each).
    // False when the note can't be written: the record must then not be written either.
    bool Before_Write(std::int64_t record, const std::uint8_t* before, const std::uint8_t* after);
    // Once every booking is on the disk.
    void Remove();
    const Record_File& File() const { return file_; }

private:
    std::string path_;
    std::string database_;
    Record_File file_;
};

struct Redemption_Repair {
    bool found = false;    // a whole note was found
    bool repaired = false; // its record was half written and is back as it was before
    std::int64_t record = 0;
    File_Failure failure; // the record could not be put back (the note then stays)
};

// At start, before anything reads the database: finishes what a redemption left behind.
Redemption_Repair Finish_Interrupted_Redemption(const std::string& data_folder);

} // namespace td
