#include "qt_instance_guard.h"

#include <QCoreApplication>
#include <QFile>
#include <QLockFile>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <vector>

namespace td {

namespace {

std::string Error_Text(int error) {
    return std::strerror(error);
}

} // namespace

Qt_Instance_Guard::Qt_Instance_Guard(const std::string& program_folder)
    : program_folder_(program_folder) {}

Qt_Instance_Guard::~Qt_Instance_Guard() = default;

Instance_Guard::Result Qt_Instance_Guard::Acquire() {
    Result result;
    result.outcome = Outcome::Cannot_Lock;
    const std::string folder = program_folder_.empty() ? "." : program_folder_;
    char* real = ::realpath(folder.c_str(), nullptr);
    if (real == nullptr) {
        const int error = errno;
        result.lock_path = folder + "/" + Instance_Lock_File;
        result.reason = Error_Text(error);
        return result;
    }
    std::string canonical(real);
    std::free(real);
    if (canonical.back() == '/')
        canonical.pop_back();
    result.lock_path = canonical + "/" + Instance_Lock_File;

    lock_ =
        std::make_unique<QLockFile>(QFile::decodeName(QByteArray::fromStdString(result.lock_path)));
    // The owner's process id alone tells a live lock from a stale one; its age says nothing.
    lock_->setStaleLockTime(0);
    errno = 0;
    bool held = lock_->tryLock(0);
    int error = errno;
    // A lock QLockFile can't judge (an empty file left by a crash between creating and filling
    // it, or a process id reused by another program): removing it succeeds only when no live
    // process holds the file's own lock.
    if (!held && lock_->error() == QLockFile::LockFailedError && lock_->removeStaleLockFile()) {
        errno = 0;
        held = lock_->tryLock(0);
        error = errno;
    }
    if (held) {
        if (Lock_Is_Ours()) {
            result.outcome = Outcome::Acquired;
            return result;
        }
        Abandon_Lock();
        result.outcome = Outcome::Already_Running;
        return result;
    }
    if (lock_->error() == QLockFile::LockFailedError) {
        // Something that is not a lock file stands in the way: no process can ever hold it.
        struct stat st {};
        if (::lstat(result.lock_path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
            result.reason = Error_Text(S_ISDIR(st.st_mode) ? EISDIR : EEXIST);
            return result;
        }
        result.outcome = Outcome::Already_Running;
        return result;
    }
    // QLockFile keeps only a kind of error; the system's reason is still in errno.
    if (error == 0)
        error = lock_->error() == QLockFile::PermissionError ? EACCES : EIO;
    result.reason = Error_Text(error);
    return result;
}

bool Qt_Instance_Guard::Lock_Is_Ours() const {
    qint64 pid = 0;
    QString host;
    QString application;
    return lock_->getLockInfo(&pid, &host, &application) &&
           pid == QCoreApplication::applicationPid();
}

void Qt_Instance_Guard::Abandon_Lock() {
    // Unlocking or destroying it would remove the file at the path, which is another process's
    // lock now. Its handle goes with the process.
    static std::vector<QLockFile*> abandoned;
    abandoned.push_back(lock_.release());
}

void Qt_Instance_Guard::Release() {
    if (lock_)
        lock_->unlock();
}

} // namespace td
