// Byte layouts: every field at its offset, every record at its size, text in code page 1251.
#include "base/text.h"
#include "storage/records.h"

#include <bit>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td {
namespace {

static_assert(std::endian::native == std::endian::little,
              "the expected bytes below are taken from the host's own layout");

using Bytes = std::vector<std::uint8_t>;

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

Bytes Slice(const Bytes& raw, std::size_t offset, std::size_t length) {
    return Bytes(raw.begin() + offset, raw.begin() + offset + length);
}

Bytes Host_Bytes(const void* value, std::size_t size) {
    Bytes out(size);
    std::memcpy(out.data(), value, size);
    return out;
}
Bytes F64(double v) {
    return Host_Bytes(&v, 8);
}
Bytes I32(std::int32_t v) {
    return Host_Bytes(&v, 4);
}
Bytes Text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}
Bytes Blanks(std::size_t n) {
    return Bytes(n, ' ');
}
Bytes Concat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
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
    Bytes raw = Encode_Checked(t, Ticket_Record_Size);
    EXPECT_EQ(raw[0], 1);
    EXPECT_EQ(raw[1], 2);
    EXPECT_EQ(raw[2], 3);
    EXPECT_EQ(raw[3], 4);
    EXPECT_EQ(Slice(raw, 4, 4), (Bytes{0x08, 0x07, 0x06, 0x05}));
    EXPECT_EQ(Slice(raw, 8, 8), F64(19.75));
    EXPECT_EQ(Slice(raw, 16, 6), Text("123456"));
    EXPECT_EQ(Slice(raw, 22, 4), (Bytes{0x0D, 0x0C, 0x0B, 0x0A}));
    EXPECT_EQ(Slice(raw, 26, 4), (Bytes{1, 0, 0, 0}));
    EXPECT_EQ(Slice(raw, 30, 4), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(raw[34], 0x21);
    EXPECT_EQ(raw[35], 0x22);
    EXPECT_EQ(Slice(raw, 36, 8), F64(45000.0));
    EXPECT_EQ(Slice(raw, 44, 8), F64(45001.5));
    EXPECT_EQ(Slice(raw, 52, 8), F64(44990.0));
    EXPECT_EQ(Slice(raw, 60, 8), F64(45100.0));
    EXPECT_EQ(Slice(raw, 68, 4), (Bytes{0x14, 0x00, 0x01, 0x00}));

    // Every field is pinned above, so decoding is right when it encodes back to the same bytes.
    EXPECT_EQ(Encode_Checked(Decode_Ticket(raw.data()), Ticket_Record_Size), raw);

    // The serial is six bytes: short texts are blank-padded, long ones cut.
    t.Set_Serial("42");
    EXPECT_EQ(t.Serial_Text(), "42    ");
    t.Set_Serial("1234567890");
    EXPECT_EQ(t.Serial_Text(), "123456");
}

TEST(Records, NumberIndexLayouts) {
    ASSERT_EQ(Z_Record_Size, 12u);
    Z_Header h;
    h.Z_Count = 0x01020304;
    Bytes raw = Encode_Checked(h, Z_Record_Size);
    EXPECT_EQ(Slice(raw, 0, 8), Text("TD Hdr12"));
    EXPECT_EQ(Slice(raw, 8, 4), (Bytes{4, 3, 2, 1}));
    Z_Header h_back = Decode_Z_Header(raw.data());
    EXPECT_EQ(std::string(h_back.Z_Mark.data(), 8), "TD Hdr12");
    EXPECT_EQ(h_back.Z_Count, 0x01020304);

    Z_Record z;
    z.Serial = {'0', '0', '7', '0', '0', '9'};
    z.Record_No = 123456789;
    z.Used = 1;
    z.Deleted = 2;
    raw = Encode_Checked(z, Z_Record_Size);
    EXPECT_EQ(Slice(raw, 0, 6), Text("007009"));
    EXPECT_EQ(Slice(raw, 6, 4), I32(123456789));
    EXPECT_EQ(raw[10], 1);
    EXPECT_EQ(raw[11], 2);
    Z_Record z_back = Decode_Z_Record(raw.data());
    EXPECT_EQ(z_back.Serial, z.Serial);
    EXPECT_EQ(z_back.Record_No, 123456789);
    EXPECT_EQ(z_back.Used, 1);
    EXPECT_EQ(z_back.Deleted, 2);
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
    EXPECT_EQ(raw[0], 1);
    EXPECT_EQ(Slice(raw, 1, 5), Text("A1   "));
    EXPECT_EQ(Slice(raw, 6, 5), Text("1    "));
    EXPECT_EQ(Slice(raw, 11, 5), Text("12345"));
    EXPECT_EQ(Slice(raw, 16, 5), Text("000  "));
    // "ООО Рома" in code page 1251, one byte a letter, then blanks to the end of the record.
    const Bytes name = {0xCE, 0xCE, 0xCE, ' ', 0xD0, 0xEE, 0xEC, 0xE0};
    EXPECT_EQ(Slice(raw, 21, 255), Concat(name, Blanks(255 - name.size())));

    Company_Record back = Decode_Company(raw.data());
    EXPECT_EQ(back.Exists, 1);
    EXPECT_EQ(back.Code, "A1   ");
    EXPECT_EQ(back.Kind_Code, "1    ");
    EXPECT_EQ(back.Group_Code, "12345");
    EXPECT_EQ(back.Subgroup_Code, "000  ");
    EXPECT_EQ(back.Name.size(), std::string("ООО Рома").size() + 247);
    EXPECT_EQ(Trim_Text(back.Name), "ООО Рома");

    // A code longer than its field is cut to five bytes.
    c.Code = "1234567";
    raw = Encode_Checked(c, Company_Record_Size);
    EXPECT_EQ(Slice(raw, 1, 5), Text("12345"));
    EXPECT_EQ(raw[6], '1');
}

