#include "kernel/state.h"

namespace td {

std::string Program_State::Path_Of(const std::string& file_name) const {
    return Data_File_Path(Data_Folder, file_name);
}

Program_State& State() {
    static Program_State state;
    return state;
}

void Reset_State() {
    State() = Program_State{};
}

} // namespace td
