#include "cli/demo_installation.h"

#include "storage/header.h"
#include "storage/record_file.h"

#include <algorithm>
#include <array>
#include <random>

namespace td {
namespace {

const std::array<const char*, 4> Town_Names = {"Тула", "Москва", "Калуга", "Рязань"};

const std::array<const char*, 8> Station_Names = {
    "АЗС №1 Центральная", "АЗС №2 Северная", "АЗС №3 Южная",         "АЗС №4 Заречная",
    "АЗС №5 Окружная",    "АЗС №6 Промзона", "АЗС №7 Привокзальная", "АЗС №8 Трасса М-2"};

struct Demo_Fuel {
    const char* name;
    double price;
};
const std::array<Demo_Fuel, 4> Fuels = {
    {{"АИ-92", 52.4}, {"АИ-95", 57.9}, {"АИ-98", 68.3}, {"ДТ", 66.1}}};

const std::array<double, 4> User_Volumes = {15, 25, 35, 45};

const std::array<const char*, 8> Group_Names = {
    "Транспортные предприятия", "Строительные организации", "Торговля",        "Сельское хозяйство",
    "Бюджетные учреждения",     "Промышленность",           "Службы доставки", "Частные лица"};

const std::array<const char*, 4> Legal_Forms = {"ООО", "ЗАО", "ОАО", "ИП"};

const std::array<const char*, 24> Company_Words = {
    "Ромашка",  "Вектор",      "Альянс",   "Горизонт", "Магистраль", "Северстрой",
    "Автолайн", "Техносервис", "Гранит",   "Урожай",   "Меридиан",   "Прогресс",
    "Спектр",   "Транзит",     "Орион",    "Сибирь",   "Калина",     "Агроресурс",
    "Стройдор", "Энергия",     "Логистик", "Профи",    "Монолит",    "Восход"};

std::string Company_Name(int serial) {
    std::string name = Legal_Forms[static_cast<std::size_t>(serial) % Legal_Forms.size()];
    name += " «";
    name += Company_Words[static_cast<std::size_t>(serial) % Company_Words.size()];
    name += "»";
    if (serial >= static_cast<int>(Company_Words.size()))
        name += "-" + std::to_string(serial / static_cast<int>(Company_Words.size()) + 1);
    return name;
}

bool Write_Names(const std::string& path, const std::vector<std::string>& names) {
    Record_File file(path, Name_Record_Size);
    if (!file.Is_Open())
        return false;
    std::vector<std::uint8_t> block(names.size() * Name_Record_Size);
    for (std::size_t i = 0; i < names.size(); ++i)
        Encode(Name_Record{1, names[i]}, block.data() + i * Name_Record_Size);
    return file.Write_Block(1, names.size(), block.data()) && file.Sync();
}

} // namespace

std::vector<Company_Record> Demo_Companies() {
    // Eight groups (level 1, codes 1..8), six companies in each (level 2, codes 101..), and
    // three branches under each of those (level 3, codes 1001..): 200 companies. Some level 1
    // records follow their children in the file, as a table exported from 1C may have them.
    std::vector<Company_Record> companies;
    int name_serial = 0;
    int level2_code = 100;
    int level3_code = 1000;
    for (int group = 1; group <= 8; ++group) {
        std::vector<Company_Record> block;
        Company_Record head{1, std::to_string(group), "1", "", "", Group_Names[group - 1]};
        for (int i = 0; i < 6; ++i) {
            ++level2_code;
            // Both forms of "no subgroup" occur in real tables.
            std::string no_subgroup = (level2_code % 3 == 0) ? "000" : "";
            block.push_back({1, std::to_string(level2_code), "1", std::to_string(group),
                             no_subgroup, Company_Name(name_serial++)});
            for (int j = 0; j < 3; ++j) {
                ++level3_code;
                block.push_back({1, std::to_string(level3_code), "1", std::to_string(group),
                                 std::to_string(level2_code),
                                 Company_Name(name_serial++) + " (филиал)"});
            }
        }
        if (group % 4 == 0) {
            block.push_back(head);
        } else {
            block.insert(block.begin(), head);
        }
        companies.insert(companies.end(), block.begin(), block.end());
    }
    return companies;
}

bool Write_Demo_References(const std::string& data_folder) {
    std::vector<std::string> towns(Town_Names.begin(), Town_Names.end());
    std::vector<std::string> stations(Station_Names.begin(), Station_Names.end());
    if (!Write_Names(data_folder + "/Towns.dat", towns) ||
        !Write_Names(data_folder + "/Establishments.dat", stations))
        return false;

    std::vector<Company_Record> companies = Demo_Companies();
    {
        Record_File file(data_folder + "/Company_Db.dat", Company_Record_Size);
        if (!file.Is_Open())
            return false;
        std::vector<std::uint8_t> block(companies.size() * Company_Record_Size);
        for (std::size_t i = 0; i < companies.size(); ++i)
            Encode(companies[i], block.data() + i * Company_Record_Size);
        if (!file.Write_Block(1, companies.size(), block.data()) || !file.Sync())
            return false;
    }
    {
        // All eight slots are written, the unnamed ones empty, as the catalogue screen saves them.
        Record_File file(data_folder + "/Fuel.dat", Fuel_Record_Size);
        if (!file.Is_Open())
            return false;
        std::vector<std::uint8_t> block(8 * Fuel_Record_Size);
        for (std::size_t i = 0; i < 8; ++i) {
            Fuel_Record fuel;
            fuel.Exists = 1;
            if (i < Fuels.size()) {
                fuel.Name = Fuels[i].name;
                fuel.Price = Fuels[i].price;
            }
            Encode(fuel, block.data() + i * Fuel_Record_Size);
        }
        if (!file.Write_Block(1, 8, block.data()) || !file.Sync())
            return false;
    }
    {
        Record_File file(data_folder + "/UsVol.dat", User_Volume_Record_Size);
        if (!file.Is_Open())
            return false;
        for (std::size_t i = 0; i < User_Volumes.size(); ++i) {
            std::uint8_t record[User_Volume_Record_Size];
            Encode(User_Volume_Record{1, User_Volumes[i], {}}, record);
            if (!file.Write(i + 1, record))
                return false;
        }
        if (!file.Sync())
            return false;
    }
    return true;
}

long Write_Demo_Tickets(const std::string& data_folder, const Demo_Options& options) {
    std::mt19937 random(options.seed);
    auto uniform = [&random](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    auto chance = [&random](double p) { return std::bernoulli_distribution(p)(random); };

    // Buyers: the level 2 and level 3 companies (record numbers from 1).
    std::vector<Company_Record> companies = Demo_Companies();
    std::vector<int> buyers;
    for (std::size_t i = 0; i < companies.size(); ++i)
        if (!companies[i].Group_Code.empty())
            buyers.push_back(static_cast<int>(i) + 1);

    const std::array<int, 14> volumes = {10, 20, 20, 30, 40, 50, 50, 60, 70, 80, 100, 15, 25, 35};
    std::array<std::array<int, 211>, 9> next_serial{};
    for (auto& by_volume : next_serial)
        by_volume.fill(100001);

    std::vector<Ticket_Record> tickets;
    tickets.reserve(static_cast<std::size_t>(options.target_tickets) + 64);
    double first_day = options.today - options.history_days;
    double batches_per_day =
        static_cast<double>(options.target_tickets) / 20.0 / std::max(1, options.history_days);
    for (double day = first_day; day <= options.today; day += 1) {
        int batches = static_cast<int>(batches_per_day) +
                      (chance(batches_per_day - static_cast<int>(batches_per_day)) ? 1 : 0);
        for (int b = 0; b < batches; ++b) {
            Ticket_Record ticket;
            ticket.Fuel = static_cast<std::uint8_t>(uniform(1, static_cast<int>(Fuels.size())));
            ticket.Volume = volumes[static_cast<std::size_t>(uniform(0, volumes.size() - 1))];
            ticket.Company = buyers[static_cast<std::size_t>(uniform(0, buyers.size() - 1))];
            ticket.Sale_Mark = 1;
            ticket.Sell_Date = day;
            if (chance(0.15)) {
                ticket.Date_Limits = 1;
                ticket.Valid_From = day;
                ticket.Expire_Date = day + uniform(30, 90);
            }
            std::vector<int> allowed;
            if (chance(0.10)) {
                ticket.Establishment_Limits = 1;
                ticket.Establishments_Mask = 65536;
                for (int station = 1; station <= 8; ++station)
                    if (chance(0.4)) {
                        ticket.Establishments_Mask += 1 << station;
                        allowed.push_back(station);
                    }
            }
            int count = uniform(5, 35);
            int& serial = next_serial[ticket.Fuel][static_cast<std::size_t>(ticket.Volume)];
            for (int n = 0; n < count && serial <= 999999; ++n, ++serial) {
                Ticket_Record sold = ticket;
                std::string text = std::to_string(serial);
                sold.Set_Serial(std::string(6 - std::min<std::size_t>(6, text.size()), '0') + text);
                // About seven in ten coupons are brought to a station within a few weeks.
                double redeemed_on = day + uniform(0, 40);
                bool in_validity = !sold.Date_Limits || redeemed_on <= sold.Expire_Date;
                bool station_known = !sold.Establishment_Limits || !allowed.empty();
                if (redeemed_on <= options.today && in_validity && station_known && chance(0.78)) {
                    sold.Used = 1;
                    sold.Validation_Date = redeemed_on;
                    sold.Establishment =
                        allowed.empty() ? uniform(1, 8)
                                        : allowed[static_cast<std::size_t>(
                                              uniform(0, static_cast<int>(allowed.size()) - 1))];
                    sold.Real_Volume =
                        chance(0.8) ? sold.Volume : sold.Volume - uniform(1, 4) + 0.5;
                }
                if (chance(0.01))
                    sold.Deleted = 1;
                tickets.push_back(sold);
            }
        }
    }

    std::string database = data_folder + "/TD.cdb";
    {
        Record_File file(database, Ticket_Record_Size);
        if (!file.Is_Open())
            return -1;
        std::vector<std::uint8_t> block(tickets.size() * Ticket_Record_Size);
        for (std::size_t i = 0; i < tickets.size(); ++i)
            Encode(tickets[i], block.data() + i * Ticket_Record_Size);
        if (!tickets.empty() &&
            !file.Write_Block(Header_Records_Offset + 1, tickets.size(), block.data()))
            return -1;
        if (!file.Sync())
            return -1;
    }
    if (!Create_Header(database, static_cast<long>(tickets.size())))
        return -1;
    return static_cast<long>(tickets.size());
}

} // namespace td