TEST(Records, CompanyViewReadsEachFieldAtItsOffset) {
    // Written by hand: Exists, Code "42", Kind_Code "K", Group_Code "7" padded with zero bytes,
    // Subgroup_Code "000", Name "Рома" in code page 1251 followed by zero bytes.
    Bytes raw(Company_Record_Size, 0);
    raw[0] = 1;
    raw[1] = '4';
    raw[2] = '2';
    raw[3] = raw[4] = raw[5] = ' ';
    raw[6] = 'K';
    raw[11] = '7';
    raw[16] = raw[17] = raw[18] = '0';
    raw[19] = raw[20] = ' ';
    raw[21] = 0xD0;
    raw[22] = 0xEE;
    raw[23] = 0xEC;
    raw[24] = 0xE0;
    Company_View view(raw.data());
    EXPECT_TRUE(view.Exists());
    EXPECT_EQ(view.Code(), "42   ");
    EXPECT_EQ(view.Group_Code(), "7    ");
    EXPECT_EQ(view.Subgroup_Code(), "000  ");
    EXPECT_EQ(view.Name(), "Рома" + std::string(251, ' '));

    // The view reads what the full decoder reads, a letter of the code page in a code included.
    raw[2] = 0xC1; // "Б"
    raw[12] = 0xC1;
    raw[20] = 0xC1;
    view = Company_View(raw.data());
    const Company_Record full = Decode_Company(raw.data());
    EXPECT_EQ(view.Code(), "4Б   ");
    EXPECT_EQ(view.Code(), full.Code);
    EXPECT_EQ(view.Group_Code(), "7Б   ");
    EXPECT_EQ(view.Group_Code(), full.Group_Code);
    EXPECT_EQ(view.Subgroup_Code(), "000 Б");
    EXPECT_EQ(view.Subgroup_Code(), full.Subgroup_Code);
    EXPECT_EQ(view.Name(), full.Name);

    // Exists means a first byte of exactly 1.
    raw[0] = 0;
    EXPECT_FALSE(Company_View(raw.data()).Exists());
    raw[0] = 2;
    EXPECT_FALSE(Company_View(raw.data()).Exists());
}

TEST(Records, NameRecordLayoutCutsAfterConversion) {
    ASSERT_EQ(Name_Record_Size, 256u);
    std::string long_name;
    for (int i = 0; i < 300; ++i)
        long_name += (i % 2 == 0) ? "Я" : "ж";
    Name_Record n;
    n.Exists = 1;
    n.Name = long_name;
    Bytes raw = Encode_Checked(n, Name_Record_Size);
    EXPECT_EQ(raw[0], 1);
    for (std::size_t i = 0; i < 255; ++i)
        ASSERT_EQ(raw[1 + i], i % 2 == 0 ? 0xDF : 0xE6) << "byte " << i;
    Name_Record back = Decode_Name(raw.data());
    std::string first_255;
    for (int i = 0; i < 255; ++i)
        first_255 += (i % 2 == 0) ? "Я" : "ж";
    EXPECT_EQ(back.Name, first_255);

    // 200 Cyrillic letters are 400 bytes of UTF-8 but 200 on disk: they fit whole.
    std::string name_200;
    for (int i = 0; i < 200; ++i)
        name_200 += "ю";
    n.Name = name_200;
    raw = Encode_Checked(n, Name_Record_Size);
    back = Decode_Name(raw.data());
    EXPECT_EQ(back.Name, name_200 + std::string(55, ' '));
    EXPECT_EQ(Trim_Text(back.Name), name_200);

    // A never-written slot is all zeros: it reads as a free slot with a blank name.
    Bytes zeros(Name_Record_Size, 0);
    back = Decode_Name(zeros.data());
    EXPECT_EQ(back.Exists, 0);
    EXPECT_EQ(back.Name, std::string(255, ' '));
    EXPECT_EQ(Trim_Text(back.Name), "");
}

