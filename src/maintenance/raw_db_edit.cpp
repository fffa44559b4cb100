#include "maintenance/raw_db_edit.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "kernel/state.h"
#include "kernel/unhandled.h"
#include "storage/file_failure.h"
#include "storage/file_safety.h"
#include "storage/header.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

namespace td {

namespace {

constexpr long Overflow = 6;
constexpr long Type_Mismatch = 13;
constexpr long Bad_Record_Number = 63;
constexpr long Device_IO = 57;
constexpr int Key_F = 70;

// A conversion that fails ends the run, as the system's conversions did.
double Number_Or_Fail(Ui& ui, const std::string& text) {
    std::optional<double> value = Regional_Number(text);
    if (!value)
        Unhandled_Failure(ui, Type_Mismatch, "Type mismatch");
    return *value;
}

std::int32_t Long_Or_Fail(Ui& ui, const std::string& text) {
    double value = std::nearbyint(Number_Or_Fail(ui, text));
    if (value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::int32_t>::max())
        Unhandled_Failure(ui, Overflow, "Overflow");
    return static_cast<std::int32_t>(value);
}

std::uint8_t Byte_Or_Fail(Ui& ui, const std::string& text) {
    double value = std::nearbyint(Number_Or_Fail(ui, text));
    if (value < 0 || value > 255)
        Unhandled_Failure(ui, Overflow, "Overflow");
    return static_cast<std::uint8_t>(value);
}

double Date_Or_Fail(Ui& ui, const std::string& text) {
    std::optional<double> value = Parse_Date(text);
    if (!value)
        Unhandled_Failure(ui, Type_Mismatch, "Type mismatch");
    return *value;
}

} // namespace

std::string Raw_DB_Edit::Date_Text(double date) {
    const double day = std::trunc(date);
    const double fraction = std::fabs(date - day);
    long seconds = std::lround(fraction * 86400.0);
    char time[64];
    std::snprintf(time, sizeof time, "%ld:%02ld:%02ld", seconds / 3600, (seconds / 60) % 60,
                  seconds % 60);
    if (day == 0)
        return time;
    return seconds == 0 ? Format_Date(date) : Format_Date(date) + " " + time;
}

Raw_DB_Edit::Raw_DB_Edit(Program_State& state, Ui& ui, Clock& clock)
    : state_(state), ui_(ui), clock_(clock) {}

void Raw_DB_Edit::Changed() const {
    if (On_Change)
        On_Change();
}

void Raw_DB_Edit::Form_Load() {
    Text5.clear();
    Text8.clear();
    Text9.clear();
    Text12.clear();
    text5_enabled_ = dates_enabled_ = mask_enabled_ = false;
    const std::string database = state_.Path_Of(state_.settings.Database_File);
    Header_Info header;
    Read_Header(database, header);
    Raw_Offset = static_cast<long long>(header.records_offset);
    Raw_Count = static_cast<long long>(header.count < 0 ? 0 : header.count);
    Raw_Current_Record = Raw_Offset + 1;
    file_.Open(database, Ticket_Record_Size);
    Show(Raw_Current_Record);
}

void Raw_DB_Edit::Show(long long record) {
    std::uint8_t raw[Ticket_Record_Size] = {};
    if (record < 1 || !file_.Read(static_cast<std::uint64_t>(record), raw))
        Unhandled_Failure(ui_, record < 1 ? Bad_Record_Number : Device_IO,
                          record < 1 ? "Bad record number" : System_Reason(file_.Error()));
    const Ticket_Record t = Decode_Ticket(raw);
    Text1 = std::to_string(record);
    Text2 = t.Serial_Text();
    // The check boxes first: their clicks empty and disable the fields they govern, which are
    // then filled from the record all the same.
    Check1 = t.Used != 0;
    Check1_Click();
    Check2 = t.Deleted != 0;
    Check5 = t.Multiuse != 0;
    Check3 = t.Date_Limits != 0;
    Check3_Click();
    Check4 = t.Establishment_Limits != 0;
    Check4_Click();
    Text3 = std::to_string(t.Fuel);
    Text4 = std::to_string(t.Volume);
    Text5 = Format_Number(t.Real_Volume);
    Text10 = std::to_string(t.Company);
    Text11 = std::to_string(t.Establishment);
    Text6 = Date_Text(t.Sell_Date);
    Text7 = Date_Text(t.Validation_Date);
    Text8 = Date_Text(t.Valid_From);
    Text9 = Date_Text(t.Expire_Date);
    Text12 = std::to_string(t.Establishments_Mask);
    Changed();
}

void Raw_DB_Edit::Check1_Click() {
    text5_enabled_ = Check1;
    if (!Check1)
        Text5.clear();
    Changed();
}

void Raw_DB_Edit::Check3_Click() {
    dates_enabled_ = Check3;
    if (!Check3) {
        Text8.clear();
        Text9.clear();
    }
    Changed();
}

void Raw_DB_Edit::Check4_Click() {
    mask_enabled_ = Check4;
    if (!Check4)
        Text12.clear();
    Changed();
}

void Raw_DB_Edit::Command6_Click() {
    Raw_Current_Record = Raw_Offset + 1;
    Show(Raw_Current_Record);
}

void Raw_DB_Edit::Command3_Click() {
    Raw_Current_Record -= 1;
    if (Raw_Current_Record < Raw_Offset + 1)
        Raw_Current_Record = Raw_Offset + 1;
    Show(Raw_Current_Record);
}

void Raw_DB_Edit::Command4_Click() {
    Raw_Current_Record += 1;
    if (Raw_Current_Record > Raw_Offset + Raw_Count)
        Raw_Current_Record = Raw_Offset + Raw_Count;
    Show(Raw_Current_Record);
}

void Raw_DB_Edit::Command5_Click() {
    Raw_Current_Record = Raw_Offset + Raw_Count;
    Show(Raw_Current_Record);
}

void Raw_DB_Edit::Command2_Click() {
    // Built in empty memory: the number and the reserved field are written as zero bytes.
    Ticket_Record t;
    t.Used = Check1 ? 1 : 0;
    t.Deleted = Check2 ? 1 : 0;
    t.Multiuse = Check5 ? 1 : 0;
    t.Date_Limits = Check3 ? 1 : 0;
    t.Establishment_Limits = Check4 ? 1 : 0;
    t.Fuel = Byte_Or_Fail(ui_, Text3);
    t.Volume = Long_Or_Fail(ui_, Text4);
    t.Company = Long_Or_Fail(ui_, Text10);
    t.Establishment = Long_Or_Fail(ui_, Text11);
    t.Establishments_Mask = Long_Or_Fail(ui_, Text12);
    t.Real_Volume = Number_Or_Fail(ui_, Text5);
    t.Sell_Date = Date_Or_Fail(ui_, Text6);
    t.Validation_Date = Date_Or_Fail(ui_, Text7);
    t.Valid_From = Date_Or_Fail(ui_, Text8);
    t.Expire_Date = Date_Or_Fail(ui_, Text9);
    const double number = Leading_Number(Text1);
    if (number < 1)
        Unhandled_Failure(ui_, Bad_Record_Number, "Bad record number");
    std::uint8_t raw[Ticket_Record_Size];
    Encode(t, raw);
    // Nobody else writes the database meanwhile; the record is on the disk when Update returns.
    Database_Lock lock(file_.Path());
    if (lock.Status() == Database_Lock::State::Busy)
        Unhandled_Failure(ui_, 70, "Permission denied: another process writes " + file_.Path());
    if (!file_.Write(static_cast<std::uint64_t>(number), raw) || !file_.Sync())
        Unhandled_Failure(ui_, Device_IO, file_.Path() + ": " + System_Reason(file_.Error()));
}

void Raw_DB_Edit::Command1_Click() {
    ui_.Message_Box("You need restart application!", box::Ok_Only, "");
    closed_ = true;
    file_.Close();
    End_Process_Now(ui_, 0);
}

void Raw_DB_Edit::Text1_Enter() {
    const double number = Leading_Number(Text1);
    std::uint8_t raw[Ticket_Record_Size] = {};
    if (number < 1 || number > 9.0e15) {
        ui_.Message_Box("Error! Code: " + std::to_string(Bad_Record_Number) +
                            "\r\nDescription: Bad record number",
                        box::Ok_Only, "");
        return;
    }
    if (!file_.Read(static_cast<std::uint64_t>(number), raw)) {
        ui_.Message_Box("Error! Code: " + std::to_string(Device_IO) +
                            "\r\nDescription: " + System_Reason(file_.Error()),
                        box::Ok_Only, "");
        return;
    }
    Raw_Current_Record = static_cast<long long>(number);
    Show(Raw_Current_Record);
}

void Raw_DB_Edit::Text2_KeyUp(int key_code, bool ctrl) {
    if (key_code != Key_F || !ctrl)
        return;
    progress_visible_ = true;
    progress_ = 0;
    Changed();
    std::string wanted = Text2;
    if (wanted.size() < 6)
        wanted.insert(0, 6 - wanted.size(), '0');
    double last = clock_.Seconds_Since_Midnight();
    constexpr long long Block = 16384;
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(Block) * Ticket_Record_Size);
    // Up to the count without the offset, from the record shown itself: settled behaviour.
    for (long long first = Raw_Current_Record; first <= Raw_Count; first += Block) {
        const long long n = std::min(Block, Raw_Count - first + 1);
        if (first < 1 || !file_.Read_Block(static_cast<std::uint64_t>(first),
                                           static_cast<std::uint64_t>(n), buffer.data()))
            Unhandled_Failure(ui_, Device_IO, System_Reason(file_.Error()));
        for (long long k = 0; k < n; ++k) {
            const long long i = first + k;
            const Ticket_Record t = Decode_Ticket(buffer.data() + k * Ticket_Record_Size);
            if (t.Serial_Text() == wanted) {
                Raw_Current_Record = i;
                Show(i);
                progress_visible_ = false;
                Changed();
                return;
            }
            if (i % std::max(1LL, Raw_Count / 1024) != 0)
                continue; // the clock is asked about a thousand times a search
            double now = clock_.Seconds_Since_Midnight();
            if (std::fabs(now - last) >= 0.4) {
                last = now;
                progress_ = Raw_Count > 0 ? static_cast<int>(100 * i / Raw_Count) : 0;
                Changed();
                ui_.Pump_Events();
            }
        }
    }
    ui_.Message_Box("Search complete...", box::Ok_Only, "");
    progress_visible_ = false;
    Changed();
}

} // namespace td
