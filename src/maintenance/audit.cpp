#include "maintenance/audit.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace td {

namespace {

constexpr long long Block = 65536;
constexpr std::int32_t Mask_Present = 65536;

std::string Printable(const std::string& serial) {
    std::string text = serial;
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 32 || c == 127)
            c = '?';
    return text;
}

// A number of six digits as a number, for the bit of its pair; anything else is compared by
// its bytes.
bool Six_Digits(const std::array<char, 6>& serial, std::uint32_t& value) {
    value = 0;
    for (char c : serial) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + static_cast<std::uint32_t>(c - '0');
    }
    return true;
}

bool Differs(double a, double b) {
    return std::fabs(a - b) > 1e-6 * std::max(1.0, std::fabs(a) + std::fabs(b));
}

std::vector<Cache_Record> Read_Totals(const std::string& path, std::size_t count) {
    std::vector<Cache_Record> totals(count);
    Record_File file(path, Cache_Record_Size, Record_File::Mode::Read_Only);
    if (!file.Is_Open())
        return totals;
    std::vector<std::uint8_t> raw(count * Cache_Record_Size);
    if (!file.Read_Block(1, count, raw.data()))
        return totals;
    for (std::size_t i = 0; i < count; ++i)
        totals[i] = Decode_Cache(raw.data() + i * Cache_Record_Size);
    return totals;
}

} // namespace

std::string Audit_Line(const Audit_Finding& finding) {
    return finding.subject + "\t" + std::to_string(finding.number) + "\t" + finding.serial + "\t" +
           finding.text;
}

