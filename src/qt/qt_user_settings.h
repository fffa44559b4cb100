// The per-user store on QSettings: INI format, user scope, one file per application name.
#pragma once

#include "base/ports.h"

namespace td {

class Qt_User_Settings : public User_Settings {
public:
    std::string Get(const std::string& application, const std::string& section,
                    const std::string& key, const std::string& default_value) override;
    void Save(const std::string& application, const std::string& section, const std::string& key,
              const std::string& value) override;
};

} // namespace td
