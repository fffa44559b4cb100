#include "reports/balance_report.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/text.h"
#include "catalogues/date_pickers.h"
#include "kernel/state.h"
#include "reports/reference_snapshot.h"
#include "reports/report_store.h"

#include <array>
#include <cmath>

namespace td {

namespace {

constexpr long Max_Group = 100;
constexpr long Max_Code = 16384;

const char* All_Heading = "прод./спис./ост.";

// A code's numeric value as the system took it for an index: its leading number, rounded to the
// nearest whole (halves to even).
double Code_Value(const std::string& code) {
    return std::nearbyint(Leading_Number(Trim_Text(code)));
}

struct Balance_Row {
    bool seen = false; // a ticket in scope named this company
    long company = 0;
    std::array<double, 8> Sold{};
    std::array<double, 8> Redeemed{};
    std::array<double, 8> Left{};
};

std::string Serial_Of(const Ticket_Record& ticket) {
    return Trim_Text(ticket.Serial_Text());
}

} // namespace

const std::vector<Balance_Command>& Balance_Commands() {
    static const std::vector<Balance_Command> commands = {
        {"mnu_reports_Shop_CD", "sales", Balance_Figure::Sold, false, "Продажа ГСМ (талоны) на ",
         "продано", "        Всего продано:"},
        {"mnu_reports_Shop_Range", "sales", Balance_Figure::Sold, true,
         "Продажа ГСМ (талоны) на период [", "продано", "        Всего продано:"},
        {"Mnu_Shop_CD", "redemptions", Balance_Figure::Redeemed, false, "Списание ГСМ (талоны) на ",
         "списано", "        Всего списано:"},
        {"Mnu_Shop_Range", "redemptions", Balance_Figure::Redeemed, true,
         "Списание ГСМ (талоны) на период [", "списано", "        Всего списано:"},
        {"mnu_ticket_diff", "left", Balance_Figure::Left, false, "Остатки ГСМ (талоны) на ",
         "остаток", "        Всего остаток:"},
        {"mnu_full_report", "full", Balance_Figure::All, false, "Продажа ГСМ (талоны) на ",
         All_Heading, "        Всего остаток:"},
        {"mnu_full_report_range", "full", Balance_Figure::All, true,
         "Продажа ГСМ (талоны) на период [", All_Heading, "        Всего остаток:"},
    };
    return commands;
}

const Balance_Command* Find_Balance_Command(const std::string& command) {
    for (const Balance_Command& c : Balance_Commands())
        if (command == c.command)
            return &c;
    return nullptr;
}

const Balance_Command* Find_Balance_Command(const std::string& cli_name, bool period) {
    for (const Balance_Command& c : Balance_Commands())
        if (cli_name == c.cli_name && period == c.period)
            return &c;
    return nullptr;
}

Balance_Report Build_Balance_Report(const Program_State& state, const Balance_Command& command) {
    Balance_Report report;
    const Reference_Snapshot references(state);

    report.title = command.title;
    if (command.period)
        report.title += Format_Date(state.Low_Date) + " - " + Format_Date(state.High_Date) + "]";
    else
        report.title += Format_Date(state.Current_Date);

    // Level 1 companies: neither a group nor a subgroup ("000" counts as a subgroup here).
    std::array<std::string, Max_Group + 1> group_names;
    std::array<bool, Max_Group + 1> group_list{};
    for (long r = 1; r <= references.Company_Records(); ++r) {
        const std::uint8_t* raw = references.Company_Raw(r);
        if (Reference_Exists(raw) == 0)
            break;
        const Company_View company(raw);
        if (!Trim_Text(company.Subgroup_Code()).empty() || !Trim_Text(company.Group_Code()).empty())
            continue;
        const double n = Code_Value(company.Code());
        if (n < 0 || n > Max_Group) {
            report.failure = "out of range: the level 1 company '" + Trim_Text(company.Name()) +
                             "' (company record " + std::to_string(r) + ") has the code '" +
                             Trim_Text(company.Code()) + "', outside 0 to 100";
            report.screen_failure = "у компании первого уровня '" + Trim_Text(company.Name()) +
                                    "' (запись " + std::to_string(r) +
                                    " справочника компаний) код '" + Trim_Text(company.Code()) +
                                    "' вне пределов от 0 до 100";
            return report;
        }
        group_names[static_cast<std::size_t>(n)] = Trim_Text(company.Name());
        group_list[static_cast<std::size_t>(n)] = true;
    }

    for (int slot = 1; slot <= Fuel_Slots; ++slot)
        if (std::string name = references.Fuel_Name(slot); !name.empty())
            report.fuel_names.push_back(name);
    const std::size_t columns = report.fuel_names.size();

    std::vector<Balance_Row> table(Max_Code);
    const long long current = Day_Of(state.Current_Date);
    const long long low = Day_Of(state.Low_Date);
    const long long high = Day_Of(state.High_Date);
    const long count =
        std::min<long>(state.Ticket_Count, static_cast<long>(state.Ticket_Table.size()) - 1);
    for (long k = 1; k <= count; ++k) {
        const Ticket_Record& ticket = state.Ticket_Table[static_cast<std::size_t>(k)];
        if (ticket.Deleted != 0)
            continue;
        const long long sold = Day_Of(ticket.Sell_Date);
        if (command.period ? (sold < low || sold > high) : sold > current)
            continue;
        const long company = ticket.Company;
        const int fuel = ticket.Fuel;
        if (company < 1 || company > Max_Code || fuel < 1 || fuel > Fuel_Slots) {
            const bool bad_company = company < 1 || company > Max_Code;
            const std::string record = std::to_string(k + state.Records_Offset);
            report.failure =
                "out of range: ticket " + Serial_Of(ticket) + " (database record " + record +
                ") has " +
                (bad_company ? "the company " + std::to_string(company) + ", outside 1 to 16384"
                             : "the fuel " + std::to_string(fuel) + ", outside 1 to 8");
            report.screen_failure =
                "у талона " + Serial_Of(ticket) + " (запись " + record + " базы данных) " +
                (bad_company
                     ? "номер компании " + std::to_string(company) + " вне пределов от 1 до 16384"
                     : "марка ГСМ " + std::to_string(fuel) + " вне пределов от 1 до 8");
            return report;
        }
        Balance_Row& row = table[static_cast<std::size_t>(company - 1)];
        const std::size_t f = static_cast<std::size_t>(fuel - 1);
        if (ticket.Used == 0) {
            row.Sold[f] += ticket.Volume;
            row.Left[f] += ticket.Volume;
        } else {
            row.Redeemed[f] += ticket.Real_Volume;
            row.Sold[f] += ticket.Real_Volume;
        }
        row.seen = true;
        row.company = company;
    }

    auto figure_of = [&](const Balance_Row& row, std::size_t j) {
        switch (command.figure) {
        case Balance_Figure::Sold:
            return row.Sold[j];
        case Balance_Figure::Redeemed:
            return row.Redeemed[j];
        default:
            return row.Left[j];
        }
    };

    // The codes of the companies that have a row, decoded once.
    std::vector<double> group_of(Max_Code, 0.0);
    for (long n = 1; n <= Max_Code; ++n)
        if (table[static_cast<std::size_t>(n - 1)].seen)
            group_of[static_cast<std::size_t>(n - 1)] =
                Code_Value(Company_View(references.Company_Raw(n)).Group_Code());

    std::vector<double> grand(columns, 0.0);
    std::vector<long> ordered(Max_Code + 1, 0); // code -> company number (0: none)
    std::vector<double> sums(columns, 0.0);
    for (long g = 1; g <= Max_Group; ++g) {
        if (!group_list[static_cast<std::size_t>(g)])
            continue;
        std::fill(ordered.begin(), ordered.end(), 0);
        for (long n = 1; n <= Max_Code; ++n) {
            const Balance_Row& row = table[static_cast<std::size_t>(n - 1)];
            if (!row.seen)
                continue;
            if (group_of[static_cast<std::size_t>(n - 1)] != static_cast<double>(g))
                continue;
            const Company_View company(references.Company_Raw(n));
            const double code = Code_Value(company.Code());
            if (code < 0 || code > Max_Code) {
                report.failure = "out of range: the company '" + Trim_Text(company.Name()) +
                                 "' (company record " + std::to_string(n) + ") has the code '" +
                                 Trim_Text(company.Code()) + "', outside 0 to 16384";
                report.screen_failure = "у компании '" + Trim_Text(company.Name()) + "' (запись " +
                                        std::to_string(n) + " справочника компаний) код '" +
                                        Trim_Text(company.Code()) + "' вне пределов от 0 до 16384";
                return report;
            }
            // Two companies of one section with one code: the later company number wins.
            ordered[static_cast<std::size_t>(code)] = n;
        }

        std::string heading = group_names[static_cast<std::size_t>(g)];
        std::string second;
        for (const std::string& name : report.fuel_names) {
            heading += "\t" + name;
            second += std::string("\t") + command.heading;
        }
        report.rows.push_back(heading);
        report.rows.push_back(second);
        report.rows.emplace_back();

        std::fill(sums.begin(), sums.end(), 0.0);
        for (long n = 1; n <= Max_Code; ++n) {
            const long number = ordered[static_cast<std::size_t>(n)];
            if (number == 0 || references.Company_Name_Unwritten(number))
                continue;
            const Balance_Row& row = table[static_cast<std::size_t>(number - 1)];
            const Company_View company(references.Company_Raw(number));
            std::string text = Trim_Text(company.Group_Code()) + ":" + Trim_Text(company.Code()) +
                               " " + Trim_Text(company.Name());
            for (std::size_t j = 0; j < columns; ++j) {
                text += "\t";
                if (command.figure == Balance_Figure::All)
                    text += Format_Number(row.Sold[j]) + "  /  " + Format_Number(row.Redeemed[j]) +
                            "  /  " + Format_Number(row.Left[j]);
                else
                    text += Format_Number(figure_of(row, j));
                sums[j] += figure_of(row, j);
                grand[j] += figure_of(row, j);
            }
            report.rows.push_back(text);
        }
        std::string total = Section_Total_Text;
        for (double sum : sums)
            total += "\t" + Format_Number(sum);
        report.rows.push_back(total);
        report.rows.emplace_back();
    }

    std::string last = command.total;
    for (double sum : grand)
        last += "\t" + Format_Number(sum);
    report.rows.push_back(last);
    report.ok = true;
    return report;
}

std::optional<Balance_Report> Run_Balance_Command(Program_State& state, Clock& clock,
                                                  User_Settings& settings,
                                                  const Balance_Command& command,
                                                  const Period_Dialog& dialog) {
    if (command.period && !Ask_Period(state, clock, settings, dialog))
        return std::nullopt;
    Balance_Report report = Build_Balance_Report(state, command);
    Report_Lists().Report_Rows = report.ok ? report.rows : std::vector<std::string>{};
    return report;
}

} // namespace td
