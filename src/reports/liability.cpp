#include "reports/liability.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/text.h"
#include "kernel/state.h"
#include "reports/reference_snapshot.h"

#include <array>
#include <cmath>
#include <map>

namespace td {

namespace {

constexpr long long Expiry_Window_Days = 30;

using Litres = std::array<double, Fuel_Slots>;

} // namespace

Liability_Report Build_Liability_Report(const Program_State& state, double at) {
    const Reference_Snapshot references(state);
    Liability_Report report;
    report.title = "Обязательства по талонам ГСМ на " + Format_Date(at);
    report.headers = {"Раздел", "ГСМ", "Цена", "Литров", "Сумма", "Литров, срок до 30 дн."};

    // The section of a company: its level 1 company's code; a level 1 company is its own.
    const long companies = references.Company_Records();
    std::vector<long> section_of(static_cast<std::size_t>(companies) + 1, -1);
    std::map<long, std::string> section_names;
    for (long n = 1; n <= companies; ++n) {
        const Company_View company(references.Company_Raw(n));
        const std::string group = Trim_Text(company.Group_Code());
        const std::string subgroup = Trim_Text(company.Subgroup_Code());
        const long code = static_cast<long>(std::nearbyint(
            Leading_Number(Trim_Text(group.empty() ? company.Code() : company.Group_Code()))));
        section_of[static_cast<std::size_t>(n)] = code;
        if (group.empty() && subgroup.empty() && company.Exists() &&
            section_names.find(code) == section_names.end())
            section_names[code] = Trim_Text(company.Name());
    }

    Litres open{};
    Litres expiring{};
    std::map<long, Litres> by_section;
    const long long day = Day_Of(at);
    const long count =
        std::min<long>(state.Ticket_Count, static_cast<long>(state.Ticket_Table.size()) - 1);
    for (long k = 1; k <= count; ++k) {
        const Ticket_Record& ticket = state.Ticket_Table[static_cast<std::size_t>(k)];
        if (ticket.Deleted != 0 || ticket.Used != 0 || Day_Of(ticket.Sell_Date) > day ||
            ticket.Fuel < 1 || ticket.Fuel > Fuel_Slots)
            continue;
        const std::size_t f = static_cast<std::size_t>(ticket.Fuel - 1);
        open[f] += ticket.Volume;
        if (ticket.Date_Limits == 1) {
            const long long expires = Day_Of(ticket.Expire_Date);
            if (expires >= day && expires <= day + Expiry_Window_Days)
                expiring[f] += ticket.Volume;
        }
        const long company = ticket.Company;
        const long section = company >= 1 && company <= companies
                                 ? section_of[static_cast<std::size_t>(company)]
                                 : -1;
        by_section[section][f] += ticket.Volume;
    }

    double total = 0.0;
    for (int slot = 1; slot <= Fuel_Slots; ++slot) {
        const std::string name = references.Fuel_Name(slot);
        const std::size_t f = static_cast<std::size_t>(slot - 1);
        if (name.empty() && open[f] == 0.0)
            continue;
        const double price = references.Fuels()[f].Price;
        total += open[f] * price;
        report.rows.push_back("Всего\t" + name + "\t" + Format_Number(price) + "\t" +
                              Format_Number(open[f]) + "\t" + Format_Number(open[f] * price) +
                              "\t" + Format_Number(expiring[f]));
    }
    for (const auto& [section, litres] : by_section) {
        auto named = section_names.find(section);
        const std::string label = section < 0
                                      ? "без компании"
                                      : std::to_string(section) + " " +
                                            (named == section_names.end() ? "" : named->second);
        for (int slot = 1; slot <= Fuel_Slots; ++slot) {
            const std::size_t f = static_cast<std::size_t>(slot - 1);
            if (litres[f] == 0.0)
                continue;
            const double price = references.Fuels()[f].Price;
            report.rows.push_back(label + "\t" + references.Fuel_Name(slot) + "\t" +
                                  Format_Number(price) + "\t" + Format_Number(litres[f]) + "\t" +
                                  Format_Number(litres[f] * price) + "\t");
        }
    }
    report.rows.push_back("Итого\t\t\t\t" + Format_Number(total) + "\t");
    return report;
}

} // namespace td
