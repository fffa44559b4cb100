// "Проверить" and "Списать талон" of the redemption screen. Both walk the listed numbers through
// the number index of the pair where there is one, else through the whole database, and judge
// each ticket found by the same four tests. The check writes nothing; the commit books each
// accepted ticket at once, in place, with the buyer's and the station's totals, and forces all of
// it to the disk before its summary shows. It never rewrites the header and runs no pass: the
// count and the indices don't change.
#include "base/codepage.h"
#include "base/dates.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "browsers/browser_refresh.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "storage/file_safety.h"
#include "storage/header.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "storage/redemption_note.h"
#include "storage/reference.h"
#include "tickets/result_log.h"
#include "tickets/sale_common.h"
#include "tickets/shop.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <unordered_set>
#include <vector>

namespace td {
namespace {

constexpr double Progress_Interval = 0.4;
constexpr std::int64_t Mask_Present = 65536;
constexpr int Station_Records = 256;
constexpr int Company_Records = 16384;
constexpr const char* Unknown_Text = "Ошибка!  Талон с таким номером не был продан!";
constexpr const char* Not_Checked_Question =
    "Вы не выполнили проверку талонов на списание или в результате проверки были обнаружены "
    "ошибки. Продолжить?";

// Six bytes of a number as the database holds them, for a quick test of whether any row can
// match a ticket.
std::uint64_t Serial_Key(const std::array<char, 6>& serial) {
    std::uint64_t key = 0;
    std::memcpy(&key, serial.data(), serial.size());
    return key;
}

// The numbers of the list, for a quick answer to whether a ticket can match any row: a bit per
// hash slot turns almost every ticket away before the exact set is asked.
class Serial_Filter {
public:
    void Add(std::uint64_t key) {
        const std::uint32_t slot = Slot(key);
        bits_[slot >> 6] |= std::uint64_t{1} << (slot & 63);
        keys_.insert(key);
    }
    bool Contains(std::uint64_t key) const {
        const std::uint32_t slot = Slot(key);
        return ((bits_[slot >> 6] >> (slot & 63)) & 1) != 0 && keys_.count(key) != 0;
    }

private:
    static std::uint32_t Slot(std::uint64_t key) {
        return static_cast<std::uint32_t>((key * 0x9E3779B97F4A7C15ull) >> 48);
    }
    std::vector<std::uint64_t> bits_ = std::vector<std::uint64_t>(1024);
    std::unordered_set<std::uint64_t> keys_;
};

class Redemption {
public:
    Redemption(Shop& screen, bool commit)
        : screen_(screen), state_(screen.State()), ui_(screen.User_Interface()),
          list_(screen.MSFlexGrid1), log_(screen.MSFlexGrid2), commit_(commit),
          database_path_(state_.Path_Of(state_.settings.Database_File)) {}

    void Run();

private:
    enum class Verdict { Station, Expired, Accepted, Already, None };

    void Open_Rows();
    // Step by step over the list as it stood: numbers padded, empty rows out, default litres.
    // False when the first row is empty: the operation ends there.
    bool Prepare_List();
    // Rows whose litres don't convert: told, and the operation writes nothing. False then.
    bool Litres_Readable();
    bool Station_Chosen();
    bool Open_Files();
    void Walk();
    void Walk_Index();
    void Walk_Database();
    // Every list row whose number is `serial` judged against `ticket`.
    void Judge_Rows(const std::array<char, 6>& serial, Ticket_Record& ticket,
                    std::int64_t record_no, bool read_anew);
    Verdict Judge(const Ticket_Record& ticket) const;
    bool Station_Refused(const Ticket_Record& ticket) const;
    bool Book(const Ticket_Record& before, const Ticket_Record& ticket, std::int64_t record_no);
    bool Add_To_Total(Record_File& file, std::int64_t record, int fuel, double amount,
                      std::int64_t last_record);
    bool Read_Ticket(std::int64_t record_no, Ticket_Record& ticket);
    bool Matches(int row, const std::array<char, 6>& serial) const;
    void Remove_Accepted(int& row);
    void Finish_Walk();
    void Unknown_Rows();
    void Summary();
    void Restore_List();
    void Refresh_Browsers();
    void Progress(long reached, long of);
    // A failed read or write: the fatal handling, as nothing in the operation handles it.
    bool Failed(const Run_Time_Error& error, const std::string& cause);
    bool Failed(const Record_File& file) {
        return Failed(Run_Time_Error_Of(file.Error()),
                      file.Path() + ": " + System_Reason(file.Error()));
    }
    void Refuse_Run(const std::string& text);
    void End(Redemption_Outcome outcome);
    std::string Station_Name(std::int64_t record) const;

