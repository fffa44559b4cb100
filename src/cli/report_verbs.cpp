#include "cli/report_verbs.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/text.h"
#include "qt/pdf_printer.h"
#include "reports/balance_report.h"
#include "reports/liability.h"
#include "reports/reference_snapshot.h"
#include "reports/rep_reg.h"
#include "reports/report_store.h"
#include "reports/report_viewer.h"
#include "reports/statistics.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace td::cli {

namespace {

struct Output_Options {
    bool csv = false;
    std::string pdf;
    std::optional<std::pair<double, double>> period;
};

// The `count` values behind `flag`, taken out of `rest`; nothing if the flag isn't there.
std::optional<std::vector<std::string>> Take_Values(const std::string& verb,
                                                    std::vector<std::string>& rest,
                                                    const std::string& flag, std::size_t count) {
    auto at = std::find(rest.begin(), rest.end(), flag);
    if (at == rest.end())
        return std::nullopt;
    if (static_cast<std::size_t>(rest.end() - at) < count + 1)
        Fail(verb, flag + " needs " + std::to_string(count) + " value" + (count > 1 ? "s" : ""), 2);
    std::vector<std::string> values(at + 1, at + 1 + static_cast<long>(count));
    rest.erase(at, at + 1 + static_cast<long>(count));
    return values;
}

double Date_Argument(const std::string& verb, const std::string& text) {
    std::optional<double> date = Parse_Date(text);
    if (!date || text.find('.') == std::string::npos)
        Fail(verb, "'" + text + "' is not a date DD.MM.YYYY", 2);
    return *date;
}

Output_Options Take_Output_Options(const std::string& verb, std::vector<std::string>& rest) {
    Output_Options options;
    options.csv = Take_Flag(rest, "--csv");
    if (auto pdf = Take_Values(verb, rest, "--pdf", 1))
        options.pdf = (*pdf)[0];
    if (auto period = Take_Values(verb, rest, "--period", 2)) {
        double low = Date_Argument(verb, (*period)[0]);
        double high = Date_Argument(verb, (*period)[1]);
        // A reversed period is the same period.
        if (Date_Before(high, low))
            std::swap(low, high);
        options.period = std::make_pair(low, high);
    }
    if (options.csv && !options.pdf.empty())
        Fail(verb, "--csv and --pdf go one at a time", 2);
    return options;
}

void No_More(const std::string& verb, const std::vector<std::string>& rest) {
    if (!rest.empty())
        Fail(verb, "unknown argument '" + rest[0] + "'", 2);
}

// A cell of digits, blanks, slashes and decimal commas holds numbers: a point goes in place of
// the comma for a spreadsheet.
std::string Csv_Cell(std::string cell) {
    const bool numeric = !cell.empty() && cell.find_first_of("0123456789") != std::string::npos &&
                         cell.find_first_not_of("0123456789,-/ ") == std::string::npos;
    if (numeric)
        std::replace(cell.begin(), cell.end(), ',', '.');
    if (cell.find_first_of(",\"\n;") != std::string::npos) {
        std::string quoted = "\"";
        for (char c : cell)
            quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
        return quoted + "\"";
    }
    return cell;
}

std::vector<std::string> Split_Tabs(const std::string& row) {
    std::vector<std::string> cells;
    std::size_t start = 0;
    while (true) {
        const std::size_t tab = row.find('\t', start);
        cells.push_back(row.substr(start, tab == std::string::npos ? tab : tab - start));
        if (tab == std::string::npos)
            return cells;
        start = tab + 1;
    }
}

void Print_Csv_Line(const std::vector<std::string>& cells) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i)
        line += (i == 0 ? "" : ",") + Csv_Cell(cells[i]);
    std::printf("%s\n", line.c_str());
}

// Rows as CSV: the marker cell of the statistics dropped; the three figures of the full
// report each in a column of its own.
void Print_Csv(const std::vector<std::string>& headers, const std::vector<std::string>& rows,
               bool split_triples) {
    Print_Csv_Line(headers);
    for (const std::string& row : rows) {
        std::vector<std::string> cells = Split_Tabs(row);
        if (!cells.empty() && cells.back().rfind("*", 0) == 0 && cells.size() > 1)
            cells.pop_back();
        if (split_triples) {
            std::vector<std::string> split;
            for (std::size_t i = 0; i < cells.size(); ++i) {
                if (i == 0) {
                    split.push_back(cells[i]);
                    continue;
                }
                std::vector<std::string> parts;
                std::size_t start = 0;
                while (true) {
                    const std::size_t sep = cells[i].find("  /  ", start);
                    parts.push_back(
                        cells[i].substr(start, sep == std::string::npos ? sep : sep - start));
                    if (sep == std::string::npos)
                        break;
                    start = sep + 5;
                }
                parts.resize(3);
                split.insert(split.end(), parts.begin(), parts.end());
            }
            cells = split;
        }
        Print_Csv_Line(cells);
    }
}

