// The passes that derive everything from the database: the ticket table, the entry counts, the
// number index files and the cache files; the dated totals; defragmentation and reindexing.
#pragma once

#include <string>
#include <string_view>

namespace td {

struct Program_State;
class Ui;
class Clock;

// Where a pass reports its progress: the splash bar (10..100) or the progress form (0..100).
enum class Progress_Target { Splash, Form };
// "splash" (trimmed, any case) is the splash; anything else the progress form.
Progress_Target Parse_Progress_Target(std::string_view target);

// The one pass over the database. `mode` and `target` compare trimmed and in lower case:
// "add" adds `company` with `name` to the user cache and returns "1" (company 0) or "0";
// "new" rebuilds the ticket table, the entry counts, the number index files and the three cache
// files; "proection" rebuilds the table, the counts and the index and then writes the index
// headers, leaving the cache files alone. "new" and "proection" answer "Error!" as the system
// always did. With a target other than "splash" the progress form stays shown and the main window
// disabled at the end: the caller hides the one and enables the other.
std::string CreateCacheFile(Program_State& state, Ui& ui, Clock& clock,
                            const std::string& user_cache_file, std::string_view mode, long company,
                            const std::string& name, const std::string& database_file,
                            std::string_view target);

// Writes Z_Header (mark and count) at record 1 of the index file of fuels 1..8 and volumes
// 10, 20, ... 100, creating the files that are missing.
void Write_Z_Headers(const Program_State& state);

// Rebuilds the company totals (Cache_Diff) for one date: unredeemed litres sold not after it.
std::string CreateCacheFileForRequest(Program_State& state, Ui& ui, Clock& clock,
                                      const std::string& cache_file, double date,
                                      const std::string& database_file, std::string_view target);

// Rebuilds the station totals (Cache_Used) for a period: litres drawn within it.
std::string CreateCacheFileForRange(Program_State& state, Ui& ui, Clock& clock,
                                    const std::string& cache_file, double date_from, double date_to,
                                    const std::string& database_file, std::string_view target);

// Name of the work file of defragmentation, in the data folder.
inline constexpr const char* Defrag_Work_File = "$Defrag$.bin";

// True if an old work file exists and can't be removed.
bool Defrag_File_Busy(const Program_State& state);

// Copies the live tickets into a new file and puts it in the database's place (atomically), then
// runs the full rebuild. Answers "$ERROR$" as the system always did.
std::string SE_Defragmentation(Program_State& state, Ui& ui, Clock& clock,
                               const std::string& database_file);

// The reindex command: closes the child windows, empties the ticket table and runs the full
// rebuild with the progress form, then hides it and enables the main window.
void Reindex_Database(Program_State& state, Ui& ui, Clock& clock);

} // namespace td
