// The program-wide state: one copy each, as the system keeps it.
#pragma once

#include "kernel/settings.h"
#include "storage/file_failure.h"
#include "storage/number_index.h"
#include "storage/records.h"
#include "storage/ticket_array.h"

#include <string>
#include <vector>

namespace td {

struct Program_State {
    // Where things are.
    std::string Program_Folder; // where td.ini lives
    std::string Data_Folder;    // where the data files are (the current folder of the system)
    Settings settings;

    // Dates.
    double Current_Date = 0.0;
    double System_Date_At_Start = 0.0;
    double Low_Date = -1.0;
    double High_Date = -1.0;
    double Valid_From = 0.0;
    double Valid_To = 0.0;

    // Database.
    long Ticket_Count = 0;
    long Records_Offset = 0;
    Ticket_Array Ticket_Table; // index = position; element 0 unused
    std::vector<Company_Record> Company_Table;
    long Company_Count = 1;
    Z_Count_Table Z_Counts;
    // No ticket of Ticket_Table below this position is deleted: where a sale's search for a free
    // slot may start. The passes set it from the table they build; a sale moves it past the slot
    // it takes.
    long Deleted_Slot_Hint = 1;

    // Marks.
    bool Sale_Checked = false;
    bool Redemption_Checked = false;
    bool Cache_Stale = false;
    bool Buyer_Browser_Open = false;
    bool Station_Browser_Open = false;
    // The first failure of a pass that left derived data (totals, user cache, number index) not
    // whole. Kept for the run: shutdown then leaves the work marker, so the next start rebuilds.
    File_Failure Derived_Failure;

    int Answer = 0;
    int Fatal_Countdown = 30;
    bool Resume_Requested = false;
    int Wizard_Page = 1;
    int Redemption_Column = -1;
    std::string Current_Node_Key = "root\\";
    std::string Parent_Node_Key = "root\\";
    int Fuel_Count = 0;
    int Station_Count = 0;

    // A data file's full path.
    std::string Path_Of(const std::string& file_name) const;
};

// The one program state. Tests reset it with Reset_State().
Program_State& State();
void Reset_State();

} // namespace td
