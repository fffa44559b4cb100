// Seams into defragmentation for the crash tests: a hook run after every step that changes a file,
// so that a test can end the process at each of those points, and the size of the copy blocks, so
// that a small database already gives many such points. The program leaves both alone.
#pragma once

#include <cstddef>

namespace td::defrag_hook {

// Called after each block written to the work file, after the header, the sync, the rename and the
// sync of the folder. Null in the program.
extern void (*After_Step)();

// Tickets per block read from the database and written to the work file.
extern std::size_t Block_Tickets;

} // namespace td::defrag_hook