// Every page of the report through the printer's drawing code, into a PDF file.
void Write_Pdf(Session& session, const std::string& verb, const std::string& file, Viewer_Kind kind,
               const std::string& title, int columns, const std::vector<std::string>& headers) {
    Report_Viewer viewer(kind, session.State(), session.Ui());
    viewer.Show_Report(title, title, columns, headers, 14000);
    Pdf_Printer printer(file);
    if (!printer.Ready())
        session.Shutdown("cannot write " + file + ": " + printer.Failure());
    const int count = viewer.Row_Count();
    for (int page = 1; page <= viewer.Pages(); ++page) {
        // A last page that starts past the rows (a report of exactly 60) is not printed.
        if (page > 1 && (page - 1) * Page_Rows >= count)
            break;
        if (page > 1)
            printer.New_Page();
        viewer.Set_Page(page);
        viewer.Print_Page(printer, false);
    }
    if (!printer.End_Document())
        session.Shutdown("cannot write " + file + ": " + printer.Failure());
    std::fprintf(stderr, "tdctl %s: wrote %s\n", verb.c_str(), file.c_str());
}

int Report(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    if (rest.empty())
        Fail("report", "which report? full, sales, redemptions, left or liability", 2);
    const std::string kind = rest[0];
    rest.erase(rest.begin());
    Output_Options options = Take_Output_Options("report", rest);

    if (kind == "liability") {
        std::optional<double> at;
        if (auto values = Take_Values("report", rest, "--at", 1))
            at = Date_Argument("report", (*values)[0]);
        No_More("report", rest);
        if (options.period || !options.pdf.empty())
            Fail("report", "the liability takes --at and --csv only", 2);
        Session session(args.home);
        const Liability_Report report =
            Build_Liability_Report(session.State(), at.value_or(session.State().Current_Date));
        if (options.csv) {
            Print_Csv(report.headers, report.rows, false);
        } else {
            std::printf("%s\n", report.title.c_str());
            for (const std::string& row : report.rows)
                std::printf("%s\n", row.c_str());
        }
        session.Shutdown();
    }

    const Balance_Command* command = Find_Balance_Command(kind, options.period.has_value());
    if (command == nullptr) {
        if (Find_Balance_Command(kind, false) != nullptr)
            Fail("report", "the report '" + kind + "' has no period", 2);
        Fail("report", "unknown report '" + kind + "': full, sales, redemptions, left, liability",
             2);
    }
    No_More("report", rest);

    Session session(args.home);
    Program_State& state = session.State();
    if (options.period) {
        state.Low_Date = options.period->first;
        state.High_Date = options.period->second;
    }
    Balance_Report report = Build_Balance_Report(state, *command);
    if (!report.ok)
        session.Shutdown(report.failure);
    Report_Lists().Report_Rows = report.rows;

    if (!options.pdf.empty()) {
        Write_Pdf(session, "report", options.pdf, Viewer_Kind::Reports_F, report.title,
                  static_cast<int>(report.fuel_names.size()) + 1, {});
    } else if (options.csv) {
        std::vector<std::string> headers = {"Компания"};
        for (const std::string& fuel : report.fuel_names) {
            if (command->figure == Balance_Figure::All) {
                headers.push_back(fuel + " продано");
                headers.push_back(fuel + " списано");
                headers.push_back(fuel + " остаток");
            } else {
                headers.push_back(fuel);
            }
        }
        Print_Csv(headers, report.rows, command->figure == Balance_Figure::All);
    } else {
        std::printf("%s\n", report.title.c_str());
        for (const std::string& row : report.rows)
            std::printf("%s\n", row.c_str());
    }
    session.Shutdown();
}

// A fuel slot by its number or its name.
int Fuel_Argument(Session& session, const std::string& text) {
    char* end = nullptr;
    const long slot = std::strtol(text.c_str(), &end, 10);
    if (!text.empty() && *end == '\0') {
        if (slot < 1 || slot > Fuel_Slots)
            session.Shutdown("'" + text + "' is not a fuel slot from 1 to 8");
        return static_cast<int>(slot);
    }
    const Reference_Snapshot references(session.State());
    for (int s = 1; s <= Fuel_Slots; ++s)
        if (references.Fuel_Name(s) == Trim_Text(text))
            return s;
    session.Shutdown("no fuel grade is named '" + text + "'");
}

