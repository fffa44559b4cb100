// The database file's header page: 350 bytes of text in front of the ticket records.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace td {

inline constexpr std::size_t Header_Page_Size = 350;
inline constexpr int Header_Records_Offset = 6;
inline constexpr const char* Header_Magic = "TD HDR *Ver 1.84.745*";
inline constexpr const char* Header_Checksum_Magic = "TD HDR *Ver 1.01beta*";
inline constexpr const char* Header_Data_Type = "Tally_depot_DataBase";

// "major.minor.revision" of this program, as it stands in line 2.
std::string Program_Version();

// The 350 header bytes for a count; no count (first creation) writes "00000000".
std::string Build_Header_Page(std::optional<long> ticket_count,
                              const std::string& program_version = Program_Version());

// Writes the header page at the start of `file`, creating the file if needed; bytes from 350 on
// are never touched. Returns false on failure (callers ignore it).
bool Create_Header(const std::string& file, std::optional<long> ticket_count);

struct Header_Info {
    std::string header_version;
    std::string program_version;
    double record_length = 0;
    double records_offset = 0;
    std::string data_type;
    double count = 0;
};

// "Ok" or "$ERROR$" (then data_type = "$ERROR$", count = -1). With `read_error`, the system's
// error number when the file could not be opened or read (0 when it was read, whether its head
// parses or not): a head that can't be read is not a head that is damaged.
std::string Read_Header(const std::string& file, Header_Info& info, int* read_error = nullptr);

// The header can't hold more than 8 digits; any count above is a damaged header.
inline constexpr long long Max_Ticket_Count = 99999999;

// What is wrong with a count read from the header, as words ("is negative", ...); empty when it is
// a number of tickets the format can hold. A count the format can't hold comes only from damage.
std::string Ticket_Count_Fault(double count);

// The offset and count of the database header, as whole numbers.
struct Database_Extent {
    bool ok = false;          // "Ok" from the header and numbers that make sense
    bool header_read = false; // "Ok" from the header, whatever its numbers
    bool offset_whole = false;
    long long offset = 0;
    long long count = -1;
    double header_count = -1; // the count as the header gave it
    int read_error = 0;       // the system's error number when the file could not be read
};
Database_Extent Read_Database_Extent(const std::string& database_path);

// Whole records of `record_length` bytes in a file of `file_size` bytes that lie behind the first
// `offset` records: what the file holds as tickets, however many the header counts.
long long Whole_Records_Behind(std::uint64_t file_size, long long offset,
                               std::size_t record_length);

// Whole records of the file behind the last one the count reaches (record offset + count): what a
// copy by the count would leave out.
long long Records_Beyond_Count(std::uint64_t file_size, long long offset, long long count,
                               std::size_t record_length);

// Checksum rule: the plain byte sum of lines 1 to 6 with the older magic in line 1, each with its
// CR LF. `lines` are the six stored lines without line ends.
std::uint32_t Header_Checksum(const std::string& line2, const std::string& line3,
                              const std::string& line4, const std::string& line5,
                              const std::string& line6);

struct Header_Verification {
    bool parsed = false;
    bool checksum_agrees = false;
    std::uint32_t stored_checksum = 0;
    std::uint32_t computed_checksum = 0;
    std::string reason; // empty when all is well
};
// Reads the stored lines 1 to 7 and checks line 7 against the rule.
Header_Verification Verify_Header_Checksum(const std::string& file);

} // namespace td
