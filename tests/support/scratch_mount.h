// A small tmpfs mounted over a temporary folder, for the tests that need a second file system or
// a read-only one. Mounting needs root: without it the test skips that part.
#pragma once

#include "support/temp_folder.h"

#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace td::test {

class Scratch_Mount {
public:
    Scratch_Mount() {
        mounted_ = ::geteuid() == 0 &&
                   ::mount("tmpfs", folder_.Path().c_str(), "tmpfs", 0, "size=4m,mode=0755") == 0;
    }
    ~Scratch_Mount() {
        if (mounted_)
            ::umount2(folder_.Path().c_str(), MNT_DETACH);
    }
    Scratch_Mount(const Scratch_Mount&) = delete;
    Scratch_Mount& operator=(const Scratch_Mount&) = delete;

    bool Mounted() const { return mounted_; }
    const Temp_Folder& Folder() const { return folder_; }
    // Makes the file system read-only from now on.
    bool Make_Read_Only() const {
        return ::mount("tmpfs", folder_.Path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY,
                       "size=4m") == 0;
    }

private:
    Temp_Folder folder_;
    bool mounted_ = false;
};

} // namespace td::test
