#include "tickets/sale_common.h"

#include "base/codepage.h"
#include "base/dates.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "browsers/sell_ticets.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "storage/file_failure.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "tickets/result_log.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace td {

std::string Buyer_Code_Of(const Company_Record& record) {
    const std::string subgroup = Trim_Text(record.Subgroup_Code);
    std::string code = Trim_Text(record.Kind_Code) + ":" + Trim_Text(record.Group_Code) + ":";
    // A subgroup stands as the file has it, blanks and all.
    if (subgroup.empty() || subgroup == "000")
        code += Trim_Text(record.Code);
    else
        code += record.Subgroup_Code + ":" + Trim_Text(record.Code);
    return code;
}

std::int32_t Find_Buyer(const std::string& company_file, const std::string& name,
                        const std::string& code) {
    Record_File file(company_file, Company_Record_Size, Record_File::Mode::Read_Only);
    const std::uint64_t records = file.Record_Count();
    // Read in blocks as the search goes: a buyer near the front costs little of a large file.
    constexpr std::uint64_t Block = 512;
    std::vector<std::uint8_t> bytes(Block * Company_Record_Size);
    // The code ends the path: only a record with that code is decoded whole.
    const std::string own_code = code.substr(code.rfind(':') + 1);
    for (std::uint64_t first = 1; first <= records; first += Block) {
        const std::uint64_t n = std::min(Block, records - first + 1);
        if (!file.Read_Block(first, n, bytes.data()))
            return 0;
        for (std::uint64_t k = 0; k < n; ++k) {
            const std::uint8_t* raw = bytes.data() + k * Company_Record_Size;
            const Company_View view(raw);
            if (Trim_Text(view.Code()) == own_code) {
                const Company_Record record = Decode_Company(raw);
                if (Buyer_Code_Of(record) == code && Trim_Text(record.Name) == name)
                    return static_cast<std::int32_t>(first + k);
            }
            // Past the end a record reads as zeros: it does not exist, and the search ends.
            if (!view.Exists())
                return 0;
        }
    }
    return 0;
}

std::array<char, 6> Six_Characters(const std::string& text) {
    Ticket_Record ticket;
    ticket.Set_Serial(Utf8_To_Cp1251(text));
    return ticket.Serial;
}

double Serial_Value(const Ticket_Record& ticket) {
    // Six digits, the usual case, without the general reading of a number.
    int value = 0;
    for (char c : ticket.Serial) {
        if (c < '0' || c > '9')
            return Leading_Number(Cp1251_To_Utf8(ticket.Serial_Text()));
        value = value * 10 + (c - '0');
    }
    return value;
}

bool Taken_Row(const Ticket_Record& ticket, const std::string& record, Log_Row& row) {
    row.number = Cp1251_To_Utf8(ticket.Serial_Text());
    row.record = record;
    if (ticket.Used == 0)
        row.text = "Ошибка. Талон уже зарегистрирован: " + Format_Date(ticket.Sell_Date);
    else if (ticket.Used == 1)
        row.text = "Ошибка. Талон был списан: " + Format_Date(ticket.Validation_Date);
    else
        return false;
    return true;
}

Ticket_Blocks::Ticket_Blocks(Program_State& state, Ui& ui, long count)
    : ui_(ui), path_(state.Path_Of(state.settings.Database_File)), offset_(state.Records_Offset),
      count_(count) {
    if (count_ <= 0)
        return;
    database_.Open(path_, Ticket_Record_Size, Record_File::Mode::Read_Only);
    if (!database_.Is_Open())
        Fail();
    else
        block_.resize(static_cast<std::size_t>(std::min(Block, count_)));
}

void Ticket_Blocks::Fail() {
    failed_ = true;
    Fatal_Run_Time_Error(ui_, Run_Time_Error_Of(database_.Error()),
                         path_ + ": " + System_Reason(database_.Error()));
}

