// The copy of one whole file that backup and restore make. The target is never half overwritten:
// the copy goes to a new file beside the target, is forced to the disk, takes the target's name in
// one rename and the folder is flushed, so that a target is either the old file or the new one
// whole, whatever stops the copy.
#pragma once

#include <cstdint>
#include <string>

namespace td {

// Failure numbers of the copy, as the system numbers the failures of file operations.
namespace copy_failure {
inline constexpr long File_Not_Found = 53;
inline constexpr long Disk_Full = 61;
inline constexpr long Permission_Denied = 70;
inline constexpr long Path_File_Access = 75;
inline constexpr long Path_Not_Found = 76;
inline constexpr long Device_IO = 57;
} // namespace copy_failure

struct Copy_Outcome {
    long number = 0;         // 0 when the copy is in place
    std::string description; // the failure in words: what, which file, the system's reason
    int error = 0;           // the system's error number
    std::uint64_t bytes = 0; // bytes copied
    bool Ok() const { return number == 0; }
};

// Copies `source` over `target` through a work file in the target's folder. A symlink at the
// target is followed, so that the file is replaced where it really lives. On failure the target
// is as it was and the work file is gone.
Copy_Outcome Copy_File_Whole(const std::string& source, const std::string& target);

// The name of the work file of a copy to `target`, beside it.
std::string Copy_Work_Path(const std::string& target);

// Test seam: called after every block written to the work file, with the bytes written so far.
// Null in the program.
namespace copy_hook {
extern void (*After_Block)(std::uint64_t bytes);
extern std::size_t Block_Bytes; // size of a copy block; 0 means the default
} // namespace copy_hook

} // namespace td
