// What the shell's logic asks of the window system beyond the Ui port: arranging child windows,
// opening the small modal screens, starting another program. The Qt main window implements it;
// tests record the calls.
#pragma once

#include <string>

namespace td {

enum class Arrange_Mode { Tile_Horizontal, Tile_Vertical, Cascade, Icons };

class Shell_Views {
public:
    virtual ~Shell_Views() = default;

    virtual void Arrange(Arrange_Mode mode) = 0;
    // frmAbout, modal.
    virtual void Show_About() = 0;
    // Eggs, modal; opened by the About box.
    virtual void Show_Eggs() = 0;
    // Raw_DB_Edit, modal; opened by the "&Next" of Eggs. Nothing where no editor is attached.
    virtual void Show_Raw_DB_Edit() {}
    // The caption of the report or browser child in front; empty when there is none.
    virtual std::string Active_Child_Caption() = 0;
    // Prints the page shown by the report in front.
    virtual void Print_Active_Page() = 0;
    // Starts a program minimised with the focus. False, with the failure's number and
    // description, when it can't be started.
    virtual bool Start_Program(const std::string& path, long& error_number,
                               std::string& error_description) = 0;
};

} // namespace td
