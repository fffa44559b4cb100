#include "catalogues/clm_form.h"

#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "kernel/state.h"
#include "kernel/unhandled.h"
#include "storage/file_failure.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "storage/reference.h"

#include <optional>

namespace td {

int Edit_Row = 0;
int Edit_Col = 0;

void In_Place_Editor::Grid_Click(const Grid& grid) {
    Edit_Row = grid.Row();
    Edit_Col = grid.Col();
    text = grid.Text(Edit_Row, Edit_Col);
}

void In_Place_Editor::Change(Grid& grid, const std::string& new_text) {
    text = new_text;
    grid.Set_Text(Edit_Row, Edit_Col, text);
}

CLM_Form::CLM_Form(Program_State& state, Ui& ui, Clock& clock)
    : state_(state), ui_(ui), clock_(clock) {}

void CLM_Form::Form_Load() {
    MSFlexGrid1.Set_Text(0, 0, "ГСМ");
    MSFlexGrid1.Set_Text(0, 1, "Стоимость 1 л ГСМ");
    MSFlexGrid1.Set_Column_Width(0, form_width / 2 - 100);
    MSFlexGrid1.Set_Column_Width(1, form_width / 2 - 100);
    std::vector<Fuel_Record> slots = Read_Fuel_Slots(state_.Path_Of(state_.settings.Fuel_File));
    for (int i = 1; i <= Fuel_Slots; ++i) {
        const Fuel_Record& record = slots[static_cast<std::size_t>(i - 1)];
        std::string name = Trim_Text(record.Name);
        MSFlexGrid1.Set_Text(i, 0, name);
        // A slot without a name shows no price, whatever its record holds.
        MSFlexGrid1.Set_Text(i, 1, name.empty() ? "" : Format_Number(record.Price));
    }
}

void CLM_Form::MSFlexGrid1_Click() {
    Text1.Grid_Click(MSFlexGrid1);
}

void CLM_Form::MSFlexGrid1_KeyPress(const std::string& character) {
    Text1.focused = true;
    Text1_Change(character);
    Text1.caret = static_cast<int>(character.size());
}

void CLM_Form::Text1_Change(const std::string& text) {
    Text1.Change(MSFlexGrid1, text);
}

bool CLM_Form::Command1_Click() {
    Record_File file(state_.Path_Of(state_.settings.Fuel_File), Fuel_Record_Size);
    std::vector<std::uint8_t> bytes(Fuel_Record_Size);
    for (int i = 1; i <= Fuel_Slots; ++i) {
        // A slot that can't be read or written ends the save: the user learns which file and
        // why, and the slots before it stay written.
        if (!file.Read(static_cast<std::uint64_t>(i), bytes.data()))
            return Save_Failed(file, i);
        Fuel_Record record = Decode_Fuel(bytes.data());
        record.Exists = 1;
        double old_price = record.Price;
        double old_date = record.Price_Date;

        std::string price_text = Trim_Text(MSFlexGrid1.Text(i, 1));
        if (price_text.find(',') == std::string::npos) {
            record.Price = Leading_Number(price_text);
        } else {
            std::optional<double> price = Regional_Number(price_text);
            // The run-time conversion failure, nobody catches it: the slots before this one
            // stay written, the run ends with the ordinary unhandled failure.
            if (!price)
                Unhandled_Failure(ui_, Type_Mismatch_Error, "Type mismatch");
            record.Price = *price;
        }
        record.Name = Trim_Text(MSFlexGrid1.Text(i, 0)); // the encoder cuts to 32 bytes
        // The machine's date: the working date may lie anywhere.
        record.Price_Date = clock_.Today();

        // A log of saves, not of changes: every slot is pushed every time.
        std::size_t at = record.History_Index;
        if (at > 30)
            at = 30;
        record.Price_History[at] = old_price;
        record.Price_Date_History[at] = old_date;
        int index = static_cast<int>(at) + 1;
        if (index > 30) {
            index = 30;
            for (std::size_t j = 0; j < 30; ++j) {
                record.Price_History[j] = record.Price_History[j + 1];
                record.Price_Date_History[j] = record.Price_Date_History[j + 1];
            }
        }
        record.History_Index = static_cast<std::uint8_t>(index);

        Encode(record, bytes.data());
        if (!file.Write(static_cast<std::uint64_t>(i), bytes.data()))
            return Save_Failed(file, i);
    }
    if (!file.Sync())
        return Save_Failed(file, Fuel_Slots + 1);
    file.Close();
    closed = true;
    return true;
}

bool CLM_Form::Save_Failed(const Record_File& file, int row) {
    File_Failure failure;
    failure.Note(false, file.Path(), file.Error());
    ui_.Message_Box(Catalogue_Write_Failure_Text(failure, row), box::Stop, Caption);
    return false;
}

std::string Catalogue_Write_Failure_Text(const File_Failure& failure, int row) {
    return "Не удалось записать файл " + failure.Text() + ". Сохранены только строки до " +
           std::to_string(row) + "-й.";
}

} // namespace td
