#include "qt/qt_dates.h"

#include "base/dates.h"

#include <QCalendarWidget>
#include <QLocale>

namespace td {

QDate To_QDate(double date) {
    Calendar_Day day = Date_Parts(date);
    return QDate(day.year, day.month, day.day);
}

double From_QDate(const QDate& date) {
    return Date_Serial(date.year(), date.month(), date.day());
}

QCalendarWidget* Russian_Calendar(QWidget* parent) {
    auto* calendar = new QCalendarWidget(parent);
    calendar->setLocale(QLocale(QLocale::Russian, QLocale::Russia));
    calendar->setFirstDayOfWeek(Qt::Monday);
    return calendar;
}

} // namespace td
