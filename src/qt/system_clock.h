#pragma once

#include "core/ports.h"

namespace td {

// The machine's clock in local time.
class System_Clock : public Clock {
public:
    double Seconds_Since_Midnight() override;
    double Today() override;
};

} // namespace td
