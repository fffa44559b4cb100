#include "system_clock.h"

#include "core/dates.h"

#include <QDateTime>

namespace td {

double System_Clock::Seconds_Since_Midnight() {
    QTime now = QTime::currentTime();
    return now.msecsSinceStartOfDay() / 1000.0;
}

double System_Clock::Today() {
    QDate today = QDate::currentDate();
    return Date_Serial(today.year(), today.month(), today.day());
}

} // namespace td
