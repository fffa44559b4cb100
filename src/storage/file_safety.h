// What keeps a data file whole while it is written: an exclusive advisory lock on the database
// that every writer holds, the real file behind a path (so that a file is replaced where it really
// lives), and the flush of a folder after a name in it was made or changed.
#pragma once

#include <string>

namespace td {

// An exclusive advisory lock (flock) on the database file, held for the life of the object.
// Every writer of the database takes it for the length of its write: defragmentation, and the
// sale, redemption and restore as they come.
//
// It does not wait: the program has one thread, and a wait would freeze its window with nothing
// to tell the user; the other holder may be a defragmentation of minutes. A writer that meets a
// held lock refuses and says so, and nothing is lost.
//
// A replacing writer (defragmentation) puts a new file in the path's place while it holds the
// lock on the old one, so a process that opened the path before the replacement would lock a file
// that no longer is the database. The lock is therefore taken only once the file locked is
// checked to be the file at the path; otherwise the path is opened again.
class Database_Lock {
public:
    enum class State {
        Held,   // this object holds the lock on the file at the path
        Busy,   // another process holds it (or kept replacing the file)
        Failed, // the file can't be opened or locked: see Error()
        Released,
    };

    // Takes the lock on the file at `path`, a symlink followed.
    explicit Database_Lock(const std::string& path);
    ~Database_Lock();
    Database_Lock(const Database_Lock&) = delete;
    Database_Lock& operator=(const Database_Lock&) = delete;

    State Status() const { return state_; }
    bool Held() const { return state_ == State::Held; }
    // The system's error number when not held (EWOULDBLOCK when busy).
    int Error() const { return error_; }
    // The real file locked: the path with every symlink resolved.
    const std::string& Real_Path() const { return real_path_; }
    // True if the lock is held and the file at `path` is the file it holds.
    bool Covers(const std::string& path) const;
    // Lets go of the lock at once.
    void Release();

private:
    int fd_ = -1;
    State state_ = State::Failed;
    int error_ = 0;
    std::string real_path_;
};

// The path with every symlink resolved; the path itself when that can't be done (a missing file).
std::string Real_File_Path(const std::string& path);

// The folder part of a path: "." for a bare name, "/" for a file at the root.
std::string Folder_Of(const std::string& path);

// Forces the folder holding `path` to the disk, so that a file created in it, or renamed into
// it, keeps its name after a power cut. False if that failed.
bool Sync_Folder_Of(const std::string& path);

// Seam for the tests of the lock: called between opening the file and locking it. Null in the
// program.
namespace database_lock_hook {
extern void (*After_Open)();
} // namespace database_lock_hook

} // namespace td
