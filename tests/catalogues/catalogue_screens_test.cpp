// The fuel, station and user volume catalogues, driven headless on a temporary data folder.
#include "base/text.h"
#include "catalogues/clm_form.h"
#include "catalogues/establishmts.h"
#include "catalogues/usr_vol.h"
#include "storage/cache_fixture.h"
#include "storage/file_failure.h"
#include "storage/record_file.h"
#include "storage/reference.h"
#include "support/reference_writers.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace td::test {
namespace {

// Code page 1251 of the few Cyrillic words below, written out so that the expected bytes don't
// come from the converter under test.
const Bytes Diesel_1251 = {0xC4, 0xE8, 0xE7, 0xE5, 0xEB, 0xFC}; // "Дизель"

double F64_At(const Bytes& file, std::size_t at) {
    return bytes::Get_F64(file.data() + at);
}

class Catalogue_Test : public Data_Folder_Test {
protected:
    void Write_Fuel(int slot, const std::string& name, double price, double date) {
        Fuel_Record record;
        record.Exists = 1;
        record.Name = name;
        record.Price = price;
        record.Price_Date = date;
        Bytes bytes(Fuel_Record_Size);
        Encode(record, bytes.data());
        Record_File file(Path("Fuel.dat"), Fuel_Record_Size);
        ASSERT_TRUE(file.Write(static_cast<std::uint64_t>(slot), bytes.data()));
    }
    // Saves the fuel screen once with the given price text in slot 1.
    bool Save_Fuel_Price(const std::string& price) {
        CLM_Form form(state, ui, clock);
        form.Form_Load();
        form.MSFlexGrid1.Set_Text(1, 0, "Дизель");
        form.MSFlexGrid1.Set_Text(1, 1, price);
        return form.Command1_Click();
    }
    bool Save_Volumes(const std::vector<std::string>& cells) {
        Usr_Vol form(state, ui);
        form.Form_Load();
        form.MSFlexGrid1.Set_Rows(static_cast<int>(cells.size()) + 1);
        for (std::size_t i = 0; i < cells.size(); ++i)
            form.MSFlexGrid1.Set_Text(static_cast<int>(i) + 1, 1, cells[i]);
        bool finished = form.Command2_Click();
        EXPECT_EQ(form.closed, finished);
        return finished;
    }
};

// ---- fuel grades ------------------------------------------------------------------------------

TEST_F(Catalogue_Test, FuelSaveWritesEightSlotsOnTheMachineDate) {
    const double old_date = Date_Serial(2023, 5, 1);
    Write_Fuel(2, "  АИ-92 ", 40.5, old_date);
    Write_Fuel(4, "", 77, old_date); // a price without a name is not shown

    CLM_Form form(state, ui, clock);
    form.Form_Load();
    EXPECT_EQ(form.MSFlexGrid1.Text(0, 0), "ГСМ");
    EXPECT_EQ(form.MSFlexGrid1.Text(0, 1), "Стоимость 1 л ГСМ");
    EXPECT_EQ(form.MSFlexGrid1.Rows(), 9);
    EXPECT_EQ(form.MSFlexGrid1.Column_Width(1), form.form_width / 2 - 100);
    EXPECT_EQ(form.MSFlexGrid1.Text(2, 0), "АИ-92");
    EXPECT_EQ(form.MSFlexGrid1.Text(2, 1), "40,5");
    EXPECT_EQ(form.MSFlexGrid1.Text(4, 1), "");

    form.MSFlexGrid1.Set_Text(1, 0, "  Дизель  ");
    form.MSFlexGrid1.Set_Text(1, 1, " 12,50 ");
    form.MSFlexGrid1.Set_Text(3, 0, "Газ");
    form.MSFlexGrid1.Set_Text(3, 1, "12.50 руб");
    state.Current_Date = Date_Serial(2020, 1, 1); // the working date plays no part
    ASSERT_TRUE(form.Command1_Click());
    EXPECT_TRUE(form.closed);
    EXPECT_TRUE(ui.boxes.empty());

    Bytes file = File_Bytes("Fuel.dat");
    ASSERT_EQ(file.size(), 8u * 546);
    for (int slot = 0; slot < 8; ++slot) {
        const std::size_t at = static_cast<std::size_t>(slot) * 546;
        EXPECT_EQ(file[at], 1) << slot;                        // Exists, named or not
        EXPECT_EQ(F64_At(file, at + 41), clock.today) << slot; // Price_Date
        EXPECT_EQ(file[at + 49], 1) << slot;                   // History_Index
    }
    EXPECT_EQ(Bytes(file.begin() + 1, file.begin() + 7), Diesel_1251);
    EXPECT_EQ(Bytes(file.begin() + 7, file.begin() + 33), Bytes(26, ' '));
    EXPECT_EQ(F64_At(file, 33), 12.5);
    EXPECT_EQ(F64_At(file, 2 * 546 + 33), 12.5); // the point gives the same price
    // Slot 2 kept its price; its history took the old price and old date.
    EXPECT_EQ(F64_At(file, 546 + 33), 40.5);
    EXPECT_EQ(F64_At(file, 546 + 50), 40.5);
    EXPECT_EQ(F64_At(file, 546 + 298), old_date);
    // Slot 4 had no name: its hidden price went to 0 and into the history.
    EXPECT_EQ(F64_At(file, 3 * 546 + 33), 0.0);
    EXPECT_EQ(F64_At(file, 3 * 546 + 50), 77.0);
}

TEST_F(Catalogue_Test, ClearingAGradeNameEmptiesTheSlot) {
    Write_Fuel(3, "АИ-95", 45, 0);
    CLM_Form form(state, ui, clock);
    form.Form_Load();
    ASSERT_EQ(form.MSFlexGrid1.Text(3, 0), "АИ-95");
    form.MSFlexGrid1.Set_Row(3);
    form.MSFlexGrid1.Set_Col(0);
    form.MSFlexGrid1_Click();
    form.Text1_Change("");
    ASSERT_TRUE(form.Command1_Click());

    EXPECT_EQ(Trim_Text(Read_Fuel_Slots(Path("Fuel.dat"))[2].Name), "");
    CLM_Form again(state, ui, clock);
    again.Form_Load();
    EXPECT_EQ(again.MSFlexGrid1.Text(3, 0), "");
    EXPECT_EQ(again.MSFlexGrid1.Text(3, 1), "");
}

TEST_F(Catalogue_Test, ThirtyFirstSaveKeepsThirtyEntriesAndDropsTheFirst) {
    const double first_date = Date_Serial(2022, 1, 1);
    Write_Fuel(1, "Дизель", 99, first_date);
    for (int save = 1; save <= 31; ++save) {
        clock.today = first_date + save;
        ASSERT_TRUE(Save_Fuel_Price(std::to_string(save)));
        Fuel_Record slot = Read_Fuel_Slots(Path("Fuel.dat"))[0];
        if (save == 30) {
            EXPECT_EQ(slot.History_Index, 30);
            EXPECT_EQ(slot.Price_History[0], 99.0);
            EXPECT_EQ(slot.Price_History[29], 29.0);
        }
    }
    Fuel_Record slot = Read_Fuel_Slots(Path("Fuel.dat"))[0];
    EXPECT_EQ(slot.History_Index, 30);
    EXPECT_EQ(slot.Price, 31.0);
    EXPECT_EQ(slot.Price_Date, first_date + 31);
    for (int j = 0; j < 30; ++j) {
        EXPECT_EQ(slot.Price_History[static_cast<std::size_t>(j)], j + 1.0) << j;
        EXPECT_EQ(slot.Price_Date_History[static_cast<std::size_t>(j)], first_date + j + 1) << j;
    }
    EXPECT_EQ(slot.Price_History[30], 30.0); // the landing place keeps a copy
    // An empty slot is pushed too, every time.
    EXPECT_EQ(Read_Fuel_Slots(Path("Fuel.dat"))[7].History_Index, 30);
}

// A price with a comma that is no number: the run-time conversion failure ends the run (the box
// of the ordinary unhandled failure, no message of the screen's own); the slots before it stay
// written. A lone comma in a volume does the same.
TEST_F(Catalogue_Test, TextsThatDoNotConvertEndTheRunAfterTheRowsBefore) {
    CLM_Form form(state, ui, clock);
    form.Form_Load();
    form.MSFlexGrid1.Set_Text(1, 1, "1,5");
    form.MSFlexGrid1.Set_Text(3, 1, "дорого,1");
    form.MSFlexGrid1.Set_Text(4, 1, "7");
    try {
        form.Command1_Click();
        ADD_FAILURE() << "the save went on";
    } catch (const Process_Ended& ended) {
        EXPECT_EQ(ended.exit_code, 1);
    }
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Run-time error '13':\n\nType mismatch");
    EXPECT_EQ(ui.boxes[0].flags, 0);

    Bytes file = File_Bytes("Fuel.dat");
    ASSERT_EQ(file.size(), 2u * 546); // slots 1 and 2 only
    EXPECT_EQ(F64_At(file, 33), 1.5);
    // Without a comma nothing fails: a word is 0.
    EXPECT_TRUE(Save_Fuel_Price("дорого"));
    EXPECT_EQ(Read_Fuel_Slots(Path("Fuel.dat"))[0].Price, 0.0);

    EXPECT_THROW(Save_Volumes({"35", ",", "45"}), Process_Ended);
    EXPECT_EQ(Read_User_Volumes(Path("UsVol.dat")), std::vector<double>{35});
    EXPECT_EQ(ui.boxes.back().text, "Run-time error '13':\n\nType mismatch");
}

// ---- stations ---------------------------------------------------------------------------------

TEST_F(Catalogue_Test, StationSaveWritesSixteenSlotsWithExistsSet) {
    ASSERT_GT(Add_Name_Record(Path("Establishments.dat"), " Первая "), 0);
    Establishmts form(state);
    form.Form_Load();
    EXPECT_EQ(form.MSFlexGrid1.Text(0, 0), "№№");
    EXPECT_EQ(form.MSFlexGrid1.Text(0, 1), "Наименование заправок");
    ASSERT_EQ(form.MSFlexGrid1.Rows(), 17);
    EXPECT_EQ(form.MSFlexGrid1.Text(16, 0), "16");
    EXPECT_EQ(form.MSFlexGrid1.Text(1, 1), "Первая");

    form.MSFlexGrid1.Set_Text(3, 1, "  AZS-3 ");
    form.MSFlexGrid1.Set_Text(16, 1, std::string(300, 'x'));
    form.Command1_Click();
    EXPECT_TRUE(form.closed);

    Bytes file = File_Bytes("Establishments.dat");
    ASSERT_EQ(file.size(), 16u * 256);
    for (int slot = 0; slot < 16; ++slot)
        EXPECT_EQ(file[static_cast<std::size_t>(slot) * 256], 1) << slot;
    EXPECT_EQ(std::string(file.begin() + 2 * 256 + 1, file.begin() + 2 * 256 + 6), "AZS-3");
    EXPECT_EQ(file[2 * 256 + 6], ' ');
    EXPECT_EQ(Bytes(file.begin() + 256 + 1, file.begin() + 512), Bytes(255, ' ')); // blank
    EXPECT_EQ(Bytes(file.begin() + 15 * 256 + 1, file.end()), Bytes(255, 'x'));    // cut
}

// ---- user volumes -----------------------------------------------------------------------------

// Letters, three characters at most and the padding on leaving are driven through the view in
// tests/qt; here the point, Enter's rounding, and the rows Backspace removes.
TEST_F(Catalogue_Test, VolumeKeyTable) {
    Usr_Vol form(state, ui);
    form.Form_Load();
    Grid& grid = form.MSFlexGrid1;
    EXPECT_EQ(grid.Text(0, 0), "Номер");
    EXPECT_EQ(grid.Text(0, 1), "Литраж");
    for (int key : {'2', '.', '5'})
        form.MSFlexGrid1_KeyPress(key);
    form.MSFlexGrid1_KeyPress(Usr_Vol::Key_Enter);
    EXPECT_EQ(grid.Text(1, 1), "3");
    ASSERT_EQ(grid.Rows(), 3);
    EXPECT_EQ(grid.Row(), 2);

    // Enter on an empty cell gives 0 and no new row.
    form.MSFlexGrid1_KeyPress(Usr_Vol::Key_Enter);
    EXPECT_EQ(grid.Text(2, 1), "0");
    EXPECT_EQ(grid.Rows(), 3);
    form.MSFlexGrid1_KeyPress(Usr_Vol::Key_Backspace);
    form.MSFlexGrid1_KeyPress(Usr_Vol::Key_Backspace); // an empty row below row 1 goes
    EXPECT_EQ(grid.Rows(), 2);
    EXPECT_EQ(grid.Row(), 1);
    form.MSFlexGrid1_KeyPress(Usr_Vol::Key_Backspace);
    form.MSFlexGrid1_KeyPress(Usr_Vol::Key_Backspace); // row 1 stays
    EXPECT_EQ(grid.Text(1, 1), "");
    EXPECT_EQ(grid.Rows(), 2);
}

TEST_F(Catalogue_Test, VolumeSaveSkipsStandardDeclaredAndEmpty) {
    ASSERT_TRUE(Save_Volumes({"50", "100", "60,0", ""}));
    EXPECT_EQ(File_Bytes("UsVol.dat").size(), 0u); // standard volumes are never declared

    ASSERT_TRUE(Save_Volumes({"35", "35"}));
    ASSERT_TRUE(Save_Volumes({"35", "2,5"}));
    Bytes file = File_Bytes("UsVol.dat");
    ASSERT_EQ(file.size(), 32u);
    Bytes expected(32, 0);
    expected[0] = 1;
    Put(expected, 1, 35.0);
    expected[16] = 1;
    Put(expected, 17, 2.5);
    EXPECT_EQ(file, expected);
    EXPECT_EQ(Read_User_Volumes(Path("UsVol.dat")), (std::vector<double>{35.0, 2.5}));

    // A volume declared behind a hole is still found: 36 takes the hole, 2,5 is not added again.
    file[0] = 0;
    Write_All_Bytes(Path("UsVol.dat"), file);
    ASSERT_TRUE(Save_Volumes({"2,5", "36"}));
    file = File_Bytes("UsVol.dat");
    EXPECT_EQ(file[0], 1);
    EXPECT_EQ(F64_At(file, 1), 36.0);
    EXPECT_EQ(F64_At(file, 17), 2.5);
    EXPECT_EQ(file.size(), 32u);
}

TEST_F(Catalogue_Test, TheTwoHundredFirstVolumeGivesTheLimitMessage) {
    std::vector<double> litres;
    for (int i = 1; i <= 199; ++i)
        litres.push_back(100.0 + i);
    ASSERT_TRUE(Write_User_Volumes(Path("UsVol.dat"), litres));
    EXPECT_FALSE(Save_Volumes({"35", "36", "37"}));
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "В силу архитектурных особенностей - невозможно задать более 200 "
                                "пользовательских литражей!");
    EXPECT_EQ(ui.boxes[0].title, "Ошибка");
    EXPECT_EQ(ui.boxes[0].flags, 16);
    std::vector<double> on_file = Read_User_Volumes(Path("UsVol.dat"));
    ASSERT_EQ(on_file.size(), 200u);
    EXPECT_EQ(on_file.back(), 35.0); // the row before the limit is written
    EXPECT_EQ(File_Bytes("UsVol.dat").size(), 200u * 16);
}

