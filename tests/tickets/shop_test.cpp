// The redemption screen driven headless on a temporary data folder: the key rules of its number
// list, the check and the commit with their rows, and what the commit leaves on disk, read back
// by offsets of our own.
#include "base/dates.h"
#include "browsers/browser_refresh.h"
#include "storage/cache_fixture.h"
#include "storage/file_safety.h"
#include "storage/redemption_note.h"
#include "storage/reference.h"
#include "support/reference_writers.h"
#include "tickets/result_log.h"
#include "tickets/shop.h"

#include <array>
#include <cstring>
#include <map>
#include <tuple>

namespace td::test {
namespace {

constexpr std::int32_t Mask_Present = 65536;

struct Row {
    std::string number, text, record;
    bool operator==(const Row&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
    return out << "{" << row.number << " | " << row.text << " | " << row.record << "}";
}

// The four fields a booking changes, read from raw database bytes.
struct Booking {
    int used = 0;
    double real = 0;
    std::int32_t station = 0;
    double validation = 0;
    bool operator==(const Booking&) const = default;
};

template <typename T> T Get(const Bytes& bytes, std::size_t at) {
    T value{};
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

class Shop_Test : public Data_Folder_Test {
protected:
    Open_Browsers browsers;
    std::vector<Ticket_Record> tickets;
    std::string date_text = "15.03.2024";

    // A ticket of fuel 1 unless said otherwise, sold to buyer 1 a week ago.
    Ticket_Record& Add(const std::string& serial, int volume, int fuel = 1) {
        Ticket_Fields fields;
        fields.serial = serial;
        fields.volume = volume;
        fields.fuel = fuel;
        fields.sell = today - 7;
        tickets.push_back(Make_Ticket(fields));
        return tickets.back();
    }
    // Tickets of 20 litres valid from a month ago to `expires`, or at the stations of `mask`.
    void Dated(const std::string& serial, double expires) {
        Ticket_Record& t = Add(serial, 20);
        t.Date_Limits = 1;
        t.Valid_From = today - 30;
        t.Expire_Date = expires;
    }
    void Limited(const std::string& serial, std::int32_t mask) {
        Ticket_Record& t = Add(serial, 20);
        t.Establishment_Limits = 1;
        t.Establishments_Mask = mask;
    }
    static std::int32_t Mask(std::initializer_list<int> stations) {
        std::int32_t mask = Mask_Present;
        for (int n : stations)
            mask += 1 << n;
        return mask;
    }
    // Absolute record of the ticket at `index` of `tickets`.
    static std::string Record_Of(std::size_t index) {
        return std::to_string(index + 1 + Header_Records_Offset);
    }

    void Install(const std::vector<std::string>& stations = {"АЗС-1", "АЗС-2", "АЗС-3", "АЗС-4"}) {
        ASSERT_TRUE(test::Write_Fuels(Path(state.settings.Fuel_File), {"АИ-92", "АИ-95"}));
        ASSERT_TRUE(test::Write_Stations(Path(state.settings.Establishments_File), stations));
        ASSERT_TRUE(test::Write_User_Volumes(Path(state.settings.User_Volume_File), {15}));
        Write_Companies({"Альфа", "Бета"});
        Write_Database(tickets);
        // What the start-up reads from the header.
        state.Ticket_Count = static_cast<long>(tickets.size());
        state.Records_Offset = Header_Records_Offset;
        Run("new");
    }

    std::unique_ptr<Shop> Open(int station_index, int fuel_index, const std::string& volume) {
        auto shop = std::make_unique<Shop>(state, ui, clock, browsers);
        shop->Form_Load();
        if (station_index >= 0)
            shop->ListView1_ItemClick(station_index);
        shop->Combo2_Click(fuel_index);
        shop->Combo3_Click(shop->Combo3.Find(volume));
        return shop;
    }

    static void Type(Shop& shop, const std::string& text) {
        for (char c : text) {
            shop.MSFlexGrid1_KeyPress(static_cast<unsigned char>(c));
            shop.MSFlexGrid1_KeyUp(List_Key::Other);
        }
    }
    // A number (and litres) typed into the last row, then Enter.
    static void List(Shop& shop, const std::string& number, const std::string& litres = "") {
        const int row = shop.MSFlexGrid1.Rows() - 1;
        shop.MSFlexGrid1_Move_To(row, Shop::Number_Col);
        Type(shop, number);
        if (!litres.empty()) {
            shop.MSFlexGrid1_Move_To(row, Shop::Litres_Col);
            Type(shop, litres);
        }
        shop.MSFlexGrid1_KeyPress(Shop::Key_Enter);
        shop.MSFlexGrid1_KeyUp(List_Key::Other);
    }
    static void Done_Listing(Shop& shop) { shop.MSFlexGrid1_LostFocus(); }

    static std::vector<Row> Rows_From(const Grid& grid, int first) {
        std::vector<Row> rows;
        for (int r = first; r < grid.Rows(); ++r)
            rows.push_back({grid.Text(r, 0), grid.Text(r, 1), grid.Text(r, 2)});
        return rows;
    }
    static std::vector<std::pair<std::string, std::string>> List_Rows(const Shop& shop) {
        std::vector<std::pair<std::string, std::string>> rows;
        for (int r = 1; r < shop.MSFlexGrid1.Rows(); ++r)
            rows.emplace_back(shop.MSFlexGrid1.Text(r, 0), shop.MSFlexGrid1.Text(r, 1));
        return rows;
    }

    Booking Booking_At(std::size_t index) const {
        const Bytes db = File_Bytes(state.settings.Database_File);
        const std::size_t at = (index + Header_Records_Offset) * Ticket_Record_Size;
        return {db[at], Get<double>(db, at + 8), Get<std::int32_t>(db, at + 30),
                Get<double>(db, at + 44)};
    }
    double Total(const std::string& file, int record, int fuel) const {
        return Read_Total(Path(file), record, fuel);
    }
};

// Six digits, "," and "." kept out of a number, Enter, Insert and Delete are driven through the
// view in tests/qt; here the rules it doesn't reach.
TEST_F(Shop_Test, NumberListFollowsTheKeyTable) {
    Add("100001", 20);
    Install();
    auto shop = Open(1, 0, "020");
    Shop& s = *shop;
    EXPECT_EQ(s.Label7, "АЗС-2");
    EXPECT_TRUE(s.ListView1.Checked(1));
    EXPECT_FALSE(s.ListView1.Checked(0));
    EXPECT_EQ(s.MSFlexGrid1.Text(0, 1), "Талон/Литры");

    // Letters change nothing; Enter pads the number and gives the volume's litres.
    Type(s, "12x345");
    s.MSFlexGrid1_KeyPress(Shop::Key_Enter);
    EXPECT_EQ(s.MSFlexGrid1.Text(1, 0), "012345");
    EXPECT_EQ(s.MSFlexGrid1.Text(1, 1), "020");
    // The litres column takes digits, "," and "."; the recount reads 12,5 and 12.5 alike.
    Type(s, "7");
    s.MSFlexGrid1_Move_To(2, Shop::Litres_Col);
    Type(s, "12,5");
    s.MSFlexGrid1_KeyPress(Shop::Key_Enter);
    s.MSFlexGrid1_Move_To(3, Shop::Number_Col);
    Type(s, "8");
    s.MSFlexGrid1_Move_To(3, Shop::Litres_Col);
    Type(s, "12.5");
    s.MSFlexGrid1_KeyUp(List_Key::Other);
    EXPECT_EQ(s.Frame_Caption, "Номера талонов.          К списанию: 45л.");
    // Leaving the number cell pads it; an empty row left is removed.
    s.MSFlexGrid1_Move_To(1, Shop::Number_Col);
    EXPECT_EQ(s.MSFlexGrid1.Text(2, 0), "000007");
    s.MSFlexGrid1_KeyUp(List_Key::Insert);
    s.MSFlexGrid1_Move_To(2, Shop::Number_Col);
    EXPECT_EQ(List_Rows(s), (std::vector<std::pair<std::string, std::string>>{
                                {"012345", "020"}, {"000007", "12,5"}, {"000008", "12.5"}}));
    // Backspace on row 1 with an empty number clears its litres, and the row stays.
    auto fresh = Open(1, 0, "020");
    Shop& f = *fresh;
    Type(f, "5");
    f.MSFlexGrid1_Move_To(1, Shop::Litres_Col);
    Type(f, "3");
    f.MSFlexGrid1_Move_To(1, Shop::Number_Col);
    for (int i = 0; i < 7; ++i)
        f.MSFlexGrid1_KeyPress(Shop::Key_Backspace);
    EXPECT_EQ(List_Rows(f), (std::vector<std::pair<std::string, std::string>>{{"", ""}}));

    // A fuel change with one data row clears without a question; with more it asks.
    List(f, "100001");
    Done_Listing(f);
    f.Combo2_Click(1);
    EXPECT_TRUE(ui.boxes.empty());
    EXPECT_EQ(f.MSFlexGrid1.Rows(), 2);
    List(f, "100001");
    ui.Answer_Next(box::Answer_No);
    f.Combo2_Click(0);
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "Вы изменили тип топлива! Удалить записи талонов из списка?");
    EXPECT_EQ(ui.boxes[0].title, "Очистка списка");
    EXPECT_EQ(f.MSFlexGrid1.Text(1, 0), "100001");
    // A volume change: no, then yes to the second question sets every row's litres.
    ui.Answer_Next(box::Answer_No);
    ui.Answer_Next(box::Answer_Yes);
    f.Combo3_Click(f.Combo3.Find("030"));
    ASSERT_EQ(ui.boxes.size(), 3u);
    EXPECT_EQ(ui.boxes[2].text, "Обновить стандартный литраж топлива?");
    EXPECT_EQ(List_Rows(f),
              (std::vector<std::pair<std::string, std::string>>{{"100001", "030"}, {"", "030"}}));
    // The user volume is in the list, padded to three characters.
    EXPECT_GE(f.Combo3.Find("015"), 0);
}

TEST_F(Shop_Test, CheckJudgesEveryNumberThroughTheIndexAndWritesNothing) {
    Add("100001", 20);            // 0: accepted
    Dated("100002", today);       // 1: valid until today: accepted
    Dated("100003", today - 1);   // 2: expired yesterday
    Limited("100004", Mask({}));  // 3: exactly 65536: valid nowhere
    Limited("100005", Mask({6})); // 4: only station 6, above the list: station 2 passes
    Limited("100006", Mask({3})); // 5: only station 3
    Ticket_Record& redeemed = Add("100007", 20);
    redeemed.Used = 1; // 6: redeemed at station 3 on 01.03.2024
    redeemed.Establishment = 3;
    redeemed.Validation_Date = Date_Serial(2024, 3, 1);
    Add("100008", 20).Deleted = 1; // 7: deleted, not used: accepted
    Ticket_Record& gone = Add("100009", 20);
    gone.Used = 1; // 8: used and deleted: no row, unknown
    gone.Deleted = 1;
    Add("100010", 20, 2); // 9: another fuel: unknown here
    Install();
    const Bytes before = File_Bytes(state.settings.Database_File);

    auto shop = Open(1, 0, "020");
    Shop& s = *shop;
    List(s, "100001");
    List(s, "100002", "5,5");
    for (const char* number :
         {"100003", "100004", "100005", "100006", "100007", "100008", "100009", "100010", "100001"})
        List(s, number);
    Done_Listing(s);
    const auto listed = List_Rows(s);
    ASSERT_EQ(listed.size(), 11u);

    s.Command1_Click();
    const std::string refused_at = "Ошибка! Талон не может быть списан на: 'АЗС-2'";
    // Entry order of the index: the database order. The second 100001 is read anew from the
    // file and accepted again, counted twice.
    EXPECT_EQ(
        Rows_From(s.MSFlexGrid2, 1),
        (std::vector<Row>{
            {"", "", ""},
            {"", "", ""},
            {"", "Проверка списания талонов", ""},
            {"", "марка ГСМ 'АИ-92' литраж: 020", ""},
            {"", "", ""},
            {"100001", "Можно списать", Record_Of(0)},
            {"100001", "Можно списать", Record_Of(0)},
            {"100002", "Можно списать", Record_Of(1)},
            {"100003", "Талон просрочен! действителен с: 14.02.2024 по: 14.03.2024", Record_Of(2)},
            {"100004", refused_at, Record_Of(3)},
            {"100005", "Можно списать", Record_Of(4)},
            {"100006", refused_at, Record_Of(5)},
            {"100007", "Ошибка! Талон уже был списан: 01.03.2024 на АЗС-3", Record_Of(6)},
            {"100008", "Можно списать", Record_Of(7)},
            {"100009", "Ошибка!  Талон с таким номером не был продан!", ""},
            {"100010", "Ошибка!  Талон с таким номером не был продан!", ""},
            {"", "", ""},
            {"", "К списанию талонов: 5 шт., объёмом: 85,5", ""},
        }));
    EXPECT_EQ(s.MSFlexGrid2.Cell(6, 1).colour, (Rgb{30, 110, 40}));
    EXPECT_EQ(s.MSFlexGrid2.Cell(9, 1).colour, (Rgb{170, 30, 30}));
    EXPECT_EQ(s.MSFlexGrid2.Cell(4, 1).colour, (Rgb{70, 70, 110}));
    EXPECT_TRUE(s.MSFlexGrid2.Cell(4, 1).bold);
    EXPECT_TRUE(s.MSFlexGrid2.Cell(3, 1).bold);
    EXPECT_EQ(s.MSFlexGrid2.Cell(s.MSFlexGrid2.Rows() - 1, 1).colour, (Rgb{30, 120, 110}));
    EXPECT_FALSE(state.Redemption_Checked);
    EXPECT_EQ(s.Last_Outcome(), Redemption_Outcome::Refused);
    EXPECT_EQ(List_Rows(s), listed);
    EXPECT_EQ(File_Bytes(state.settings.Database_File), before);
    EXPECT_TRUE(ui.main_window_enabled);
    EXPECT_FALSE(ui.progress_visible);
}

// Every byte a commit changes, the totals against a rebuild, and kills at each write are checked
// through tdctl, on this screen, in tests/cli/redeem_verb_test.cpp; here the rows, the list and the
// totals of a commit with a number listed twice.
TEST_F(Shop_Test, CommitBooksInPlaceWithBothTotalsAndRefusesASecondRow) {
    Add("100001", 20);
    Add("100002", 20).Company = 2;
    Add("100003", 20).Used = 1;
    Add("100004", 30);
    Install();
    const double buyer1 = Total(state.settings.Cache_Diff_File, 1, 1);
    const double buyer2 = Total(state.settings.Cache_Diff_File, 2, 1);
    ASSERT_EQ(buyer1, 20 + 30); // the rebuild's own figures
    ASSERT_EQ(buyer2, 20);
    auto shop = Open(2, 0, "020");
    Shop& s = *shop;
    List(s, "100001", "0");
    List(s, "100002", "25,5");
    List(s, "100001");
    List(s, "100004");
    Done_Listing(s);
    s.Command1_Click();
    ASSERT_FALSE(state.Redemption_Checked);
    const int start = s.MSFlexGrid2.Rows() - 1;
    s.Command2_Click(); // not checked: the question, answered yes
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Предупреждение...");
    EXPECT_EQ(
        Rows_From(s.MSFlexGrid2, start + 1),
        (std::vector<Row>{
            {"", "", ""},
            {"", "Списание талонов", ""},
            {"", "марка ГСМ 'АИ-92' литраж: 020", ""},
            {"", "", ""},
            {"100001", "Списан", Record_Of(0)},
            {"100001", "Ошибка! Талон уже был списан: " + date_text + " на АЗС-3", Record_Of(0)},
            {"100002", "Списан", Record_Of(1)},
            {"100004", "Ошибка!  Талон с таким номером не был продан!", ""},
            {"", "", ""},
            {"", "Списано талонов 2 шт., объём: 25,5", ""},
        }));
    // Litres as given: 0, and above nothing else; the whole volume off the buyer.
    EXPECT_EQ(Booking_At(0), (Booking{1, 0.0, 3, today}));
    EXPECT_EQ(Booking_At(1), (Booking{1, 25.5, 3, today}));
    EXPECT_EQ(Total(state.settings.Cache_Diff_File, 1, 1), buyer1 - 20);
    EXPECT_EQ(Total(state.settings.Cache_Diff_File, 2, 1), buyer2 - 20);
    EXPECT_EQ(Total(state.settings.Cache_Used_File, 3, 1), 25.5);
    EXPECT_EQ(state.Ticket_Table[1].Used, 1);
    // Refused and unknown numbers stay for correction; the booked ones left the list, the first
    // row emptied in place.
    EXPECT_EQ(List_Rows(s), (std::vector<std::pair<std::string, std::string>>{
                                {"", ""}, {"100001", "020"}, {"100004", "020"}}));
    EXPECT_EQ(s.Frame_Caption, "Номера талонов.          К списанию: 40л.");
    EXPECT_FALSE(state.Redemption_Checked);
    EXPECT_EQ(s.Last_Outcome(), Redemption_Outcome::Refused);
}

TEST_F(Shop_Test, ScanWalkOfAnUnindexedVolumeAndItsTwoRows) {
    Add("200001", 100);
    Add("200002", 15);
    Add("200001", 20); // the same number under 20 litres is another ticket
    Install();
    auto shop = Open(0, 0, "100");
    Shop& s = *shop;
    List(s, "200001", "150");
    List(s, "200001");
    Done_Listing(s);
    s.Command1_Click();
    // The ticket in hand is the changed copy: the second row is told it was booked just now.
    EXPECT_EQ(
        Rows_From(s.MSFlexGrid2, 6),
        (std::vector<Row>{
            {"200001", "Можно списать", Record_Of(0)},
            {"200001", "Ошибка! Талон уже был списан: " + date_text + " на АЗС-1", Record_Of(0)},
            {"", "", ""},
            {"", "К списанию талонов: 1 шт., объёмом: 150", ""}}));
    s.Command2_Click();
    EXPECT_EQ(Booking_At(0), (Booking{1, 150.0, 1, today}));
    EXPECT_EQ(Booking_At(2), (Booking{}));
    EXPECT_EQ(Total(state.settings.Cache_Used_File, 1, 1), 150);

    // A user volume is found by the scan as well.
    auto user = Open(0, 0, "015");
    List(*user, "200002");
    Done_Listing(*user);
    user->Command2_Click();
    EXPECT_EQ(Booking_At(1), (Booking{1, 15.0, 1, today}));
    EXPECT_EQ(user->Last_Outcome(), Redemption_Outcome::Booked);
    EXPECT_EQ(Total(state.settings.Cache_Used_File, 1, 1), 165);
}

// Two single sales run their passes over the file by name: the pair's counts stay cumulative
// and its index file holds every entry three times. Each ticket is still judged once.
TEST_F(Shop_Test, AnIndexWithRepeatedEntriesJudgesEachTicketOnce) {
    Ticket_Record& redeemed = Add("100001", 20);
    redeemed.Used = 1;
    redeemed.Establishment = 3;
    redeemed.Validation_Date = Date_Serial(2024, 3, 1);
    Add("100002", 20);
    Install();
    for (int sale = 0; sale < 2; ++sale)
        CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, "proection", 0, "",
                        state.settings.Database_File, "null");
    ASSERT_EQ(state.Z_Counts.Get(1, 20), 6);
    auto shop = Open(1, 0, "020");
    List(*shop, "100001");
    List(*shop, "100002");
    Done_Listing(*shop);
    shop->Command1_Click();
    EXPECT_EQ(Rows_From(shop->MSFlexGrid2, 6),
              (std::vector<Row>{
                  {"100001", "Ошибка! Талон уже был списан: 01.03.2024 на АЗС-3", Record_Of(0)},
                  {"100002", "Можно списать", Record_Of(1)},
                  {"", "", ""},
                  {"", "К списанию талонов: 1 шт., объёмом: 20", ""}}));
}

TEST_F(Shop_Test, EarlyEndsWriteNothing) {
    Limited("100001", Mask({}));
    Install();
    const Bytes db = File_Bytes(state.settings.Database_File);
    const Bytes diff = File_Bytes(state.settings.Cache_Diff_File);

    // An empty list ends at once, after the heading rows.
    auto shop = Open(0, 0, "020");
    Shop& s = *shop;
    s.Command1_Click();
    EXPECT_EQ(s.MSFlexGrid2.Rows(), 6);
    EXPECT_EQ(s.Last_Outcome(), Redemption_Outcome::Stopped);

    // Refused numbers only: 0 pieces, and the list stays as it was.
    List(s, "100001");
    Done_Listing(s);
    state.Redemption_Checked = true;
    s.Command2_Click();
    EXPECT_EQ(s.MSFlexGrid2.Text(s.MSFlexGrid2.Rows() - 1, 1), "Списано талонов 0 шт., объём: 0");
    EXPECT_EQ(List_Rows(s), (std::vector<std::pair<std::string, std::string>>{{"100001", "020"}}));

    // No to the question: nothing more.
    const int rows = s.MSFlexGrid2.Rows();
    ui.Answer_Next(box::Answer_No);
    s.Command2_Click();
    EXPECT_EQ(s.MSFlexGrid2.Rows(), rows);
    EXPECT_EQ(s.Last_Outcome(), Redemption_Outcome::Stopped);

    // Litres that don't convert: told, nothing written.
    s.MSFlexGrid1_Move_To(1, Shop::Litres_Col);
    Type(s, ",5,");
    state.Redemption_Checked = true;
    s.Command2_Click();
    EXPECT_EQ(s.Last_Outcome(), Redemption_Outcome::Failed);
    EXPECT_EQ(ui.boxes.back().title, "Ошибка");

    // Another writer holds the database: refused with a box and a row.
    s.MSFlexGrid1_Move_To(1, Shop::Litres_Col);
    for (int i = 0; i < 3; ++i)
        s.MSFlexGrid1_KeyPress(Shop::Key_Backspace);
    {
        Database_Lock other(Path(state.settings.Database_File));
        ASSERT_TRUE(other.Held());
        state.Redemption_Checked = true;
        s.Command2_Click();
    }
    EXPECT_EQ(s.Last_Outcome(), Redemption_Outcome::Failed);
    EXPECT_EQ(s.MSFlexGrid2.Text(s.MSFlexGrid2.Rows() - 1, 1),
              "База данных занята другой программой. Талоны не списаны.");

    // No station to choose: a clear message, nothing written.
    Write_All_Bytes(Path(state.settings.Establishments_File), {});
    Install({});
    auto bare = Open(-1, 0, "020");
    EXPECT_EQ(bare->ListView1.Count(), 0);
    List(*bare, "100001");
    Done_Listing(*bare);
    bare->Command2_Click();
    EXPECT_EQ(bare->Last_Outcome(), Redemption_Outcome::Failed);
    EXPECT_EQ(ui.boxes.back().text,
              "Не выбрана заправка: выберите заправку в списке. Ничего не списано.");
    EXPECT_EQ(File_Bytes(state.settings.Database_File), db);
    EXPECT_EQ(File_Bytes(state.settings.Cache_Diff_File), diff);
}

TEST_F(Shop_Test, AWriteThatFailsEndsInTheFatalScreenWithEveryTicketWhole) {
    for (int n = 1; n <= 4; ++n)
        Add("30000" + std::to_string(n), 20);
    Install();
    // Budgets that end the commit at every write of it: a ticket, a station total, a balance.
    for (long long budget = 0; budget <= 3 * (72 + 84 + 84); budget += 36) {
        SCOPED_TRACE("budget " + std::to_string(budget));
        Write_Database(tickets);
        state.Z_Counts.Clear();
        Run("new");
        auto shop = Open(0, 0, "020");
        for (int n = 1; n <= 4; ++n)
            List(*shop, "30000" + std::to_string(n));
        Done_Listing(*shop);
        state.Redemption_Checked = true;
        ui.fatals.clear();
        record_file_hook::Write_Budget = budget;
        bool ended = false;
        try {
            shop->Command2_Click();
        } catch (const Process_Ended&) {
            ended = true;
        }
        record_file_hook::Write_Budget = -1;
        ASSERT_TRUE(ended);
        ASSERT_EQ(ui.fatals.size(), 1u);
        EXPECT_EQ(ui.fatals[0].module_path, "Disk full:");
        EXPECT_NE(ui.fatals[0].cause.find(folder.Path()), std::string::npos);
        // The next start puts back a ticket that was written in part.
        Finish_Interrupted_Redemption(folder.Path());
        EXPECT_FALSE(folder.Exists(Redemption_Note_File));
        // Each ticket whole: booked in all four fields, or untouched.
        for (std::size_t i = 0; i < 4; ++i) {
            const Booking booking = Booking_At(i);
            if (booking.used == 0)
                EXPECT_EQ(booking, Booking{}) << i;
            else
                EXPECT_EQ(booking, (Booking{1, 20.0, 1, today})) << i;
        }
    }
}

} // namespace
} // namespace td::test
