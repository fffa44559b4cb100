// Byte layouts of every record the system keeps on disk. Little-endian, fixed widths, no padding.
// Text fields are code page 1251 on disk, UTF-8 here; encoding cuts to the field's width in bytes
// and pads with blanks; decoding keeps the blanks (callers trim) and reads zero bytes as blanks,
// since a never-written slot is all zeros.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <type_traits>

namespace td {

// ---- Ticket_Record: 72 bytes -----------------------------------------------------------------
// Laid out in memory exactly as on disk (packed, little-endian), so that the ticket table can be
// read straight from the database in large blocks, and a record is encoded by copying its bytes.
// A field can't be bound to a non-const reference: copy it out, change it, assign it back.
struct [[gnu::packed]] Ticket_Record {
    std::uint8_t Used = 0;
    std::uint8_t Deleted = 0;
    std::uint8_t Multiuse = 0;
    std::uint8_t Fuel = 0;
    std::int32_t Volume = 0;
    double Real_Volume = 0.0;
    std::array<char, 6> Serial{}; // raw bytes: six digits, zero-padded
    std::int32_t Company = 0;
    std::int32_t Sale_Mark = 0;
    std::int32_t Establishment = 0;
    std::uint8_t Date_Limits = 0;
    std::uint8_t Establishment_Limits = 0;
    double Sell_Date = 0.0;
    double Validation_Date = 0.0;
    double Valid_From = 0.0;
    double Expire_Date = 0.0;
    std::int32_t Establishments_Mask = 0;

