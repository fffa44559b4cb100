#include "installation_generator.h"

#include "base/dates.h"
#include "cli/demo_installation.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

namespace td::bench {
namespace {

constexpr const char* Stamp_File = "td-bench.stamp";
constexpr const char* Database_Name = "TD.cdb";

// xoshiro256** seeded through splitmix64: small, fast and the same on every platform, unlike
// the distributions of the standard library.
class Random {
public:
    explicit Random(std::uint64_t seed) {
        for (auto& word : state_) {
            seed += 0x9E3779B97F4A7C15ULL;
            std::uint64_t z = seed;
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
            word = z ^ (z >> 31);
        }
    }
    std::uint64_t Next() {
        const std::uint64_t result = Rotl(state_[1] * 5, 7) * 9;
        const std::uint64_t t = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= t;
        state_[3] = Rotl(state_[3], 45);
        return result;
    }
    // Uniform in [0, 1).
    double Unit() { return static_cast<double>(Next() >> 11) * 0x1.0p-53; }
    // Uniform in [low, high].
    long Between(long low, long high) {
        auto span = static_cast<unsigned __int128>(high - low + 1);
        return low + static_cast<long>((static_cast<unsigned __int128>(Next()) * span) >> 64);
    }
    bool Chance(double p) { return Unit() < p; }

private:
    static std::uint64_t Rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
    std::array<std::uint64_t, 4> state_{};
};

// Picks an index with probability proportional to its weight.
class Weighted {
public:
    explicit Weighted(const std::vector<double>& weights) {
        double sum = 0;
        for (double w : weights)
            cumulative_.push_back(sum += w);
    }
    std::size_t Pick(Random& random) const {
        double x = random.Unit() * cumulative_.back();
        auto it = std::upper_bound(cumulative_.begin(), cumulative_.end(), x);
        return std::min<std::size_t>(static_cast<std::size_t>(it - cumulative_.begin()),
                                     cumulative_.size() - 1);
    }

private:
    std::vector<double> cumulative_;
};

struct Fuel_Grade {
    const char* name;
    double price;
    double share; // of the coupons sold
};
const std::array<Fuel_Grade, 8> Fuel_Grades = {{{"АИ-80", 44.10, 2},
                                                {"АИ-92", 52.40, 34},
                                                {"АИ-95", 57.90, 28},
                                                {"АИ-98", 68.30, 4},
                                                {"ДТ", 66.10, 20},
                                                {"ДТ зимнее", 71.50, 6},
                                                {"АИ-95 Премиум", 61.20, 4},
                                                {"Газ пропан-бутан", 27.80, 2}}};

struct Volume_Share {
    int litres;
    double share;
};
// The ten standard volumes and the user volumes of UsVol.dat.
const std::array<Volume_Share, 16> Volume_Shares = {{{10, 8},
                                                     {20, 16},
                                                     {30, 8},
                                                     {40, 6},
                                                     {50, 13},
                                                     {60, 4},
                                                     {70, 3},
                                                     {80, 3},
                                                     {90, 2},
                                                     {100, 9},
                                                     {15, 3},
                                                     {25, 3},
                                                     {35, 2},
                                                     {45, 2},
                                                     {150, 1},
                                                     {200, 1}}};
const std::array<double, 6> User_Volumes = {15, 25, 35, 45, 150, 200};

const std::array<const char*, 12> Town_Names = {"Тула",  "Москва",   "Калуга", "Рязань",
                                                "Орёл",  "Брянск",   "Липецк", "Воронеж",
                                                "Курск", "Смоленск", "Тверь",  "Ярославль"};

const std::array<const char*, 8> Station_Names = {
    "АЗС №1 Центральная", "АЗС №2 Северная", "АЗС №3 Южная",         "АЗС №4 Заречная",
    "АЗС №5 Окружная",    "АЗС №6 Промзона", "АЗС №7 Привокзальная", "АЗС №8 Трасса М-2"};
// How often each station takes a coupon.
const std::array<double, 8> Station_Shares = {20, 15, 14, 12, 12, 10, 9, 8};

const std::array<const char*, 10> Sectors = {
    "Транспорт",          "Строительство",        "Торговля",
    "Сельское хозяйство", "Бюджетные учреждения", "Промышленность",
    "Доставка",           "Коммунальные службы",  "Медицина",
    "Частные лица"};

const std::array<const char*, 4> Legal_Forms = {"ООО", "ЗАО", "ОАО", "ИП"};

const std::array<const char*, 32> Company_Words = {
    "Ромашка",     "Вектор",  "Альянс",   "Горизонт",   "Магистраль", "Северстрой", "Автолайн",
    "Техносервис", "Гранит",  "Урожай",   "Меридиан",   "Прогресс",   "Спектр",     "Транзит",
    "Орион",       "Сибирь",  "Калина",   "Агроресурс", "Стройдор",   "Энергия",    "Логистик",
    "Профи",       "Монолит", "Восход",   "Полюс",      "Каскад",     "Заря",       "Волга",
    "Атлант",      "Паритет", "Стандарт", "Импульс"};

std::string Company_Name(int serial) {
    std::string name = Legal_Forms[static_cast<std::size_t>(serial) % Legal_Forms.size()];
    name += " «";
    name += Company_Words[static_cast<std::size_t>(serial / 4) % Company_Words.size()];
    name += "»-" + std::to_string(serial / 4 / static_cast<int>(Company_Words.size()) + 1);
    // Now and then a long official name, longer than the 27 characters of the user cache.
    if (serial % 11 == 0)
        name += " (общество с ограниченной ответственностью, обособленное подразделение)";
    return name;
}

// About 2 000 companies in three levels: 100 groups (codes 1..100), four companies under each
// (codes 101..500) and three or four branches under each of those (codes 1001..2500). A group's
// own record sometimes follows its children, as in tables exported from 1C.
std::vector<Company_Record> Companies() {
    std::vector<Company_Record> companies;
    int name_serial = 0;
    int level2_code = 100;
    int level3_code = 1000;
    for (int group = 1; group <= 100; ++group) {
        std::vector<Company_Record> block;
        Company_Record head{
            1,
            std::to_string(group),
            "1",
            "",
            "",
            std::string(Sectors[static_cast<std::size_t>(group - 1) % Sectors.size()]) +
                ", группа " + std::to_string(group)};
        for (int j = 0; j < 4; ++j) {
            ++level2_code;
            std::string no_subgroup = (level2_code % 3 == 0) ? "000" : "";
            block.push_back({1, std::to_string(level2_code), "1", std::to_string(group),
                             no_subgroup, Company_Name(name_serial++)});
            int branches = ((group * 4 + j) % 4 == 0) ? 3 : 4;
            for (int k = 0; k < branches; ++k) {
                ++level3_code;
                block.push_back({1, std::to_string(level3_code), "1", std::to_string(group),
                                 std::to_string(level2_code),
                                 Company_Name(name_serial++) + " (филиал)"});
            }
        }
        if (group % 7 == 0)
            block.push_back(head);
        else
            block.insert(block.begin(), head);
        companies.insert(companies.end(), block.begin(), block.end());
    }
    return companies;
}

bool Write_Records(const std::string& path, std::size_t record_length,
                   const std::vector<std::uint8_t>& block) {
    Remove_File(path);
    Record_File file(path, record_length);
    if (!file.Is_Open())
        return false;
    return file.Write_Block(1, block.size() / record_length, block.data()) && file.Sync();
}

bool Write_Names(const std::string& path, const std::vector<std::string>& names) {
    std::vector<std::uint8_t> block(names.size() * Name_Record_Size);
    for (std::size_t i = 0; i < names.size(); ++i)
        Encode(Name_Record{1, names[i]}, block.data() + i * Name_Record_Size);
    return Write_Records(path, Name_Record_Size, block);
}

bool Write_References(const std::string& data, long& company_count) {
    std::vector<std::string> towns(Town_Names.begin(), Town_Names.end());
    std::vector<std::string> stations(Station_Names.begin(), Station_Names.end());
    if (!Write_Names(data + "/Towns.dat", towns) ||
        !Write_Names(data + "/Establishments.dat", stations))
        return false;

    std::vector<Company_Record> companies = Companies();
    company_count = static_cast<long>(companies.size());
    std::vector<std::uint8_t> block(companies.size() * Company_Record_Size);
    for (std::size_t i = 0; i < companies.size(); ++i)
        Encode(companies[i], block.data() + i * Company_Record_Size);
    if (!Write_Records(data + "/Company_Db.dat", Company_Record_Size, block))
        return false;

    block.assign(Fuel_Grades.size() * Fuel_Record_Size, 0);
    for (std::size_t i = 0; i < Fuel_Grades.size(); ++i) {
        Fuel_Record fuel;
        fuel.Exists = 1;
        fuel.Name = Fuel_Grades[i].name;
        fuel.Price = Fuel_Grades[i].price;
        fuel.Price_Date = Generated_Working_Date() - 30;
        Encode(fuel, block.data() + i * Fuel_Record_Size);
    }
    if (!Write_Records(data + "/Fuel.dat", Fuel_Record_Size, block))
        return false;

    block.assign(User_Volumes.size() * User_Volume_Record_Size, 0);
    for (std::size_t i = 0; i < User_Volumes.size(); ++i)
        Encode(User_Volume_Record{1, User_Volumes[i], {}},
               block.data() + i * User_Volume_Record_Size);
    return Write_Records(data + "/UsVol.dat", User_Volume_Record_Size, block);
}

// The default td.ini, with the data folder \data beside it.
bool Write_Settings(const std::string& home) {
    std::istringstream in(Default_Settings_Text());
    std::string text, line;
    bool seen = false;
    while (std::getline(in, line)) {
        std::string key = line.substr(0, line.find('='));
        key.erase(std::remove(key.begin(), key.end(), ' '), key.end());
        for (char& c : key)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        bool is_comment = line.find_first_of("#'/") != std::string::npos;
        if (!is_comment && !seen && key == "databases" && line.find('=') != std::string::npos) {
            line = "Databases = \\data";
            seen = true;
        }
        text += line + "\n";
    }
    if (!seen)
        return false;
    std::ofstream out(home + "/td.ini", std::ios::binary | std::ios::trunc);
    out << text;
    out.flush();
    return static_cast<bool>(out);
}

std::string Stamp_Text(long tickets, std::uint64_t seed) {
    return "td-bench installation: generator " + std::to_string(Generator_Version) + ", tickets " +
           std::to_string(tickets) + ", seed " + std::to_string(seed) + "\n";
}

std::string Serial_Text(long serial) {
    std::string text = std::to_string(serial);
    return std::string(6 - std::min<std::size_t>(6, text.size()), '0') + text;
}

struct Batch {
    long remaining = 0; // coupons of the order not issued yet
    std::uint8_t fuel = 0;
    std::int32_t volume = 0;
    std::int32_t company = 0;
    long next_serial = 0;
    std::uint8_t date_limits = 0;
    double valid_from = 0;
    double expire = 0;
    std::uint8_t station_limits = 0;
    std::int32_t mask = 0;
    std::vector<int> allowed;
};

// Streams the encoded records into the database file in large blocks.
class Database_Writer {
public:
    explicit Database_Writer(const std::string& path)
        : file_(path, Ticket_Record_Size), block_(Block_Records * Ticket_Record_Size) {}
    bool Ok() const { return file_.Is_Open() && ok_; }
    void Add(const Ticket_Record& ticket) {
        Encode(ticket, block_.data() + used_ * Ticket_Record_Size);
        if (++used_ == Block_Records)
            Flush();
    }
    bool Finish() {
        Flush();
        return Ok() && file_.Sync();
    }

private:
    static constexpr std::size_t Block_Records = 1 << 16;
    void Flush() {
        if (used_ == 0)
            return;
        ok_ = ok_ && file_.Write_Block(Header_Records_Offset + 1 + written_, used_, block_.data());
        written_ += used_;
        used_ = 0;
    }
    Record_File file_;
    std::vector<std::uint8_t> block_;
    std::size_t used_ = 0;
    std::uint64_t written_ = 0;
    bool ok_ = true;
};

bool Write_Tickets(const std::string& database, const Generator_Options& options,
                   long company_count, Installation_Summary& summary) {
    Random random(options.seed);
    const double last_day = Generated_Working_Date();
    const double first_day = last_day - (options.days - 1);

    // Buyers are the companies of levels 2 and 3; a few big ones buy most of the coupons.
    std::vector<Company_Record> companies = Companies();
    std::vector<std::int32_t> buyers;
    for (std::size_t i = 0; i < companies.size(); ++i)
        if (!companies[i].Group_Code.empty())
            buyers.push_back(static_cast<std::int32_t>(i + 1));
    for (std::size_t i = buyers.size(); i > 1; --i)
        std::swap(buyers[i - 1], buyers[static_cast<std::size_t>(random.Between(0, i - 1))]);
    std::vector<double> buyer_weights;
    for (std::size_t i = 0; i < buyers.size(); ++i)
        buyer_weights.push_back(1.0 / std::pow(static_cast<double>(i) + 10.0, 0.9));
    Weighted pick_buyer(buyer_weights);

    std::vector<double> weights;
    for (const auto& f : Fuel_Grades)
        weights.push_back(f.share);
    Weighted pick_fuel(weights);
    weights.clear();
    for (const auto& v : Volume_Shares)
        weights.push_back(v.share);
    Weighted pick_volume(weights);
    Weighted pick_station(std::vector<double>(Station_Shares.begin(), Station_Shares.end()));

    // Tickets per day: fewer at weekends, some noise; the total is exact.
    std::vector<double> day_weight(static_cast<std::size_t>(options.days));
    double weight_sum = 0;
    for (int d = 0; d < options.days; ++d) {
        int weekday = static_cast<int>(std::fmod(first_day + d + 5, 7.0)); // 0 = Monday
        double w = weekday == 5 ? 0.5 : weekday == 6 ? 0.3 : 1.0;
        w *= 0.8 + 0.4 * random.Unit();
        day_weight[static_cast<std::size_t>(d)] = w;
        weight_sum += w;
    }

    std::array<std::array<long, Max_Volume + 1>, Max_Fuel + 1> next_serial{};
    for (auto& by_volume : next_serial)
        by_volume.fill(100001);

    Database_Writer writer(database);
    if (!writer.Ok())
        return false;
    std::vector<bool> buyer_seen(static_cast<std::size_t>(company_count) + 1, false);
    double cumulative = 0;
    long sold = 0;
    int last_fuel = -1, last_volume = -1;
    std::vector<Batch> batches;
    std::vector<std::uint32_t> order;
    for (int d = 0; d < options.days; ++d) {
        const double day = first_day + d;
        cumulative += day_weight[static_cast<std::size_t>(d)];
        long until = d == options.days - 1
                         ? options.tickets
                         : static_cast<long>(std::llround(static_cast<double>(options.tickets) *
                                                          cumulative / weight_sum));
        long quota = std::max(0L, until - sold);

        // Orders still being served from earlier days come first; each order issues at most
        // `cap` coupons a day, so that a big order is spread over days and the day's coupons
        // come from many orders at once.
        const long cap = std::max(3L, quota / 25);
        order.clear();
        std::size_t kept = 0;
        for (std::size_t b = 0; b < batches.size(); ++b) {
            if (batches[b].remaining == 0)
                continue;
            if (kept != b)
                batches[kept] = std::move(batches[b]);
            ++kept;
        }
        batches.resize(kept);
        auto take = [&](std::size_t b) {
            long today =
                std::min({batches[b].remaining, cap, quota - static_cast<long>(order.size())});
            for (long i = 0; i < today; ++i)
                order.push_back(static_cast<std::uint32_t>(b));
        };
        for (std::size_t b = 0; b < batches.size(); ++b)
            take(b);

        // New orders: mostly small, now and then a big one.
        while (static_cast<long>(order.size()) < quota) {
            long size;
            double kind = random.Unit();
            if (kind < 0.70)
                size = random.Between(1, 20);
            else if (kind < 0.95)
                size = random.Between(21, 100);
            else
                size = random.Between(101, 500);

            Batch batch;
            batch.remaining = size;
            batch.fuel = static_cast<std::uint8_t>(pick_fuel.Pick(random) + 1);
            batch.volume = Volume_Shares[pick_volume.Pick(random)].litres;
            batch.company = buyers[pick_buyer.Pick(random)];
            long& serial = next_serial[batch.fuel][static_cast<std::size_t>(batch.volume)];
            if (serial + size > 999999)
                serial = 1;
            batch.next_serial = serial;
            serial += size;
            if (random.Chance(0.15)) {
                batch.date_limits = 1;
                batch.valid_from = day;
                batch.expire = day + static_cast<double>(random.Between(30, 90));
            }
            if (random.Chance(0.10)) {
                batch.station_limits = 1;
                batch.mask = 65536;
                for (int station = 1; station <= 8; ++station)
                    if (random.Chance(0.4)) {
                        batch.mask += 1 << station;
                        batch.allowed.push_back(station);
                    }
                if (batch.allowed.empty()) {
                    int station = static_cast<int>(pick_station.Pick(random)) + 1;
                    batch.mask += 1 << station;
                    batch.allowed.push_back(station);
                }
            }
            batches.push_back(std::move(batch));
            ++summary.batches;
            take(batches.size() - 1);
        }

        // Several sales desks at work: the orders' coupons are interleaved, and one order rarely
        // issues two coupons in a row.
        for (std::size_t i = order.size(); i > 1; --i)
            std::swap(order[i - 1], order[static_cast<std::size_t>(random.Between(0, i - 1))]);
        for (std::size_t i = 1; i < order.size(); ++i) {
            if (order[i] != order[i - 1])
                continue;
            for (std::size_t j = i + 1; j < order.size(); ++j)
                if (order[j] != order[i - 1]) {
                    std::swap(order[i], order[j]);
                    break;
                }
        }

        for (std::uint32_t b : order) {
            Batch& batch = batches[b];
            --batch.remaining;
            Ticket_Record ticket;
            ticket.Fuel = batch.fuel;
            ticket.Volume = batch.volume;
            ticket.Set_Serial(Serial_Text(batch.next_serial++));
            ticket.Company = batch.company;
            ticket.Sale_Mark = 1;
            ticket.Sell_Date = day;
            ticket.Date_Limits = batch.date_limits;
            ticket.Valid_From = batch.valid_from;
            ticket.Expire_Date = batch.expire;
            ticket.Establishment_Limits = batch.station_limits;
            ticket.Establishments_Mask = batch.mask;

            // About seven in ten coupons come back to a station, most within a few weeks.
            if (random.Chance(0.745)) {
                double delay = std::min(120.0, std::floor(-std::log(1.0 - random.Unit()) * 9.0));
                double on = day + delay;
                bool valid = !batch.date_limits || on <= batch.expire;
                if (on <= last_day && valid) {
                    ticket.Used = 1;
                    ticket.Validation_Date = on;
                    ticket.Establishment =
                        batch.allowed.empty()
                            ? static_cast<std::int32_t>(pick_station.Pick(random) + 1)
                            : batch.allowed[static_cast<std::size_t>(
                                  random.Between(0, static_cast<long>(batch.allowed.size()) - 1))];
                    ticket.Real_Volume =
                        random.Chance(0.85)
                            ? ticket.Volume
                            : std::round(ticket.Volume * (0.5 + 0.49 * random.Unit()) * 100) / 100;
                    ++summary.redeemed;
                }
            }
            if (random.Chance(0.01)) {
                ticket.Deleted = 1;
                ++summary.deleted;
            }
            if (ticket.Fuel != last_fuel || ticket.Volume != last_volume)
                ++summary.pair_changes;
            last_fuel = ticket.Fuel;
            last_volume = ticket.Volume;
            if (!buyer_seen[static_cast<std::size_t>(ticket.Company)]) {
                buyer_seen[static_cast<std::size_t>(ticket.Company)] = true;
                ++summary.buyers_with_tickets;
            }
            writer.Add(ticket);
            ++sold;
        }
    }
    summary.tickets = sold;
    return writer.Finish();
}

bool Read_Text(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream all;
    all << in.rdbuf();
    text = all.str();
    return true;
}

} // namespace

double Generated_Working_Date() {
    return Date_Serial(2025, 6, 30);
}

std::string Data_Folder_Of(const std::string& home) {
    return home + "/data";
}

std::string Database_Of(const std::string& home) {
    return Data_Folder_Of(home) + "/" + Database_Name;
}

bool Installation_Is_Current(const std::string& home, long tickets) {
    std::string stamp;
    if (!Read_Text(home + "/" + Stamp_File, stamp) ||
        stamp != Stamp_Text(tickets, Generator_Options{}.seed))
        return false;
    std::error_code ec;
    auto size = fs::file_size(Database_Of(home), ec);
    return !ec && size == (Header_Records_Offset + static_cast<std::uint64_t>(tickets)) *
                              Ticket_Record_Size;
}

bool Generate_Installation(const std::string& home, const Generator_Options& options,
                           Installation_Summary& summary, std::string& error) {
    summary = Installation_Summary{};
    std::error_code ec;
    const std::string data = Data_Folder_Of(home);
    const std::string stamp = home + "/" + Stamp_File;
    // Only a folder made by this generator is ever cleared.
    if (fs::exists(data, ec) && !fs::is_empty(data, ec) && !fs::exists(stamp, ec)) {
        error = data + " holds files that this generator did not write; choose another folder";
        return false;
    }
    fs::remove(stamp, ec);
    fs::remove_all(data, ec);
    fs::create_directories(data, ec);
    if (ec) {
        error = "cannot create " + data + ": " + ec.message();
        return false;
    }
    if (!Write_Settings(home)) {
        error = "cannot write " + home + "/td.ini";
        return false;
    }
    if (!Write_References(data, summary.companies)) {
        error = "cannot write the reference files in " + data;
        return false;
    }
    const std::string database = Database_Of(home);
    if (!Write_Tickets(database, options, summary.companies, summary)) {
        error = "cannot write " + database;
        return false;
    }
    if (!Create_Header(database, summary.tickets)) {
        error = "cannot write the header of " + database;
        return false;
    }
    summary.working_date = Generated_Working_Date();
    summary.database_bytes = fs::file_size(database, ec);

    std::ofstream out(stamp, std::ios::binary | std::ios::trunc);
    out << Stamp_Text(options.tickets, options.seed);
    out.flush();
    if (!out) {
        error = "cannot write " + stamp;
        return false;
    }
    return true;
}

bool Ensure_Installation(const std::string& home, long tickets, bool& generated,
                         std::string& error) {
    generated = false;
    if (Installation_Is_Current(home, tickets))
        return true;
    Generator_Options options;
    options.tickets = tickets;
    Installation_Summary summary;
    if (!Generate_Installation(home, options, summary, error))
        return false;
    generated = true;
    return true;
}

} // namespace td::bench
