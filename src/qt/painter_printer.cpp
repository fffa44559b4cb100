#include "qt/painter_printer.h"

#include <QFontMetricsF>
#include <QPageLayout>
#include <QPen>

namespace td {

void Painter_Printer::Set_Device(QPagedPaintDevice* device, int resolution) {
    device_ = device;
    resolution_ = resolution;
}

bool Painter_Printer::Begin() {
    if (painter_.isActive())
        return true;
    if (device_ == nullptr || !painter_.begin(device_))
        return false;
    painter_.setFont(font_);
    return true;
}

void Painter_Printer::Set_Landscape(bool landscape) {
    // The orientation holds for the whole job: it is set before the first page is begun.
    if (device_ == nullptr || painter_.isActive())
        return;
    device_->setPageOrientation(landscape ? QPageLayout::Landscape : QPageLayout::Portrait);
    landscape_set_ = true;
}

int Painter_Printer::Page_Width() {
    if (device_ == nullptr)
        return 0;
    return To_Twips(device_->pageLayout().paintRectPixels(resolution_).width());
}

int Painter_Printer::Page_Height() {
    if (device_ == nullptr)
        return 0;
    return To_Twips(device_->pageLayout().paintRectPixels(resolution_).height());
}

void Painter_Printer::Set_Font(int points, bool bold) {
    font_.setPointSize(points);
    font_.setBold(bold);
    if (Begin())
        painter_.setFont(font_);
}

int Painter_Printer::Text_Width(const std::string& text) {
    if (!Begin())
        return 0;
    QFontMetricsF metrics(font_, device_);
    return To_Twips(metrics.horizontalAdvance(QString::fromStdString(text)));
}

int Painter_Printer::Text_Height() {
    if (!Begin())
        return 0;
    QFontMetricsF metrics(font_, device_);
    return To_Twips(metrics.height());
}

void Painter_Printer::Text(int x, int y, const std::string& text) {
    if (!Begin())
        return;
    QFontMetricsF metrics(font_, device_);
    painter_.drawText(QPointF(To_Device(x), To_Device(y) + metrics.ascent()),
                      QString::fromStdString(text));
}

void Painter_Printer::Line(int x1, int y1, int x2, int y2, int thickness) {
    if (!Begin())
        return;
    QPen pen(Qt::black);
    pen.setWidthF(To_Device(thickness));
    painter_.setPen(pen);
    painter_.drawLine(QPointF(To_Device(x1), To_Device(y1)), QPointF(To_Device(x2), To_Device(y2)));
}

void Painter_Printer::New_Page() {
    if (device_ != nullptr && Begin())
        device_->newPage();
}

bool Painter_Printer::End_Document() {
    if (!Begin())
        return false;
    return painter_.end();
}

} // namespace td
