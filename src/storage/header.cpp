#include "storage/header.h"

#include "base/numbers.h"
#include "base/text.h"
#include "storage/record_file.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <vector>

namespace td {

namespace {

constexpr const char* Crlf = "\r\n";
constexpr const char* Line_Record_Len = "Record Len: 72";
constexpr const char* Line_Records_Offset = "Records offset: 006";
constexpr const char* Line_Data_Type = "Data type: Tally_depot_DataBase";
constexpr const char* Count_Label = "Amount registered entrys: ";
constexpr const char* Checksum_Label = "Crc is: ";

// Left-pads with "0" to `width`, keeping a sign in front as the number format of the system does.
std::string Zero_Padded(long value, std::size_t width) {
    bool negative = value < 0;
    std::string digits = std::to_string(value);
    if (negative)
        digits.erase(0, 1);
    if (digits.size() < width)
        digits.insert(0, width - digits.size(), '0');
    return negative ? "-" + digits : digits;
}

std::string Hex_Upper_Padded(std::uint32_t value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%08X", static_cast<unsigned>(value));
    return buffer;
}

// Reads the first `wanted` text lines of a file as sequential reading sees them: a line ends at
// CR LF or at a lone CR (a lone LF is an ordinary character), and text after the last line end is
// a line of its own. Stops reading as soon as the lines are complete, so a database of any size
// costs one small read. False if the file can't be opened or read (`error` then says why).
bool Read_Text_Lines(const std::string& file, std::size_t wanted, std::vector<std::string>& lines,
                     int* error = nullptr) {
    lines.clear();
    Record_File in;
    auto failed = [&in, error] {
        if (error != nullptr)
            *error = in.Error();
        return false;
    };
    if (!in.Open(file, 1, Record_File::Mode::Read_Only))
        return failed();
    const std::uint64_t size = in.Size();
    std::string current;
    bool pending_cr = false; // the last byte was a CR: a following LF belongs to that line end
    std::uint64_t offset = 0;
    std::vector<std::uint8_t> chunk(4096);
    while (offset < size && lines.size() < wanted) {
        std::size_t n =
            static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size(), size - offset));
        if (!in.Read_Bytes(offset, n, chunk.data()))
            return failed();
        offset += n;
        for (std::size_t i = 0; i < n && lines.size() < wanted; ++i) {
            char c = static_cast<char>(chunk[i]);
            if (pending_cr) {
                pending_cr = false;
                if (c == '\n')
                    continue;
            }
            if (c == '\r') {
                lines.push_back(std::move(current));
                current.clear();
                pending_cr = true;
            } else {
                current += c;
            }
        }
    }
    if (lines.size() < wanted && !current.empty())
        lines.push_back(std::move(current));
    return true;
}

// Text of `line` from the 1-based position `from` on (empty past the end), as Mid does.
std::string From_Position(const std::string& line, std::size_t from) {
    return from - 1 < line.size() ? line.substr(from - 1) : std::string();
}

// 1-based position of `what` in `line`, 0 if absent.
std::size_t Position_Of(const std::string& line, const std::string& what) {
    std::size_t at = line.find(what);
    return at == std::string::npos ? 0 : at + 1;
}

// Lines 2 to 6: what follows ": ", trimmed. Without ": " the position is 0 and the text starts at
// position 2, which drops the first character; garbage heads rely on this reading.
std::string Field_Value(const std::string& line) {
    return Trim_Text(From_Position(line, Position_Of(line, ": ") + 2));
}

std::string Version_Value(const std::string& line) {
    std::string text = From_Position(line, Position_Of(line, "*Ver ") + 4);
    std::replace(text.begin(), text.end(), '*', ' ');
    return Trim_Text(text);
}

} // namespace

std::string Program_Version() {
    return std::to_string(TD_VERSION_MAJOR) + "." + std::to_string(TD_VERSION_MINOR) + "." +
           std::to_string(TD_VERSION_REVISION);
}

std::uint32_t Header_Checksum(const std::string& line2, const std::string& line3,
                              const std::string& line4, const std::string& line5,
                              const std::string& line6) {
    // The sum covers the older magic in line 1, never the one in the file.
    std::uint32_t sum = 0;
    auto add = [&sum](std::string_view line) {
        for (unsigned char c : line)
            sum += c;
        sum += '\r' + '\n';
    };
    add(Header_Checksum_Magic);
    for (const std::string* line : {&line2, &line3, &line4, &line5, &line6})
        add(*line);
    return sum;
}

std::string Build_Header_Page(std::optional<long> ticket_count,
                              const std::string& program_version) {
    std::string page(Header_Page_Size, ' ');
    static constexpr char Fill[] = "PAGE    ";
    for (std::size_t i = 0; i < page.size(); ++i)
        page[i] = Fill[i % 8];

    // No count yet (first creation): its text is empty, so the eight zeros stand alone.
    const std::string count_text = ticket_count ? Zero_Padded(*ticket_count, 8) : "00000000";
    const std::string line2 = "TD version: " + program_version;
    const std::string line6 = Count_Label + count_text;
    const std::uint32_t sum =
        Header_Checksum(line2, Line_Record_Len, Line_Records_Offset, Line_Data_Type, line6);

    std::string text;
    for (const std::string& line : {std::string(Header_Magic), line2, std::string(Line_Record_Len),
                                    std::string(Line_Records_Offset), std::string(Line_Data_Type),
                                    line6, Checksum_Label + Hex_Upper_Padded(sum)})
        text += line + Crlf;
    std::copy_n(text.begin(), std::min(text.size(), page.size()), page.begin());
    return page;
}