    Shop& screen_;
    Program_State& state_;
    Ui& ui_;
    Grid& list_;
    Grid& log_;
    const bool commit_;
    std::string database_path_;

    int fuel_ = 0;
    int volume_ = 0;
    int station_ = 0;
    std::string station_name_;
    long long offset_ = 0;
    int start_row_ = 1;
    long count_ = 0;
    double litres_ = 0;
    bool refused_ = false;
    bool failed_ = false;
    double shown_ = 0;
    long blocks_ = 0;

    // The list as it stood, for the check to put back; the original row of each list row.
    std::vector<std::string> saved_numbers_, saved_litres_;
    std::vector<int> original_row_;
    Serial_Filter candidates_;
    std::vector<Name_Record> station_names_;

    std::unique_ptr<Database_Lock> lock_;
    std::unique_ptr<Redemption_Note> note_;
    Record_File database_;
    Record_File used_totals_;
    Record_File buyer_totals_;
};

bool Redemption::Failed(const Run_Time_Error& error, const std::string& cause) {
    failed_ = true;
    Fatal_Run_Time_Error(ui_, error, cause);
    // Resumed: the operation goes no further; what it wrote stays written.
    return false;
}

void Redemption::End(Redemption_Outcome outcome) {
    lock_.reset();
    log_.Set_Visible(true);
    screen_.Set_Busy(false);
    screen_.Set_Outcome(outcome);
    screen_.Changed();
}

void Redemption::Open_Rows() {
    start_row_ = log_.Rows() - 1;
    log_.Set_Row(start_row_);
    Add_Blank_Row(log_);
    const int heading =
        Add_Log_Row(log_, {"", commit_ ? "Списание талонов" : "Проверка списания талонов", ""});
    log_.Set_Bold(heading, Log_Text_Col, true);
    Add_Log_Row(
        log_,
        {"", "марка ГСМ '" + screen_.Combo2.Text() + "' литраж: " + screen_.Combo3.Text(), ""},
        log_colour::Title, true);
    Add_Blank_Row(log_);
    const int usable = screen_.Result_Width() - Log_Grid_Margin;
    log_.Set_Column_Width(Log_Number_Col, usable / 4);
    log_.Set_Column_Width(Log_Text_Col, usable * 3 / 4);
    log_.Set_Text(0, Log_Number_Col, "Номер талона");
    log_.Set_Text(0, Log_Text_Col, "Результат списания");
}

bool Redemption::Prepare_List() {
    for (int row = 1; row < list_.Rows(); ++row) {
        saved_numbers_.push_back(list_.Text(row, Shop::Number_Col));
        saved_litres_.push_back(list_.Text(row, Shop::Litres_Col));
        original_row_.push_back(row - 1);
    }
    // The bound stays as the list stood; a removal moves the next row up, and that row is passed
    // over. The walk never reads past the last row.
    const int last = list_.Rows() - 1;
    for (int row = 1; row <= last && row < list_.Rows(); ++row) {
        const std::size_t at =
            static_cast<std::size_t>(original_row_[static_cast<std::size_t>(row - 1)]);
        std::string number = list_.Text(row, Shop::Number_Col);
        if (Utf8_Length(number) < static_cast<std::size_t>(Shop::Number_Max_Length)) {
            if (number.empty()) {
                if (row == 1)
                    return false;
                list_.Remove_Item(row);
                original_row_.erase(original_row_.begin() + (row - 1));
                continue;
            }
            number = Zeros_In_Front(number, Shop::Number_Max_Length);
            list_.Set_Text(row, Shop::Number_Col, number);
            saved_numbers_[at] = number;
        }
        if (list_.Text(row, Shop::Litres_Col).empty()) {
            list_.Set_Text(row, Shop::Litres_Col, screen_.Combo3.Text());
            saved_litres_[at] = screen_.Combo3.Text();
        }
    }
    for (int row = 1; row < list_.Rows(); ++row) {
        Ticket_Record probe;
        probe.Set_Serial(Utf8_To_Cp1251(list_.Text(row, Shop::Number_Col)));
        candidates_.Add(Serial_Key(probe.Serial));
    }
    return true;
}

bool Redemption::Litres_Readable() {
    bool readable = true;
    for (int row = 1; row < list_.Rows(); ++row) {
        const std::string& text = list_.Text(row, Shop::Litres_Col);
        if (Litres_Of(text))
            continue;
        if (readable)
            ui_.Message_Box("Литраж '" + text + "' талона " + list_.Text(row, Shop::Number_Col) +
                                " не является числом. Исправьте список: ничего не списано.",
                            box::Stop, "Ошибка");
        Add_Log_Row(
            log_,
            {list_.Text(row, Shop::Number_Col), "Ошибка! Неверный литраж: '" + text + "'", ""},
            log_colour::Refusal);
        readable = false;
    }
    return readable;
}

bool Redemption::Station_Chosen() {
    station_ = screen_.Station_Number();
    if (station_ > 0) {
        station_name_ = screen_.ListView1.Text(screen_.ListView1.List_Index());
        return true;
    }
    const char* text = "Не выбрана заправка: выберите заправку в списке. Ничего не списано.";
    ui_.Message_Box(text, box::Stop, "Ошибка");
    Add_Log_Row(log_, {"", text, ""}, log_colour::Refusal);
    return false;
}

void Redemption::Refuse_Run(const std::string& text) {
    ui_.Message_Box(text, box::Stop, "Ошибка");
    Add_Log_Row(log_, {"", text, ""}, log_colour::Refusal);
    End(Redemption_Outcome::Failed);
}

bool Redemption::Open_Files() {
    station_names_ =
        Read_Name_Records(state_.Path_Of(state_.settings.Establishments_File), Station_Records);
    offset_ = state_.Records_Offset;
    if (!commit_)
        return true;
    // Another process writing the database (a defragmentation, a restore) would lose what this
    // commit writes: nobody waits, the redemption is refused.
    lock_ = std::make_unique<Database_Lock>(database_path_);
    if (lock_->Status() == Database_Lock::State::Busy) {
        Refuse_Run("База данных занята другой программой. Талоны не списаны.");
        return false;
    }
    if (!lock_->Held()) {
        Refuse_Run("Не удалось открыть базу данных " + database_path_ + ": " +
                   System_Reason(lock_->Error()) + ". Талоны не списаны.");
        return false;
    }
    const Database_Extent extent = Read_Database_Extent(database_path_);
    if (!extent.ok) {
        Refuse_Run("Заголовок базы данных " + database_path_ + " не читается. Талоны не списаны.");
        return false;
    }
    offset_ = extent.offset;
    note_ = std::make_unique<Redemption_Note>(state_.Data_Folder, Real_File_Path(database_path_));
    if (!database_.Open(database_path_, Ticket_Record_Size))
        return Failed(database_);
    if (!used_totals_.Open(state_.Path_Of(state_.settings.Cache_Used_File), Cache_Record_Size))
        return Failed(used_totals_);
    if (!buyer_totals_.Open(state_.Path_Of(state_.settings.Cache_Diff_File), Cache_Record_Size))
        return Failed(buyer_totals_);
    return true;
}

std::string Redemption::Station_Name(std::int64_t record) const {
    if (record < 1 || record > static_cast<std::int64_t>(station_names_.size()))
        return "";
    return Trim_Text(station_names_[static_cast<std::size_t>(record - 1)].Name);
}

bool Redemption::Station_Refused(const Ticket_Record& ticket) const {
    // The mask read from the top bit down; the list's index stands for the station number. A
    // bit above the list stays in the rest, so that a lower station may then pass.
    std::int64_t rest = std::int64_t{ticket.Establishments_Mask} - Mask_Present;
    for (int n = screen_.Station_Top(); n >= 1; --n) {
        const std::int64_t power = std::int64_t{1} << n;
        if (n == station_ && power > rest)
            return true;
        if (power <= rest)
            rest -= power;
        if (n == station_)
            return false;
    }
    return false;
}

Redemption::Verdict Redemption::Judge(const Ticket_Record& ticket) const {
    if (ticket.Establishment_Limits != 0 && Station_Refused(ticket))
        return Verdict::Station;
    if (ticket.Date_Limits != 0 && !(Date_Not_After(ticket.Valid_From, state_.Current_Date) &&
                                     Date_Not_After(state_.Current_Date, ticket.Expire_Date)))
        return Verdict::Expired;
    if (ticket.Used == 0)
        return Verdict::Accepted;
    if (ticket.Used == 1 && ticket.Deleted == 0)
        return Verdict::Already;
    return Verdict::None;
}

bool Redemption::Matches(int row, const std::array<char, 6>& serial) const {
    const std::string& number = list_.Text(row, Shop::Number_Col);
    return number.size() == serial.size() &&
           std::memcmp(number.data(), serial.data(), serial.size()) == 0;
}

bool Redemption::Read_Ticket(std::int64_t record_no, Ticket_Record& ticket) {
    if (record_no < 1)
        return Failed({Bad_Record_Number, "Bad record number"},
                      database_path_ + ": record " + std::to_string(record_no));
    std::uint8_t raw[Ticket_Record_Size];
    if (!database_.Read(static_cast<std::uint64_t>(record_no), raw))
        return Failed(database_);
    ticket = Decode_Ticket(raw);
    return true;
}

bool Redemption::Add_To_Total(Record_File& file, std::int64_t record, int fuel, double amount,
                              std::int64_t last_record) {
    // A record the totals can't hold is left out, as the rebuild leaves it out.
    if (record < 1 || record > last_record || fuel < 0 || fuel >= 10)
        return true;
    std::uint8_t raw[Cache_Record_Size];
    if (!file.Read(static_cast<std::uint64_t>(record), raw))
        return Failed(file);
    Cache_Record totals = Decode_Cache(raw);
    totals.Fuel_Total[static_cast<std::size_t>(fuel)] += amount;
    Encode(totals, raw);
    if (!file.Write(static_cast<std::uint64_t>(record), raw))
        return Failed(file);
    return true;
}

bool Redemption::Book(const Ticket_Record& before, const Ticket_Record& ticket,
                      std::int64_t record_no) {
    // The ticket first, in one write behind its note; then the station's litres and the buyer's
    // balance.
    std::uint8_t old_raw[Ticket_Record_Size];
    std::uint8_t raw[Ticket_Record_Size];
    Encode(before, old_raw);
    Encode(ticket, raw);
    if (record_no < 1)
        return Failed({Bad_Record_Number, "Bad record number"},
                      database_path_ + ": record " + std::to_string(record_no));
    if (!note_->Before_Write(record_no, old_raw, raw))
        return Failed(note_->File());
    if (!database_.Write(static_cast<std::uint64_t>(record_no), raw))
        return Failed(database_);
    const long long position = record_no - offset_;
    if (position >= 0 && static_cast<std::size_t>(position) < state_.Ticket_Table.size())
        state_.Ticket_Table[static_cast<std::size_t>(position)] = ticket;
    return Add_To_Total(used_totals_, ticket.Establishment, fuel_, ticket.Real_Volume,
                        Station_Records) &&
           Add_To_Total(buyer_totals_, ticket.Company, fuel_, -static_cast<double>(volume_),
                        Company_Records);
}

void Redemption::Remove_Accepted(int& row) {
    if (row == 1) {
        list_.Set_Text(1, Shop::Number_Col, "");
        list_.Set_Text(1, Shop::Litres_Col, "");
    } else {
        list_.Remove_Item(row);
    }
    --row;
}

void Redemption::Judge_Rows(const std::array<char, 6>& serial, Ticket_Record& ticket,
                            std::int64_t record_no, bool read_anew) {
    const std::string record = std::to_string(record_no);
    for (int row = 1; row < list_.Rows() && !failed_; ++row) {
        if (!Matches(row, serial))
            continue;
        if (read_anew && !Read_Ticket(record_no, ticket))
            return;
        const std::string number = list_.Text(row, Shop::Number_Col);
        switch (Judge(ticket)) {
        case Verdict::Station:
            Add_Log_Row(
                log_,
                {number, "Ошибка! Талон не может быть списан на: '" + station_name_ + "'", record},
                log_colour::Refusal);
            refused_ = true;
            break;
        case Verdict::Expired:
            Add_Log_Row(log_,
                        {number,
                         "Талон просрочен! действителен с: " + Format_Date(ticket.Valid_From) +
                             " по: " + Format_Date(ticket.Expire_Date),
                         record},
                        log_colour::Refusal);
            refused_ = true;
            break;
        case Verdict::Already:
            Add_Log_Row(log_,
                        {number,
                         "Ошибка! Талон уже был списан: " + Format_Date(ticket.Validation_Date) +
                             " на " + Station_Name(ticket.Establishment),
                         record},
                        log_colour::Refusal);
            refused_ = true;
            break;
        case Verdict::Accepted: {
            const double litres = Litres_Of(list_.Text(row, Shop::Litres_Col)).value_or(0.0);
            const Ticket_Record before = ticket;
            ticket.Used = 1;
            ticket.Real_Volume = litres;
            ticket.Validation_Date = state_.Current_Date;
            ticket.Establishment = station_;
            if (commit_ && !Book(before, ticket, record_no))
                return;
            litres_ += litres;
            ++count_;
            Add_Log_Row(log_, {number, commit_ ? "Списан" : "Можно списать", record},
                        log_colour::Booking);
            Remove_Accepted(row);
            break;
        }
        case Verdict::None:
            break;
        }
    }
}

void Redemption::Progress(long reached, long of) {
    // A block goes by in a fraction of a millisecond, and asking the clock can cost as much as
    // reading one: it is asked at every 16th block.
    if (++blocks_ % 16 != 0)
        return;
    const double now = screen_.Time().Seconds_Since_Midnight();
    // The clock wraps at midnight: the distance counts, not its sign.
    if (std::fabs(now - shown_) <= Progress_Interval || of <= 0)
        return;
    shown_ = now;
    ui_.Search_Progress_Set(static_cast<int>(reached * 100.0 / of));
    ui_.Pump_Events();
}

void Redemption::Walk_Index() {
    if (!commit_ &&
        !database_.Open(database_path_, Ticket_Record_Size, Record_File::Mode::Read_Only)) {
        Failed(database_);
        return;
    }
    const long count = state_.Z_Counts.Get(fuel_, volume_);
    Walk_Number_Index(
        state_, fuel_, volume_,
        [&](long, const Z_Record& entry) {
            if (!candidates_.Contains(Serial_Key(entry.Serial)))
                return true;
            // Each match reads the ticket anew: after a booking the next row sees it booked.
            Ticket_Record ticket;
            Judge_Rows(entry.Serial, ticket, entry.Record_No, true);
            return !failed_;
        },
        [&](long k) { Progress(k, count); });
}

void Redemption::Walk_Database() {
    // Blocks read in turn on this thread: with the file in the page cache a read is a copy, and
    // a helper thread would only wait for a processor on a busy machine.
    if (!commit_ &&
        !database_.Open(database_path_, Ticket_Record_Size, Record_File::Mode::Read_Only)) {
        Failed(database_);
        return;
    }
    const long count = state_.Ticket_Count;
    constexpr long Block = 3640; // 256 KB: still in the cache when the walk reads it
    constexpr std::uint64_t Pair_Mask = 0xFFFFFFFFFF000000ull;
    Ticket_Record probe;
    probe.Fuel = static_cast<std::uint8_t>(fuel_);
    probe.Volume = volume_;
    std::uint64_t pair_key = 0;
    std::memcpy(&pair_key, &probe, sizeof pair_key);
    pair_key &= Pair_Mask;
    // A fuel beyond a byte matches no ticket, as no ticket's byte holds it.
    if (fuel_ < 0 || fuel_ > 255)
        return;
    std::vector<Ticket_Record> block(
        static_cast<std::size_t>(std::min<long>(Block, std::max(count, 1L))));
    for (long first = 1; first <= count && !failed_; first += Block) {
        const long n = std::min(Block, count - first + 1);
        const long long record = first + offset_;
        if (record < 1)
            return void(Failed({Bad_Record_Number, "Bad record number"},
                               database_path_ + ": record " + std::to_string(record)));
        if (!database_.Read_Block(static_cast<std::uint64_t>(record), static_cast<std::uint64_t>(n),
                                  reinterpret_cast<std::uint8_t*>(block.data())))
            return void(Failed(database_));
        // Fuel and volume are bytes 3 to 7 of a record: one load and one test per ticket.
        const std::uint8_t* raw = reinterpret_cast<const std::uint8_t*>(block.data());
        for (long k = 0; k < n; ++k) {
            std::uint64_t head = 0;
            std::memcpy(&head, raw + k * Ticket_Record_Size, sizeof head);
            if ((head & Pair_Mask) != pair_key)
                continue;
            const Ticket_Record& read = block[static_cast<std::size_t>(k)];
            if (!candidates_.Contains(Serial_Key(read.Serial)))
                continue;
            // The ticket in hand stays the changed copy: a second row of the number is told it
            // was booked just now.
            Ticket_Record ticket = read;
            Judge_Rows(read.Serial, ticket, record + k, false);
            if (failed_)
                return;
        }
        Progress(first + n - 1, count);
    }
}

void Redemption::Walk() {
    if (Z_Index_Used_For_Lookup(volume_))
        Walk_Index();
    else
        Walk_Database();
}

void Redemption::Finish_Walk() {
    ui_.Search_Progress_Hide();
    ui_.Main_Window_Enabled(true);
    ui_.Search_Progress_Set(0);
}

void Redemption::Unknown_Rows() {
    for (int row = 1; row < list_.Rows(); ++row) {
        const std::string& number = list_.Text(row, Shop::Number_Col);
        bool found = false;
        for (int r = start_row_; r < log_.Rows() && !found; ++r)
            found = log_.Text(r, Log_Number_Col) == number;
        if (found)
            continue;
        Add_Log_Row(log_, {number, Unknown_Text, ""}, log_colour::Refusal);
        refused_ = true;
    }
}

void Redemption::Summary() {
    Add_Blank_Row(log_);
    const std::string text = commit_ ? "Списано талонов " + std::to_string(count_) +
                                           " шт., объём: " + Format_Number(litres_)
                                     : "К списанию талонов: " + std::to_string(count_) +
                                           " шт., объёмом: " + Format_Number(litres_);
    Add_Log_Row(log_, {"", text, ""}, log_colour::Summary);
}

void Redemption::Restore_List() {
    list_.Set_Rows(static_cast<int>(saved_numbers_.size()) + 1);
    for (std::size_t i = 0; i < saved_numbers_.size(); ++i) {
        list_.Set_Text(static_cast<int>(i) + 1, Shop::Number_Col, saved_numbers_[i]);
        list_.Set_Text(static_cast<int>(i) + 1, Shop::Litres_Col, saved_litres_[i]);
    }
    if (list_.Row() >= list_.Rows())
        list_.Set_Row(list_.Rows() - 1);
}

void Redemption::Refresh_Browsers() {
    Open_Browsers& browsers = screen_.Browsers();
    if (Sell_Ticets* buyer = browsers.Buyer()) {
        const int row = buyer->MSFlexGrid1.Row();
        const int col = buyer->MSFlexGrid1.Col();
        buyer->TreeView1_NodeClick(state_.Current_Node_Key);
        buyer->MSFlexGrid1.Set_Row(row);
        buyer->MSFlexGrid1.Set_Col(col);
    }
    if (Resolve_Tickets* station = browsers.Station())
        station->Refresh_Data(state_.Current_Date);
}

void Redemption::Run() {
    screen_.Set_Outcome(Redemption_Outcome::None);
    if (commit_) {
        if (!state_.Redemption_Checked) {
            state_.Answer = ui_.Message_Box(Not_Checked_Question, box::Question | box::Yes_No,
                                            "Предупреждение...");
            if (state_.Answer == box::Answer_No) {
                End(Redemption_Outcome::Stopped);
                return;
            }
        }
        state_.Redemption_Checked = false;
    }
    screen_.Set_Busy(true);
    Open_Rows();
    fuel_ = screen_.Fuel_Number();
    volume_ = screen_.Volume_Litres();
    if (!Prepare_List()) {
        End(Redemption_Outcome::Stopped);
        return;
    }
    if (!Litres_Readable() || !Station_Chosen()) {
        if (!commit_) {
            state_.Redemption_Checked = false;
            Restore_List();
        }
        End(Redemption_Outcome::Failed);
        return;
    }
    if (!Open_Files()) {
        End(Redemption_Outcome::Failed);
        return;
    }
    if (!commit_)
        state_.Redemption_Checked = true;
    ui_.Main_Window_Enabled(false);
    ui_.Search_Progress_Show("");
    ui_.Search_Progress_Set(0);
    shown_ = screen_.Time().Seconds_Since_Midnight();

    Walk();
    if (commit_ && !failed_) {
        // Every booked ticket and both totals on the disk before anything says they are booked.
        if (!database_.Sync())
            Failed(database_);
        else if (!used_totals_.Sync())
            Failed(used_totals_);
        else if (!buyer_totals_.Sync())
            Failed(buyer_totals_);
        else
            note_->Remove();
    }
    Finish_Walk();
    database_.Close();
    used_totals_.Close();
    buyer_totals_.Close();
    lock_.reset();
    if (failed_) {
        End(Redemption_Outcome::Failed);
        return;
    }

    Unknown_Rows();
    if (refused_ && !commit_)
        state_.Redemption_Checked = false;
    Summary();
    if (commit_)
        screen_.Recount();
    else
        Restore_List();
    Scroll_To_Last(log_);
    Scroll_To_Last(list_);
    if (commit_)
        Refresh_Browsers();
    End(refused_ ? Redemption_Outcome::Refused
                 : (commit_ ? Redemption_Outcome::Booked : Redemption_Outcome::Accepted));
}

} // namespace

void Check_Redemption(Shop& screen) {
    Redemption(screen, false).Run();
}

void Commit_Redemption(Shop& screen) {
    Redemption(screen, true).Run();
}

} // namespace td
