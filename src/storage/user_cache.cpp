#include "storage/user_cache.h"

#include "storage/record_file.h"
#include "storage/records.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace td {

User_Cache_Addition Add_To_User_Cache(const std::string& path, long company,
                                      const std::string& name) {
    Record_File file(path, Cache_User_Record_Size);
    if (!file.Is_Open())
        return User_Cache_Addition::Failed;
    if (company == 0)
        return User_Cache_Addition::Company_Zero;
    if (company < std::numeric_limits<std::int32_t>::min() ||
        company > std::numeric_limits<std::int32_t>::max())
        return User_Cache_Addition::Failed;
    const std::uint64_t stored = file.Record_Count();
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(stored + 1) * Cache_User_Record_Size,
                                    0);
    if (!file.Read_Block(1, stored + 1, bytes.data()))
        return User_Cache_Addition::Failed;
    std::uint64_t slot = 1;
    while (slot <= stored && Cache_User_Exists(bytes.data() + static_cast<std::size_t>(slot - 1) *
                                                                  Cache_User_Record_Size))
        ++slot;
    // The record keeps what it held where the new values don't reach.
    std::uint8_t* record =
        bytes.data() + static_cast<std::size_t>(slot - 1) * Cache_User_Record_Size;
    Mark_Cache_User(record, static_cast<std::int32_t>(company), name);
    if (!file.Write(slot, record))
        return User_Cache_Addition::Failed;
    return User_Cache_Addition::Added;
}

} // namespace td
