#include "storage/record_file.h"

#include "storage/file_failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace td {

namespace record_file_hook {
std::atomic<long long> Write_Budget{-1};
} // namespace record_file_hook

namespace {

constexpr std::uint64_t Max_Offset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());

// Byte offset of record `number` (from 1) and the byte count of `count` records; false when the
// record number is below 1 or the position can't be expressed.
bool Span_Of(std::uint64_t number, std::uint64_t count, std::size_t record_length,
             std::uint64_t& offset, std::uint64_t& length) {
    if (number < 1 || record_length == 0)
        return false;
    if (count > Max_Offset / record_length || number - 1 > Max_Offset / record_length)
        return false;
    offset = (number - 1) * record_length;
    length = count * record_length;
    if (length > Max_Offset - offset ||
        length > static_cast<std::uint64_t>(std::numeric_limits<ssize_t>::max()))
        return false;
    return true;
}

// Reads up to `length` bytes at `offset`; whatever lies past the end of the file reads as zeros.
// One pread normally does it; the loop only covers short reads and interruptions.
bool Read_At(int fd, std::uint64_t offset, std::uint64_t length, std::uint8_t* out) {
    std::uint64_t done = 0;
    while (done < length) {
        ssize_t n = ::pread(fd, out + done, length - done, static_cast<off_t>(offset + done));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (n == 0)
            break;
        done += static_cast<std::uint64_t>(n);
    }
    if (done < length)
        std::memset(out + done, 0, length - done);
    return true;
}

// How much of a write of `length` bytes the test budget lets through (all of it when no budget
// is set), taken off the budget.
std::uint64_t Budgeted(std::uint64_t length) {
    long long budget = record_file_hook::Write_Budget.load();
    const auto wanted = static_cast<long long>(std::min(length, Max_Offset));
    while (budget >= 0) {
        const long long granted = std::min(budget, wanted);
        if (record_file_hook::Write_Budget.compare_exchange_weak(budget, budget - granted))
            return static_cast<std::uint64_t>(granted);
    }
    return length;
}

// Writes all of `length` bytes at `offset`. Writing past the end lets the system fill the gap with
// zeros, which is the format's rule.
bool Write_All(int fd, std::uint64_t offset, std::uint64_t length, const std::uint8_t* data) {
    std::uint64_t done = 0;
    while (done < length) {
        ssize_t n = ::pwrite(fd, data + done, length - done, static_cast<off_t>(offset + done));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (n == 0) {
            errno = EIO;
            return false;
        }
        done += static_cast<std::uint64_t>(n);
    }
    return true;
}

// A write within the test budget: what the budget lets through goes to disk, then ENOSPC.
bool Write_At(int fd, std::uint64_t offset, std::uint64_t length, const std::uint8_t* data) {
    const std::uint64_t allowed = Budgeted(length);
    if (allowed < length) {
        if (allowed > 0 && !Write_All(fd, offset, allowed, data))
            return false;
        errno = ENOSPC;
        return false;
    }
    return Write_All(fd, offset, length, data);
}

} // namespace

bool Record_File::Failed(int error) const {
    error_ = error != 0 ? error : EIO;
    return false;
}

Record_File::Record_File(const std::string& path, std::size_t record_length, Mode mode) {
    Open(path, record_length, mode);
}

Record_File::~Record_File() {
    Close();
}

Record_File::Record_File(Record_File&& other) noexcept
    : fd_(other.fd_), record_length_(other.record_length_), path_(std::move(other.path_)),
      error_(other.error_) {
    other.fd_ = -1;
    other.record_length_ = 0;
}

Record_File& Record_File::operator=(Record_File&& other) noexcept {
    if (this != &other) {
        Close();
        fd_ = other.fd_;
        record_length_ = other.record_length_;
        path_ = std::move(other.path_);
        error_ = other.error_;
        other.fd_ = -1;
        other.record_length_ = 0;
    }
    return *this;
}

