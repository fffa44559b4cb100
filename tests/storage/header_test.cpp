// The database header page: its exact bytes, how a damaged one reads, and the count it may hold.
#include "storage/header.h"
#include "storage/record_file.h"
#include "support/temp_folder.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace td::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string Version_From_Build() {
    return std::to_string(TD_VERSION_MAJOR) + "." + std::to_string(TD_VERSION_MINOR) + "." +
           std::to_string(TD_VERSION_REVISION);
}

// The fill of a header page: "PAGE    " over and over, 350 bytes.
std::string Fill() {
    std::string page;
    while (page.size() < 350)
        page += "PAGE    ";
    page.resize(350);
    return page;
}

// The header page as it must stand on disk, put together by hand from the documented text.
std::string Expected_Page(const std::string& count_digits, const std::string& version) {
    std::string page = Fill();

    const std::vector<std::string> body = {
        "TD version: " + version,
        "Record Len: 72",
        "Records offset: 006",
        "Data type: Tally_depot_DataBase",
        "Amount registered entrys: " + count_digits,
    };
    std::string summed = "TD HDR *Ver 1.01beta*\r\n";
    std::string text = "TD HDR *Ver 1.84.745*\r\n";
    for (const std::string& line : body) {
        summed += line + "\r\n";
        text += line + "\r\n";
    }
    unsigned long sum = 0;
    for (unsigned char c : summed)
        sum += c;
    char hex[32];
    std::snprintf(hex, sizeof hex, "%08lX", sum);
    text += std::string("Crc is: ") + hex + "\r\n";
    page.replace(0, text.size(), text);
    return page;
}

std::string File_Text(const std::string& path) {
    Bytes b = Read_All_Bytes(path);
    return std::string(b.begin(), b.end());
}

TEST(Header, PageBytesForZeroAndManyTickets) {
    Temp_Folder dir;
    const std::string zero = Expected_Page("00000000", Version_From_Build());
    ASSERT_TRUE(Create_Header(dir.File("zero.cdb"), 0));
    EXPECT_EQ(File_Text(dir.File("zero.cdb")), zero);
    // No count yet (first creation) writes the same eight zeros.
    ASSERT_TRUE(Create_Header(dir.File("none.cdb"), std::nullopt));
    EXPECT_EQ(File_Text(dir.File("none.cdb")), zero);

    const std::string many = Expected_Page("00012345", Version_From_Build());
    ASSERT_TRUE(Create_Header(dir.File("many.cdb"), 12345));
    EXPECT_EQ(File_Text(dir.File("many.cdb")), many);
    EXPECT_NE(many.find("Amount registered entrys: 00012345\r\n"), std::string::npos);
    EXPECT_EQ(Build_Header_Page(12345), many);

    // The checksum follows the version text of line 2.
    EXPECT_EQ(Build_Header_Page(7, "1.0.1"), Expected_Page("00000007", "1.0.1"));
    EXPECT_EQ(Build_Header_Page(7, "2.0.1"), Expected_Page("00000007", "2.0.1"));
}

TEST(Header, FailuresAndGarbage) {
    Temp_Folder dir;
    Header_Info info;
    EXPECT_EQ(Read_Header(dir.File("missing.cdb"), info), "$ERROR$");
    EXPECT_EQ(info.data_type, "$ERROR$");
    EXPECT_EQ(info.count, -1);
    EXPECT_FALSE(File_Exists(dir.File("missing.cdb"))) << "reading must not create the file";
    Header_Verification v = Verify_Header_Checksum(dir.File("missing.cdb"));
    EXPECT_FALSE(v.parsed);
    EXPECT_NE(v.reason, "");

    // The fill pattern alone has no line break: one line only.
    dir.Write("fill.cdb", Fill());
    EXPECT_EQ(Read_Header(dir.File("fill.cdb"), info), "$ERROR$");
    EXPECT_EQ(info.data_type, "$ERROR$");
    EXPECT_EQ(info.count, -1);

    // Six lines of garbage pass, with zeros as numbers. Without ": " a field starts at its second
    // character.
    dir.Write("garbage.cdb", "garbage\r\nxx\r\n??\r\n\x01\x02\r\nrubbish\r\n#\x7f\r\n");
    EXPECT_EQ(Read_Header(dir.File("garbage.cdb"), info), "Ok");
    EXPECT_EQ(info.header_version, "bage");
    EXPECT_EQ(info.program_version, "x");
    EXPECT_EQ(info.record_length, 0);
    EXPECT_EQ(info.records_offset, 0);
    EXPECT_EQ(info.data_type, "ubbish");
    EXPECT_EQ(info.count, 0);

    // A lone CR ends a line and a missing last line end is no obstacle; a lone LF ends nothing.
    dir.Write("cr.cdb", "TD HDR *Ver 9.9*\rv: 1\rl: 72\ro: 6\rt: X\rc: 42");
    EXPECT_EQ(Read_Header(dir.File("cr.cdb"), info), "Ok");
    EXPECT_EQ(info.header_version, "9.9");
    EXPECT_EQ(info.count, 42);
    dir.Write("lf.cdb", "TD HDR *Ver 9.9*\nv: 1\nl: 72\no: 6\nt: X\nc: 42\n");
    EXPECT_EQ(Read_Header(dir.File("lf.cdb"), info), "$ERROR$");

    // Five lines: the fields read before the failure keep their values.
    dir.Write("five.cdb", "TD HDR *Ver 1.84.745*\r\nTD version: 1.0.1\r\nRecord Len: 72\r\n"
                          "Records offset: 006\r\nData type: Tally_depot_DataBase\r\n");
    EXPECT_EQ(Read_Header(dir.File("five.cdb"), info), "$ERROR$");
    EXPECT_EQ(info.record_length, 72);
    EXPECT_EQ(info.records_offset, 6);
    EXPECT_EQ(info.data_type, "$ERROR$");
    EXPECT_EQ(info.count, -1);
    v = Verify_Header_Checksum(dir.File("five.cdb"));
    EXPECT_FALSE(v.parsed);
    EXPECT_FALSE(v.checksum_agrees);
}

// What tdctl's verify and rebuild don't meet on the fixtures of tests/data: a count that is no
// number, a file of the header page alone, an offset below 0 from a damaged head.
TEST(Header, CountFaultsAndWholeRecords) {
    EXPECT_EQ(Ticket_Count_Fault(99999999), "");
    EXPECT_EQ(Ticket_Count_Fault(100000000), "has more than 8 digits");
    EXPECT_EQ(Ticket_Count_Fault(std::numeric_limits<double>::infinity()), "is not a number");
    EXPECT_EQ(Whole_Records_Behind(350, 6, 72), 0);
    EXPECT_EQ(Records_Beyond_Count(350, 6, 0, 72), 0);
    EXPECT_EQ(Whole_Records_Behind(432 + 20 * 72 + 71, 6, 72), 20);
    EXPECT_EQ(Records_Beyond_Count(432 + 20 * 72, -2, 10, 72), 18); // ticket 10 is record 8
}

} // namespace
} // namespace td::test
