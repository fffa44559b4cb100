// What a pass remembers of the writes that failed. Long passes go on past a failed statement, as
// the system has always done, but the caller must learn that derived files are not whole.
#pragma once

#include <string>

namespace td {

struct File_Failure {
    std::string path; // empty while nothing failed
    int error = 0;    // the system's error number

    bool Failed() const { return !path.empty(); }
    // Keeps the first failure only: later ones are usually its consequences.
    void Note(bool ok, const std::string& failed_path, int failed_error);
    void Note(const File_Failure& other);
    // "path: reason" in the system's words.
    std::string Text() const;
};

} // namespace td
