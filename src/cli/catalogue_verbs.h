// The catalogue verbs of tdctl: fuel grades, stations, user volumes.
#pragma once

#include "cli/session.h"

namespace td::cli {

// Runs `fuel`, `station` or `volume` (with their sub-verbs); -1 if the verb is none of these.
int Run_Catalogue_Verb(const Arguments& args);

} // namespace td::cli
