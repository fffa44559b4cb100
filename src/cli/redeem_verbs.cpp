#include "cli/redeem_verbs.h"

#include "base/numbers.h"
#include "browsers/browser_refresh.h"
#include "cli/ticket_verbs.h"
#include "tickets/shop.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace td::cli {
namespace {

constexpr const char* Redeem_Usage = "tdctl redeem --station N --fuel NAME --volume V "
                                     "NUMBER[:LITRES]... [--check] [--force]";

struct Listed {
    std::string number;
    std::string litres; // empty: the volume's
};

struct Redeem_Request {
    std::string station, fuel, volume;
    std::vector<Listed> numbers;
    bool check_only = false;
    bool force = false;
};

[[noreturn]] void Bad(const std::string& reason) {
    Fail("redeem", reason + "\nusage: " + Redeem_Usage, 2);
}

bool All_Digits(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isdigit(c) != 0; });
}

// Litres as the list takes them: digits with at most one decimal mark, "," or ".".
bool Litres_Text(const std::string& text) {
    const std::size_t mark = text.find_first_of(",.");
    if (mark == std::string::npos)
        return All_Digits(text);
    return All_Digits(text.substr(0, mark)) && All_Digits(text.substr(mark + 1));
}

Redeem_Request Parse(const std::vector<std::string>& rest) {
    Redeem_Request request;
    auto value = [&](std::size_t& i, const std::string& option) {
        if (i + 1 >= rest.size())
            Bad(option + " needs a value");
        return rest[++i];
    };
    for (std::size_t i = 0; i < rest.size(); ++i) {
        const std::string& word = rest[i];
        if (word == "--station") {
            request.station = value(i, word);
        } else if (word == "--fuel") {
            request.fuel = value(i, word);
        } else if (word == "--volume") {
            request.volume = value(i, word);
        } else if (word == "--check") {
            request.check_only = true;
        } else if (word == "--force") {
            request.force = true;
        } else if (word.rfind("--", 0) == 0) {
            Bad("unknown argument '" + word + "'");
        } else {
            const std::size_t colon = word.find(':');
            Listed listed{word.substr(0, colon),
                          colon == std::string::npos ? "" : word.substr(colon + 1)};
            if (!All_Digits(listed.number) || listed.number.size() > 6)
                Bad("'" + word + "': the number '" + listed.number +
                    "' is not a ticket number of 1 to 6 digits");
            if (colon != std::string::npos && !Litres_Text(listed.litres))
                Bad("'" + word + "': the litres '" + listed.litres +
                    "' are not a number such as 12, 12,5 or 12.5");
            request.numbers.push_back(listed);
        }
    }
    if (!All_Digits(request.station))
        Bad(request.station.empty()
                ? "say which station: --station N (its record number)"
                : "--station '" + request.station + "' is not a station's record number");
    if (request.fuel.empty())
        Bad("say which fuel: --fuel NAME");
    if (request.volume.empty())
        Bad("say which volume: --volume V");
    if (request.numbers.empty())
        Bad("list at least one ticket number");
    return request;
}

// Types a text into the current cell, key by key.
void Type(Shop& screen, const std::string& text) {
    for (char c : text) {
        screen.MSFlexGrid1_KeyPress(static_cast<unsigned char>(c));
        screen.MSFlexGrid1_KeyUp(List_Key::Other);
    }
}

int Redeem(const Arguments& args) {
    const Redeem_Request request = Parse(args.rest);
    Session session(args.home);
    Program_State& state = session.State();
    auto refuse_arguments = [&](const std::string& reason) {
        std::fprintf(stderr, "tdctl redeem: %s\n", reason.c_str());
        session.Shutdown({}, 2);
    };

    Open_Browsers browsers;
    Shop screen(state, session.Ui(), session.Clock(), browsers);
    screen.Form_Load();

    const int station =
        screen.ListView1.Find_Key("Est:" + std::to_string(std::stol(request.station)));
    if (station < 0) {
        std::string listed;
        for (int e = 0; e < screen.ListView1.Count(); ++e)
            listed += (e == 0 ? "" : ", ") + screen.ListView1.Key(e).substr(4) + " " +
                      screen.ListView1.Text(e);
        refuse_arguments("station " + request.station +
                         " is not in the list of stations (it lists: " + listed + ")");
    }
    screen.ListView1_ItemClick(station);

    std::string why;
    const int fuel = Fuel_Index(screen.Combo2, request.fuel, why);
    if (fuel < 0)
        refuse_arguments(why);
    screen.Combo2_Click(fuel);
    const int volume = Volume_Index(screen.Combo3, request.volume, why);
    if (volume < 0)
        refuse_arguments(why);
    screen.Combo3_Click(volume);

    // Each number typed into the last row; litres into their cell when given, else Enter gives
    // the volume's.
    screen.MSFlexGrid1_GotFocus();
    for (const Listed& listed : request.numbers) {
        const int row = screen.MSFlexGrid1.Rows() - 1;
        screen.MSFlexGrid1_Move_To(row, Shop::Number_Col);
        Type(screen, listed.number);
        if (!listed.litres.empty()) {
            screen.MSFlexGrid1_Move_To(row, Shop::Litres_Col);
            Type(screen, listed.litres);
        }
        screen.MSFlexGrid1_KeyPress(Shop::Key_Enter);
        screen.MSFlexGrid1_KeyUp(List_Key::Other);
    }
    screen.MSFlexGrid1_LostFocus();

    // The rows reach the output however the run ends, the fatal screen included.
    Log_Printer rows(session, screen.MSFlexGrid2);
    const bool accepted =
        Check_Then_Commit(screen, Redemption_Outcome::Accepted, request.check_only, request.force);
    rows.Print();
    screen.Form_Unload();

    const Redemption_Outcome outcome = screen.Last_Outcome();
    const int code =
        outcome == Redemption_Outcome::Accepted || outcome == Redemption_Outcome::Booked ? 0 : 1;
    if (!request.check_only && !accepted && !request.force && outcome != Redemption_Outcome::Failed)
        std::fprintf(stderr, "tdctl redeem: refused by the check; nothing was written (--force "
                             "books what the commit accepts, testing every number again)\n");
    session.Shutdown({}, code);
}

} // namespace

int Run_Redeem_Verb(const Arguments& args) {
    if (args.verb == "redeem")
        return Redeem(args);
    return -1;
}

} // namespace td::cli
