// "Зарегистрировать заказ": the coupons of the batch written into the database. The commit does
// not trust the check: it tests the numbers again, through the number index where there is one.
// Each ticket goes into the first free deleted slot or at the end, and the buyer's balance grows
// by its volume; the header follows. Everything the commit wrote is forced to the disk before it
// reports the batch registered, and a note beside the database lets the next start count what an
// interrupted commit appended.
#include "base/codepage.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "browsers/sell_ticets.h"
#include "kernel/cache_passes.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "storage/commit_journal.h"
#include "storage/file_safety.h"
#include "storage/header.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "tickets/register_ticket.h"
#include "tickets/result_log.h"
#include "tickets/sale_common.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <memory>
#include <sys/stat.h>
#include <vector>

namespace td {
namespace {

constexpr double Commit_Progress_Interval = 0.34;
constexpr double Slot_Search_Interval = 0.4;
constexpr std::int32_t Mask_Present = 65536;
constexpr const char* Not_Checked_Question =
    "Вы не выполнили проверку талонов на списание или в результате проверки были обнаружены "
    "ошибки. Продолжить?";

// The commit of one screen: what it reads, what it writes, and how it ends.
class Sale_Commit {
public:
    Sale_Commit(Register_ticket& screen, const Sale_Order& order)
        : screen_(screen), state_(screen.State()), ui_(screen.User_Interface()), order_(order),
          database_path_(state_.Path_Of(state_.settings.Database_File)) {}

    void One();
    void Range();
    void Success();

private:
    Ticket_Record New_Ticket() const;
    // The third cell of a refusal found through the index: the system put there a number that
    // names no ticket of the kind, and the menu of the row shows some other ticket.
    std::string Index_Record_Cell() const {
        return std::to_string(screen_.Combo2.Count() + state_.Records_Offset);
    }
    // Entries 1 to the count of the pair's number index, in order, until `visit` answers false.
    void Index_Entries(const std::function<bool(long k, const Z_Record&)>& visit);
    // A ticket read at an absolute record number; false when the read failed (then fatal).
    bool Read_Ticket(Record_File& database, std::int64_t record_no, Ticket_Record& ticket);
    bool Refused_Through_Index_One(Record_File& database, const std::array<char, 6>& wanted);
    bool Refused_By_Scan_One(const std::array<char, 6>& wanted);
    bool Refused_Range(Record_File& database, double first, double last);

    // What keeps the database whole before the first write; false (with a row and a box saying
    // why) when the commit must write nothing.
    bool Ready_To_Write();
    bool Refuse(const std::string& text);

    bool Write_Ticket(Record_File& database, long position, const Ticket_Record& ticket);
    bool Add_Balance(Record_File& balances);
    bool Flush(Record_File& file);
    void Put_In_Table(long position, const Ticket_Record& ticket);
    // A failed read or write: the fatal handling, as nothing in the commit handles it.
    bool Failed(const Run_Time_Error& error, const std::string& cause);
    bool Failed(const Record_File& file) {
        return Failed(Run_Time_Error_Of(file.Error()),
                      file.Path() + ": " + System_Reason(file.Error()));
    }
    void Stop(Sale_Outcome outcome) {
        screen_.Working(false);
        screen_.Set_Outcome(outcome);
    }
    void Range_Refused_Rows(bool verdict);

