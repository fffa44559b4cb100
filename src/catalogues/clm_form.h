// The catalogue of fuel grades ("Справочник ГСМ") and the in-place grid editor shared by the
// catalogue screens.
#pragma once
#include "ui/grid.h"

#include <string>
#include <vector>

namespace td {

struct Program_State;
class Ui;
class Clock;
class Record_File;
struct File_Failure;

// The box of a catalogue screen whose file could not be written: the file, the system's reason,
// and how far the save got (the rows before `row` are written).
std::string Catalogue_Write_Failure_Text(const File_Failure& failure, int row);

// The cell under the in-place editor. One pair for every grid editor of the program: only one
// catalogue screen edits at a time.
extern int Edit_Row;
extern int Edit_Col;

// The hidden text box that stands over a grid and edits its current cell.
struct In_Place_Editor {
    std::string text;
    bool focused = false;
    int caret = 0;

    // A click in the grid: remember the cell and take its text.
    void Grid_Click(const Grid& grid);
    // Any change of the box's text goes straight to the remembered cell.
    void Change(Grid& grid, const std::string& new_text);
};

class CLM_Form {
public:
    static constexpr const char* Caption = "Справочник ГСМ";
    static constexpr const char* History_Menu = "История цен";

    CLM_Form(Program_State& state, Ui& ui, Clock& clock);

    Grid MSFlexGrid1{Fuel_Rows, 2};
    In_Place_Editor Text1;
    bool closed = false;
    // Width of the form in twips; the columns take half of it less 100 each.
    int form_width = 7200;

    // Fills the grid from the eight slots of the fuel file.
    void Form_Load();
    void MSFlexGrid1_Click();
    // A key typed in the grid starts the editor with that character.
    void MSFlexGrid1_KeyPress(const std::string& character);
    void Text1_Change(const std::string& text);
    // The context menu of the grid: its one entry.
    std::vector<std::string> Context_Menu() const { return {History_Menu}; }
    // The price history has no screen: the entry does nothing.
    void mnu_prise_hst_Click() {}
    // Saves all eight slots, then closes. False when the file could not be read or written (the
    // user is told which and why): the slots before it are written, the rest are not, and the
    // screen stays open. A price with a comma that does not convert ends the run with the
    // ordinary unhandled failure, the slots before it written.
    bool Command1_Click();
    void Command2_Click() { closed = true; }

private:
    bool Save_Failed(const Record_File& file, int row);

    static constexpr int Fuel_Rows = 9;
    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
};

} // namespace td