const Ticket_Record* Ticket_Blocks::Next(long& first, long& n) {
    if (failed_ || next_ > count_)
        return nullptr;
    first = next_;
    n = std::min(Block, count_ - first + 1);
    const long long record = first + offset_;
    if (record < 1 ||
        !database_.Read_Block(static_cast<std::uint64_t>(record), static_cast<std::uint64_t>(n),
                              reinterpret_cast<std::uint8_t*>(block_.data()))) {
        Fail();
        return nullptr;
    }
    next_ = first + n;
    return block_.data();
}

void Walk_Number_Index(Program_State& state, int fuel, int volume,
                       const std::function<bool(long k, const Z_Record&)>& visit,
                       const std::function<void(long k)>& progress) {
    const long count = state.Z_Counts.Get(fuel, volume);
    if (count <= 0)
        return;
    Record_File index(state.Path_Of(Z_File_Name(fuel, volume)), Z_Record_Size,
                      Record_File::Mode::Read_Only);
    constexpr long Block = 8192;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(Block) * Z_Record_Size);
    Seen_Records seen(std::int64_t{state.Ticket_Count} + state.Records_Offset);
    for (long k = 1; k <= count; k += Block) {
        const long n = std::min(Block, count - k + 1);
        if (!index.Is_Open() || !index.Read_Block(static_cast<std::uint64_t>(k) + 1,
                                                  static_cast<std::uint64_t>(n), bytes.data()))
            std::fill(bytes.begin(), bytes.end(), 0);
        for (long e = 0; e < n; ++e) {
            const Z_Record entry = Decode_Z_Record(bytes.data() + e * Z_Record_Size);
            if (seen.First(entry.Record_No) && !visit(k + e, entry))
                return;
        }
        progress(k + n - 1);
    }
}

std::string Range_Row_Text(const Register_ticket& screen) {
    return "Начальный номер: " + screen.Text(4) +
           " кол-во: " + Format_Number(Leading_Number(screen.Text(5))) + " шт";
}

Sale_Order Open_Sale_Rows(Register_ticket& screen, const char* heading) {
    screen.Working(true);
    Grid& grid = screen.MSFlexGrid2;
    const int usable = screen.Grid_Width() - Log_Grid_Margin;
    grid.Set_Column_Width(Log_Number_Col, usable / 4);
    grid.Set_Column_Width(Log_Text_Col, usable * 3 / 4);
    grid.Set_Text(0, Log_Number_Col, "Номер талона");
    grid.Set_Text(0, Log_Text_Col, "Результат регистрации");

    Add_Blank_Row(grid);
    const int heading_row = Add_Log_Row(grid, {"", heading, ""});
    grid.Set_Top_Row(heading_row);
    grid.Set_Bold(heading_row, Log_Text_Col, true);
    Add_Log_Row(
        grid, {"", "марка ГСМ '" + screen.Combo2.Text() + "' литраж: " + screen.Combo3.Text(), ""},
        log_colour::Title, true);
    Add_Blank_Row(grid);

    Sale_Order order;
    order.fuel = screen.Fuel_Number();
    order.volume = screen.Volume_Litres();

    // The buyer is the row now selected in the buyer browser.
    Program_State& state = screen.State();
    std::string name, code;
    if (const Sell_Ticets* buyer = screen.Buyer_Browser()) {
        const Grid& buyers = buyer->MSFlexGrid1;
        name = buyers.Text(buyers.Row(), 2);
        code = buyers.Text(buyers.Row(), 1);
    }
    order.company = Find_Buyer(state.Path_Of(state.settings.Company_File), name, code);
    if (order.company == 0) {
        const char* text = "Ошибка название компании не найдено в базе данных! Свяжитесь с "
                           "разработчиком!";
        screen.User_Interface().Message_Box(text, box::Stop, "Ошибка");
        Add_Log_Row(grid, {"------", text, ""}, log_colour::Refusal);
        state.Sale_Checked = false;
    }
    screen.Changed();
    return order;
}

} // namespace td
