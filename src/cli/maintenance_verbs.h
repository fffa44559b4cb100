// The maintenance verbs of tdctl: backup, restore, delete and audit.
#pragma once

#include "cli/session.h"

namespace td::cli {

// Runs `backup`, `restore`, `delete` or `audit`; -1 if the verb is none of these.
int Run_Maintenance_Verb(const Arguments& args);

} // namespace td::cli
