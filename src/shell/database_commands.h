// The database commands of the Service menu: defragmentation and reindexing, with what the user
// is told about them.
#pragma once

#include "storage/defragmentation.h"

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;

// How a defragmentation ended, for callers that must know (the answer is always "$ERROR$").
enum class Defrag_Outcome {
    Done,    // compacted and rebuilt (the rebuild's own failures are in Derived_Failure)
    Refused, // busy, an old work file in the way, or records the copy would drop: nothing done
    Failed   // the fatal screen was shown and resumed: the database is as it was
};

// Compacts the database (the deleted tickets go), says so, then runs the full rebuild. Answers
// "$ERROR$" as the system always did; `outcome`, when given, says what happened. With
// Defrag_Uncounted::Refuse a database that holds whole records behind its header's count, or whose
// header checksum disagrees, is left alone: the user is told why, nothing is rebuilt, and
// `refusal` (if given) says so.
std::string SE_Defragmentation(Program_State& state, Ui& ui, Clock& clock,
                               const std::string& database_file, Defrag_Uncounted uncounted,
                               Defrag_Refusal* refusal = nullptr,
                               Defrag_Outcome* outcome = nullptr);

// The words of the refusal for the user.
std::string Defrag_Refusal_Text(const Defrag_Refusal& refusal);

// The reindex command: closes the child windows, empties the ticket table and runs the full
// rebuild with the progress form, then hides it and enables the main window.
void Reindex_Database(Program_State& state, Ui& ui, Clock& clock);

} // namespace td
