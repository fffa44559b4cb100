#include "import/dbf_table.h"

#include "base/codepage.h"
#include "storage/file_failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iconv.h>
#include <shapefil.h>
#include <sys/stat.h>

namespace td {

namespace {

constexpr std::size_t File_Header_Size = 32;
constexpr std::size_t Field_Descriptor_Size = 32;
constexpr std::size_t Driver_Byte = 29;
constexpr std::uint8_t Header_End = 0x0D;

// dBASE III, IV and 5, with or without a memo file beside them.
bool Known_Version(std::uint8_t version) {
    return version == 0x03 || version == 0x83 || version == 0x8B;
}

bool Known_Field_Type(char type) {
    return std::strchr("CNFDLM", type) != nullptr && type != '\0';
}

std::string Hex_Byte(std::uint8_t byte) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", byte);
    return text;
}

// shapelib opens files through hooks; these open the very file the user chose (shapelib itself
// would try only the extensions ".dbf" and ".DBF") and keep its messages off standard error.
thread_local const char* Open_Target = nullptr;
thread_local std::string Library_Message;

SAFile Open_Exact(const char* name, const char* access) {
    const std::size_t length = std::strlen(name);
    const bool table = length >= 4 && (std::strcmp(name + length - 4, ".dbf") == 0 ||
                                       std::strcmp(name + length - 4, ".DBF") == 0);
    // The ".cpg" file is read here, not by the library.
    if (!table || Open_Target == nullptr)
        return nullptr;
    return reinterpret_cast<SAFile>(std::fopen(Open_Target, access));
}

void Keep_Message(const char* message) {
    Library_Message = message;
}

std::string Cp866_To_Utf8(const std::string& bytes) {
    static thread_local iconv_t converter = iconv_open("UTF-8", "CP866");
    if (converter == reinterpret_cast<iconv_t>(-1))
        return bytes;
    std::string out(bytes.size() * 3 + 1, '\0');
    char* in = const_cast<char*>(bytes.data());
    std::size_t in_left = bytes.size();
    char* at = out.data();
    std::size_t out_left = out.size();
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    while (in_left > 0) {
        if (iconv(converter, &in, &in_left, &at, &out_left) == static_cast<std::size_t>(-1)) {
            // Every byte of 866 has a character; should one not convert, it stands as "?".
            *at++ = '?';
            --out_left;
            ++in;
            --in_left;
        }
    }
    out.resize(static_cast<std::size_t>(at - out.data()));
    return out;
}

std::string To_Utf8(const std::string& bytes, Table_Code_Page code_page) {
    switch (code_page) {
    case Table_Code_Page::Cp866:
        return Cp866_To_Utf8(bytes);
    case Table_Code_Page::Cp1251:
        return Cp1251_To_Utf8(bytes);
    case Table_Code_Page::Utf8:
        return bytes;
    }
    return bytes;
}

std::string Trim_Blanks(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The code page a ".cpg" file beside the table names, if any.
bool Code_Page_Of_Cpg(const std::string& table_path, Table_Code_Page& code_page) {
    const std::size_t dot = table_path.find_last_of('.');
    const std::size_t slash = table_path.find_last_of('/');
    const std::string base =
        (dot != std::string::npos && (slash == std::string::npos || dot > slash))
            ? table_path.substr(0, dot)
            : table_path;
    for (const char* extension : {".cpg", ".CPG"}) {
        std::FILE* file = std::fopen((base + extension).c_str(), "rb");
        if (file == nullptr)
            continue;
        char line[64] = {};
        const bool read = std::fgets(line, sizeof line, file) != nullptr;
        std::fclose(file);
        if (!read)
            return false;
        std::string text = line;
        for (char& c : text)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        if (text.find("1251") != std::string::npos)
            code_page = Table_Code_Page::Cp1251;
        else if (text.find("866") != std::string::npos)
            code_page = Table_Code_Page::Cp866;
        else if (text.find("UTF-8") != std::string::npos || text.find("UTF8") != std::string::npos)
            code_page = Table_Code_Page::Utf8;
        else
            return false;
        return true;
    }
    return false;
}

struct Dbf_Closer {
    DBFHandle handle;
    ~Dbf_Closer() {
        if (handle != nullptr)
            DBFClose(handle);
    }
};

} // namespace

bool Code_Page_Of_Driver(std::uint8_t driver, Table_Code_Page& code_page) {
    if (driver == 0x65 || driver == 0x26) {
        code_page = Table_Code_Page::Cp866;
        return true;
    }
    if (driver == 0xC9) {
        code_page = Table_Code_Page::Cp1251;
        return true;
    }
    return false;
}

Table_Code_Page Guess_Code_Page(const std::vector<std::string>& texts) {
    long letters_866 = 0;
    long letters_1251 = 0;
    for (const std::string& text : texts)
        for (char c : text) {
            const auto byte = static_cast<std::uint8_t>(c);
            if (byte < 0x80)
                continue;
            // 866: А..Я 80-9F, а..п A0-AF, р..я E0-EF, Ё ё F0 F1.
            if (byte <= 0xAF || (byte >= 0xE0 && byte <= 0xF1))
                ++letters_866;
            // 1251: А..я C0-FF, Ё A8, ё B8.
            if (byte >= 0xC0 || byte == 0xA8 || byte == 0xB8)
                ++letters_1251;
        }
    return letters_1251 > letters_866 ? Table_Code_Page::Cp1251 : Table_Code_Page::Cp866;
}

bool Dbf_Table::Fail(long number, const std::string& what) {
    failure_ = {path_ + ": " + what, number};
    rows_.clear();
    columns_ = 0;
    return false;
}

bool Dbf_Table::Load(const std::string& path) {
    path_ = path;
    failure_ = {};
    rows_.clear();
    columns_ = 0;

    // The header is checked here first, so that a file that is no table, or one cut short, is
    // named with what is wrong with it rather than with the library's one word.
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
        return Fail(errno, System_Reason(errno));
    if (!S_ISREG(info.st_mode))
        return Fail(Not_A_Regular_File, System_Reason(Not_A_Regular_File));
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return Fail(errno, System_Reason(errno));
    std::uint8_t head[File_Header_Size] = {};
    const std::size_t got = std::fread(head, 1, sizeof head, file);
    std::vector<std::uint8_t> descriptors;
    const std::size_t header_length = head[8] | (head[9] << 8);
    if (got == sizeof head && header_length > File_Header_Size &&
        static_cast<std::uint64_t>(info.st_size) >= header_length) {
        descriptors.resize(header_length - File_Header_Size);
        descriptors.resize(std::fread(descriptors.data(), 1, descriptors.size(), file));
    }
    std::fclose(file);
    if (got < sizeof head)
        return Fail(table_error::Not_A_Table, "not a dBASE table: " + std::to_string(got) +
                                                  " bytes, fewer than a table's header has");
    if (!Known_Version(head[0]))
        return Fail(table_error::Not_A_Table, "not a dBASE table: its first byte is " +
                                                  Hex_Byte(head[0]) +
                                                  ", not that of a dBASE III, IV or 5 table");
    const std::uint64_t count = static_cast<std::uint64_t>(head[4]) | (head[5] << 8) |
                                (head[6] << 16) | (static_cast<std::uint64_t>(head[7]) << 24);
    const std::size_t record_length = head[10] | (head[11] << 8);
    if (header_length < File_Header_Size + Field_Descriptor_Size + 1)
        return Fail(table_error::Not_A_Table, "not a dBASE table: a header of " +
                                                  std::to_string(header_length) +
                                                  " bytes has no room for a field");
    if (descriptors.size() < header_length - File_Header_Size)
        return Fail(table_error::Cut_Short, "cut short: the file ends inside its header of " +
                                                std::to_string(header_length) + " bytes");
    std::size_t fields = 0;
    std::size_t widths = 1; // the deletion flag
    while ((fields + 1) * Field_Descriptor_Size <= descriptors.size() &&
           descriptors[fields * Field_Descriptor_Size] != Header_End) {
        const std::uint8_t* field = descriptors.data() + fields * Field_Descriptor_Size;
        const char type = static_cast<char>(field[11]);
        if (!Known_Field_Type(type))
            return Fail(table_error::Not_A_Table, "not a dBASE table: field " +
                                                      std::to_string(fields + 1) +
                                                      " has the type " + Hex_Byte(field[11]));
        // One byte of width, for every type: the byte after it is the decimals, which some
        // writers use as a high byte of long character fields and others for formatting; the
        // library reads one byte, and so does this check, so that both agree on every table.
        widths += field[16];
        ++fields;
    }
    if (fields == 0 || widths != record_length)
        return Fail(table_error::Not_A_Table,
                    "not a dBASE table: its records of " + std::to_string(record_length) +
                        " bytes disagree with its fields of " + std::to_string(widths));
    const std::uint64_t whole =
        (static_cast<std::uint64_t>(info.st_size) - header_length) / record_length;
    if (whole < count)
        return Fail(table_error::Cut_Short, "cut short: the header counts " +
                                                std::to_string(count) + " rows, the file holds " +
                                                std::to_string(whole) + " whole");

    SAHooks hooks;
    SASetupDefaultHooks(&hooks);
    hooks.FOpen = Open_Exact;
    hooks.Error = Keep_Message;
    Open_Target = path.c_str();
    Library_Message.clear();
    // The library wants a name it can put its extensions on; Open_Exact opens `path` itself.
    Dbf_Closer table{DBFOpenLL("table.dbf", "rb", &hooks)};
    Open_Target = nullptr;
    if (table.handle == nullptr)
        return Fail(table_error::Not_A_Table,
                    "not a dBASE table" +
                        (Library_Message.empty() ? std::string() : ": " + Library_Message));

    const int columns = DBFGetFieldCount(table.handle);
    std::vector<std::size_t> offsets(static_cast<std::size_t>(columns));
    std::vector<std::size_t> sizes(static_cast<std::size_t>(columns));
    std::vector<char> types(static_cast<std::size_t>(columns));
    std::size_t offset = 1;
    for (int c = 0; c < columns; ++c) {
        int width = 0;
        int decimals = 0;
        DBFGetFieldInfo(table.handle, c, nullptr, &width, &decimals);
        const auto at = static_cast<std::size_t>(c);
        offsets[at] = offset;
        sizes[at] = static_cast<std::size_t>(width);
        types[at] = DBFGetNativeFieldType(table.handle, c);
        offset += sizes[at];
    }
    if (offset != record_length)
        return Fail(table_error::Not_A_Table, "not a dBASE table: its fields do not fill a record");

    std::vector<std::vector<std::string>> raw;
    std::vector<std::string> character_texts;
    const int records = DBFGetRecordCount(table.handle);
    raw.reserve(static_cast<std::size_t>(records));
    for (int r = 0; r < records; ++r) {
        const char* tuple = DBFReadTuple(table.handle, r);
        if (tuple == nullptr)
            return Fail(table_error::Cut_Short,
                        "cannot read row " + std::to_string(r + 1) +
                            (Library_Message.empty() ? std::string() : ": " + Library_Message));
        if (tuple[0] == '*')
            continue;
        std::vector<std::string> row(static_cast<std::size_t>(columns));
        for (std::size_t c = 0; c < row.size(); ++c) {
            row[c].assign(tuple + offsets[c], sizes[c]);
            if (types[c] == 'C')
                character_texts.push_back(row[c]);
        }
        raw.push_back(std::move(row));
    }

    if (Code_Page_Of_Driver(head[Driver_Byte], code_page_))
        code_page_from_ = Code_Page_Source::Language_Driver;
    else if (Code_Page_Of_Cpg(path, code_page_))
        code_page_from_ = Code_Page_Source::Cpg_File;
    else {
        code_page_ = Guess_Code_Page(character_texts);
        code_page_from_ = Code_Page_Source::Guess;
    }

    rows_.reserve(raw.size());
    for (std::vector<std::string>& row : raw) {
        for (std::size_t c = 0; c < row.size(); ++c) {
            // A number is shown as its text; the blanks that align it in the field are not part
            // of it.
            if (types[c] == 'N' || types[c] == 'F')
                row[c] = Trim_Blanks(row[c]);
            row[c] = To_Utf8(row[c], code_page_);
        }
        rows_.push_back(std::move(row));
    }
    columns_ = columns;
    return true;
}

std::string Dbf_Table::Text(int row, int column) const {
    if (row < 1 || column < 1 || row > Row_Count() || column > columns_)
        return {};
    return rows_[static_cast<std::size_t>(row - 1)][static_cast<std::size_t>(column - 1)];
}

} // namespace td
