#include "catalogues/establishmts.h"

#include "base/ports.h"
#include "base/text.h"
#include "kernel/state.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/reference.h"

#include <vector>

namespace td {

Establishmts::Establishmts(Program_State& state, Ui* ui) : state_(state), ui_(ui) {}

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

bool Establishmts::Command1_Click() {
    Record_File file(state_.Path_Of(state_.settings.Establishments_File), Name_Record_Size);
    std::vector<std::uint8_t> bytes(Name_Record_Size);
    save_failure = File_Failure{};
    for (int i = 1; i <= Station_Slots + 1; ++i) {
        bool written = true;
        if (i <= Station_Slots) {
            Name_Record record;
            record.Exists = 1;
            record.Name = Trim_Text(MSFlexGrid1.Text(i, 1)); // the encoder cuts to 255 bytes
            Encode(record, bytes.data());
            written = file.Write(static_cast<std::uint64_t>(i), bytes.data());
        } else {
            written = file.Sync();
        }
        if (!written) {
            save_failure.Note(false, file.Path(), file.Error());
            if (ui_ != nullptr)
                ui_->Message_Box(Catalogue_Write_Failure_Text(save_failure, i), box::Stop, Caption);
            return false;
        }
    }
    file.Close();
    closed = true;
    return true;
}

} // namespace td
