#include "storage/records.h"

#include "base/codepage.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

namespace td {

namespace bytes {

void Put_U8(std::uint8_t* at, std::uint8_t v) {
    at[0] = v;
}

void Put_I32(std::uint8_t* at, std::int32_t v) {
    auto u = static_cast<std::uint32_t>(v);
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<std::uint8_t>(u >> (8 * i));
}

void Put_F64(std::uint8_t* at, double v) {
    auto u = std::bit_cast<std::uint64_t>(v);
    for (int i = 0; i < 8; ++i)
        at[i] = static_cast<std::uint8_t>(u >> (8 * i));
}

std::uint8_t Get_U8(const std::uint8_t* at) {
    return at[0];
}

std::int32_t Get_I32(const std::uint8_t* at) {
    std::uint32_t u = 0;
    for (int i = 0; i < 4; ++i)
        u |= static_cast<std::uint32_t>(at[i]) << (8 * i);
    return static_cast<std::int32_t>(u);
}

double Get_F64(const std::uint8_t* at) {
    std::uint64_t u = 0;
    for (int i = 0; i < 8; ++i)
        u |= static_cast<std::uint64_t>(at[i]) << (8 * i);
    return std::bit_cast<double>(u);
}

void Put_Text(std::uint8_t* at, std::size_t width, const std::string& utf8) {
    // Cut after the conversion: the width is in code page bytes, not in UTF-8 bytes.
    std::string encoded = Utf8_To_Cp1251(utf8);
    std::size_t n = std::min(encoded.size(), width);
    std::memcpy(at, encoded.data(), n);
    std::memset(at + n, ' ', width - n);
}

std::string Get_Text(const std::uint8_t* at, std::size_t width) {
    // NUL stays NUL through the conversion, so padding can be blanked after it.
    std::string text = Cp1251_To_Utf8({reinterpret_cast<const char*>(at), width});
    std::replace(text.begin(), text.end(), '\0', ' ');
    return text;
}

} // namespace bytes

namespace {

using namespace bytes;

template <std::size_t N> void Put_Raw(std::uint8_t* at, const std::array<char, N>& raw) {
    std::memcpy(at, raw.data(), N);
}

template <std::size_t N> std::array<char, N> Get_Raw(const std::uint8_t* at) {
    std::array<char, N> raw{};
    std::memcpy(raw.data(), at, N);
    return raw;
}

} // namespace

void Ticket_Record::Set_Serial(const std::string& text) {
    Serial.fill(' ');
    std::memcpy(Serial.data(), text.data(), std::min(text.size(), Serial.size()));
}

// ---- Ticket_Record ---------------------------------------------------------------------------

// The offsets below are the disk layout; the packed struct must match them field by field.
static_assert(offsetof(Ticket_Record, Used) == 0 && offsetof(Ticket_Record, Deleted) == 1 &&
              offsetof(Ticket_Record, Multiuse) == 2 && offsetof(Ticket_Record, Fuel) == 3 &&
              offsetof(Ticket_Record, Volume) == 4 && offsetof(Ticket_Record, Real_Volume) == 8 &&
              offsetof(Ticket_Record, Serial) == 16 && offsetof(Ticket_Record, Company) == 22 &&
              offsetof(Ticket_Record, Sale_Mark) == 26 &&
              offsetof(Ticket_Record, Establishment) == 30 &&
              offsetof(Ticket_Record, Date_Limits) == 34 &&
              offsetof(Ticket_Record, Establishment_Limits) == 35 &&
              offsetof(Ticket_Record, Sell_Date) == 36 &&
              offsetof(Ticket_Record, Validation_Date) == 44 &&
              offsetof(Ticket_Record, Valid_From) == 52 &&
              offsetof(Ticket_Record, Expire_Date) == 60 &&
              offsetof(Ticket_Record, Establishments_Mask) == 68);

void Encode(const Ticket_Record& r, std::uint8_t* out) {
    std::memcpy(out, &r, Ticket_Record_Size);
}

Ticket_Record Decode_Ticket(const std::uint8_t* in) {
    Ticket_Record r;
    std::memcpy(&r, in, Ticket_Record_Size);
    return r;
}

// ---- Number index ----------------------------------------------------------------------------

void Encode(const Z_Header& h, std::uint8_t* out) {
    Put_Raw(out + 0, h.Z_Mark);
    Put_I32(out + 8, h.Z_Count);
}

Z_Header Decode_Z_Header(const std::uint8_t* in) {
    Z_Header h;
    h.Z_Mark = Get_Raw<8>(in + 0);
    h.Z_Count = Get_I32(in + 8);
    return h;
}

void Encode(const Z_Record& r, std::uint8_t* out) {
    Put_Raw(out + 0, r.Serial);
    Put_I32(out + 6, r.Record_No);
    Put_U8(out + 10, r.Used);
    Put_U8(out + 11, r.Deleted);
}

void Encode_Z_Entry(const Ticket_Record& ticket, std::int32_t record_no, std::uint8_t* out) {
    std::memcpy(out + 0, ticket.Serial.data(), ticket.Serial.size());
    Put_I32(out + 6, record_no);
    Put_U8(out + 10, ticket.Used);
    Put_U8(out + 11, ticket.Deleted);
}

Z_Record Decode_Z_Record(const std::uint8_t* in) {
    Z_Record r;
    r.Serial = Get_Raw<6>(in + 0);
    r.Record_No = Get_I32(in + 6);
    r.Used = Get_U8(in + 10);
    r.Deleted = Get_U8(in + 11);
    return r;
}

// ---- Company_Record --------------------------------------------------------------------------

void Encode(const Company_Record& r, std::uint8_t* out) {
    Put_U8(out + 0, r.Exists);
    Put_Text(out + 1, 5, r.Code);
    Put_Text(out + 6, 5, r.Kind_Code);
    Put_Text(out + 11, 5, r.Group_Code);
    Put_Text(out + 16, 5, r.Subgroup_Code);
    Put_Text(out + 21, 255, r.Name);
}

Company_Record Decode_Company(const std::uint8_t* in) {
    Company_Record r;
    r.Exists = Get_U8(in + 0);
    r.Code = Get_Text(in + 1, 5);
    r.Kind_Code = Get_Text(in + 6, 5);
    r.Group_Code = Get_Text(in + 11, 5);
    r.Subgroup_Code = Get_Text(in + 16, 5);
    r.Name = Get_Text(in + 21, 255);
    return r;
}

bool Company_View::Exists() const {
    return Get_U8(raw_ + 0) == 1;
}

std::string Company_View::Code() const {
    return Get_Text(raw_ + 1, 5);
}

std::string Company_View::Group_Code() const {
    return Get_Text(raw_ + 11, 5);
}

std::string Company_View::Subgroup_Code() const {
    return Get_Text(raw_ + 16, 5);
}

std::string Company_View::Name() const {
    return Get_Text(raw_ + Company_Name_Offset, 255);
}

// ---- Name_Record -----------------------------------------------------------------------------

void Encode(const Name_Record& r, std::uint8_t* out) {
    Put_U8(out + 0, r.Exists);
    Put_Text(out + 1, 255, r.Name);
}

Name_Record Decode_Name(const std::uint8_t* in) {
    Name_Record r;
    r.Exists = Get_U8(in + 0);
    r.Name = Get_Text(in + 1, 255);
    return r;
}

// ---- Fuel_Record -----------------------------------------------------------------------------

void Encode(const Fuel_Record& r, std::uint8_t* out) {
    Put_U8(out + 0, r.Exists);
    Put_Text(out + 1, 32, r.Name);
    Put_F64(out + 33, r.Price);
    Put_F64(out + 41, r.Price_Date);
    Put_U8(out + 49, r.History_Index);
    for (std::size_t i = 0; i < r.Price_History.size(); ++i)
        Put_F64(out + 50 + 8 * i, r.Price_History[i]);
    for (std::size_t i = 0; i < r.Price_Date_History.size(); ++i)
        Put_F64(out + 298 + 8 * i, r.Price_Date_History[i]);
}

Fuel_Record Decode_Fuel(const std::uint8_t* in) {
    Fuel_Record r;
    r.Exists = Get_U8(in + 0);
    r.Name = Get_Text(in + 1, 32);
    r.Price = Get_F64(in + 33);
    r.Price_Date = Get_F64(in + 41);
    r.History_Index = Get_U8(in + 49);
    for (std::size_t i = 0; i < r.Price_History.size(); ++i)
        r.Price_History[i] = Get_F64(in + 50 + 8 * i);
    for (std::size_t i = 0; i < r.Price_Date_History.size(); ++i)
        r.Price_Date_History[i] = Get_F64(in + 298 + 8 * i);
    return r;
}

// ---- User_Volume_Record ----------------------------------------------------------------------

void Encode(const User_Volume_Record& r, std::uint8_t* out) {
    Put_U8(out + 0, r.Exists);
    Put_F64(out + 1, r.Litres);
    std::memcpy(out + 9, r.Reserved_Text.data(), r.Reserved_Text.size());
}

User_Volume_Record Decode_User_Volume(const std::uint8_t* in) {
    User_Volume_Record r;
    r.Exists = Get_U8(in + 0);
    r.Litres = Get_F64(in + 1);
    std::memcpy(r.Reserved_Text.data(), in + 9, r.Reserved_Text.size());
    return r;
}

// ---- Cache_Record ----------------------------------------------------------------------------

void Encode(const Cache_Record& r, std::uint8_t* out) {
    Put_I32(out + 0, r.Cache_Head);
    for (std::size_t i = 0; i < r.Fuel_Total.size(); ++i)
        Put_F64(out + Cache_Record_Totals_Offset + 8 * i, r.Fuel_Total[i]);
}

Cache_Record Decode_Cache(const std::uint8_t* in) {
    Cache_Record r;
    r.Cache_Head = Get_I32(in + 0);
    for (std::size_t i = 0; i < r.Fuel_Total.size(); ++i)
        r.Fuel_Total[i] = Get_F64(in + Cache_Record_Totals_Offset + 8 * i);
    return r;
}

// ---- Cache_User_Record -----------------------------------------------------------------------

void Encode(const Cache_User_Record& r, std::uint8_t* out) {
    Put_U8(out + 0, r.Exists);
    Put_I32(out + 1, r.Company);
    Put_Text(out + 5, 27, r.Name);
}

Cache_User_Record Decode_Cache_User(const std::uint8_t* in) {
    Cache_User_Record r;
    r.Exists = Get_U8(in + 0);
    r.Company = Get_I32(in + 1);
    r.Name = Get_Text(in + 5, 27);
    return r;
}

void Encode_Cache_User_From_Company(std::int32_t company, const std::uint8_t* company_raw,
                                    std::uint8_t* out) {
    Put_U8(out + 0, 1);
    Put_I32(out + 1, company);
    std::memcpy(out + 5, company_raw + Company_Name_Offset, Cache_User_Name_Width);
}

void Mark_Cache_User(std::uint8_t* raw, std::int32_t company, const std::string& name) {
    Put_U8(raw + 0, 1);
    Put_I32(raw + 1, company);
    if (!name.empty())
        Put_Text(raw + 5, Cache_User_Name_Width, name);
}

bool Cache_User_Exists(const std::uint8_t* raw) {
    return Get_U8(raw) == 1;
}

} // namespace td
