// One running instance per installation: a lock file in the runtime folder, named after the
// program's folder. A crashed run never blocks the next start: the lock is stale at once.
#pragma once

#include "base/ports.h"

#include <memory>
#include <string>

class QLockFile;

namespace td {

class Qt_Instance_Guard : public Instance_Guard {
public:
    explicit Qt_Instance_Guard(const std::string& program_folder);
    ~Qt_Instance_Guard() override;
    bool Acquire() override;
    // Lets go of a lock this guard holds: the lock file goes. Nothing happens otherwise.
    void Release();

private:
    std::unique_ptr<QLockFile> lock_;
};

} // namespace td
