#include "storage/defragmentation.h"

#include "storage/defrag_hook.h"
#include "storage/file_failure.h"
#include "storage/file_safety.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace td {

namespace defrag_hook {
void (*After_Step)() = nullptr;
std::size_t Block_Tickets = 65536;
} // namespace defrag_hook

namespace {

Defrag_Failure Failure_From_Errno(int error, const std::string& path) {
    if (error == 0)
        error = EIO;
    return {System_Reason(error), error, path};
}

void Step_Done() {
    if (defrag_hook::After_Step != nullptr)
        defrag_hook::After_Step();
}

bool Sync_Path(const std::string& path, int flags, int& error) {
    int fd;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        error = errno;
        return false;
    }
    int rc;
    do {
        rc = ::fsync(fd);
    } while (rc != 0 && errno == EINTR);
    error = rc == 0 ? 0 : errno;
    ::close(fd);
    return rc == 0;
}

} // namespace

std::string Defrag_Work_Path(const std::string& database_path) {
    return Folder_Of(Real_File_Path(database_path)) + "/" + Defrag_Work_File;
}

bool Compact_Database(const std::string& database_path, const std::string& work_path,
                      const Database_Lock& lock, Defrag_Uncounted uncounted,
                      Pass_Progress& progress, Defrag_Failure& failure, Defrag_Refusal& refusal,
                      long long& kept) {
    refusal = Defrag_Refusal{};
    if (!lock.Covers(database_path)) {
        // Without the lock another writer could change the file under the copy.
        failure = {"The database is not locked", EWOULDBLOCK, database_path};
        return false;
    }
    const Database_Extent extent = Read_Database_Extent(database_path);
    if (!extent.ok || extent.count < 0 || extent.count > Max_Ticket_Count) {
        // Compacting a database whose header can't be read would throw its tickets away.
        failure = extent.read_error != 0 ? Failure_From_Errno(extent.read_error, database_path)
                  : File_Exists(database_path)
                      ? Defrag_Failure{"Bad database header", EINVAL, database_path}
                      : Failure_From_Errno(ENOENT, database_path);
        return false;
    }
    const long long n = extent.count;
    const long long offset = extent.offset;

    errno = 0;
    Record_File database(database_path, Ticket_Record_Size, Record_File::Mode::Read_Only);
    if (!database.Is_Open()) {
        failure = Failure_From_Errno(database.Error(), database_path);
        return false;
    }
    if (uncounted == Defrag_Uncounted::Refuse) {
        // The copy goes by the count: what lies behind it, and any count a damaged header gives,
        // would be lost with the old file.
        const Header_Verification check = Verify_Header_Checksum(database_path);
        refusal.count = n;
        refusal.uncounted_records =
            Records_Beyond_Count(database.Size(), offset, n, Ticket_Record_Size);
        refusal.checksum_disagrees = !check.checksum_agrees;
        refusal.checksum_reason = check.reason;
        refusal.refused = refusal.uncounted_records > 0 || refusal.checksum_disagrees;
        if (refusal.refused)
            return false;
    }
    errno = 0;
    Record_File work(work_path, Ticket_Record_Size);
    if (!work.Is_Open()) {
        failure = Failure_From_Errno(work.Error(), work_path);
        return false;
    }
    progress.Open();
    progress.Note_Time();
    progress.Expect_Tickets(n);
    const long long block =
        static_cast<long long>(std::max<std::size_t>(defrag_hook::Block_Tickets, 1));
    std::vector<std::uint8_t> in(static_cast<std::size_t>(std::clamp(n, 0LL, block)) *
                                 Ticket_Record_Size);
    std::vector<std::uint8_t> out;
    out.reserve(in.size());
    kept = 0;
    for (long long first = 1; first <= n; first += block) {
        const long long count = std::min(block, n - first + 1);
        errno = 0;
        if (first + offset < 1 ||
            !database.Read_Block(static_cast<std::uint64_t>(first + offset),
                                 static_cast<std::uint64_t>(count), in.data())) {
            failure = first + offset < 1
                          ? Defrag_Failure{"Bad record number", EINVAL, database_path}
                          : Failure_From_Errno(database.Error(), database_path);
            return false;
        }
        out.clear();
        const long long first_kept = kept + 1;
        for (long long j = 0; j < count; ++j) {
            const std::uint8_t* record =
                in.data() + static_cast<std::size_t>(j) * Ticket_Record_Size;
            if (!Ticket_Record::Raw_Deleted(record)) {
                ++kept;
                out.insert(out.end(), record, record + Ticket_Record_Size);
            }
            progress.Tick(first + j, n);
        }
        if (!out.empty()) {
            errno = 0;
            if (first_kept + offset < 1 ||
                !work.Write_Block(static_cast<std::uint64_t>(first_kept + offset),
                                  out.size() / Ticket_Record_Size, out.data())) {
                failure = first_kept + offset < 1
                              ? Defrag_Failure{"Bad record number", EINVAL, work_path}
                              : Failure_From_Errno(work.Error(), work_path);
                return false;
            }
            Step_Done();
        }
    }
    progress.Show(100);
    database.Close();
    work.Close();

    // The header of the new file carries the new count; the program goes on with the old one until
    // the rebuild reads the new header.
    errno = 0;
    const bool header_written = Create_Header(work_path, static_cast<long>(kept));
    const int header_error = errno;
    if (!header_written) {
        failure = Failure_From_Errno(header_error, work_path);
        return false;
    }
    Step_Done();

    // The new database keeps the permissions of the old one.
    struct stat old_stat {};
    if (::stat(database_path.c_str(), &old_stat) == 0)
        ::chmod(work_path.c_str(), old_stat.st_mode & 07777);
    int error = 0;
    if (!Sync_Path(work_path, O_RDONLY, error)) {
        failure = Failure_From_Errno(error, work_path);
        return false;
    }
    Step_Done();
    // A linked database is replaced at its target; the link stays.
    const std::string& real_database = lock.Real_Path();
    if (::rename(work_path.c_str(), real_database.c_str()) != 0) {
        failure = Failure_From_Errno(errno, real_database);
        return false;
    }
    Step_Done();
    // The rename itself is made durable through the folder.
    Sync_Folder_Of(real_database);
    Step_Done();
    return true;
}

bool Defrag_File_Busy(const std::string& path) {
    // A leftover from a crash may be read-only: make it writable first.
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))
        ::chmod(path.c_str(), (st.st_mode & 07777) | S_IRUSR | S_IWUSR);
    if (::unlink(path.c_str()) == 0)
        return false;
    return errno != ENOENT && errno != ENOTDIR;
}

} // namespace td
