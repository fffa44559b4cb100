// The printer port of the desktop program: the default printer, or, on a machine without one, a
// PDF file in the user's documents folder (TALLY_DEPOT_PDF_DIR names another), of which the user
// is told when the job ends.
#pragma once

#include "qt/painter_printer.h"

#include <QPrinter>
#include <string>

namespace td {

class Ui;

class Qt_Printer : public Painter_Printer {
public:
    explicit Qt_Printer(Ui& ui);
    // Where the pages go when there is no printer; empty when they go to a printer.
    const std::string& Pdf_Path() const { return pdf_path_; }
    bool End_Document() override;

private:
    Ui& ui_;
    QPrinter printer_;
    std::string pdf_path_;
};

// The folder and name for a page printed without a printer.
std::string Unused_Pdf_Path();

} // namespace td
