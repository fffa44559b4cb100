// The database commands of the Service menu: defragmentation and reindexing, with what the user
// is told about them.
#pragma once

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;

// How a defragmentation ended, for callers that must know (the answer is always "$ERROR$").
enum class Defrag_Outcome {
    Done,    // compacted and rebuilt (the rebuild's own failures are in Derived_Failure)
    Refused, // an old work file could not be cleared: nothing was done
    Failed   // the fatal screen was shown and resumed: the database is as it was
};

// Compacts the database (the deleted tickets go), says so, then runs the full rebuild. Answers
// "$ERROR$" as the system always did; `outcome`, when given, says what happened.
std::string SE_Defragmentation(Program_State& state, Ui& ui, Clock& clock,
                               const std::string& database_file, Defrag_Outcome* outcome = nullptr);

// The reindex command: closes the child windows, empties the ticket table and runs the full
// rebuild with the progress form, then hides it and enables the main window.
void Reindex_Database(Program_State& state, Ui& ui, Clock& clock);

} // namespace td
