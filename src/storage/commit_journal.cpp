#include "storage/commit_journal.h"

#include "storage/file_safety.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace td {
namespace {

constexpr const char* Journal_Mark = "TD commit 1";

std::string Journal_Path(const std::string& data_folder) {
    return data_folder + "/" + Commit_Journal_File;
}

bool Write_All(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t wrote = ::write(fd, text.data() + done, text.size() - done);
        if (wrote < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        done += static_cast<std::size_t>(wrote);
    }
    return true;
}

} // namespace

bool Begin_Commit_Journal(const std::string& data_folder, const std::string& database,
                          long long count_before, File_Failure& failure) {
    const std::string path = Journal_Path(data_folder);
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) {
        failure.Note(false, path, errno);
        return false;
    }
    const std::string text =
        std::string(Journal_Mark) + "\n" + database + "\n" + std::to_string(count_before) + "\n";
    // Not forced to the disk: a process that dies keeps what it wrote in the system's cache, and
    // after a power cut the worst the missing note leaves is a ticket behind the count, which
    // tdctl verify reports and --recount counts.
    bool ok = Write_All(fd, text);
    const int error = errno;
    ok = (::close(fd) == 0) && ok;
    if (!ok) {
        failure.Note(false, path, error != 0 ? error : EIO);
        ::unlink(path.c_str());
    }
    return ok;
}

void End_Commit_Journal(const std::string& data_folder) {
    ::unlink(Journal_Path(data_folder).c_str());
}

Commit_Recovery Finish_Interrupted_Commit(const std::string& data_folder) {
    Commit_Recovery recovery;
    const std::string path = Journal_Path(data_folder);
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return recovery;
    std::string text;
    char buffer[4096];
    for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
        text.append(buffer, got);
    std::fclose(file);
    recovery.interrupted = true;

    std::istringstream lines(text);
    std::string mark, count_text;
    std::getline(lines, mark);
    std::getline(lines, recovery.database);
    std::getline(lines, count_text);
    char* end = nullptr;
    recovery.count_before = std::strtoll(count_text.c_str(), &end, 10);
    const bool readable = mark == Journal_Mark && !recovery.database.empty() && end != nullptr &&
                          *end == '\0' && !count_text.empty();
    if (readable) {
        const Database_Extent extent = Read_Database_Extent(recovery.database);
        struct stat info {};
        if (extent.ok && extent.count == recovery.count_before &&
            ::stat(recovery.database.c_str(), &info) == 0) {
            const auto size = static_cast<std::uint64_t>(info.st_size);
            const long long whole = Whole_Records_Behind(size, extent.offset, Ticket_Record_Size);
            const long long counted = std::max(whole, recovery.count_before);
            const std::uint64_t counted_size =
                static_cast<std::uint64_t>(extent.offset + counted) * Ticket_Record_Size;
            if (counted <= Max_Ticket_Count &&
                (whole > recovery.count_before || size > counted_size)) {
                // A record the commit did not finish is cut off; whole ones are counted.
                bool ok = size <= counted_size || ::truncate(recovery.database.c_str(),
                                                             static_cast<off_t>(counted_size)) == 0;
                if (ok && whole > recovery.count_before)
                    ok = Create_Header(recovery.database, static_cast<long>(whole));
                if (ok) {
                    Record_File database(recovery.database, Ticket_Record_Size);
                    ok = database.Is_Open() && database.Sync();
                }
                if (!ok) {
                    recovery.failure.Note(false, recovery.database, errno != 0 ? errno : EIO);
                    return recovery;
                }
                recovery.appended = whole - recovery.count_before;
            }
        }
    }
    ::unlink(path.c_str());
    Sync_Folder_Of(path);
    return recovery;
}

} // namespace td
