#include "storage/file_safety.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace td {

namespace database_lock_hook {
void (*After_Open)() = nullptr;
} // namespace database_lock_hook

namespace {

// Attempts before a file that is replaced again and again is given up as busy.
constexpr int Lock_Attempts = 8;

int Open_Retrying(const char* path, int flags) {
    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool Same_File(int fd, const std::string& path) {
    struct stat held {};
    struct stat named {};
    return ::fstat(fd, &held) == 0 && ::stat(path.c_str(), &named) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

} // namespace

Database_Lock::Database_Lock(const std::string& path) {
    for (int attempt = 0; attempt < Lock_Attempts; ++attempt) {
        const int fd = Open_Retrying(path.c_str(), O_RDONLY);
        if (fd < 0) {
            error_ = errno;
            state_ = State::Failed;
            return;
        }
        if (database_lock_hook::After_Open != nullptr)
            database_lock_hook::After_Open();
        int rc;
        do {
            rc = ::flock(fd, LOCK_EX | LOCK_NB);
        } while (rc != 0 && errno == EINTR);
        if (rc != 0) {
            error_ = errno;
            state_ = error_ == EWOULDBLOCK ? State::Busy : State::Failed;
            ::close(fd);
            return;
        }
        if (Same_File(fd, path)) {
            fd_ = fd;
            state_ = State::Held;
            error_ = 0;
            real_path_ = Real_File_Path(path);
            return;
        }
        // The file was replaced between the open and the lock: what is locked is the old file.
        ::close(fd);
    }
    state_ = State::Busy;
    error_ = EWOULDBLOCK;
}

Database_Lock::~Database_Lock() {
    Release();
}

bool Database_Lock::Covers(const std::string& path) const {
    return state_ == State::Held && Same_File(fd_, path);
}

void Database_Lock::Release() {
    if (fd_ >= 0) {
        // Closing the last handle of the open file lets go of its lock.
        ::close(fd_);
        fd_ = -1;
        state_ = State::Released;
    }
}

std::string Real_File_Path(const std::string& path) {
    char* real = ::realpath(path.c_str(), nullptr);
    if (real == nullptr)
        return path;
    std::string resolved(real);
    std::free(real);
    return resolved;
}

std::string Folder_Of(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool Sync_Folder_Of(const std::string& path) {
    const int fd = Open_Retrying(Folder_Of(path).c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return false;
    int rc;
    do {
        rc = ::fsync(fd);
    } while (rc != 0 && errno == EINTR);
    ::close(fd);
    return rc == 0;
}

} // namespace td