bool Create_Header(const std::string& file, std::optional<long> ticket_count) {
    const std::string page = Build_Header_Page(ticket_count);
    Record_File out;
    if (!out.Open(file, Header_Page_Size, Record_File::Mode::Read_Write))
        return false;
    // Only the page itself: the gap and the records behind it must stay as they are.
    bool ok = out.Write_Bytes(0, page.size(), reinterpret_cast<const std::uint8_t*>(page.data()));
    ok = out.Sync() && ok;
    out.Close();
    return ok;
}

std::string Read_Header(const std::string& file, Header_Info& info, int* read_error) {
    info = Header_Info{};
    std::vector<std::string> lines;
    if (read_error != nullptr)
        *read_error = 0;
    const bool readable = Read_Text_Lines(file, 6, lines, read_error);
    // Fields are taken line by line, so a short file leaves the ones before the failure set.
    if (readable && !lines.empty())
        info.header_version = Version_Value(lines[0]);
    if (readable && lines.size() > 1)
        info.program_version = Field_Value(lines[1]);
    if (readable && lines.size() > 2)
        info.record_length = Leading_Number(Field_Value(lines[2]));
    if (readable && lines.size() > 3)
        info.records_offset = Leading_Number(Field_Value(lines[3]));
    if (readable && lines.size() > 4)
        info.data_type = Field_Value(lines[4]);
    if (!readable || lines.size() < 6) {
        info.data_type = "$ERROR$";
        info.count = -1;
        return "$ERROR$";
    }
    info.count = Leading_Number(Field_Value(lines[5]));
    return "Ok";
}

Header_Verification Verify_Header_Checksum(const std::string& file) {
    Header_Verification result;
    std::vector<std::string> lines;
    if (!Read_Text_Lines(file, 7, lines)) {
        result.reason = "the file can't be opened";
        return result;
    }
    if (lines.size() < 7) {
        result.reason = "the header has " + std::to_string(lines.size()) + " of 7 lines";
        return result;
    }
    const std::string& line7 = lines[6];
    const std::string label = Checksum_Label;
    if (line7.compare(0, label.size(), label) != 0) {
        result.reason = "line 7 does not start with \"Crc is: \"";
        return result;
    }
    const std::string hex = Trim_Text(line7.substr(label.size()));
    const bool hex_ok = !hex.empty() && hex.size() <= 8 &&
                        hex.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
    if (!hex_ok) {
        result.reason = "line 7 holds no hexadecimal checksum";
        return result;
    }
    result.parsed = true;
    result.stored_checksum = static_cast<std::uint32_t>(std::stoul(hex, nullptr, 16));
    result.computed_checksum = Header_Checksum(lines[1], lines[2], lines[3], lines[4], lines[5]);
    result.checksum_agrees = result.stored_checksum == result.computed_checksum;
    if (!result.checksum_agrees)
        result.reason = "stored checksum " + Hex_Upper_Padded(result.stored_checksum) +
                        " differs from the byte sum " + Hex_Upper_Padded(result.computed_checksum);
    return result;
}

namespace {

bool Whole_Number(double value, long long& out) {
    if (!(value > -2147483648.0 && value < 2147483648.0))
        return false;
    out = static_cast<long long>(std::floor(value));
    return true;
}

} // namespace

std::string Ticket_Count_Fault(double count) {
    if (!std::isfinite(count))
        return "is not a number";
    if (count < 0)
        return "is negative";
    if (count >= static_cast<double>(Max_Ticket_Count) + 1)
        return "has more than 8 digits";
    return {};
}

Database_Extent Read_Database_Extent(const std::string& database_path) {
    Header_Info info;
    Database_Extent extent;
    const bool read = Read_Header(database_path, info, &extent.read_error) == "Ok";
    long long offset = 0, count = -1;
    const bool offset_whole = Whole_Number(info.records_offset, offset);
    const bool numbers = offset_whole && Whole_Number(info.count, count);
    extent.header_read = read;
    extent.offset_whole = read && offset_whole;
    extent.header_count = info.count;
    extent.offset = offset_whole ? offset : 0;
    extent.count = numbers ? count : -1;
    extent.ok = read && numbers;
    return extent;
}

long long Whole_Records_Behind(std::uint64_t file_size, long long offset,
                               std::size_t record_length) {
    if (record_length == 0)
        return 0;
    const auto records = static_cast<long long>(file_size / record_length);
    if (offset < 0)
        return records; // records before record 1 don't exist: every whole record is a ticket's
    return records > offset ? records - offset : 0;
}

long long Records_Beyond_Count(std::uint64_t file_size, long long offset, long long count,
                               std::size_t record_length) {
    if (record_length == 0)
        return 0;
    const auto records = static_cast<long long>(file_size / record_length);
    const long long last_counted = std::max(0LL, offset + std::max(count, 0LL));
    return records > last_counted ? records - last_counted : 0;
}

} // namespace td
