// Dates between the program's day numbers and Qt's, and the month calendar as a Russian desk
// shows it.
#pragma once

#include <QDate>

class QCalendarWidget;
class QWidget;

namespace td {

QDate To_QDate(double date);
double From_QDate(const QDate& date);
QCalendarWidget* Russian_Calendar(QWidget* parent);

} // namespace td
