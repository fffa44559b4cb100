// The note a commit that may grow the database leaves beside it while it writes. The tickets of a
// commit are written one record at a time and the header's count last, so a process that dies in
// between leaves whole tickets behind a count that does not know them. The note says which count
// the commit started from; the next start counts the records the commit appended and drops the
// note. A commit that ended removes the note itself.
#pragma once

#include "storage/file_failure.h"

#include <string>

namespace td {

inline constexpr const char* Commit_Journal_File = "Commit.$$$";

// Writes the note for `database` (a full path) and its header's count before the commit's first
// write. False, with the failure noted, when it can't be made: the commit must then write
// nothing.
bool Begin_Commit_Journal(const std::string& data_folder, const std::string& database,
                          long long count_before, File_Failure& failure);

// Removes the note once the commit's header is on disk.
void End_Commit_Journal(const std::string& data_folder);

struct Commit_Recovery {
    bool interrupted = false;   // a note was found
    long long count_before = 0; // the count the interrupted commit started from
    long long appended = 0;     // whole records it left behind that count, now counted
    std::string database;       // the database the note names
    File_Failure failure;       // the header could not be rewritten (the note then stays)
};

// At start, before the header is read: finishes a commit that was interrupted. When the header
// still holds the count the commit started from and whole records lie behind it, the header is
// rewritten to count them (a torn last record is cut off); otherwise the commit got as far as
// its header and nothing is changed. The note is removed unless the header failed to be written.
Commit_Recovery Finish_Interrupted_Commit(const std::string& data_folder);

} // namespace td
