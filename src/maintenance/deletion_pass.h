// The pass of mass deletion: every ticket of the database read in large blocks, the chosen ones
// marked Deleted in place. A record is only ever rewritten with its own bytes and the mark, so a
// process stopped anywhere leaves every record whole, marked or not; the marks are forced to the
// disk before the pass reports. The pass holds the database lock while it writes.
#pragma once

#include "storage/file_failure.h"
#include "storage/records.h"

#include <functional>
#include <string>

namespace td {

struct Deletion_Pass {
    // Whether to mark ticket i (from 1); `ticket` is as read.
    std::function<bool(long i, const Ticket_Record& ticket)> select;
    // Called once ticket i is marked, its record written and forced to the disk when it returns
    // false: the pass then ends at once (stopped = true). Optional.
    std::function<bool(long i, const Ticket_Record& ticket)> marked;
    // Called before every ticket with its position and the count; cheap callers only.
    std::function<void(long i, long count)> progress;
};

struct Deletion_Result {
    enum class Outcome {
        Done,
        Stopped,   // `marked` asked to stop
        No_Header, // the header can't be read
        Busy,      // another process holds the database
        Failed     // a read or a write failed: see failure; what was marked is on disk
    } outcome = Outcome::Done;
    long count = 0;        // tickets marked (already-deleted ones included when selected)
    long ticket_count = 0; // the header's count
    long records_offset = 0;
    File_Failure failure;
};

Deletion_Result Run_Deletion_Pass(const std::string& database, const Deletion_Pass& pass);

// Test seam: tickets per block of the pass (0 = the default).
namespace deletion_hook {
extern long Block_Tickets;
} // namespace deletion_hook

} // namespace td