    Register_ticket& screen_;
    Program_State& state_;
    Ui& ui_;
    Sale_Order order_;
    std::string database_path_;
    std::unique_ptr<Database_Lock> lock_;
};

Ticket_Record Sale_Commit::New_Ticket() const {
    Ticket_Record ticket;
    ticket.Fuel = static_cast<std::uint8_t>(order_.fuel);
    ticket.Volume = order_.volume;
    ticket.Company = order_.company;
    ticket.Sale_Mark = 1;
    ticket.Date_Limits = screen_.Option(2) ? 1 : 0;
    ticket.Establishment_Limits = screen_.Option(4) ? 1 : 0;
    ticket.Sell_Date = state_.Current_Date;
    if (screen_.Option(2)) {
        ticket.Valid_From = state_.Valid_From;
        ticket.Expire_Date = state_.Valid_To;
    }
    if (screen_.Option(4)) {
        // 65536 marks the mask as present: with nothing ticked the coupon is valid nowhere.
        std::int64_t mask = Mask_Present;
        for (int e = 0; e < screen_.ListView1.Count(); ++e) {
            if (!screen_.ListView1.Checked(e))
                continue;
            const std::string& key = screen_.ListView1.Key(e);
            const std::size_t slash = key.rfind('\\');
            const int station = static_cast<int>(Leading_Number(key.substr(slash + 1)));
            if (station >= 0 && station < 31)
                mask += std::int64_t{1} << station;
        }
        ticket.Establishments_Mask = static_cast<std::int32_t>(mask);
    }
    return ticket;
}

bool Sale_Commit::Failed(const Run_Time_Error& error, const std::string& cause) {
    Fatal_Run_Time_Error(ui_, error, cause);
    // Resumed: the commit goes no further; what it wrote stays written.
    Stop(Sale_Outcome::Failed);
    return false;
}

bool Sale_Commit::Read_Ticket(Record_File& database, std::int64_t record_no,
                              Ticket_Record& ticket) {
    std::uint8_t raw[Ticket_Record_Size];
    if (record_no < 1)
        return Failed({Bad_Record_Number, "Bad record number"},
                      database.Path() + ": record " + std::to_string(record_no));
    if (!database.Read(static_cast<std::uint64_t>(record_no), raw))
        return Failed(database);
    ticket = Decode_Ticket(raw);
    return true;
}

void Sale_Commit::Index_Entries(const std::function<bool(long k, const Z_Record&)>& visit) {
    double shown = screen_.Time().Seconds_Since_Midnight();
    Walk_Number_Index(state_, order_.fuel, order_.volume, visit, [&](long k) {
        if (state_.Ticket_Count != 0)
            screen_.Gate_Progress(shown, Commit_Progress_Interval,
                                  static_cast<int>(k * 100.0 / state_.Ticket_Count));
    });
}

bool Sale_Commit::Refused_Through_Index_One(Record_File& database,
                                            const std::array<char, 6>& wanted) {
    bool refused = false;
    bool failed = false;
    Index_Entries([&](long, const Z_Record& entry) {
        if (entry.Serial != wanted)
            return true;
        Ticket_Record ticket;
        if (!Read_Ticket(database, entry.Record_No, ticket)) {
            failed = true;
            return false;
        }
        // Deleted is not looked at: the number stays taken for a single sale.
        Log_Row row;
        if (!Taken_Row(ticket, Index_Record_Cell(), row))
            return true;
        Grid& grid = screen_.MSFlexGrid2;
        Add_Log_Row(grid, row, log_colour::Refusal);
        Add_Blank_Row(grid);
        Add_Log_Row(grid, {"", "Талон НЕ может быть зарегистрирован.", ""}, log_colour::Refusal);
        refused = true;
        return false;
    });
    if (refused)
        Stop(Sale_Outcome::Refused);
    return refused || failed;
}

bool Sale_Commit::Refused_By_Scan_One(const std::array<char, 6>& wanted) {
    bool refused = false;
    double shown = screen_.Time().Seconds_Since_Midnight();
    const long count = state_.Ticket_Count;
    Scan_Tickets(
        state_, ui_, count,
        [&](long, const Ticket_Record& ticket) {
            if (ticket.Serial != wanted || ticket.Fuel != order_.fuel ||
                ticket.Volume != order_.volume)
                return true;
            Log_Row row;
            if (!Taken_Row(ticket, Index_Record_Cell(), row))
                return true;
            Add_Log_Row(screen_.MSFlexGrid2, row, log_colour::Refusal);
            refused = true;
            return false;
        },
        [&](long position) {
            screen_.Gate_Progress(shown, Commit_Progress_Interval,
                                  static_cast<int>(position * 100.0 / count));
        });
    if (refused)
        Stop(Sale_Outcome::Refused);
    return refused;
}

void Sale_Commit::Range_Refused_Rows(bool verdict) {
    Grid& grid = screen_.MSFlexGrid2;
    if (verdict) {
        Add_Blank_Row(grid);
        Add_Log_Row(grid, {"", "Талон(ы) НЕ могут быть зарегистрирован(ы).", ""},
                    log_colour::Refusal);
        Add_Log_Row(grid, {"", Range_Row_Text(screen_), ""});
        Scroll_To_Last(grid);
    }
    Stop(Sale_Outcome::Refused);
}

bool Sale_Commit::Refused_Range(Record_File& database, double first, double last) {
    Grid& grid = screen_.MSFlexGrid2;
    bool hit = false;
    if (Z_Index_Used_For_Lookup(order_.volume)) {
        bool failed = false;
        Index_Entries([&](long, const Z_Record& entry) {
            Ticket_Record probe;
            probe.Serial = entry.Serial;
            const double value = Serial_Value(probe);
            if (value < first || value > last)
                return true;
            Ticket_Record ticket;
            if (!Read_Ticket(database, entry.Record_No, ticket)) {
                failed = true;
                return false;
            }
            Log_Row row;
            if (ticket.Deleted != 0 || !Taken_Row(ticket, Index_Record_Cell(), row))
                return true;
            Add_Log_Row(grid, row, log_colour::Refusal);
            hit = true;
            return true;
        });
        if (failed)
            return true;
        if (hit)
            Range_Refused_Rows(true);
        return hit;
    }
    double shown = screen_.Time().Seconds_Since_Midnight();
    const long count = state_.Ticket_Count;
    Scan_Tickets(
        state_, ui_, count,
        [&](long i, const Ticket_Record& ticket) {
            if (ticket.Fuel != order_.fuel || ticket.Volume != order_.volume || ticket.Deleted != 0)
                return true;
            const double value = Serial_Value(ticket);
            Log_Row row;
            if (value < first || value > last ||
                !Taken_Row(ticket, std::to_string(i + state_.Records_Offset), row))
                return true;
            Add_Log_Row(grid, row, log_colour::Refusal);
            Scroll_To_Last(grid);
            hit = true;
            return true;
        },
        [&](long position) {
            screen_.Gate_Progress(shown, Commit_Progress_Interval,
                                  static_cast<int>(position * 100.0 / count));
        });
    if (hit)
        Range_Refused_Rows(false);
    return hit;
}

bool Sale_Commit::Refuse(const std::string& text) {
    ui_.Message_Box(text, box::Stop, "Ошибка");
    Add_Log_Row(screen_.MSFlexGrid2, {"", text, ""}, log_colour::Refusal);
    lock_.reset();
    Stop(Sale_Outcome::Failed);
    return false;
}

bool Sale_Commit::Ready_To_Write() {
    // Another process writing the database (a defragmentation, a restore) would lose what this
    // commit writes, or this commit its work: nobody waits, the sale is refused.
    lock_ = std::make_unique<Database_Lock>(database_path_);
    if (lock_->Status() == Database_Lock::State::Busy)
        return Refuse("База данных занята другой программой. Талоны не зарегистрированы.");
    if (!lock_->Held())
        return Refuse("Не удалось открыть базу данных " + database_path_ + ": " +
                      System_Reason(lock_->Error()) + ". Талоны не зарегистрированы.");

    // Whole tickets that no count knows of would be overwritten by the first one appended.
    const Database_Extent extent = Read_Database_Extent(database_path_);
    struct stat info {};
    if (!extent.ok || ::stat(database_path_.c_str(), &info) != 0)
        return Refuse("Заголовок базы данных " + database_path_ +
                      " не читается. Талоны не зарегистрированы.");
    const long long counted = std::max<long long>(extent.count, state_.Ticket_Count);
    const long long beyond = Records_Beyond_Count(static_cast<std::uint64_t>(info.st_size),
                                                  extent.offset, counted, Ticket_Record_Size);
    if (beyond > 0)
        return Refuse("За последним учтённым талоном в базе данных " + database_path_ +
                      " записано ещё " + std::to_string(beyond) +
                      " записей: новые талоны записались бы поверх них. Талоны не "
                      "зарегистрированы; проверьте базу данных (tdctl verify).");

    // A note left by a commit of this run that stopped short still holds the count on disk.
    if (!File_Exists(state_.Path_Of(Commit_Journal_File))) {
        File_Failure failure;
        if (!Begin_Commit_Journal(state_.Data_Folder, Real_File_Path(database_path_), extent.count,
                                  failure))
            return Refuse("Не удалось записать файл " + failure.Text() +
                          ". Талоны не зарегистрированы.");
    }
    return true;
}

bool Sale_Commit::Write_Ticket(Record_File& database, long position, const Ticket_Record& ticket) {
    std::uint8_t raw[Ticket_Record_Size];
    Encode(ticket, raw);
    const long long record = static_cast<long long>(position) + state_.Records_Offset;
    if (record < 1)
        return Failed({Bad_Record_Number, "Bad record number"},
                      database.Path() + ": record " + std::to_string(record));
    if (!database.Write(static_cast<std::uint64_t>(record), raw))
        return Failed(database);
    return true;
}

bool Sale_Commit::Add_Balance(Record_File& balances) {
    std::uint8_t raw[Cache_Record_Size];
    // A buyer not found is company 0: its record can't be read, after the ticket is written.
    if (order_.company < 1)
        return Failed({Bad_Record_Number, "Bad record number"},
                      balances.Path() + ": record " + std::to_string(order_.company));
    if (!balances.Read(static_cast<std::uint64_t>(order_.company), raw))
        return Failed(balances);
    Cache_Record record = Decode_Cache(raw);
    record.Fuel_Total[static_cast<std::size_t>(order_.fuel)] += order_.volume;
    Encode(record, raw);
    if (!balances.Write(static_cast<std::uint64_t>(order_.company), raw))
        return Failed(balances);
    return true;
}

bool Sale_Commit::Flush(Record_File& file) {
    return file.Sync() || Failed(file);
}

void Sale_Commit::Put_In_Table(long position, const Ticket_Record& ticket) {
    if (position >= 0 && static_cast<std::size_t>(position) < state_.Ticket_Table.size())
        state_.Ticket_Table[static_cast<std::size_t>(position)] = ticket;
}

void Sale_Commit::One() {
    Ticket_Record ticket = New_Ticket();
    const std::array<char, 6> wanted = Six_Characters(screen_.Text(1));
    ticket.Serial = wanted;

    Record_File database(database_path_, Ticket_Record_Size);
    if (!database.Is_Open()) {
        Failed(database);
        return;
    }
    if (Z_Index_Used_For_Lookup(order_.volume) ? Refused_Through_Index_One(database, wanted)
                                               : Refused_By_Scan_One(wanted))
        return;
    if (!Ready_To_Write())
        return;

    // A free slot: the first deleted ticket of the table in memory. No deleted ticket lies
    // below the hint the passes and earlier sales leave.
    long slot = 0;
    double shown = screen_.Time().Seconds_Since_Midnight();
    const long count = state_.Ticket_Count;
    const long table_last = static_cast<long>(state_.Ticket_Table.size()) - 1;
    for (long i = std::max(1L, state_.Deleted_Slot_Hint); i <= std::min(count, table_last); ++i) {
        if (state_.Ticket_Table[static_cast<std::size_t>(i)].Deleted == 1) {
            slot = i;
            break;
        }
        if ((i & 0xFFFF) == 0)
            screen_.Gate_Progress(shown, Slot_Search_Interval, static_cast<int>(i * 100.0 / count));
    }

    Record_File balances(state_.Path_Of(state_.settings.Cache_Diff_File), Cache_Record_Size);
    if (slot != 0) {
        if (!Write_Ticket(database, slot, ticket))
            return;
        Put_In_Table(slot, ticket);
        state_.Deleted_Slot_Hint = slot + 1;
        if (!Add_Balance(balances) || !Flush(database) || !Flush(balances))
            return;
        database.Close();
        balances.Close();
        End_Commit_Journal(state_.Data_Folder);
        lock_.reset();
        screen_.Reglbl_Visible = false;
        screen_.RegProg1_Visible = false;
        // The pass is given the database, so that the ticket table stays whole.
        CreateCacheFile(state_, ui_, screen_.Time(), state_.settings.Cache_User_File, "proection",
                        0, "", state_.settings.Database_File, "form");
        ui_.Main_Window_Enabled(true);
        // By design this way reports nothing and keeps the fields: the ticket and the balance
        // are on disk all the same.
        Stop(Sale_Outcome::Registered);
        return;
    }

    const long position = ++state_.Ticket_Count;
    if (!Write_Ticket(database, position, ticket))
        return;
    try {
        state_.Ticket_Table.resize(static_cast<std::size_t>(position) + 1);
    } catch (const std::bad_alloc&) {
        Failed({7, "Out of memory"}, "");
        return;
    }
    Put_In_Table(position, ticket);
    state_.Deleted_Slot_Hint = position + 1;
    if (!Add_Balance(balances))
        return;
    if (!state_.Z_Counts.Increment(order_.fuel, order_.volume)) {
        Failed({Subscript_Out_Of_Range, "Subscript out of range"},
               "fuel " + std::to_string(order_.fuel) + ", volume " + std::to_string(order_.volume));
        return;
    }
    Record_File index(state_.Path_Of(Z_File_Name(order_.fuel, order_.volume)), Z_Record_Size);
    std::uint8_t entry[Z_Record_Size];
    Encode_Z_Entry(ticket, static_cast<std::int32_t>(position + state_.Records_Offset), entry);
    const auto entry_no =
        static_cast<std::uint64_t>(state_.Z_Counts.Get(order_.fuel, order_.volume)) + 1;
    if (!index.Is_Open() || !index.Write(entry_no, entry)) {
        Failed(index);
        return;
    }
    if (!Create_Header(database_path_, state_.Ticket_Count)) {
        Failed(Run_Time_Error_Of(errno), database_path_ + ": " + System_Reason(errno));
        return;
    }
    if (!Flush(database) || !Flush(balances) || !Flush(index))
        return;
    End_Commit_Journal(state_.Data_Folder);
    lock_.reset();
    Success();
}

void Sale_Commit::Range() {
    const double first = Leading_Number(screen_.Text(4));
    const double count = Leading_Number(screen_.Text(5));
    const double last = first + count - 1;

    Record_File database(database_path_, Ticket_Record_Size);
    if (!database.Is_Open()) {
        Failed(database);
        return;
    }
    if (Refused_Range(database, first, last))
        return;
    database.Close();
    if (!Ready_To_Write())
        return;

    database.Open(database_path_, Ticket_Record_Size);
    Record_File balances(state_.Path_Of(state_.settings.Cache_Diff_File), Cache_Record_Size);
    if (!database.Is_Open()) {
        Failed(database);
        return;
    }
    try {
        const double grown = static_cast<double>(state_.Ticket_Table.size()) + std::max(count, 0.0);
        if (grown > static_cast<double>(Max_Ticket_Count) * 2)
            throw std::bad_alloc();
        state_.Ticket_Table.resize(static_cast<std::size_t>(grown));
    } catch (const std::bad_alloc&) {
        Failed({7, "Out of memory"}, "");
        return;
    }

    // The slots are searched from behind the last one used: one pass of the file at most.
    constexpr long Block = 8192;
    std::vector<std::uint8_t> block(static_cast<std::size_t>(Block) * Ticket_Record_Size);
    long block_first = 0, block_count = 0;
    auto deleted_at = [&](long i, bool& ok) {
        if (i < block_first || i >= block_first + block_count) {
            block_first = i;
            block_count = std::min<long>(Block, state_.Ticket_Count - i + 1);
            const long long record = static_cast<long long>(i) + state_.Records_Offset;
            ok = record >= 1 &&
                 database.Read_Block(static_cast<std::uint64_t>(record),
                                     static_cast<std::uint64_t>(block_count), block.data());
            if (!ok) {
                block_count = 0;
                return false;
            }
        }
        const std::uint8_t* raw = block.data() + (i - block_first) * Ticket_Record_Size;
        return Decode_Ticket(raw).Deleted == 1;
    };

    Ticket_Record ticket = New_Ticket();
    long cursor = 0;
    long i = 0;
    bool searching = true;
    double shown = screen_.Time().Seconds_Since_Midnight();
    for (double n = first; n <= last; n += 1) {
        const std::string number = Format_Number(n);
        if (number.size() > static_cast<std::size_t>(Register_ticket::Number_Max_Length)) {
            // Past 999999 the range ends without a word. What was written is on disk; the
            // header is left to the next commit or start, which count what this one appended.
            if (Flush(database) && Flush(balances)) {
                lock_.reset();
                Stop(Sale_Outcome::Partly_Registered);
            }
            return;
        }
        ticket.Serial = Six_Characters(std::string(6 - number.size(), '0') + number);
        bool placed = false;
        if (searching) {
            for (i = cursor + 1; i <= state_.Ticket_Count; ++i) {
                bool ok = true;
                const bool deleted = deleted_at(i, ok);
                if (!ok) {
                    Failed(database);
                    return;
                }
                if (deleted) {
                    if (!Write_Ticket(database, i, ticket))
                        return;
                    placed = true;
                    break;
                }
            }
        }
        if (!placed) {
            // Once a slot next to the last was taken, `i` stays there: every further ticket of
            // the batch goes to that same record while the count grows. Kept as it always was.
            ++state_.Ticket_Count;
            if (!Write_Ticket(database, i, ticket))
                return;
        }
        Put_In_Table(i, ticket);
        if (!Add_Balance(balances))
            return;
        cursor = i;
        if (cursor == state_.Ticket_Count - 1)
            searching = false;
        screen_.Gate_Progress(shown, Commit_Progress_Interval,
                              last != 0 ? static_cast<int>(n * 100.0 / last) : 0);
    }

    if (!Create_Header(database_path_, state_.Ticket_Count)) {
        Failed(Run_Time_Error_Of(errno), database_path_ + ": " + System_Reason(errno));
        return;
    }
    if (!Flush(database) || !Flush(balances))
        return;
    balances.Close();
    database.Close();
    End_Commit_Journal(state_.Data_Folder);
    lock_.reset();
    // The index and the table from the database in one pass; the progress form stays shown
    // until the screen closes.
    CreateCacheFile(state_, ui_, screen_.Time(), state_.settings.Cache_User_File, "proection", 0,
                    "", state_.settings.Database_File, "form");
    ui_.Main_Window_Enabled(true);
    Success();
}

void Sale_Commit::Success() {
    if (Sell_Ticets* buyer = screen_.Buyer_Browser()) {
        const int row = buyer->MSFlexGrid1.Row();
        const int col = buyer->MSFlexGrid1.Col();
        buyer->TreeView1_NodeClick(state_.Current_Node_Key);
        buyer->MSFlexGrid1.Set_Row(row);
        buyer->MSFlexGrid1.Set_Col(col);
    }
    Grid& grid = screen_.MSFlexGrid2;
    Add_Log_Row(grid, {"", "Талон(ы) зарегистрирован(ы).", ""}, log_colour::Acceptance);
    if (screen_.Option(7))
        Add_Log_Row(grid, {"", Range_Row_Text(screen_), ""});
    else if (screen_.Option(5))
        Add_Log_Row(grid, {"", "Номер: " + screen_.Text(1) + " кол-во: 1 шт.", ""});
    Scroll_To_Last(grid);
    for (int n = 1; n <= Register_ticket::Text_Count; ++n)
        screen_.Set_Text(n, "");
    Stop(Sale_Outcome::Registered);
}

} // namespace

void Commit_Sale(Register_ticket& screen) {
    Program_State& state = screen.State();
    Ui& ui = screen.User_Interface();
    screen.Set_Outcome(Sale_Outcome::None);
    if (!state.Sale_Checked) {
        state.Answer =
            ui.Message_Box(Not_Checked_Question, box::Question | box::Yes_No, "Предупреждение...");
        if (state.Answer == box::Answer_No) {
            screen.Working(false);
            screen.Set_Outcome(Sale_Outcome::Stopped);
            return;
        }
    }
    state.Sale_Checked = false;
    const Sale_Order order = Open_Sale_Rows(screen, "Регистрация талонов");

    const bool empty_one = screen.Option(5) && Trim_Text(screen.Text(1)).empty();
    const bool empty_range = screen.Option(7) && (Leading_Number(screen.Text(5)) == 0 ||
                                                  Trim_Text(screen.Text(4)).empty());
    if (empty_one || empty_range || !(screen.Option(5) || screen.Option(6) || screen.Option(7))) {
        screen.Working(false);
        screen.Set_Outcome(Sale_Outcome::Stopped);
        return;
    }

    Sale_Commit commit(screen, order);
    if (screen.Option(5)) {
        commit.One();
    } else if (screen.Option(7)) {
        commit.Range();
    } else {
        // The end field was never left: nothing is written, and the ending reports success all
        // the same, as it always did.
        if (screen.Text(2).find('-') != std::string::npos) {
            std::vector<std::string> parts;
            long ignored = 0;
            Parse_Serial_Range(screen.Text(2), parts, ignored);
        }
        commit.Success();
    }
}

} // namespace td
