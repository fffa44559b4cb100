// New user volumes ("Новая серия талонов по литражу"). Volumes are only ever added: each one owns
// a place in the table of number index files.
#pragma once
#include "ui/grid.h"

#include <string>

namespace td {

struct Program_State;
class Ui;
class Record_File;

class Usr_Vol {
public:
    static constexpr const char* Caption = "Новая серия талонов по литражу";
    static constexpr const char* Frame_Caption = "Пользовательский литраж";
    static constexpr const char* Label1 =
        "Внимание! В связи со специфической архитектурой базы данных удаление пользовательского "
        "литража будет невозможным!";
    static constexpr const char* Limit_Message =
        "В силу архитектурных особенностей - невозможно задать более 200 пользовательских "
        "литражей!";

    static constexpr int Key_Backspace = 8;
    static constexpr int Key_Enter = 13;

    Usr_Vol(Program_State& state, Ui& ui);

    Grid MSFlexGrid1{2, 2};
    bool closed = false;
    int grid_width = 4000;

    void Form_Load();
    // Keys typed in the grid (character codes); all but those of the key table are ignored.
    void MSFlexGrid1_KeyPress(int key);
    // The cursor leaves the current cell: the running number is shown zero-padded.
    void MSFlexGrid1_LeaveCell();
    // Saves the rows. False when it stopped early (the limit, or the file could not be read or
    // written, said in a box with the file and the reason): the screen then stays open with the
    // rows before written. A cell that does not convert ends the run with the ordinary unhandled
    // failure.
    bool Command2_Click();
    void Command1_Click() { closed = true; }

private:
    bool Save_Failed(const Record_File& file, int row);

    Program_State& state_;
    Ui& ui_;
};

} // namespace td
