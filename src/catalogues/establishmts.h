// The stations ("Заправки"): sixteen fixed slots, since the stations mask of a ticket has 16 bits.
#pragma once
#include "catalogues/clm_form.h"
#include "storage/file_failure.h"
#include "ui/grid.h"

namespace td {

struct Program_State;
class Ui;

class Establishmts {
public:
    static constexpr const char* Caption = "Заправки";

    // With a `ui`, a save that fails says so in a box.
    explicit Establishmts(Program_State& state, Ui* ui = nullptr);

    Grid MSFlexGrid1{1, 2};
    In_Place_Editor Text1;
    bool closed = false;
    int form_width = 7200;

    void Form_Load();
    void MSFlexGrid1_Click() { Text1.Grid_Click(MSFlexGrid1); }
    // Unlike the fuel catalogue, a key only gives the box the focus.
    void MSFlexGrid1_KeyPress() { Text1.focused = true; }
    void Text1_Change(const std::string& text) { Text1.Change(MSFlexGrid1, text); }
    // Writes all sixteen slots with Exists = 1, named or not, then closes. False when the file
    // could not be written: `save_failure` says which and why, the slots before it are written,
    // and the screen stays open.
    bool Command1_Click();
    File_Failure save_failure;
    void Command2_Click() { closed = true; }

private:
    Program_State& state_;
    Ui* ui_;
};

} // namespace td
