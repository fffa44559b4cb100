// The 1C table read as a dBASE III, IV or 5 file through shapelib. Memo fields are not read.
//
// Code page: the language driver byte of the header (0x65 and 0x26: 866; 0xC9: 1251; 0x57, 0x00
// and the rest: not known), else a ".cpg" file beside the table naming 866, 1251 or UTF-8, else a
// guess: the letters of the Russian alphabet lie on different bytes in the two code pages (capitals
// of 1251 are box-drawing characters in 866; the letters а to п of 866 are symbols in 1251), so
// the code page under which more of the table's upper-half bytes read as Russian letters wins, 866
// on a tie, as in the DOS tables 1C writes.
//
// Fields are at most 255 bytes wide (one byte of width, as in dBASE itself): a table whose long
// character fields take a second byte of width is refused, since its records would not add up.
//
// Character fields keep their blanks as the file has them (a code of ten characters that starts
// with blanks is split where it stands); number fields read as the number's text, without the
// blanks that align it. Rows marked deleted are not part of the table.
#pragma once

#include "import/table_reader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace td {

enum class Table_Code_Page { Cp866, Cp1251, Utf8 };

class Dbf_Table : public Table_Reader {
public:
    bool Load(const std::string& path) override;
    int Row_Count() const override { return static_cast<int>(rows_.size()); }
    int Column_Count() const override { return columns_; }
    std::string Text(int row, int column) const override;
    const Table_Failure& Failure() const override { return failure_; }

    // How the code page was found, for the tests and for tdctl's messages.
    Table_Code_Page Code_Page() const { return code_page_; }
    enum class Code_Page_Source { Language_Driver, Cpg_File, Guess };
    Code_Page_Source Code_Page_From() const { return code_page_from_; }

private:
    bool Fail(long number, const std::string& what);

    std::string path_;
    int columns_ = 0;
    std::vector<std::vector<std::string>> rows_; // UTF-8, one entry per column
    Table_Failure failure_;
    Table_Code_Page code_page_ = Table_Code_Page::Cp866;
    Code_Page_Source code_page_from_ = Code_Page_Source::Guess;
};

// The code page a language driver byte names; false for one that names none the import knows.
bool Code_Page_Of_Driver(std::uint8_t driver, Table_Code_Page& code_page);
// The guess described above, over the raw bytes of the character fields.
Table_Code_Page Guess_Code_Page(const std::vector<std::string>& texts);

} // namespace td
