// The user cache (Cache_User): the companies that have tickets, in the order of their first one.
#pragma once

#include <string>

namespace td {

enum class User_Cache_Addition { Added, Company_Zero, Failed };

// Puts `company` with `name` into the first free slot (Exists other than 1) of the user cache at
// `path`, or at its end. Company 0 is not added. An empty name leaves the slot's old name.
User_Cache_Addition Add_To_User_Cache(const std::string& path, long company,
                                      const std::string& name);

} // namespace td
