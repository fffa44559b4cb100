// The row lists the report windows page through, one copy each as the program keeps them:
// Report_Rows of the balance family, Stat_Rows of the statistics. Row i (from 1) is element i - 1,
// so the count of a list is its size.
#pragma once

#include <string>
#include <vector>

namespace td {

struct Report_Store {
    std::vector<std::string> Report_Rows;
    std::vector<std::string> Stat_Rows;
};

Report_Store& Report_Lists();

} // namespace td
