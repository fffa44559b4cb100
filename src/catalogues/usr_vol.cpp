#include "catalogues/usr_vol.h"

#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "catalogues/clm_form.h"
#include "kernel/state.h"
#include "kernel/unhandled.h"
#include "storage/file_failure.h"
#include "storage/record_file.h"
#include "storage/records.h"

#include <array>
#include <cmath>
#include <optional>
#include <vector>

namespace td {

namespace {

// A cell's value: with a comma in the regional format, otherwise its leading number. No value
// when a comma cell does not convert.
std::optional<double> Cell_Value(const std::string& cell) {
    if (cell.find(',') != std::string::npos)
        return Regional_Number(cell);
    return Leading_Number(cell);
}

} // namespace

Usr_Vol::Usr_Vol(Program_State& state, Ui& ui) : state_(state), ui_(ui) {}

void Usr_Vol::Form_Load() {
    MSFlexGrid1.Set_Rows(2);
    MSFlexGrid1.Set_Text(0, 0, "Номер");
    MSFlexGrid1.Set_Text(0, 1, "Литраж");
    MSFlexGrid1.Set_Column_Width(0, grid_width / 2 - 350);
    MSFlexGrid1.Set_Column_Width(1, grid_width / 2 - 350);
    MSFlexGrid1.Set_Text(1, 0, "1");
    MSFlexGrid1.Set_Row(1);
    MSFlexGrid1.Set_Col(1);
}

void Usr_Vol::MSFlexGrid1_KeyPress(int key) {
    Grid& grid = MSFlexGrid1;
    int row = grid.Row();
    std::string cell = grid.Text(row, 1);
    if (key == Key_Backspace) {
        if (cell.empty() && row > 1) {
            grid.Remove_Item(row);
            grid.Set_Row(row - 1);
        } else if (cell.empty()) {
            grid.Set_Text(row, 1, "");
        } else {
            cell.pop_back();
            grid.Set_Text(row, 1, cell);
        }
    } else if (key == Key_Enter) {
        long whole = static_cast<long>(std::floor(Leading_Number(cell) + 0.5));
        grid.Set_Text(row, 1, std::to_string(whole));
        if (whole != 0 && !grid.Text(row, 1).empty()) {
            MSFlexGrid1_LeaveCell();
            grid.Set_Rows(grid.Rows() + 1);
            int added = grid.Rows() - 1;
            grid.Set_Text(added, 0, std::to_string(added));
            grid.Set_Row(added);
            grid.Set_Col(1);
        }
    } else if ((key >= '0' && key <= '9') || key == ',' || key == '.') {
        if (cell.size() < 3)
            grid.Set_Text(row, 1, cell + static_cast<char>(key));
    }
}

void Usr_Vol::MSFlexGrid1_LeaveCell() {
    Grid& grid = MSFlexGrid1;
    if (grid.Col() != 0)
        return;
    std::string text = grid.Text(grid.Row(), 0);
    if (text.size() < 6)
        grid.Set_Text(grid.Row(), 0, std::string(6 - text.size(), '0') + text);
}

bool Usr_Vol::Command2_Click() {
    Record_File file(state_.Path_Of(state_.settings.User_Volume_File), User_Volume_Record_Size);
    std::vector<std::uint8_t> block(Max_User_Volumes * User_Volume_Record_Size);
    auto Slot = [&](int j) {
        return Decode_User_Volume(block.data() +
                                  static_cast<std::size_t>(j - 1) * User_Volume_Record_Size);
    };
    for (int i = 1; i < MSFlexGrid1.Rows(); ++i) {
        std::string cell = Trim_Text(MSFlexGrid1.Text(i, 1));
        if (cell.empty())
            continue;
        std::optional<double> value = Cell_Value(cell);
        // A lone comma or point: the run-time conversion failure, which nobody catches.
        if (!value)
            Unhandled_Failure(ui_, Type_Mismatch_Error, "Type mismatch");
        // The standard volumes are built in and can't be declared.
        bool standard = false;
        for (int j = 1; j <= 10; ++j)
            standard = standard || *value == j * 10.0;
        if (standard)
            continue;

        // All 200 slots are looked at, also behind the end of the list.
        if (!file.Read_Block(1, Max_User_Volumes, block.data()))
            return Save_Failed(file, i);
        bool declared = false;
        for (int j = 1; j <= Max_User_Volumes && !declared; ++j) {
            User_Volume_Record slot = Slot(j);
            declared = slot.Exists == 1 && slot.Litres == *value;
        }
        if (declared)
            continue;

        int free_slot = 0;
        for (int j = 1; j <= Max_User_Volumes && free_slot == 0; ++j)
            if (Slot(j).Exists == 0)
                free_slot = j;
        if (free_slot == 0) {
            file.Close();
            ui_.Message_Box(Limit_Message, box::Stop, "Ошибка");
            return false;
        }
        User_Volume_Record record;
        record.Exists = 1;
        record.Litres = *value;
        std::array<std::uint8_t, User_Volume_Record_Size> bytes{};
        Encode(record, bytes.data());
        if (!file.Write(static_cast<std::uint64_t>(free_slot), bytes.data()) || !file.Sync())
            return Save_Failed(file, i);
    }
    file.Close();
    closed = true;
    return true;
}

bool Usr_Vol::Save_Failed(const Record_File& file, int row) {
    File_Failure failure;
    failure.Note(false, file.Path(), file.Error());
    ui_.Message_Box(Catalogue_Write_Failure_Text(failure, row), box::Stop, Caption);
    return false;
}

} // namespace td