int Stats(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    Output_Options options = Take_Output_Options("stats", rest);
    if (rest.size() != 3 || (rest[0] != "buyer" && rest[0] != "station"))
        Fail("stats", "usage: tdctl stats buyer KEY FUEL | stats station N FUEL [--period D1 D2]",
             2);
    const bool buyer = rest[0] == "buyer";
    long station = 0;
    if (!buyer) {
        char* end = nullptr;
        station = std::strtol(rest[1].c_str(), &end, 10);
        if (rest[1].empty() || *end != '\0' || station < 1 || station > Station_Slots)
            Fail("stats", "'" + rest[1] + "' is not a station from 1 to 16", 2);
    }

    Session session(args.home);
    Program_State& state = session.State();
    const int fuel = Fuel_Argument(session, rest[2]);
    const Stat_Scope scope = options.period ? Stat_Scope::Period : Stat_Scope::Current_Date;
    if (options.period) {
        state.Low_Date = options.period->first;
        state.High_Date = options.period->second;
    }
    const Stat_Report report = buyer ? Build_Buyer_Statistics(state, rest[1], fuel, scope)
                                     : Build_Station_Statistics(state, station, fuel, scope);
    Report_Lists().Stat_Rows = report.rows;
    const Viewer_Kind kind = buyer ? Viewer_Kind::Reports : Viewer_Kind::Reports_S;

    if (!options.pdf.empty()) {
        Write_Pdf(session, "stats", options.pdf, kind, report.title, 10, Ticket_Column_Headers());
    } else if (options.csv) {
        Print_Csv(Ticket_Column_Headers(), report.rows, false);
    } else {
        std::printf("%s\n", report.title.c_str());
        for (const std::string& row : report.rows)
            std::printf("%s\n", row.c_str());
        const std::vector<std::string> captions = Report_Viewer::Value_Captions(kind);
        for (std::size_t i = 0; i < captions.size(); ++i)
            std::printf("%s\t%s\n", captions[i].c_str(), report.value_labels[i].c_str());
    }
    session.Shutdown();
}

int Ticket(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    const bool remove = Take_Flag(rest, "--delete");
    const bool restore = Take_Flag(rest, "--restore");
    const bool yes = Take_Flag(rest, "--yes");
    auto fuel_text = Take_Values("ticket", rest, "--fuel", 1);
    auto volume_text = Take_Values("ticket", rest, "--volume", 1);
    auto record_text = Take_Values("ticket", rest, "--record", 1);
    if (rest.size() != 1 || !fuel_text || !volume_text)
        Fail("ticket",
             "usage: tdctl ticket NUMBER --fuel FUEL --volume V [--record N] "
             "[--delete|--restore [--yes]]",
             2);
    if (remove && restore)
        Fail("ticket", "--delete and --restore go one at a time", 2);
    if (yes && !remove && !restore)
        Fail("ticket", "--yes goes with --delete or --restore", 2);
    std::optional<double> volume = Regional_Number((*volume_text)[0]);
    if (!volume)
        volume = Leading_Number((*volume_text)[0]);
    if ((remove || restore) && !yes && (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1))
        Fail("ticket", "not on a terminal: add --yes to go ahead; nothing was changed", 2);

    Session session(args.home);
    Program_State& state = session.State();
    Ticket_Info_Request request;
    request.serial = rest[0];
    request.record_text = record_text ? (*record_text)[0] : "";
    request.fuel_slot = Fuel_Argument(session, (*fuel_text)[0]);
    request.volume = *volume;
    request.fuel_name = Reference_Snapshot(state).Fuel_Name(request.fuel_slot);

    Rep_Reg window(state, session.Ui(), session.Clock());
    if (!window.Show_Ticket(request))
        session.Shutdown("no coupon " + request.serial +
                         " of that fuel and volume that isn't "
                         "deleted");
    std::printf("%s\n", window.Caption.c_str());
    std::printf("%s\n", window.Label1.c_str());
    std::printf("record\t%s\n", window.Text1.c_str());
    for (int r = 1; r < window.MSFlexGrid1.Rows(); ++r) {
        std::string line;
        for (int c = 0; c < window.MSFlexGrid1.Cols(); ++c)
            line += (c == 0 ? "" : "\t") + window.MSFlexGrid1.Text(r, c);
        if (!line.empty() && line != std::string(9, '\t'))
            std::printf("%s\n", line.c_str());
    }
    if (remove || restore) {
        if (restore && !window.Command2_Enabled)
            session.Shutdown("the coupon was not redeemed: nothing to restore");
        if (!yes) {
            std::fprintf(stderr, "%s [y/N] ",
                         remove ? "Delete this coupon?" : "Undo the redemption of this coupon?");
            std::string answer;
            for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar())
                answer += static_cast<char>(c);
            if (answer != "y" && answer != "Y" && answer != "yes")
                session.Shutdown("nothing was changed");
        }
        if (remove)
            window.Command1_Click();
        else
            window.Command2_Click();
        if (!window.write_failure.empty())
            session.Shutdown("nothing was changed: " + window.write_failure);
        // The change reaches the totals and the index the way the program's own does: rebuilt.
    }
    session.Shutdown();
}

} // namespace

int Run_Report_Verb(const Arguments& args) {
    if (args.verb == "report")
        return Report(args);
    if (args.verb == "stats")
        return Stats(args);
    if (args.verb == "ticket")
        return Ticket(args);
    return -1;
}

} // namespace td::cli
