#include "cli/sale_verbs.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "browsers/browser_refresh.h"
#include "browsers/sell_ticets.h"
#include "catalogues/date_pickers.h"
#include "cli/ticket_verbs.h"
#include "tickets/register_ticket.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace td::cli {
namespace {

constexpr const char* Sell_Usage =
    "tdctl sell --buyer CODE --fuel NAME --volume V (--number N | --from N --count K | --first A "
    "--last B) [--valid DD.MM.YYYY DD.MM.YYYY] [--stations N,N,...] [--check] [--force]";

struct Sell_Request {
    std::string buyer, fuel, volume;
    std::string number, from, count, first, last;
    std::optional<double> valid_from, valid_to;
    std::optional<std::vector<int>> stations;
    bool check_only = false;
    bool force = false;
};

[[noreturn]] void Bad(const std::string& reason) {
    Fail("sell", reason + "\nusage: " + Sell_Usage, 2);
}

bool All_Digits(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isdigit(c) != 0; });
}

void Ticket_Number(const std::string& option, const std::string& text) {
    if (!All_Digits(text) || text.size() > 6)
        Bad(option + " '" + text + "' is not a ticket number of 1 to 6 digits");
}

Sell_Request Parse(const std::vector<std::string>& rest) {
    Sell_Request request;
    auto value = [&](std::size_t& i, const std::string& option) {
        if (i + 1 >= rest.size())
            Bad(option + " needs a value");
        return rest[++i];
    };
    for (std::size_t i = 0; i < rest.size(); ++i) {
        const std::string& word = rest[i];
        if (word == "--buyer")
            request.buyer = value(i, word);
        else if (word == "--fuel")
            request.fuel = value(i, word);
        else if (word == "--volume")
            request.volume = value(i, word);
        else if (word == "--number")
            request.number = value(i, word);
        else if (word == "--from")
            request.from = value(i, word);
        else if (word == "--count")
            request.count = value(i, word);
        else if (word == "--first")
            request.first = value(i, word);
        else if (word == "--last")
            request.last = value(i, word);
        else if (word == "--check")
            request.check_only = true;
        else if (word == "--force")
            request.force = true;
        else if (word == "--valid") {
            const std::string from = value(i, word);
            const std::string to = value(i, word);
            request.valid_from = Parse_Date(from);
            request.valid_to = Parse_Date(to);
            if (!request.valid_from || *request.valid_from == 0.0)
                Bad("--valid: '" + from + "' is not a date of the form DD.MM.YYYY");
            if (!request.valid_to || *request.valid_to == 0.0)
                Bad("--valid: '" + to + "' is not a date of the form DD.MM.YYYY");
        } else if (word == "--stations") {
            const std::string list = value(i, word);
            std::vector<int> numbers;
            std::size_t at = 0;
            while (at < list.size()) {
                const std::size_t comma = std::min(list.find(',', at), list.size());
                const std::string piece = list.substr(at, comma - at);
                if (!All_Digits(piece) || piece.size() > 3)
                    Bad("--stations: '" + piece + "' is not a station's record number");
                numbers.push_back(std::stoi(piece));
                at = comma + 1;
            }
            request.stations = numbers;
        } else {
            Bad("unknown argument '" + word + "'");
        }
    }
    if (request.buyer.empty())
        Bad("say which buyer: --buyer CODE (the code as the buyer browser shows it)");
    if (request.fuel.empty())
        Bad("say which fuel: --fuel NAME");
    if (request.volume.empty())
        Bad("say which volume: --volume V");
    const int forms = (request.number.empty() ? 0 : 1) +
                      (request.from.empty() && request.count.empty() ? 0 : 1) +
                      (request.first.empty() && request.last.empty() ? 0 : 1);
    if (forms != 1)
        Bad("give exactly one of --number N, --from N --count K, --first A --last B");
    if (!request.number.empty())
        Ticket_Number("--number", request.number);
    if (!request.from.empty() || !request.count.empty()) {
        Ticket_Number("--from", request.from);
        if (!All_Digits(request.count))
            Bad("--count '" + request.count + "' is not a whole number");
    }
    if (!request.first.empty() || !request.last.empty()) {
        Ticket_Number("--first", request.first);
        Ticket_Number("--last", request.last);
    }
    return request;
}

// The browser node that lists a code path, "1:g:c" listed under root\g\.
std::string Node_Of(const std::string& code) {
    std::vector<std::string> pieces;
    std::size_t at = 0;
    while (at <= code.size()) {
        const std::size_t colon = std::min(code.find(':', at), code.size());
        pieces.push_back(code.substr(at, colon - at));
        at = colon + 1;
    }
    std::string key = Sell_Ticets::Root_Key;
    for (std::size_t i = 1; i + 1 < pieces.size(); ++i)
        key += pieces[i] + "\\";
    return key;
}

