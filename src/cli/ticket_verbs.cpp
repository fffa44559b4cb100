#include "cli/ticket_verbs.h"

#include "base/numbers.h"
#include "tickets/result_log.h"

#include <cstdio>
#include <optional>

namespace td::cli {

int Fuel_Index(const Drop_List& fuels, const std::string& name, std::string& why) {
    const int index = fuels.Find(name);
    if (index < 0) {
        std::string names;
        for (int i = 0; i < fuels.Count(); ++i)
            names += (i == 0 ? "" : ", ") + fuels.Item(i);
        why = "fuel '" + name + "' is not in the catalogue (it lists: " + names + ")";
    }
    return index;
}

int Volume_Index(const Drop_List& volumes, const std::string& litres, std::string& why) {
    const std::optional<double> value = Regional_Number(litres);
    for (int i = 0; value && i < volumes.Count(); ++i)
        if (Leading_Number(volumes.Item(i)) == *value)
            return i;
    why = "volume '" + litres + "' is not in the list of volumes";
    return -1;
}

Log_Printer::Log_Printer(Session& session, const Grid& grid) : grid_(grid) {
    session.Ui().Also_Before_End([this] { Print(); });
}

void Log_Printer::Print() {
    if (printed_)
        return;
    printed_ = true;
    std::fputs(Log_Rows_Text(grid_).c_str(), stdout);
    std::fflush(stdout);
}

} // namespace td::cli
