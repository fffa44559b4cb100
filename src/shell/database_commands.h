// The database commands of the Service menu: defragmentation and reindexing, with what the user
// is told about them.
#pragma once

#include "storage/defragmentation.h"

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;

// Compacts the database (the deleted tickets go), says so, then runs the full rebuild. Answers
// "$ERROR$" as the system always did. With Defrag_Uncounted::Refuse a database that holds whole
// records behind its header's count, or whose header checksum disagrees, is left alone: the user
// is told why, nothing is rebuilt, and `refusal` (if given) says so.
std::string SE_Defragmentation(Program_State& state, Ui& ui, Clock& clock,
                               const std::string& database_file, Defrag_Uncounted uncounted,
                               Defrag_Refusal* refusal = nullptr);

// The words of the refusal for the user.
std::string Defrag_Refusal_Text(const Defrag_Refusal& refusal);

// The reindex command: closes the child windows, empties the ticket table and runs the full
// rebuild with the progress form, then hides it and enables the main window.
void Reindex_Database(Program_State& state, Ui& ui, Clock& clock);

} // namespace td