bool Record_File::Open(const std::string& path, std::size_t record_length, Mode mode) {
    Close();
    path_ = path;
    error_ = 0;
    if (record_length == 0 || path.empty())
        return Failed(EINVAL);
    // O_NONBLOCK keeps the open of a FIFO from waiting for its other end; on a regular file it
    // changes nothing, and it is taken off again before any read or write.
    int flags = O_CLOEXEC | O_NONBLOCK | (mode == Mode::Read_Write ? (O_RDWR | O_CREAT) : O_RDONLY);
    int fd;
    do {
        fd = ::open(path.c_str(), flags, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return Failed(errno);
    struct stat st {};
    int error = 0;
    if (::fstat(fd, &st) != 0)
        error = errno;
    else if (S_ISDIR(st.st_mode))
        error = EISDIR;
    else if (!S_ISREG(st.st_mode))
        error = Not_A_Regular_File;
    else if (const int status = ::fcntl(fd, F_GETFL);
             status < 0 || ::fcntl(fd, F_SETFL, status & ~O_NONBLOCK) != 0)
        error = errno;
    if (error != 0) {
        ::close(fd);
        return Failed(error);
    }
    fd_ = fd;
    record_length_ = record_length;
    return true;
}

void Record_File::Close() {
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
    record_length_ = 0;
}

std::uint64_t Record_File::Size() const {
    if (fd_ < 0)
        return 0;
    struct stat st {};
    if (::fstat(fd_, &st) != 0 || st.st_size < 0)
        return 0;
    return static_cast<std::uint64_t>(st.st_size);
}

std::uint64_t Record_File::Record_Count() const {
    return record_length_ == 0 ? 0 : Size() / record_length_;
}

bool Record_File::Read(std::uint64_t number, std::uint8_t* out) const {
    return Read_Block(number, 1, out);
}

std::vector<std::uint8_t> Record_File::Read(std::uint64_t number) const {
    std::vector<std::uint8_t> record(record_length_, 0);
    if (!Read(number, record.data()))
        std::fill(record.begin(), record.end(), std::uint8_t{0});
    return record;
}

bool Record_File::Read_Block(std::uint64_t first, std::uint64_t count, std::uint8_t* out) const {
    std::uint64_t offset = 0, length = 0;
    if (fd_ < 0)
        return Failed(error_ != 0 ? error_ : EBADF);
    if (!Span_Of(first, count, record_length_, offset, length))
        return Failed(EINVAL);
    return Read_At(fd_, offset, length, out) || Failed(errno);
}

bool Record_File::Write(std::uint64_t number, const std::uint8_t* data) {
    return Write_Block(number, 1, data);
}

bool Record_File::Write_Block(std::uint64_t first, std::uint64_t count, const std::uint8_t* data) {
    std::uint64_t offset = 0, length = 0;
    if (fd_ < 0)
        return Failed(error_ != 0 ? error_ : EBADF);
    if (!Span_Of(first, count, record_length_, offset, length))
        return Failed(EINVAL);
    return Write_At(fd_, offset, length, data) || Failed(errno);
}

bool Record_File::Read_Bytes(std::uint64_t offset, std::size_t length, std::uint8_t* out) const {
    if (fd_ < 0)
        return Failed(error_ != 0 ? error_ : EBADF);
    if (offset > Max_Offset || length > Max_Offset - offset)
        return Failed(EINVAL);
    return Read_At(fd_, offset, length, out) || Failed(errno);
}

bool Record_File::Write_Bytes(std::uint64_t offset, std::size_t length, const std::uint8_t* data) {
    if (fd_ < 0)
        return Failed(error_ != 0 ? error_ : EBADF);
    if (offset > Max_Offset || length > Max_Offset - offset)
        return Failed(EINVAL);
    return Write_At(fd_, offset, length, data) || Failed(errno);
}

bool Record_File::Sync() {
    if (fd_ < 0)
        return Failed(error_ != 0 ? error_ : EBADF);
    // The data and what is needed to read it back (the size); times and the like may wait.
    int rc;
    do {
        rc = ::fdatasync(fd_);
    } while (rc != 0 && errno == EINTR);
    return rc == 0 || Failed(errno);
}

bool File_Exists(const std::string& path) {
    struct stat st {};
    return !path.empty() && ::stat(path.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
}

bool Remove_File(const std::string& path) {
    return !path.empty() && ::unlink(path.c_str()) == 0;
}

} // namespace td