TEST(Records, FuelRecordLayout) {
    ASSERT_EQ(Fuel_Record_Size, 546u);
    Fuel_Record f;
    f.Exists = 1;
    f.Name = "Дизельное топливо зимнее арктическое"; // 36 letters: cut to 32
    f.Price = 54.25;
    f.Price_Date = 45000.0;
    f.History_Index = 30;
    for (int i = 0; i < 31; ++i) {
        f.Price_History[i] = 40.0 + i * 0.5;
        f.Price_Date_History[i] = 44000.0 + i;
    }
    Bytes raw = Encode_Checked(f, Fuel_Record_Size);
    EXPECT_EQ(raw[0], 1);
    EXPECT_EQ(raw[1], 0xC4);  // "Д"
    EXPECT_EQ(raw[32], 0xE5); // the 32nd letter, "е" of "арктическое"
    EXPECT_EQ(Slice(raw, 33, 8), F64(54.25));
    EXPECT_EQ(Slice(raw, 41, 8), F64(45000.0));
    EXPECT_EQ(raw[49], 30);
    for (int i = 0; i < 31; ++i) {
        EXPECT_EQ(Slice(raw, 50 + 8 * i, 8), F64(40.0 + i * 0.5)) << i;
        EXPECT_EQ(Slice(raw, 298 + 8 * i, 8), F64(44000.0 + i)) << i;
    }
    Fuel_Record back = Decode_Fuel(raw.data());
    EXPECT_EQ(back.Name, "Дизельное топливо зимнее арктиче");
    EXPECT_EQ(back.Price, 54.25);
    EXPECT_EQ(back.Price_Date, 45000.0);
    EXPECT_EQ(back.History_Index, 30);
    EXPECT_EQ(back.Price_History, f.Price_History);
    EXPECT_EQ(back.Price_Date_History, f.Price_Date_History);
}

TEST(Records, UserVolumeAndCacheLayouts) {
    ASSERT_EQ(User_Volume_Record_Size, 16u);
    User_Volume_Record u;
    u.Exists = 1;
    u.Litres = 37.5;
    Bytes raw = Encode_Checked(u, User_Volume_Record_Size);
    EXPECT_EQ(raw[0], 1);
    EXPECT_EQ(Slice(raw, 1, 8), F64(37.5));
    EXPECT_EQ(Slice(raw, 9, 7), Bytes(7, 0));
    EXPECT_EQ(Decode_User_Volume(raw.data()).Litres, 37.5);

    ASSERT_EQ(Cache_Record_Size, 84u);
    Cache_Record c;
    c.Cache_Head = 0x7F000001;
    for (int i = 0; i < 10; ++i)
        c.Fuel_Total[i] = 1000.0 * (i + 1) + 0.25;
    raw = Encode_Checked(c, Cache_Record_Size);
    EXPECT_EQ(Slice(raw, 0, 4), (Bytes{0x01, 0x00, 0x00, 0x7F}));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(Slice(raw, 4 + 8 * i, 8), F64(1000.0 * (i + 1) + 0.25)) << i;
    Cache_Record c_back = Decode_Cache(raw.data());
    EXPECT_EQ(c_back.Cache_Head, 0x7F000001);
    EXPECT_EQ(c_back.Fuel_Total, c.Fuel_Total);

    ASSERT_EQ(Cache_User_Record_Size, 32u);
    Cache_User_Record cu;
    cu.Exists = 1;
    cu.Company = 16384;
    cu.Name = "Общество с ограниченной ответственностью";
    raw = Encode_Checked(cu, Cache_User_Record_Size);
    EXPECT_EQ(raw[0], 1);
    EXPECT_EQ(Slice(raw, 1, 4), (Bytes{0x00, 0x40, 0x00, 0x00}));
    EXPECT_EQ(raw[5], 0xCE); // "О"
    Cache_User_Record cu_back = Decode_Cache_User(raw.data());
    EXPECT_EQ(cu_back.Company, 16384);
    EXPECT_EQ(cu_back.Name, "Общество с ограниченной отв"); // 27 letters
}

} // namespace
} // namespace td
