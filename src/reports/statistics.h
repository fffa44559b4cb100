// The coupons behind one cell of a browser: every coupon of one fuel sold to one buyer, or every
// coupon of one fuel redeemed at one station, with their totals. Rows for Stat_Rows: ten cells,
// then a tab, "*" and the coupon's Used byte, which the viewer paints by.
#pragma once

#include "storage/records.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace td {

struct Program_State;
class Reference_Snapshot;
class Clock;
class User_Settings;
class Cld_Usr;

// The ten columns of the statistics and of the ticket information.
const std::vector<std::string>& Ticket_Column_Headers();

// The cells of one coupon, joined by tabs, without the marker. `station_variant` writes the
// nominal volume alone under "Литраж"; the buyer variant adds " / " and the litres taken for a
// redeemed coupon.
std::string Ticket_Cells(const Ticket_Record& ticket, const Reference_Snapshot& references,
                         bool station_variant);

// The stations of a coupon limited to stations: "1, 3, 16" from its mask.
std::string Station_List(std::int32_t mask);

enum class Stat_Scope { Current_Date, Period };

struct Stat_Report {
    std::string caption;
    std::string title;
    std::vector<std::string> rows;
    // "Продано:", "Списано:", "Остаток:" of a buyer; "Продано:", "Списано:" of a station.
    std::vector<std::string> value_labels;
};

// The names the caption and title show, as the browser's grid has them; an empty name is read
// from the reference files.
struct Stat_Names {
    std::string station{};
    std::string fuel{};
    std::string buyer{};
};

// A station's redemptions of one fuel: Validation_Date on the working date or in the period.
Stat_Report Build_Station_Statistics(const Program_State& state, long station, int fuel,
                                     Stat_Scope scope, const Stat_Names& names = {});

// The key of a company as the buyer browser's key column shows it: "1:" code for a level 1
// company, "1:" group ":" code below it, "1:" group ":" subgroup ":" code on level 3.
std::string Buyer_Key(const std::uint8_t* company_raw);

// A buyer's coupons of one fuel: Sell_Date up to the working date or in the period. Every company
// whose key is `key` counts; the name shown is that of the first.
Stat_Report Build_Buyer_Statistics(const Program_State& state, const std::string& key, int fuel,
                                   Stat_Scope scope, const Stat_Names& names = {});

// The five commands as the menus run them: the period variants ask for the period first and
// build nothing when it is cancelled (no value). A report built replaces Stat_Rows.
struct Stat_Request {
    bool station = false; // else a buyer
    bool period = false;
    long station_number = 0;
    std::string buyer_key;
    int fuel = 0;
    Stat_Names names{};
};
std::optional<Stat_Report> Run_Statistics(Program_State& state, Clock& clock,
                                          User_Settings& settings, const Stat_Request& request,
                                          const std::function<void(Cld_Usr&)>& dialog);

} // namespace td
