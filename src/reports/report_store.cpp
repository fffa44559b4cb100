#include "reports/report_store.h"

namespace td {

Report_Store& Report_Lists() {
    static Report_Store store;
    return store;
}

} // namespace td
