#include "system_clock.h"

#include "base/dates.h"

#include <QDateTime>
#include <cmath>

namespace td {

System_Clock::System_Clock()
    : seconds_at_start_(QTime::currentTime().msecsSinceStartOfDay() / 1000.0),
      start_(std::chrono::steady_clock::now()) {}

double System_Clock::Seconds_Since_Midnight() {
    std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
    // Wraps at midnight as the wall clock does; callers compare absolute differences.
    return std::fmod(seconds_at_start_ + elapsed.count(), 86400.0);
}

double System_Clock::Today() {
    QDate today = QDate::currentDate();
    return Date_Serial(today.year(), today.month(), today.day());
}

} // namespace td
