// The ticket verbs of tdctl: the sale screen driven as an operator would.
#pragma once

#include "cli/session.h"

namespace td::cli {

// Runs `sell`; -1 if the verb is another.
int Run_Sale_Verb(const Arguments& args);

} // namespace td::cli
