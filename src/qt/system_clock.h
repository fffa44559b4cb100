#pragma once

#include "base/ports.h"

#include <chrono>

namespace td {

// The machine's clock in local time. Long passes read it once per record, so the time of day
// is worked out once and then carried on by the monotonic clock: asking for the local time
// each call makes the C library look at the time zone file every time.
class System_Clock : public Clock {
public:
    System_Clock();
    double Seconds_Since_Midnight() override;
    double Today() override;

private:
    double seconds_at_start_ = 0.0;
    std::chrono::steady_clock::time_point start_;
};

} // namespace td
