// The per-user store on QSettings: INI format, user scope, one file per application name.
#pragma once

#include "base/ports.h"

#include <string>

namespace td {

class Qt_User_Settings : public User_Settings {
public:
    std::string Get(const std::string& application, const std::string& section,
                    const std::string& key, const std::string& default_value) override;
    void Save(const std::string& application, const std::string& section, const std::string& key,
              const std::string& value) override;

    // Empty while every Save reached the disk; otherwise the store's file and what went wrong, for
    // the first Save that did not.
    const std::string& Save_Failure() const { return save_failure_; }

private:
    std::string save_failure_;
};

} // namespace td
