// Defragmentation: the live tickets copied into a work file that then takes the database's place.
#pragma once

#include "storage/pass_progress.h"

#include <string>

namespace td {

// Name of the work file of defragmentation, in the data folder.
inline constexpr const char* Defrag_Work_File = "$Defrag$.bin";

// True if an old work file at `work_path` exists and can't be removed.
bool Defrag_File_Busy(const std::string& work_path);

struct Defrag_Failure {
    std::string description; // the system's words
    long number = 0;         // the system's error number
    std::string path;        // the file it happened to
};

// Copies the live tickets into the work file, gives it its header and puts it in the database's
// place. The work file is complete and on disk before the one rename that replaces the database,
// so the database is at every moment either the old file or the new one, whole. On failure the
// database is untouched and the work file stays for the next attempt to clear.
bool Compact_Database(const std::string& database_path, const std::string& work_path,
                      Pass_Progress& progress, Defrag_Failure& failure, long long& kept);

} // namespace td
