// What the maintenance screens ask of the window system beyond the Ui port: a file dialog, the
// closing of named windows and the working-date picker. The Qt main window implements it; tests
// record the calls.
#pragma once

#include <string>
#include <vector>

namespace td {

class Maintenance_Views {
public:
    virtual ~Maintenance_Views() = default;
    // A save dialog opened in `folder` with the file name preset to `file_name`. False when the
    // user cancelled; else the chosen path.
    virtual bool Save_Dialog(const std::string& folder, const std::string& file_name,
                             std::string& chosen) = 0;
    // Closes those of the named screens that are open (names as the screens are called).
    virtual void Close_Forms(const std::vector<std::string>& names) = 0;
    // Calendar_Single, the picker of the working date, as a modal dialog.
    virtual void Show_Calendar_Single() = 0;
};

} // namespace td