// ---- files that can't be written ------------------------------------------------------------

TEST_F(Catalogue_Test, SavesIntoAFileThatCantBeWrittenSayWhichAndWhy) {
    // The fuel file is a folder: nothing can be read or written, the screen stays open.
    ASSERT_TRUE(std::filesystem::create_directory(Path("Fuel.dat")));
    EXPECT_FALSE(Save_Fuel_Price("12,5"));
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Не удалось записать файл " + Path("Fuel.dat") +
                                    ": Is a directory. Сохранены только строки до 1-й.");
    EXPECT_EQ(ui.boxes[0].flags, 16);
    EXPECT_EQ(ui.boxes[0].title, "Справочник ГСМ");

    // The stations file is a FIFO: refused at once, not waited on.
    ASSERT_EQ(::mkfifo(Path("Establishments.dat").c_str(), 0644), 0);
    Establishmts stations(state, &ui);
    stations.Form_Load();
    stations.MSFlexGrid1.Set_Text(3, 1, "Новая");
    EXPECT_FALSE(stations.Command1_Click());
    EXPECT_FALSE(stations.closed);
    EXPECT_EQ(stations.save_failure.path, Path("Establishments.dat"));
    EXPECT_EQ(stations.save_failure.error, Not_A_Regular_File);
    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_EQ(ui.boxes[1].text, "Не удалось записать файл " + Path("Establishments.dat") +
                                    ": Not a regular file. Сохранены только строки до 1-й.");
    EXPECT_EQ(ui.boxes[1].title, "Заправки");

    // The volume file fills the disk on the second new volume: the first stays written.
    record_file_hook::Write_Budget = User_Volume_Record_Size;
    EXPECT_FALSE(Save_Volumes({"35", "45"}));
    record_file_hook::Write_Budget = -1;
    EXPECT_EQ(Read_User_Volumes(Path("UsVol.dat")), std::vector<double>{35});
    ASSERT_EQ(ui.boxes.size(), 3u);
    EXPECT_EQ(ui.boxes[2].text, "Не удалось записать файл " + Path("UsVol.dat") +
                                    ": No space left on device. Сохранены только строки до 2-й.");
    EXPECT_EQ(ui.boxes[2].title, "Новая серия талонов по литражу");
}

} // namespace
} // namespace td::test
