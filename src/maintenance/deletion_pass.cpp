#include "maintenance/deletion_pass.h"

#include "storage/file_safety.h"
#include "storage/header.h"
#include "storage/record_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace td {

namespace deletion_hook {
long Block_Tickets = 0;
} // namespace deletion_hook

namespace {
constexpr long Default_Block_Tickets = 16384;
} // namespace

Deletion_Result Run_Deletion_Pass(const std::string& database, const Deletion_Pass& pass) {
    Deletion_Result result;
    const Database_Extent extent = Read_Database_Extent(database);
    if (!extent.header_read || !extent.offset_whole) {
        result.outcome = Deletion_Result::Outcome::No_Header;
        result.failure.Note(false, database, extent.read_error != 0 ? extent.read_error : EINVAL);
        return result;
    }
    result.ticket_count = extent.count < 0 ? 0 : static_cast<long>(extent.count);
    result.records_offset = static_cast<long>(extent.offset);

    Database_Lock lock(database);
    if (!lock.Held()) {
        result.outcome = lock.Status() == Database_Lock::State::Busy
                             ? Deletion_Result::Outcome::Busy
                             : Deletion_Result::Outcome::Failed;
        result.failure.Note(false, database, lock.Error());
        return result;
    }
    Record_File file(database, Ticket_Record_Size);
    if (!file.Is_Open()) {
        result.outcome = Deletion_Result::Outcome::Failed;
        result.failure.Note(false, file);
        return result;
    }

    const long count = result.ticket_count;
    const long offset = result.records_offset;
    const long block =
        deletion_hook::Block_Tickets > 0 ? deletion_hook::Block_Tickets : Default_Block_Tickets;
    std::vector<std::uint8_t> buffer(
        static_cast<std::size_t>(std::min(block, std::max(count, 1L))) * Ticket_Record_Size);
    auto fail = [&](const Record_File& f) {
        result.outcome = Deletion_Result::Outcome::Failed;
        result.failure.Note(false, f);
        file.Sync();
        return result;
    };

    for (long first = 1; first <= count; first += block) {
        const long in_block = std::min(block, count - first + 1);
        // Tickets beyond the end of the file read as zero records, as the system reads them.
        if (!file.Read_Block(static_cast<std::uint64_t>(first + offset),
                             static_cast<std::uint64_t>(in_block), buffer.data()))
            return fail(file);
        // The records from the first mark to the last of the block go back in one write: those
        // between the marks are written with the very bytes read, so that every record on disk
        // stays the old one or the same with its mark, wherever a write stops.
        long span_start = -1;
        long span_end = -1; // one past the last marked record of the block
        auto write_span = [&] {
            if (span_start < 0)
                return true;
            const bool ok = file.Write_Block(
                static_cast<std::uint64_t>(first + span_start + offset),
                static_cast<std::uint64_t>(span_end - span_start),
                buffer.data() + static_cast<std::size_t>(span_start) * Ticket_Record_Size);
            span_start = span_end = -1;
            return ok;
        };
        for (long k = 0; k < in_block; ++k) {
            const long i = first + k;
            if (pass.progress)
                pass.progress(i, count);
            std::uint8_t* raw = buffer.data() + static_cast<std::size_t>(k) * Ticket_Record_Size;
            Ticket_Record ticket;
            std::memcpy(&ticket, raw, Ticket_Record_Size);
            if (!pass.select(i, ticket))
                continue;
            ticket.Deleted = 1;
            raw[1] = 1;
            ++result.count;
            if (span_start < 0)
                span_start = k;
            span_end = k + 1;
            if (pass.marked && !pass.marked(i, ticket)) {
                if (!write_span() || !file.Sync())
                    return fail(file);
                result.outcome = Deletion_Result::Outcome::Stopped;
                return result;
            }
        }
        if (!write_span())
            return fail(file);
    }
    if (!file.Sync())
        return fail(file);
    return result;
}

} // namespace td
