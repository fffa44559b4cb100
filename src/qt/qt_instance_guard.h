// One running instance per installation: a lock file in the installation's own folder, found
// through the folder's canonical path, so that every process on the machine meets the same file
// whatever its environment or the path it came by (a symlink, a bind mount). A crashed run never
// blocks the next start: a lock whose owner is gone is stale at once.
#pragma once

#include "base/ports.h"

#include <memory>
#include <string>

class QLockFile;

namespace td {

// Name of the lock file in the program's folder.
inline constexpr const char* Instance_Lock_File = "tallydepot.lock";

class Qt_Instance_Guard : public Instance_Guard {
public:
    explicit Qt_Instance_Guard(const std::string& program_folder);
    ~Qt_Instance_Guard() override;
    Result Acquire() override;
    // Lets go of a lock this guard holds: the lock file goes. Nothing happens otherwise.
    void Release();

private:
    // True if the file at the lock's path names this process, that is, the file this guard
    // created is still the lock and nobody took it away as stale in the instant before it was
    // marked as held.
    bool Lock_Is_Ours() const;
    // Keeps a lock that turned out not to be ours alive, without ever removing its path.
    void Abandon_Lock();

    std::string program_folder_;
    std::unique_ptr<QLockFile> lock_;
};

} // namespace td
