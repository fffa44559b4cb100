// The printer port writing a PDF file, A4, for tdctl's --pdf and for a machine without a
// printer. Needs a QGuiApplication: when there is none, it makes one (offscreen) for as long as
// it lives.
#pragma once

#include "base/printer.h"

#include <memory>
#include <string>

namespace td {

class Pdf_Printer : public Printer {
public:
    explicit Pdf_Printer(const std::string& file);
    ~Pdf_Printer() override;

    // False when the file can't be written; Failure() says why.
    bool Ready() const;
    std::string Failure() const;

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

private:
    struct Application;
    struct Impl;
    std::unique_ptr<Application> application_; // goes after the writer
    std::unique_ptr<Impl> impl_;
};

} // namespace td
