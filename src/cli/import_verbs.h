// The import verb of tdctl: the 1C table updates the company file, replaces it, or is compared
// with it, through the same screen model as the window's.
#pragma once

#include "cli/session.h"

namespace td::cli {

// Runs `import FILE --update|--replace|--compare [--yes]`; -1 if the verb is another.
int Run_Import_Verb(const Arguments& args);

} // namespace td::cli
