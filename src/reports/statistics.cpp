#include "reports/statistics.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/text.h"
#include "catalogues/date_pickers.h"
#include "kernel/state.h"
#include "reports/reference_snapshot.h"
#include "reports/report_store.h"

namespace td {

namespace {

std::string Join(const std::vector<std::string>& cells) {
    std::string row;
    for (std::size_t i = 0; i < cells.size(); ++i)
        row += (i == 0 ? "" : "\t") + cells[i];
    return row;
}

std::string Period_Text(const Program_State& state) {
    return "[" + Format_Date(state.Low_Date) + " - " + Format_Date(state.High_Date) + "]";
}

long Last_Ticket(const Program_State& state) {
    return std::min<long>(state.Ticket_Count, static_cast<long>(state.Ticket_Table.size()) - 1);
}

} // namespace

const std::vector<std::string>& Ticket_Column_Headers() {
    static const std::vector<std::string> headers = {"Номер",         "Литраж",
                                                     "Дата продажи",  "Действ. с",
                                                     "Действ. по",    "Действ. на запр.",
                                                     "Дата списания", "Литраж списания",
                                                     "Заправка",      "Клиент"};
    return headers;
}

std::string Station_List(std::int32_t mask) {
    long long rest = static_cast<long long>(mask) - 65536;
    std::vector<int> noted;
    for (int i = 16; i >= 1; --i) {
        const long long power = 1LL << i;
        if (power <= rest) {
            rest -= power;
            noted.push_back(i);
        }
    }
    std::string list;
    for (auto it = noted.rbegin(); it != noted.rend(); ++it)
        list += (list.empty() ? "" : ", ") + std::to_string(*it);
    return list;
}

std::string Ticket_Cells(const Ticket_Record& ticket, const Reference_Snapshot& references,
                         bool station_variant) {
    const bool redeemed = ticket.Used != 0;
    std::vector<std::string> cells;
    cells.push_back(ticket.Serial_Text());
    std::string litres = Format_Number(ticket.Volume);
    if (!station_variant && redeemed)
        litres += " / " + Format_Number(ticket.Real_Volume);
    cells.push_back(litres);
    cells.push_back(Format_Date(ticket.Sell_Date));
    cells.push_back(ticket.Date_Limits == 1 ? Format_Date(ticket.Valid_From) : "");
    cells.push_back(ticket.Date_Limits == 1 ? Format_Date(ticket.Expire_Date) : "");
    cells.push_back(
        ticket.Establishment_Limits == 1 ? "№№ " + Station_List(ticket.Establishments_Mask) : "");
    cells.push_back(ticket.Validation_Date != 0.0 ? Format_Date(ticket.Validation_Date) : "");
    cells.push_back(redeemed ? Format_Number(ticket.Real_Volume) : "");
    cells.push_back(ticket.Establishment > 0 ? references.Station_Name(ticket.Establishment) : "");
    cells.push_back(references.Company_Name(ticket.Company));
    return Join(cells);
}

Stat_Report Build_Station_Statistics(const Program_State& state, long station, int fuel,
                                     Stat_Scope scope, const Stat_Names& names) {
    const Reference_Snapshot references(state);
    Stat_Report report;
    const std::string name =
        names.station.empty() ? references.Station_Name(station) : names.station;
    const std::string fuel_name = names.fuel.empty() ? references.Fuel_Name(fuel) : names.fuel;
    const std::string when = scope == Stat_Scope::Period ? " за период " + Period_Text(state)
                                                         : " за " + Format_Date(state.Current_Date);
    report.caption = "Статистика списаний по " + name + when;
    report.title = "Статистика списаний по  " + name + when + ". ГСМ " + fuel_name;

    const long long current = Day_Of(state.Current_Date);
    const long long low = Day_Of(state.Low_Date);
    const long long high = Day_Of(state.High_Date);
    long count = 0;
    double sum = 0.0;
    for (long k = 1; k <= Last_Ticket(state); ++k) {
        const Ticket_Record& ticket = state.Ticket_Table[static_cast<std::size_t>(k)];
        if (ticket.Used != 1 || ticket.Deleted != 0 || ticket.Fuel != fuel ||
            ticket.Establishment != station)
            continue;
        const long long day = Day_Of(ticket.Validation_Date);
        if (scope == Stat_Scope::Period ? (day < low || day > high) : day != current)
            continue;
        report.rows.push_back(Ticket_Cells(ticket, references, true) + "\t*" +
                              std::to_string(ticket.Used));
        ++count;
        sum += ticket.Real_Volume;
    }
    report.rows.emplace_back();
    const std::string total = Format_Number(sum);
    report.rows.push_back(
        Join({"Итого " + std::to_string(count) + " шт", total, "", "", "", "", "", total, "", ""}) +
        "\t*0");
    report.value_labels = {total + " л", total + " л"};
    return report;
}

std::string Buyer_Key(const std::uint8_t* company_raw) {
    const Company_View company(company_raw);
    const std::string code = Trim_Text(company.Code());
    const std::string group = Trim_Text(company.Group_Code());
    const std::string subgroup = Trim_Text(company.Subgroup_Code());
    if (!subgroup.empty() && subgroup != "000")
        return "1:" + group + ":" + subgroup + ":" + code;
    if (group.empty())
        return "1:" + code;
    return "1:" + group + ":" + code;
}

Stat_Report Build_Buyer_Statistics(const Program_State& state, const std::string& key, int fuel,
                                   Stat_Scope scope, const Stat_Names& names) {
    const Reference_Snapshot references(state);
    Stat_Report report;

    // Which company numbers carry the key, decided once per company.
    const long companies = references.Company_Records();
    std::vector<char> matches(static_cast<std::size_t>(companies) + 1, 0);
    std::string name;
    bool found = false;
    for (long n = 1; n <= companies; ++n) {
        if (Buyer_Key(references.Company_Raw(n)) == key) {
            matches[static_cast<std::size_t>(n)] = 1;
            if (!found)
                name = references.Company_Name(n);
            found = true;
        }
    }
    // A ticket whose company lies past the end of the file reads a zero record.
    const bool beyond_matches = Buyer_Key(references.Company_Raw(0)) == key;

    const std::string when = scope == Stat_Scope::Period ? "период " + Period_Text(state)
                                                         : Format_Date(state.Current_Date);
    if (!names.buyer.empty())
        name = names.buyer;
    const std::string fuel_name = names.fuel.empty() ? references.Fuel_Name(fuel) : names.fuel;
    report.caption = "Статистика талонов ГСМ '" + fuel_name + "' на " + when;
    report.title = report.caption + ". Клиент: " + name + " {" + key + "}";

    const long long current = Day_Of(state.Current_Date);
    const long long low = Day_Of(state.Low_Date);
    const long long high = Day_Of(state.High_Date);
    long count = 0;
    double sold = 0.0;
    double redeemed = 0.0;
    for (long k = 1; k <= Last_Ticket(state); ++k) {
        const Ticket_Record& ticket = state.Ticket_Table[static_cast<std::size_t>(k)];
        if (ticket.Deleted != 0 || ticket.Fuel != fuel)
            continue;
        const long company = ticket.Company;
        const bool keyed = company >= 1 && company <= companies
                               ? matches[static_cast<std::size_t>(company)] != 0
                               : beyond_matches;
        if (!keyed)
            continue;
        const long long day = Day_Of(ticket.Sell_Date);
        if (scope == Stat_Scope::Period ? (day < low || day > high) : day > current)
            continue;
        report.rows.push_back(Ticket_Cells(ticket, references, false) + "\t*" +
                              std::to_string(ticket.Used));
        ++count;
        sold += ticket.Volume;
        if (ticket.Used != 0)
            redeemed += ticket.Real_Volume;
    }
    report.rows.emplace_back();
    report.rows.push_back(Join({"Продано", Format_Number(sold), std::to_string(count) + " шт", "",
                                "", "", "Списано", Format_Number(redeemed), "", ""}) +
                          "\t*0");
    report.rows.push_back(
        Join({"", "", "", "", "", "", "", "Остаток", Format_Number(sold - redeemed), ""}) + "\t*0");
    report.value_labels = {Format_Number(sold) + " л", Format_Number(redeemed) + " л",
                           Format_Number(sold - redeemed) + " л"};
    return report;
}

std::optional<Stat_Report> Run_Statistics(Program_State& state, Clock& clock,
                                          User_Settings& settings, const Stat_Request& request,
                                          const std::function<void(Cld_Usr&)>& dialog) {
    if (request.period && !Ask_Period(state, clock, settings, dialog))
        return std::nullopt;
    const Stat_Scope scope = request.period ? Stat_Scope::Period : Stat_Scope::Current_Date;
    Stat_Report report =
        request.station
            ? Build_Station_Statistics(state, request.station_number, request.fuel, scope,
                                       request.names)
            : Build_Buyer_Statistics(state, request.buyer_key, request.fuel, scope, request.names);
    Report_Lists().Stat_Rows = report.rows;
    return report;
}

} // namespace td
