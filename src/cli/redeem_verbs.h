// The redemption verb of tdctl: the redemption screen driven as an operator would.
#pragma once

#include "cli/session.h"

namespace td::cli {

// Runs `redeem`; -1 if the verb is another.
int Run_Redeem_Verb(const Arguments& args);

} // namespace td::cli
