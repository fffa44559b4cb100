// Defragmentation: the live tickets copied into a work file that then takes the database's place.
#pragma once

#include "storage/pass_progress.h"

#include <string>

namespace td {

class Database_Lock;

// Name of the work file of defragmentation, in the folder of the database's real file.
inline constexpr const char* Defrag_Work_File = "$Defrag$.bin";

// Where the work file of the database at `database_path` goes: beside its real file (a symlink
// resolved), so that the rename that replaces the database never crosses file systems and a
// linked database is replaced at its target.
std::string Defrag_Work_Path(const std::string& database_path);

// True if an old work file at `work_path` exists and can't be removed.
bool Defrag_File_Busy(const std::string& work_path);

struct Defrag_Failure {
    std::string description; // the system's words
    long number = 0;         // the system's error number
    std::string path;        // the file it happened to
};

// What to do with whole records behind the header's count, and with a header whose checksum
// disagrees. There is no default: only an explicit request drops records.
enum class Defrag_Uncounted {
    Refuse, // leave the database alone and say why
    Drop    // copy by the header's count: the records beyond it are lost
};

// Why defragmentation did not go ahead: it copies by the header's count, so the whole records
// behind that count would be lost, and a header whose checksum disagrees is not to be trusted
// for the count.
struct Defrag_Refusal {
    bool refused = false;
    long long uncounted_records = 0; // whole records behind the count, which the copy would drop
    long long count = 0;             // the header's count
    bool checksum_disagrees = false;
    std::string checksum_reason;
};

// Copies the live tickets into the work file, gives it its header and puts it in the place of the
// database's real file. The work file is complete and on disk before the one rename that replaces
// the database, so the database is at every moment either the old file or the new one, whole. The
// caller holds `lock` on the database for the whole operation, the clearing of the work file
// included; the copy refuses to start on a lock that doesn't hold the file at `database_path`.
// On failure the database is untouched and the work file stays for the next attempt to clear. With
// Refuse, a database that holds whole records behind its count or whose header checksum disagrees
// is left as it is: false, with `refusal` saying why (and `failure` empty).
bool Compact_Database(const std::string& database_path, const std::string& work_path,
                      const Database_Lock& lock, Defrag_Uncounted uncounted,
                      Pass_Progress& progress, Defrag_Failure& failure, Defrag_Refusal& refusal,
                      long long& kept);

} // namespace td
