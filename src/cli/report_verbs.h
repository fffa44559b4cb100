// The report verbs of tdctl: the balance family and the liability (report), the buyer and
// station statistics (stats) and the ticket information with its two commands (ticket).
#pragma once

#include "cli/session.h"

namespace td::cli {

// Runs `report`, `stats` or `ticket`; -1 if the verb is none of these.
int Run_Report_Verb(const Arguments& args);

} // namespace td::cli
