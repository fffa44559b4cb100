// Byte layouts: every field at its offset, every record at its size, text in code page 1251. (The
// number index, totals and buyer list records are laid out byte for byte by the whole pass's test.)
#include "base/codepage.h"
#include "storage/cache_fixture.h"
#include "storage/records.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td::test {
namespace {

// Encodes twice, over a buffer of zeros and over a buffer of 0xFF, each with a guard behind the
// record: equal results prove that the encoder writes every byte of the record, the untouched
// guard that it writes no more.
template <typename Record> Bytes Encode_Checked(const Record& record, std::size_t size) {
    constexpr std::size_t Guard = 32;
    Bytes over_zeros(size + Guard, 0x00);
    Bytes over_ones(size + Guard, 0xFF);
    Encode(record, over_zeros.data());
    Encode(record, over_ones.data());
    for (std::size_t i = size; i < size + Guard; ++i) {
        EXPECT_EQ(over_zeros[i], 0x00) << "written past the record at " << i;
        EXPECT_EQ(over_ones[i], 0xFF) << "written past the record at " << i;
    }
    over_zeros.resize(size);
    over_ones.resize(size);
    EXPECT_EQ(over_zeros, over_ones) << "some byte of the record is left unwritten";
    return over_zeros;
}

Bytes F64(double v) {
    Bytes out(8);
    std::memcpy(out.data(), &v, 8);
    return out;
}
Bytes Text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

TEST(Records, TicketRecordLayout) {
    Ticket_Record t;
    t.Used = 1;
    t.Deleted = 2;
    t.Multiuse = 3;
    t.Fuel = 4;
    t.Volume = 0x05060708;
    t.Real_Volume = 19.75;
    t.Set_Serial("123456");
    t.Company = 0x0A0B0C0D;
    t.Sale_Mark = 1;
    t.Establishment = -2;
    t.Date_Limits = 0x21;
    t.Establishment_Limits = 0x22;
    t.Sell_Date = 45000.0;
    t.Validation_Date = 45001.5;
    t.Valid_From = 44990.0;
    t.Expire_Date = 45100.0;
    t.Establishments_Mask = 65536 + 4 + 16;

    ASSERT_EQ(Ticket_Record_Size, 72u);
    const Bytes raw = Encode_Checked(t, Ticket_Record_Size);
    // Flags and fuel at 0-3, volume at 4, real volume at 8, serial at 16, company at 22, sale mark
    // at 26, station at 30, limits at 34 and 35, the four dates from 36, the station mask at 68.
    EXPECT_EQ(raw, Join({{1, 2, 3, 4, 0x08, 0x07, 0x06, 0x05},
                         F64(19.75),
                         Text("123456"),
                         {0x0D, 0x0C, 0x0B, 0x0A, 1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 0x21, 0x22},
                         F64(45000.0),
                         F64(45001.5),
                         F64(44990.0),
                         F64(45100.0),
                         {0x14, 0x00, 0x01, 0x00}}));

    // Every field is pinned above, so decoding is right when it encodes back to the same bytes.
    EXPECT_EQ(Encode_Checked(Decode_Ticket(raw.data()), Ticket_Record_Size), raw);

    // The serial is six bytes: short texts are blank-padded, long ones cut.
    t.Set_Serial("42");
    EXPECT_EQ(t.Serial_Text(), "42    ");
    t.Set_Serial("1234567890");
    EXPECT_EQ(t.Serial_Text(), "123456");
}

TEST(Records, CompanyRecordLayoutAndCyrillicName) {
    ASSERT_EQ(Company_Record_Size, 276u);
    Company_Record c;
    c.Exists = 1;
    c.Code = "A1";
    c.Kind_Code = "1";
    c.Group_Code = "12345";
    c.Subgroup_Code = "000";
    c.Name = "ООО Рома";
    Bytes raw = Encode_Checked(c, Company_Record_Size);
    // The four codes of five bytes from 1, then "ООО Рома" in code page 1251, one byte a letter,
    // and blanks to the end of the record.
    EXPECT_EQ(raw, Join({{1},
                         Text("A1   1    12345000  "),
                         {0xCE, 0xCE, 0xCE, ' ', 0xD0, 0xEE, 0xEC, 0xE0},
                         Bytes(255 - 8, ' ')}));

    Company_Record back = Decode_Company(raw.data());
    EXPECT_EQ(back.Exists, 1);
    EXPECT_EQ(back.Code, "A1   ");
    EXPECT_EQ(back.Kind_Code, "1    ");
    EXPECT_EQ(back.Group_Code, "12345");
    EXPECT_EQ(back.Subgroup_Code, "000  ");
    EXPECT_EQ(back.Name, "ООО Рома" + std::string(247, ' '));

    // A code longer than its field is cut to five bytes.
    c.Code = "1234567";
    raw = Encode_Checked(c, Company_Record_Size);
    EXPECT_EQ(Bytes(raw.begin() + 1, raw.begin() + 7), Text("123451"));
}

TEST(Records, CompanyViewReadsEachFieldAtItsOffset) {
    // Written by hand: Exists, Code "42", Kind_Code "K", Group_Code "7" padded with zero bytes,
    // Subgroup_Code "000", Name "Рома" in code page 1251 followed by zero bytes.
    Bytes raw = Join({{1},
                      Text("42   K"),
                      Bytes(4, 0),
                      {'7'},
                      Bytes(4, 0),
                      Text("000  "),
                      {0xD0, 0xEE, 0xEC, 0xE0}});
    raw.resize(Company_Record_Size, 0);
    Company_View view(raw.data());
    EXPECT_TRUE(view.Exists());
    EXPECT_EQ(view.Code(), "42   ");
    EXPECT_EQ(view.Group_Code(), "7    ");
    EXPECT_EQ(view.Subgroup_Code(), "000  ");
    EXPECT_EQ(view.Name(), "Рома" + std::string(251, ' '));

    // The view reads what the full decoder reads, a letter of the code page in a code included.
    raw[2] = raw[12] = raw[20] = 0xC1; // "Б"
    view = Company_View(raw.data());
    const Company_Record full = Decode_Company(raw.data());
    EXPECT_EQ(view.Code(), "4Б   ");
    EXPECT_EQ(view.Group_Code(), "7Б   ");
    EXPECT_EQ(view.Subgroup_Code(), "000 Б");
    EXPECT_EQ(full.Code + full.Group_Code + full.Subgroup_Code + full.Name,
              view.Code() + view.Group_Code() + view.Subgroup_Code() + view.Name());

    // Exists means a first byte of exactly 1.
    for (std::uint8_t exists : {0, 2}) {
        raw[0] = exists;
        EXPECT_FALSE(Company_View(raw.data()).Exists());
    }
}

TEST(Records, NameRecordLayoutCutsAfterConversion) {
    ASSERT_EQ(Name_Record_Size, 256u);
    std::string long_name, first_255;
    Bytes expected{1};
    for (int i = 0; i < 300; ++i) {
        long_name += (i % 2 == 0) ? "Я" : "ж";
        if (i < 255) {
            first_255 += (i % 2 == 0) ? "Я" : "ж";
            expected.push_back(i % 2 == 0 ? 0xDF : 0xE6);
        }
    }
    Name_Record n;
    n.Exists = 1;
    n.Name = long_name;
    Bytes raw = Encode_Checked(n, Name_Record_Size);
    EXPECT_EQ(raw, expected);
    EXPECT_EQ(Decode_Name(raw.data()).Name, first_255);

    // 200 Cyrillic letters are 400 bytes of UTF-8 but 200 on disk: they fit whole.
    std::string name_200;
    for (int i = 0; i < 200; ++i)
        name_200 += "ю";
    n.Name = name_200;
    raw = Encode_Checked(n, Name_Record_Size);
    EXPECT_EQ(Decode_Name(raw.data()).Name, name_200 + std::string(55, ' '));

    // A never-written slot is all zeros: it reads as a free slot with a blank name.
    Bytes zeros(Name_Record_Size, 0);
    const Name_Record back = Decode_Name(zeros.data());
    EXPECT_EQ(back.Exists, 0);
    EXPECT_EQ(back.Name, std::string(255, ' '));
}

TEST(Records, FuelRecordLayout) {
    ASSERT_EQ(Fuel_Record_Size, 546u);
    Fuel_Record f;
    f.Exists = 1;
    f.Name = "Дизельное топливо зимнее арктическое"; // 36 letters: cut to 32
    f.Price = 54.25;
    f.Price_Date = 45000.0;
    f.History_Index = 30;
    Bytes prices, dates;
    for (int i = 0; i < 31; ++i) {
        f.Price_History[i] = 40.0 + i * 0.5;
        f.Price_Date_History[i] = 44000.0 + i;
        prices = Join({prices, F64(40.0 + i * 0.5)});
        dates = Join({dates, F64(44000.0 + i)});
    }
    const Bytes raw = Encode_Checked(f, Fuel_Record_Size);
    // The name at 1, price and its date at 33 and 41, the index at 49, the histories at 50 and 298.
    EXPECT_EQ(raw, Join({{1},
                         Text(Utf8_To_Cp1251("Дизельное топливо зимнее арктиче")),
                         F64(54.25),
                         F64(45000.0),
                         {30},
                         prices,
                         dates}));
    EXPECT_EQ(raw[32], 0xE5); // the 32nd letter, "е" of "арктическое"
    EXPECT_EQ(Decode_Fuel(raw.data()).Name, "Дизельное топливо зимнее арктиче");
    EXPECT_EQ(Encode_Checked(Decode_Fuel(raw.data()), Fuel_Record_Size), raw);
}

TEST(Records, UserVolumeLayout) {
    ASSERT_EQ(User_Volume_Record_Size, 16u);
    User_Volume_Record u;
    u.Exists = 1;
    u.Litres = 37.5;
    Bytes raw = Encode_Checked(u, User_Volume_Record_Size);
    EXPECT_EQ(raw, Join({{1}, F64(37.5), Bytes(7, 0)}));
    EXPECT_EQ(Decode_User_Volume(raw.data()).Litres, 37.5);
}

} // namespace
} // namespace td::test
