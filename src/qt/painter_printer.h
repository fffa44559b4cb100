// The printer port drawn with a QPainter on a paged device (a printer or a PDF writer); twips are
// turned into the device's units by its resolution.
#pragma once

#include "base/printer.h"

#include <QFont>
#include <QPagedPaintDevice>
#include <QPainter>
#include <memory>

namespace td {

class Painter_Printer : public Printer {
public:
    void Set_Landscape(bool landscape) override;
    int Page_Width() override;
    int Page_Height() override;
    void Set_Font(int points, bool bold) override;
    int Text_Width(const std::string& text) override;
    int Text_Height() override;
    void Text(int x, int y, const std::string& text) override;
    void Line(int x1, int y1, int x2, int y2, int thickness) override;
    void New_Page() override;
    bool End_Document() override;

protected:
    // The device drawn on; set by the derived class before the first drawing.
    void Set_Device(QPagedPaintDevice* device, int resolution);
    bool Begin();
    bool Painting() const { return painter_.isActive(); }

private:
    double To_Device(int twips) const { return twips * resolution_ / 1440.0; }
    int To_Twips(double units) const { return static_cast<int>(units * 1440.0 / resolution_); }

    QPagedPaintDevice* device_ = nullptr;
    int resolution_ = 1200;
    QPainter painter_;
    QFont font_{QStringLiteral("DejaVu Sans"), 10};
    bool landscape_set_ = false;
};

} // namespace td
