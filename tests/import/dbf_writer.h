// dBASE tables laid out byte by byte, and the code pages the tests need, written from the
// format's own rules so that the reader is checked against something it did not produce.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace td::test {

struct Dbf_Field {
    std::string name;
    char type = 'C';
    int width = 10;
    int decimals = 0;
};

struct Dbf_Row {
    std::vector<std::string> cells; // bytes in the table's code page; padded by the writer
    bool deleted = false;
};

// Character fields are blank-padded on the right, numbers aligned on the right, as dBASE writes
// them. `driver` goes to byte 29.
inline std::string Dbf_Bytes(const std::vector<Dbf_Field>& fields, const std::vector<Dbf_Row>& rows,
                             std::uint8_t driver, std::uint8_t version = 0x03) {
    std::size_t record_length = 1;
    for (const Dbf_Field& f : fields)
        record_length += static_cast<std::size_t>(f.width);
    const std::size_t header_length = 32 + 32 * fields.size() + 1;
    std::string out(32, '\0');
    out[0] = static_cast<char>(version);
    out[1] = 124; // 2024
    out[2] = 3;
    out[3] = 15;
    const std::uint32_t count = static_cast<std::uint32_t>(rows.size());
    for (int i = 0; i < 4; ++i)
        out[4 + i] = static_cast<char>((count >> (8 * i)) & 0xFF);
    out[8] = static_cast<char>(header_length & 0xFF);
    out[9] = static_cast<char>(header_length >> 8);
    out[10] = static_cast<char>(record_length & 0xFF);
    out[11] = static_cast<char>(record_length >> 8);
    out[29] = static_cast<char>(driver);
    for (const Dbf_Field& f : fields) {
        std::string descriptor(32, '\0');
        descriptor.replace(0, f.name.size(), f.name);
        descriptor[11] = f.type;
        descriptor[16] = static_cast<char>(f.width & 0xFF);
        descriptor[17] = static_cast<char>(f.type == 'C' ? f.width >> 8 : f.decimals);
        // (a width above 255 puts its high byte where the decimals stand, as some writers do)
        out += descriptor;
    }
    out += '\x0D';
    for (const Dbf_Row& row : rows) {
        out += row.deleted ? '*' : ' ';
        for (std::size_t c = 0; c < fields.size(); ++c) {
            std::string cell = c < row.cells.size() ? row.cells[c] : std::string();
            const std::size_t width = static_cast<std::size_t>(fields[c].width);
            cell.resize(std::min(cell.size(), width));
            if (fields[c].type == 'N' || fields[c].type == 'F')
                out += std::string(width - cell.size(), ' ') + cell;
            else
                out += cell + std::string(width - cell.size(), ' ');
        }
    }
    out += '\x1A';
    return out;
}

// UTF-8 to code points.
inline std::vector<char32_t> Code_Points(const std::string& utf8) {
    std::vector<char32_t> out;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto b = static_cast<unsigned char>(utf8[i]);
        if (b < 0x80) {
            out.push_back(b);
            i += 1;
        } else if ((b & 0xE0) == 0xC0) {
            out.push_back(((b & 0x1F) << 6) | (static_cast<unsigned char>(utf8[i + 1]) & 0x3F));
            i += 2;
        } else {
            out.push_back(((b & 0x0F) << 12) |
                          ((static_cast<unsigned char>(utf8[i + 1]) & 0x3F) << 6) |
                          (static_cast<unsigned char>(utf8[i + 2]) & 0x3F));
            i += 3;
        }
    }
    return out;
}

// Russian letters in code page 866 (А..п from 0x80, р..я from 0xE0, Ё 0xF0, ё 0xF1) or 1251 (А..я
// from 0xC0, Ё 0xA8, ё 0xB8); anything else beyond ASCII is "?".
inline std::string To_Code_Page(const std::string& utf8, bool cp866) {
    std::string out;
    for (char32_t c : Code_Points(utf8)) {
        if (c < 0x80)
            out += static_cast<char>(c);
        else if (c >= 0x410 && c <= 0x44F && cp866)
            out += static_cast<char>(c < 0x440 ? 0x80 + (c - 0x410) : 0xE0 + (c - 0x440));
        else if (c >= 0x410 && c <= 0x44F)
            out += static_cast<char>(0xC0 + (c - 0x410));
        else if (c == 0x401)
            out += cp866 ? '\xF0' : '\xA8';
        else if (c == 0x451)
            out += cp866 ? '\xF1' : '\xB8';
        else
            out += '?';
    }
    return out;
}
inline std::string To_866(const std::string& utf8) {
    return To_Code_Page(utf8, true);
}
inline std::string To_1251(const std::string& utf8) {
    return To_Code_Page(utf8, false);
}

// A company record of 276 bytes as the company file holds it: Exists, then Code, Kind_Code,
// Group_Code and Subgroup_Code of 5 bytes and the name of 255, code page 1251, blank-padded.
inline std::string Company_Bytes(std::uint8_t exists, const std::string& code,
                                 const std::string& kind, const std::string& group,
                                 const std::string& subgroup, const std::string& name_utf8) {
    auto field = [](std::string text, std::size_t width) {
        text.resize(std::min(text.size(), width));
        return text + std::string(width - text.size(), ' ');
    };
    return std::string(1, static_cast<char>(exists)) + field(To_1251(code), 5) +
           field(To_1251(kind), 5) + field(To_1251(group), 5) + field(To_1251(subgroup), 5) +
           field(To_1251(name_utf8), 255);
}

// The usual layout of the buyers' table: code, kind, group code of ten, name of `name_width`.
inline std::vector<Dbf_Field> Buyer_Fields(int name_width = 100) {
    return {{"CODE", 'C', 5}, {"KIND", 'C', 5}, {"GRP", 'C', 10}, {"NAME", 'C', name_width}};
}

} // namespace td::test
