#include "catalogues/establishmts.h"

#include "base/text.h"
#include "kernel/state.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/reference.h"

#include <vector>

namespace td {

Establishmts::Establishmts(Program_State& state) : state_(state) {}

void Establishmts::Form_Load() {
    MSFlexGrid1.Set_Rows(1);
    MSFlexGrid1.Set_Text(0, 0, "№№");
    MSFlexGrid1.Set_Text(0, 1, "Наименование заправок");
    MSFlexGrid1.Set_Column_Width(1, form_width);
    std::vector<Name_Record> names =
        Read_Name_Records(state_.Path_Of(state_.settings.Establishments_File), Station_Slots);
    for (int i = 1; i <= Station_Slots; ++i) {
        MSFlexGrid1.Add_Item(std::to_string(i));
        MSFlexGrid1.Set_Text(i, 1, Trim_Text(names[static_cast<std::size_t>(i - 1)].Name));
    }
}

void Establishmts::Command1_Click() {
    Record_File file(state_.Path_Of(state_.settings.Establishments_File), Name_Record_Size);
    std::vector<std::uint8_t> bytes(Name_Record_Size);
    for (int i = 1; i <= Station_Slots; ++i) {
        Name_Record record;
        record.Exists = 1;
        record.Name = Trim_Text(MSFlexGrid1.Text(i, 1)); // the encoder cuts to 255 bytes
        Encode(record, bytes.data());
        file.Write(static_cast<std::uint64_t>(i), bytes.data());
    }
    file.Close();
    closed = true;
}

} // namespace td