    std::string Serial_Text() const { return std::string(Serial.data(), Serial.size()); }
    // The Deleted mark of a ticket in raw database bytes.
    static bool Raw_Deleted(const std::uint8_t* raw) { return raw[1] != 0; }
    void Set_Serial(const std::string& text); // first six bytes, blank-padded
};
inline constexpr std::size_t Ticket_Record_Size = 72;
static_assert(std::endian::native == std::endian::little, "the record layouts are little-endian");
static_assert(sizeof(Ticket_Record) == Ticket_Record_Size && alignof(Ticket_Record) == 1);
static_assert(std::is_trivially_copyable_v<Ticket_Record>);
void Encode(const Ticket_Record& record, std::uint8_t* out);
Ticket_Record Decode_Ticket(const std::uint8_t* in);

// ---- Number index: Z_Header and Z_Record, 12 bytes each -------------------------------------
struct Z_Header {
    std::array<char, 8> Z_Mark{'T', 'D', ' ', 'H', 'd', 'r', '1', '2'};
    std::int32_t Z_Count = 0;
};
struct Z_Record {
    std::array<char, 6> Serial{};
    std::int32_t Record_No = 0;
    std::uint8_t Used = 0;
    std::uint8_t Deleted = 0;
};
inline constexpr std::size_t Z_Record_Size = 12;
void Encode(const Z_Header& header, std::uint8_t* out);
Z_Header Decode_Z_Header(const std::uint8_t* in);
void Encode(const Z_Record& record, std::uint8_t* out);
Z_Record Decode_Z_Record(const std::uint8_t* in);
// The index entry of a ticket at database record `record_no`, encoded straight from the ticket.
void Encode_Z_Entry(const Ticket_Record& ticket, std::int32_t record_no, std::uint8_t* out);

// ---- Company_Record: 276 bytes --------------------------------------------------------------
struct Company_Record {
    std::uint8_t Exists = 0;
    std::string Code;          // 5
    std::string Kind_Code;     // 5
    std::string Group_Code;    // 5
    std::string Subgroup_Code; // 5
    std::string Name;          // 255
};
inline constexpr std::size_t Company_Record_Size = 276;
void Encode(const Company_Record& record, std::uint8_t* out);
Company_Record Decode_Company(const std::uint8_t* in);
// Where the name starts in a raw company record (code page 1251, blank-padded).
inline constexpr std::size_t Company_Name_Offset = 21;
// A raw company record read one field at a time, for a scan that looks at the codes of every
// record of the file and lists only a few: it converts no more than it shows. Each field reads as
// Decode_Company gives it (blanks kept, zero bytes as blanks). The bytes must outlive the view.
class Company_View {
public:
    explicit Company_View(const std::uint8_t* raw) : raw_(raw) {}
    bool Exists() const; // the Exists byte is 1
    std::string Code() const;
    std::string Group_Code() const;
    std::string Subgroup_Code() const;
    std::string Name() const;

private:
    const std::uint8_t* raw_;
};

// ---- Name_Record (towns, stations): 256 bytes -----------------------------------------------
struct Name_Record {
    std::uint8_t Exists = 0;
    std::string Name; // 255
};
inline constexpr std::size_t Name_Record_Size = 256;
void Encode(const Name_Record& record, std::uint8_t* out);
Name_Record Decode_Name(const std::uint8_t* in);

// ---- Fuel_Record: 546 bytes -----------------------------------------------------------------
struct Fuel_Record {
    std::uint8_t Exists = 0;
    std::string Name; // 32
    double Price = 0.0;
    double Price_Date = 0.0;
    std::uint8_t History_Index = 0;
    std::array<double, 31> Price_History{};
    std::array<double, 31> Price_Date_History{};
};
inline constexpr std::size_t Fuel_Record_Size = 546;
void Encode(const Fuel_Record& record, std::uint8_t* out);
Fuel_Record Decode_Fuel(const std::uint8_t* in);

// ---- User_Volume_Record: 16 bytes -----------------------------------------------------------
struct User_Volume_Record {
    std::uint8_t Exists = 0;
    double Litres = 0.0;
    std::array<std::uint8_t, 7> Reserved_Text{};
};
inline constexpr std::size_t User_Volume_Record_Size = 16;
void Encode(const User_Volume_Record& record, std::uint8_t* out);
User_Volume_Record Decode_User_Volume(const std::uint8_t* in);

// ---- Cache_Record (totals files): 84 bytes --------------------------------------------------
struct Cache_Record {
    std::int32_t Cache_Head = 0;
    std::array<double, 10> Fuel_Total{};
};
inline constexpr std::size_t Cache_Record_Size = 84;
// Where Fuel_Total[0] starts in a raw Cache_Record; the totals follow as 8-byte doubles.
inline constexpr std::size_t Cache_Record_Totals_Offset = 4;
void Encode(const Cache_Record& record, std::uint8_t* out);
Cache_Record Decode_Cache(const std::uint8_t* in);

// ---- Cache_User_Record: 32 bytes ------------------------------------------------------------
struct Cache_User_Record {
    std::uint8_t Exists = 0;
    std::int32_t Company = 0;
    std::string Name; // 27
};
inline constexpr std::size_t Cache_User_Record_Size = 32;
void Encode(const Cache_User_Record& record, std::uint8_t* out);
Cache_User_Record Decode_Cache_User(const std::uint8_t* in);
inline constexpr std::size_t Cache_User_Name_Width = 27;
// A user cache record for `company` whose name is the first 27 bytes of a raw company record's
// name, copied byte for byte (no conversion, as the company file has them).
void Encode_Cache_User_From_Company(std::int32_t company, const std::uint8_t* company_raw,
                                    std::uint8_t* out);
// Changes a raw user cache record in place: Exists = 1 and the company, and the name when `name`
// is not empty; whatever else the record held stays.
void Mark_Cache_User(std::uint8_t* raw, std::int32_t company, const std::string& name);
bool Cache_User_Exists(const std::uint8_t* raw); // Exists = 1

// Exists, the first byte of every reference record (towns, stations, companies, fuels, volumes).
inline std::uint8_t Reference_Exists(const std::uint8_t* raw) {
    return raw[0];
}

// Limits of the format.
inline constexpr int Max_Fuel = 8;
inline constexpr int Max_Volume = 210;
inline constexpr int Max_Companies = 16384;
inline constexpr int Max_Station_Totals = 256;
inline constexpr int Max_User_Volumes = 200;
inline constexpr int Fuel_Slots = 8;
inline constexpr int Station_Slots = 16;

// Low-level helpers shared by the encoders and by whoever builds raw bytes (tests, generators).
namespace bytes {
void Put_U8(std::uint8_t* at, std::uint8_t v);
void Put_I32(std::uint8_t* at, std::int32_t v);
void Put_F64(std::uint8_t* at, double v);
std::uint8_t Get_U8(const std::uint8_t* at);
std::int32_t Get_I32(const std::uint8_t* at);
double Get_F64(const std::uint8_t* at);
// UTF-8 text into a code page 1251 field of `width` bytes: cut to width, blank-padded.
void Put_Text(std::uint8_t* at, std::size_t width, const std::string& utf8);
// A code page 1251 field into UTF-8, zero bytes read as blanks, blanks kept.
std::string Get_Text(const std::uint8_t* at, std::size_t width);
} // namespace bytes

} // namespace td
