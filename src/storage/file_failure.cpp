#include "storage/file_failure.h"

#include "storage/record_file.h"

#include <cerrno>
#include <cstring>

namespace td {

void File_Failure::Note(bool ok, const std::string& failed_path, int failed_error) {
    if (ok || Failed())
        return;
    path = failed_path.empty() ? std::string("?") : failed_path;
    error = failed_error != 0 ? failed_error : EIO;
}

void File_Failure::Note(bool ok, const Record_File& file) {
    if (!ok)
        Note(false, file.Path(), file.Error());
}

void File_Failure::Note(const File_Failure& other) {
    if (other.Failed())
        Note(false, other.path, other.error);
}

std::string System_Reason(int error) {
    if (error == Not_A_Regular_File)
        return "Not a regular file";
    return std::strerror(error);
}

std::string File_Failure::Text() const {
    if (!Failed())
        return {};
    return path + ": " + System_Reason(error);
}

} // namespace td
