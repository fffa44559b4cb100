// The port through which the import reads the 1C table: rows from 1, columns from 1 (column 0 is a
// grid's fixed column and never asked for), every cell as UTF-8 text.
#pragma once

#include <string>

namespace td {

// Numbers of the failures of a table that opens but is not one the import can read: above every
// number the system itself uses, as Not_A_Regular_File is.
namespace table_error {
inline constexpr long Not_A_Table = 4301;
inline constexpr long Cut_Short = 4302;
inline constexpr long Too_Few_Columns = 4303;
} // namespace table_error

struct Table_Failure {
    std::string description; // names the file and what is wrong with it
    long number = 0;         // the system's error number, or one of table_error
};

class Table_Reader {
public:
    virtual ~Table_Reader() = default;
    // Loads every row of the table at `path`. False when it can't: Failure() says why.
    virtual bool Load(const std::string& path) = 0;
    virtual int Row_Count() const = 0;
    virtual int Column_Count() const = 0;
    // The text of row `row`, column `column`; empty outside the table.
    virtual std::string Text(int row, int column) const = 0;
    virtual const Table_Failure& Failure() const = 0;
};

} // namespace td