int Sell(const Arguments& args) {
    const Sell_Request request = Parse(args.rest);
    Session session(args.home);
    Program_State& state = session.State();
    auto refuse_arguments = [&](const std::string& reason) {
        std::fprintf(stderr, "tdctl sell: %s\n", reason.c_str());
        session.Shutdown({}, 2);
    };

    // The buyer's row, reached in the browser as the user reaches it.
    Open_Browsers browsers;
    Sell_Ticets buyer(state, session.Ui(), session.Clock(), session.User_Settings(), nullptr);
    if (!buyer.Form_Load())
        session.Shutdown("the buyer browser could not be opened");
    browsers.Set_Buyer(&buyer);
    const std::string node = Node_Of(request.buyer);
    buyer.TreeView1_NodeClick(node);
    state.Current_Node_Key = node;
    state.Parent_Node_Key = Parent_Key_Of(node);
    int row = -1;
    for (int r = 2; r < buyer.MSFlexGrid1.Rows() && row < 0; ++r)
        if (buyer.MSFlexGrid1.Text(r, 1) == request.buyer)
            row = r;
    if (row < 0)
        refuse_arguments("unknown buyer '" + request.buyer +
                         "': no row of the buyer browser has this code");
    buyer.MSFlexGrid1.Set_Row(row);
    buyer.MSFlexGrid1.Set_Col(1);
    if (!buyer.Popup_For_Click().show)
        refuse_arguments("the buyer browser offers no sale to '" + request.buyer +
                         "' (a company of the first level holds buyers, it is none)");

    Register_ticket screen(state, session.Ui(), session.Clock(), session.User_Settings(), browsers);
    screen.Form_Load();

    std::string why;
    const int fuel = Fuel_Index(screen.Combo2, request.fuel, why);
    if (fuel < 0)
        refuse_arguments(why);
    screen.Combo2_Click(fuel);
    const int volume = Volume_Index(screen.Combo3, request.volume, why);
    if (volume < 0)
        refuse_arguments(why);
    screen.Combo3_Click(volume);

    if (request.valid_from) {
        screen.Option_Click(2);
        Calendar calendar(state, session.Clock(), &screen);
        calendar.Calendar2.value = *request.valid_from;
        calendar.Calendar1.value = *request.valid_to;
        calendar.Command1_Click();
    } else {
        screen.Option_Click(1);
    }
    if (request.stations) {
        screen.Option_Click(4);
        std::set<int> wanted(request.stations->begin(), request.stations->end());
        for (int e = 0; e < screen.ListView1.Count(); ++e) {
            const std::string& key = screen.ListView1.Key(e);
            const int number = std::stoi(key.substr(key.rfind('\\') + 1));
            if (screen.ListView1.Checked(e) != (wanted.erase(number) > 0))
                screen.ListView1_Click(e);
        }
        if (!wanted.empty())
            refuse_arguments("--stations: station " + std::to_string(*wanted.begin()) +
                             " is not in the list of stations");
    } else {
        screen.Option_Click(3);
    }

    // The numbers typed and each field left, so that padding and the coupling of the range
    // happen as on the screen.
    if (!request.number.empty()) {
        screen.Option_Click(5);
        screen.Text_Change(1, request.number);
    } else if (!request.from.empty()) {
        screen.Option_Click(7);
        screen.Focus_To(Sale_Focus::Text4);
        screen.Text_Change(4, request.from);
        screen.Focus_To(Sale_Focus::Text5);
        screen.Text_Change(5, request.count);
    } else {
        screen.Option_Click(6);
        screen.Focus_To(Sale_Focus::Text2);
        screen.Text_Change(2, request.first);
        screen.Focus_To(Sale_Focus::Text3);
        screen.Text_Change(3, request.last);
    }
    screen.Focus_To(Sale_Focus::Command1);

    // The rows reach the output however the run ends, the fatal screen included.
    Log_Printer rows(session, screen.MSFlexGrid2);
    const bool accepted =
        Check_Then_Commit(screen, Sale_Outcome::Accepted, request.check_only, request.force);
    rows.Print();

    int code = 1;
    switch (screen.Last_Outcome()) {
    case Sale_Outcome::Accepted:
    case Sale_Outcome::Registered:
        code = 0;
        break;
    case Sale_Outcome::Partly_Registered:
        std::fprintf(stderr, "tdctl sell: the range ran past 999999 and stopped there; the "
                             "tickets up to 999999 are registered\n");
        code = 0;
        break;
    default:
        break;
    }
    if (!request.check_only && !accepted && !request.force)
        std::fprintf(stderr, "tdctl sell: refused by the check; nothing was written (--force "
                             "commits anyway, and the commit tests the numbers again)\n");
    session.Shutdown({}, code);
}

} // namespace

int Run_Sale_Verb(const Arguments& args) {
    if (args.verb == "sell")
        return Sell(args);
    return -1;
}

} // namespace td::cli