Audit_Result Audit_Installation(const Audit_Files& files, double working_date) {
    Audit_Result result;
    auto ticket_finding = [&](Audit_Finding::Kind kind, long long record, const Ticket_Record& t,
                              const std::string& text) {
        result.findings.push_back({kind, "ticket", record, Printable(t.Serial_Text()), text});
    };

    const Database_Extent extent = Read_Database_Extent(files.database);
    if (!extent.header_read || !extent.offset_whole) {
        result.findings.push_back({Audit_Finding::Kind::Unreadable, "database", 0, "",
                                   "the header of " + files.database + " can't be read"});
        return result;
    }
    const long long offset = extent.offset;
    const long long count = std::max(0LL, extent.count);
    result.tickets = count;

    // The catalogues: stations of slots 1..16 that exist, companies the file holds.
    std::array<bool, Station_Slots + 1> station_exists{};
    {
        Record_File stations(files.stations, Name_Record_Size, Record_File::Mode::Read_Only);
        std::vector<std::uint8_t> raw(Name_Record_Size);
        for (int n = 1; n <= Station_Slots && stations.Is_Open(); ++n)
            if (stations.Read(static_cast<std::uint64_t>(n), raw.data()))
                station_exists[static_cast<std::size_t>(n)] = Reference_Exists(raw.data()) == 1;
    }
    long long companies = 0;
    {
        Record_File company(files.company, Company_Record_Size, Record_File::Mode::Read_Only);
        companies = company.Is_Open() ? static_cast<long long>(company.Record_Count()) : 0;
    }

    std::vector<Cache_Record> diff(Max_Companies + 1);
    std::vector<Cache_Record> used(Max_Station_Totals + 1);
    std::unordered_map<std::uint64_t, std::vector<std::uint64_t>> seen;
    std::vector<long long> repeated;
    // Numbers that are not six digits, or pairs out of the usual bounds: compared exactly.
    std::map<std::tuple<int, std::int32_t, std::string>, long long> odd_numbers;

    Record_File database(files.database, Ticket_Record_Size, Record_File::Mode::Read_Only);
    if (!database.Is_Open()) {
        result.findings.push_back(
            {Audit_Finding::Kind::Unreadable, "database", 0, "", "cannot open " + files.database});
        return result;
    }
    std::vector<std::uint8_t> buffer(
        static_cast<std::size_t>(std::min(Block, std::max(count, 1LL))) * Ticket_Record_Size);
    for (long long first = 1; first <= count; first += Block) {
        const long long n = std::min(Block, count - first + 1);
        if (!database.Read_Block(static_cast<std::uint64_t>(first + offset),
                                 static_cast<std::uint64_t>(n), buffer.data())) {
            result.findings.push_back({Audit_Finding::Kind::Unreadable, "database", 0, "",
                                       "cannot read " + files.database});
            return result;
        }
        for (long long k = 0; k < n; ++k) {
            Ticket_Record t;
            std::memcpy(&t, buffer.data() + k * Ticket_Record_Size, Ticket_Record_Size);
            const long long record = first + k + offset;
            if (t.Deleted != 0)
                continue;
            const bool sold = Date_Not_After(t.Sell_Date, working_date);
            if (t.Used == 1) {
                if (Date_Before(t.Validation_Date, t.Sell_Date))
                    ticket_finding(Audit_Finding::Kind::Redeemed_Before_Sold, record, t,
                                   "redeemed on " + Format_Date(t.Validation_Date) +
                                       " before it was sold on " + Format_Date(t.Sell_Date));
                if (t.Establishment == 0)
                    ticket_finding(Audit_Finding::Kind::Redeemed_Without_Station, record, t,
                                   "redeemed at no station");
                else if (t.Establishment < 1 || t.Establishment > Station_Slots ||
                         !station_exists[static_cast<std::size_t>(t.Establishment)])
                    ticket_finding(Audit_Finding::Kind::Redeemed_Without_Station, record, t,
                                   "redeemed at station " + std::to_string(t.Establishment) +
                                       ", which the catalogue does not hold");
            }
            if (t.Establishment_Limits != 0) {
                // Exactly the mark (no station checked) is a ticket the sale makes valid nowhere;
                // a bit with no station behind it, or no mark at all, is not.
                const std::int64_t rest =
                    static_cast<std::int64_t>(t.Establishments_Mask) - Mask_Present;
                std::string missing;
                for (int s = 0; s < 31 && rest >= 0; ++s)
                    if (((rest >> s) & 1) != 0 && (s < 1 || s > Station_Slots ||
                                                   !station_exists[static_cast<std::size_t>(s)]))
                        missing += (missing.empty() ? "" : ", ") + std::to_string(s);
                if (rest < 0 || !missing.empty())
                    ticket_finding(
                        Audit_Finding::Kind::Mask_Without_Station, record, t,
                        "station mask " + std::to_string(t.Establishments_Mask) +
                            (rest < 0 ? " lacks the mark 65536"
                                      : " names stations the catalogue does not hold: " + missing));
            }
            if (t.Date_Limits != 0 && Date_Before(t.Expire_Date, t.Valid_From))
                ticket_finding(Audit_Finding::Kind::Validity_Ends_Before_Start, record, t,
                               "valid from " + Format_Date(t.Valid_From) + " to " +
                                   Format_Date(t.Expire_Date));
            if (t.Company < 1 || t.Company > Max_Companies || t.Company > companies)
                ticket_finding(Audit_Finding::Kind::Company_Out_Of_Range, record, t,
                               "sold to company " + std::to_string(t.Company) +
                                   ", outside the company file's 1 to " +
                                   std::to_string(std::min<long long>(companies, Max_Companies)));

            std::uint32_t digits = 0;
            if (Six_Digits(t.Serial, digits) && t.Volume >= 0) {
                // One bit per six-digit number and pair; a bit found set is a duplicate, whose
                // first holder a second scan names.
                std::vector<std::uint64_t>& bits = seen[(static_cast<std::uint64_t>(t.Fuel) << 32) |
                                                        static_cast<std::uint32_t>(t.Volume)];
                if (bits.empty())
                    bits.assign(1000000 / 64 + 1, 0);
                std::uint64_t& word = bits[digits / 64];
                const std::uint64_t bit = std::uint64_t{1} << (digits % 64);
                if ((word & bit) != 0)
                    repeated.push_back(record);
                word |= bit;
            } else {
                auto [it, fresh] = odd_numbers.try_emplace(std::make_tuple(static_cast<int>(t.Fuel),
                                                                           std::int32_t{t.Volume},
                                                                           t.Serial_Text()),
                                                           record);
                if (!fresh)
                    ticket_finding(Audit_Finding::Kind::Duplicate_Number, record, t,
                                   "the same number under fuel " + std::to_string(t.Fuel) +
                                       " and volume " + std::to_string(t.Volume) + " as record " +
                                       std::to_string(it->second));
            }

            if (!sold)
                continue;
            const std::size_t fuel = t.Fuel;
            if (fuel > 9)
                continue;
            if (t.Used == 0) {
                if (t.Company >= 1 && t.Company <= Max_Companies)
                    diff[static_cast<std::size_t>(t.Company)].Fuel_Total[fuel] += t.Volume;
            } else if (t.Validation_Date == working_date && t.Establishment >= 1 &&
                       t.Establishment <= Max_Station_Totals) {
                used[static_cast<std::size_t>(t.Establishment)].Fuel_Total[fuel] += t.Real_Volume;
            }
        }
    }

    if (!repeated.empty()) {
        // The first live holder of each repeated number, by a second scan of the live tickets.
        using Key = std::tuple<int, std::int32_t, std::string>;
        std::map<Key, long long> first_of;
        std::vector<Key> keys_of_repeated;
        std::vector<Ticket_Record> repeated_tickets;
        for (long long record : repeated) {
            std::uint8_t raw[Ticket_Record_Size];
            database.Read(static_cast<std::uint64_t>(record), raw);
            const Ticket_Record t = Decode_Ticket(raw);
            keys_of_repeated.emplace_back(t.Fuel, std::int32_t{t.Volume}, t.Serial_Text());
            repeated_tickets.push_back(t);
            first_of.emplace(keys_of_repeated.back(), 0);
        }
        for (long long first = 1; first <= count; first += Block) {
            const long long n = std::min(Block, count - first + 1);
            if (!database.Read_Block(static_cast<std::uint64_t>(first + offset),
                                     static_cast<std::uint64_t>(n), buffer.data()))
                break;
            for (long long k = 0; k < n; ++k) {
                Ticket_Record t;
                std::memcpy(&t, buffer.data() + k * Ticket_Record_Size, Ticket_Record_Size);
                if (t.Deleted != 0)
                    continue;
                auto it = first_of.find(Key(t.Fuel, std::int32_t{t.Volume}, t.Serial_Text()));
                if (it != first_of.end() && it->second == 0)
                    it->second = first + k + offset;
            }
        }
        for (std::size_t i = 0; i < repeated.size(); ++i) {
            const Ticket_Record& t = repeated_tickets[i];
            ticket_finding(Audit_Finding::Kind::Duplicate_Number, repeated[i], t,
                           "the same number under fuel " + std::to_string(t.Fuel) + " and volume " +
                               std::to_string(t.Volume) + " as record " +
                               std::to_string(first_of[keys_of_repeated[i]]));
        }
    }

    const long long beyond =
        Records_Beyond_Count(database.Size(), offset, count, Ticket_Record_Size);
    if (beyond > 0)
        result.findings.push_back({Audit_Finding::Kind::Records_Beyond_Count, "database", 0, "",
                                   std::to_string(beyond) +
                                       " whole records lie behind the header's count of " +
                                       std::to_string(count)});

    auto compare = [&](const std::vector<Cache_Record>& computed, const std::string& path,
                       const char* subject, Audit_Finding::Kind kind, const char* what) {
        const std::vector<Cache_Record> stored = Read_Totals(path, computed.size() - 1);
        for (std::size_t n = 1; n < computed.size(); ++n)
            for (std::size_t f = 0; f < 10; ++f) {
                const double have = stored[n - 1].Fuel_Total[f];
                const double want = computed[n].Fuel_Total[f];
                if (Differs(have, want))
                    result.findings.push_back(
                        {kind, subject, static_cast<long long>(n), "",
                         std::string(what) + " of fuel " + std::to_string(f) + ": " +
                             Format_Number(have) + " in " + path + ", " + Format_Number(want) +
                             " by the tickets on " + Format_Date(working_date)});
            }
    };
    compare(diff, files.cache_diff, "company", Audit_Finding::Kind::Company_Balance_Differs,
            "balance");
    compare(used, files.cache_used, "station", Audit_Finding::Kind::Station_Total_Differs,
            "litres taken");
    return result;
}

} // namespace td
