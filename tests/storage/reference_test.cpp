// Reference files: loading stops at the first free slot, adding takes the lowest free slot.
#include "base/text.h"
#include "storage/cache_fixture.h"
#include "storage/file_failure.h"
#include "storage/record_file.h"
#include "storage/reference.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td::test {
namespace {

Bytes Company(std::uint8_t exists, const std::string& name, const std::string& code = "") {
    Company_Record c;
    c.Exists = exists;
    c.Code = code;
    c.Name = name;
    Bytes raw(Company_Record_Size);
    Encode(c, raw.data());
    return raw;
}

Bytes Name(std::uint8_t exists, const std::string& name) {
    Name_Record n;
    n.Exists = exists;
    n.Name = name;
    Bytes raw(Name_Record_Size);
    Encode(n, raw.data());
    return raw;
}

TEST(Reference, CompanyTableLoadsUpToTheFirstFreeSlot) {
    Temp_Folder dir;
    std::vector<Company_Record> table(7);

    // A missing file is created empty by the first open.
    EXPECT_EQ(Load_Company_Table(dir.File("Company_Db.dat"), table), 1);
    EXPECT_EQ(table.size(), 2u);
    EXPECT_TRUE(dir.Exists("Company_Db.dat"));

    Write_All_Bytes(dir.File("three.dat"), Join({Company(1, "Альфа", "1"), Company(1, "Бета", "2"),
                                                 Company(1, "Гамма", "3")}));
    EXPECT_EQ(Load_Company_Table(dir.File("three.dat"), table), 4);
    ASSERT_EQ(table.size(), 4u);
    EXPECT_EQ(table[0].Exists, 0);
    EXPECT_EQ(Trim_Text(table[1].Name), "Альфа");
    EXPECT_EQ(Trim_Text(table[3].Name), "Гамма");
    EXPECT_EQ(Trim_Text(table[3].Code), "3");

    // A hole hides everything behind it.
    Write_All_Bytes(dir.File("hole.dat"), Join({Company(1, "Альфа"), Company(1, "Бета"),
                                                Company(0, "Пусто"), Company(1, "Дельта")}));
    EXPECT_EQ(Load_Company_Table(dir.File("hole.dat"), table), 3);
    EXPECT_EQ(table.size(), 3u);

    // Many records, more than one read's worth.
    std::vector<Bytes> many;
    for (int i = 1; i <= 600; ++i)
        many.push_back(Company(1, "Фирма " + std::to_string(i)));
    Write_All_Bytes(dir.File("many.dat"), Join(many));
    EXPECT_EQ(Load_Company_Table(dir.File("many.dat"), table), 601);
    ASSERT_EQ(table.size(), 601u);
    EXPECT_EQ(Trim_Text(table[600].Name), "Фирма 600");

    // A file cut inside its third record: the part that is there reads, the rest as zeros.
    Bytes ragged = Join({Company(1, "Альфа"), Company(1, "Бета"), Company(1, "Гамма")});
    ragged.resize(2 * Company_Record_Size + 22);
    Write_All_Bytes(dir.File("ragged.dat"), ragged);
    EXPECT_EQ(Load_Company_Table(dir.File("ragged.dat"), table), 4);
    EXPECT_EQ(Trim_Text(table[3].Name), "Г");
}

// Only a slot whose Exists is 0 is free, wherever it lies; any other value is taken (2 is a loaded
// company that tickets may point to). Behind the last record the file grows, a ragged end is
// completed in place, a missing file gets its first record.
TEST(Reference, AddingTakesTheLowestFreeSlot) {
    Temp_Folder dir;
    const std::string towns = dir.File("Towns.dat");
    const Bytes taken = Join({Name(1, "Москва"), Name(2, "Загружена"), Name(255, "Другая"),
                              Name(0, ""), Name(1, "Тверь")});
    Write_All_Bytes(towns, taken);
    EXPECT_EQ(Add_Name_Record(towns, "Тула"), 4);
    EXPECT_EQ(Add_Name_Record(towns, "Калуга"), 6);
    EXPECT_EQ(Read_All_Bytes(towns),
              Join({Bytes(taken.begin(), taken.begin() + 3 * Name_Record_Size), Name(1, "Тула"),
                    Name(1, "Тверь"), Name(1, "Калуга")}));

    Bytes ragged = Name(1, "Москва");
    ragged.resize(Name_Record_Size + 10, 0);
    Write_All_Bytes(dir.File("ragged.dat"), ragged);
    EXPECT_EQ(Add_Name_Record(dir.File("ragged.dat"), "Тула"), 2);
    EXPECT_EQ(Read_All_Bytes(dir.File("ragged.dat")), Join({Name(1, "Москва"), Name(1, "Тула")}));
    EXPECT_EQ(Add_Name_Record(dir.File("Establishments.dat"), "Заправка"), 1);

    // A file that can't be written: no slot, and the failure names the file and the reason.
    std::filesystem::create_directory(dir.File("folder.dat"));
    File_Failure failure;
    EXPECT_EQ(Add_Name_Record(dir.File("folder.dat"), "Тула", &failure), 0);
    EXPECT_EQ(failure.path, dir.File("folder.dat"));
    EXPECT_EQ(failure.error, EISDIR);

    // A company added by hand: Exists and Name, the codes stay empty; slot 2, a company loaded
    // with Exists = 2, is kept.
    const std::string companies = dir.File("Company_Db.dat");
    Write_All_Bytes(companies, Join({Company(1, "Альфа", "7"), Company(2, "Бета", "8")}));
    Company_Record added;
    added.Name = "Компания";
    added.Code = "99";
    EXPECT_EQ(Add_Company_Record(companies, added), 3);
    std::vector<Company_Record> table;
    EXPECT_EQ(Load_Company_Table(companies, table), 4);
    EXPECT_EQ(Trim_Text(table[2].Name), "Бета");
    EXPECT_EQ(table[3].Exists, 1);
    EXPECT_EQ(Trim_Text(table[3].Name), "Компания");
    EXPECT_EQ(Trim_Text(table[3].Code), "");
}

// (The fuel slots, eight whatever the file holds, are listed by tdctl from the fixtures of
// tests/data, a file cut short among them.)
TEST(Reference, UserVolumesAndStationNames) {
    Temp_Folder dir;
    // User volumes end at the first record whose Exists is not 1, and at 200 records.
    auto volume = [](std::uint8_t exists, double litres) {
        User_Volume_Record u;
        u.Exists = exists;
        u.Litres = litres;
        Bytes raw(User_Volume_Record_Size);
        Encode(u, raw.data());
        return raw;
    };
    Write_All_Bytes(dir.File("UsVol.dat"),
                    Join({volume(1, 15), volume(1, 25.5), volume(2, 35), volume(1, 45)}));
    EXPECT_EQ(Read_User_Volumes(dir.File("UsVol.dat")), (std::vector<double>{15, 25.5}));
    std::vector<Bytes> full;
    for (int i = 1; i <= 210; ++i)
        full.push_back(volume(1, i));
    Write_All_Bytes(dir.File("full.dat"), Join(full));
    std::vector<double> volumes = Read_User_Volumes(dir.File("full.dat"));
    ASSERT_EQ(volumes.size(), 200u);
    EXPECT_EQ(volumes.back(), 200.0);

    // Station names come back untrimmed, free slots included.
    Write_All_Bytes(dir.File("st.dat"), Join({Name(1, "АЗС 1"), Name(0, ""), Name(1, "АЗС 3")}));
    std::vector<Name_Record> names = Read_Name_Records(dir.File("st.dat"), 4);
    ASSERT_EQ(names.size(), 4u);
    EXPECT_EQ(names[0].Name.substr(0, std::string("АЗС 1").size() + 1), "АЗС 1 ");
    EXPECT_EQ(Trim_Text(names[2].Name), "АЗС 3");
    EXPECT_EQ(names[3].Exists, 0);
    EXPECT_EQ(names[3].Name, std::string(255, ' '));
}

} // namespace
} // namespace td::test
