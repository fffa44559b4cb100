#include "maintenance/safe_copy.h"

#include "storage/file_failure.h"
#include "storage/file_safety.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace td {

namespace copy_hook {
void (*After_Block)(std::uint64_t) = nullptr;
std::size_t Block_Bytes = 0;
} // namespace copy_hook

namespace {

constexpr std::size_t Default_Block = 32u << 20;

// The failure's number as the system gives it for an error of the system, by which side failed.
long Failure_Number(int error, bool reading_source) {
    switch (error) {
    case ENOENT:
        return reading_source ? copy_failure::File_Not_Found : copy_failure::Path_Not_Found;
    case ENOTDIR:
        return copy_failure::Path_Not_Found;
    case ENOSPC:
    case EFBIG:
    case EDQUOT:
        return copy_failure::Disk_Full;
    case EACCES:
    case EPERM:
        return copy_failure::Permission_Denied;
    case EROFS:
    case EISDIR:
    case ETXTBSY:
    case EBUSY:
        return copy_failure::Path_File_Access;
    default:
        return copy_failure::Device_IO;
    }
}

std::string Failure_Words(long number) {
    switch (number) {
    case copy_failure::File_Not_Found:
        return "File not found";
    case copy_failure::Path_Not_Found:
        return "Path not found";
    case copy_failure::Disk_Full:
        return "Disk full";
    case copy_failure::Permission_Denied:
        return "Permission denied";
    case copy_failure::Path_File_Access:
        return "Path/File access error";
    default:
        return "Device I/O error";
    }
}

Copy_Outcome Failed(int error, bool reading_source, const std::string& path) {
    Copy_Outcome outcome;
    outcome.error = error;
    outcome.number = Failure_Number(error, reading_source);
    outcome.description =
        Failure_Words(outcome.number) + ": " + path + " (" + System_Reason(error) + ")";
    return outcome;
}

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int Get() const { return fd_; }
    // Closes now; false (errno set) if the close reports a failed write.
    bool Close() {
        int fd = fd_;
        fd_ = -1;
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int fd_;
};

bool Write_All(int fd, const std::uint8_t* data, std::size_t length) {
    while (length > 0) {
        ssize_t written = ::write(fd, data, length);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (written == 0) {
            errno = ENOSPC;
            return false;
        }
        data += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

} // namespace

std::string Copy_Work_Path(const std::string& target) {
    return Folder_Of(target) + "/$Copy$.tmp";
}

Copy_Outcome Copy_File_Whole(const std::string& source, const std::string& target) {
    Fd in(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (in.Get() < 0)
        return Failed(errno, true, source);
    struct stat source_stat {};
    if (::fstat(in.Get(), &source_stat) != 0)
        return Failed(errno, true, source);
    if (!S_ISREG(source_stat.st_mode))
        return Failed(S_ISDIR(source_stat.st_mode) ? EISDIR : EINVAL, true, source);

    // The real file behind the target, so that a symlinked database is replaced where it lives.
    const std::string real_target = Real_File_Path(target);
    struct stat target_stat {};
    if (::stat(real_target.c_str(), &target_stat) == 0 &&
        source_stat.st_dev == target_stat.st_dev && source_stat.st_ino == target_stat.st_ino) {
        Copy_Outcome same;
        same.bytes = static_cast<std::uint64_t>(source_stat.st_size);
        return same; // a file copied onto itself is already in place
    }
    const std::string work = Copy_Work_Path(real_target);
    ::unlink(work.c_str()); // the remains of a copy that was stopped
    Fd out(::open(work.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_EXCL | O_CLOEXEC, 0644));
    if (out.Get() < 0)
        return Failed(errno, false, real_target);

    auto give_up = [&](int error, bool reading, const std::string& path) {
        out.Close();
        ::unlink(work.c_str());
        return Failed(error, reading, path);
    };

    const std::size_t block = copy_hook::Block_Bytes > 0 ? copy_hook::Block_Bytes : Default_Block;
    std::uint64_t copied = 0;
    // In the kernel while it can (no copy through this process's memory), by read and write where
    // it can't (another file system on an old kernel, a special file system). The write-back of
    // each block is started at once, so that the final flush does not find the whole file waiting.
    bool in_kernel = true;
    std::vector<std::uint8_t> buffer;
    for (;;) {
        ssize_t got = -1;
        if (in_kernel) {
            got = ::copy_file_range(in.Get(), nullptr, out.Get(), nullptr, block, 0);
            if (got < 0 &&
                (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP) &&
                copied == 0) {
                in_kernel = false;
                continue;
            }
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                // Which side failed is not told: a full disk or a refused write is the target's.
                return give_up(errno, errno == EIO, errno == EIO ? source : real_target);
        } else {
            if (buffer.empty())
                buffer.resize(block);
            got = ::read(in.Get(), buffer.data(), buffer.size());
            if (got < 0) {
                if (errno == EINTR)
                    continue;
                return give_up(errno, true, source);
            }
            if (got > 0 && !Write_All(out.Get(), buffer.data(), static_cast<std::size_t>(got)))
                return give_up(errno, false, real_target);
        }
        if (got == 0)
            break;
        ::sync_file_range(out.Get(), static_cast<off_t>(copied), got, SYNC_FILE_RANGE_WRITE);
        copied += static_cast<std::uint64_t>(got);
        if (copy_hook::After_Block != nullptr)
            copy_hook::After_Block(copied);
    }
    if (::fsync(out.Get()) != 0)
        return give_up(errno, false, real_target);
    if (!out.Close()) {
        int error = errno;
        ::unlink(work.c_str());
        return Failed(error, false, real_target);
    }
    if (::rename(work.c_str(), real_target.c_str()) != 0) {
        int error = errno;
        ::unlink(work.c_str());
        return Failed(error, false, real_target);
    }
    // The new name is made durable through the folder; the file itself already is.
    if (!Sync_Folder_Of(real_target))
        return Failed(errno != 0 ? errno : EIO, false, real_target);
    Copy_Outcome done;
    done.bytes = copied;
    return done;
}

} // namespace td
