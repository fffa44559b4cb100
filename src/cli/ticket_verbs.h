// What the ticket verbs of tdctl share: choosing the fuel and the volume of a screen's lists as
// the operator does, by the name and by the litres; printing the result rows; the check, then the
// commit.
#pragma once

#include "cli/session.h"
#include "ui/drop_list.h"
#include "ui/grid.h"

#include <string>

namespace td::cli {

// The index of the fuel called `name`; -1 with `why` saying so when the catalogue has none.
int Fuel_Index(const Drop_List& fuels, const std::string& name, std::string& why);

// The index of the volume of `litres` ("20" and "020" alike, "12,5" or "12.5"); -1 with `why`
// saying so when the list has none.
int Volume_Index(const Drop_List& volumes, const std::string& litres, std::string& why);

// Prints the rows of a result grid once: when asked, or at the latest when the run ends, however
// it ends (the fatal screen included).
class Log_Printer {
public:
    Log_Printer(Session& session, const Grid& grid);
    void Print();

private:
    const Grid& grid_;
    bool printed_ = false;
};

// "Проверить", then, unless only the check was asked for, the commit when the check accepted or
// when forced. True when the check accepted.
template <typename Screen, typename Outcome>
bool Check_Then_Commit(Screen& screen, Outcome accepted, bool check_only, bool force) {
    screen.Command1_Click();
    const bool ok = screen.Last_Outcome() == accepted;
    if (!check_only && (ok || force))
        screen.Command2_Click();
    return ok;
}

} // namespace td::cli
