// What a pass remembers of the writes that failed. Long passes go on past a failed statement, as
// the system has always done, but the caller must learn that derived files are not whole.
#pragma once

#include <string>

namespace td {

class Record_File;

// The error number of an open refused because the path names neither a regular file nor a folder
// (a FIFO, a device, a socket): above every number the system itself uses.
inline constexpr int Not_A_Regular_File = 4200;

// The system's words for an error number, and ours for Not_A_Regular_File.
std::string System_Reason(int error);

struct File_Failure {
    std::string path; // empty while nothing failed
    int error = 0;    // the system's error number

    bool Failed() const { return !path.empty(); }
    // Keeps the first failure only: later ones are usually its consequences.
    void Note(bool ok, const std::string& failed_path, int failed_error);
    // The same with the file's path and error, taken once `ok` is known: as arguments beside the
    // call that fails, the error could be read before that call ran.
    void Note(bool ok, const Record_File& file);
    void Note(const File_Failure& other);
    // "path: reason" in the system's words.
    std::string Text() const;
};

} // namespace td
