// What the check and the commit of a sale share: their opening rows, the buyer's lookup, the
// reading of the database in order, and the texts of their rows.
#pragma once

#include "storage/record_file.h"
#include "storage/records.h"
#include "tickets/register_ticket.h"
#include "tickets/result_log.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace td {

struct Program_State;
class Ui;

// What a sale works with once its opening rows are written.
struct Sale_Order {
    int fuel = 0;             // position in the fuel list, 0 for none
    int volume = 0;           // litres
    std::int32_t company = 0; // the buyer's record number, 0 when not found
};

// Shows the working label and bar, sets the result grid's columns a quarter and three quarters,
// writes the heading, the title with fuel and volume, and finds the buyer (telling the user when
// it can't be found: the check's flag is then cleared).
Sale_Order Open_Sale_Rows(Register_ticket& screen, const char* heading);

// The record number in the company file of the company whose trimmed name is `name` and whose
// code, as the codes of the record make it, is `code`; 0 for none. The search goes from record 1
// as long as the record just read exists.
std::int32_t Find_Buyer(const std::string& company_file, const std::string& name,
                        const std::string& code);

// The code of a company record as the sale compares it with the buyer grid's code.
std::string Buyer_Code_Of(const Company_Record& record);

// Six characters of a field, left-aligned and blank-padded, in the code page of the database.
std::array<char, 6> Six_Characters(const std::string& text);

// The value of a ticket's number as the system reads a number.
double Serial_Value(const Ticket_Record& ticket);

// The row of a number that is taken: sold ("уже зарегистрирован" with the date of sale) or
// redeemed ("был списан" with the date of redemption). False for a ticket that is neither.
bool Taken_Row(const Ticket_Record& ticket, const std::string& record, Log_Row& row);

// Tickets 1 to `count` of the database in blocks, in order. Plain reads in large blocks: a scan's
// own work is a few comparisons a ticket, so a thread reading ahead would only wait for it. A
// read that fails ends in the fatal handling, and there are no more blocks.
class Ticket_Blocks {
public:
    static constexpr long Block = 8192;
    Ticket_Blocks(Program_State& state, Ui& ui, long count);
    // The next block and the position of its first ticket; null at the end or after a failure.
    const Ticket_Record* Next(long& first, long& n);

private:
    void Fail();

    Ui& ui_;
    std::string path_;
    long offset_;
    long count_;
    long next_ = 1;
    bool failed_ = false;
    Record_File database_;
    std::vector<Ticket_Record> block_;
};

// Hands each of tickets 1 to `count` to `visit` with its position; `visit` answers false to stop.
// `progress` is called once per block with the position reached.
template <typename Visit, typename Progress>
void Scan_Tickets(Program_State& state, Ui& ui, long count, Visit&& visit, Progress&& progress) {
    Ticket_Blocks blocks(state, ui, count);
    long first = 0;
    long n = 0;
    while (const Ticket_Record* tickets = blocks.Next(first, n)) {
        for (long k = 0; k < n; ++k)
            if (!visit(first + k, tickets[k]))
                return;
        progress(first + n - 1);
    }
}

// Entries 1 to the count of the number index of a fuel and volume, in order, until `visit`
// answers false; `progress` is called once per block with the entry reached. A missing index file
// reads as empty entries, as a file opened anew would.
void Walk_Number_Index(Program_State& state, int fuel, int volume,
                       const std::function<bool(long k, const Z_Record&)>& visit,
                       const std::function<void(long k)>& progress);

// "Начальный номер: 000100 кол-во: 21 шт".
std::string Range_Row_Text(const Register_ticket& screen);

} // namespace td
