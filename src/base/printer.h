// The printer port: what printing a report page needs of a printer. Units are twips (1440 to the
// inch), measured from the top left corner of the printable area. One Qt implementation lives in
// qt/ (the default printer, or a PDF file when the machine has none); tests record the calls.
#pragma once

#include <string>

namespace td {

class Printer {
public:
    virtual ~Printer() = default;
    virtual void Set_Landscape(bool landscape) = 0;
    // The printable area in twips, in the orientation set.
    virtual int Page_Width() = 0;
    virtual int Page_Height() = 0;
    virtual void Set_Font(int points, bool bold) = 0;
    virtual int Text_Width(const std::string& text) = 0;
    // The height of a line of the font set.
    virtual int Text_Height() = 0;
    // Text whose top left corner is at x, y.
    virtual void Text(int x, int y, const std::string& text) = 0;
    virtual void Line(int x1, int y1, int x2, int y2, int thickness) = 0;
    // Ends the page; the next drawing goes on a new one.
    virtual void New_Page() = 0;
    // Ends the job: the pages go to the printer or the file. False if they could not.
    virtual bool End_Document() = 0;
};

} // namespace td
