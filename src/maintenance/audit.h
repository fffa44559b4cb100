// The audit of an installation: what no screen shows, read from the files without changing any.
// Each finding names the ticket (record number and number), the company or the station it
// concerns, or the database as a whole.
#pragma once

#include <string>
#include <vector>

namespace td {

struct Audit_Files {
    std::string database;
    std::string company;
    std::string stations; // Establishments_File
    std::string cache_diff;
    std::string cache_used;
};

struct Audit_Finding {
    enum class Kind {
        Redeemed_Before_Sold,
        Redeemed_Without_Station, // no station, or one the catalogue does not hold
        Duplicate_Number,         // the same number twice under one fuel and volume, both live
        Mask_Without_Station,     // a station mask bit with no station behind it, or no mark
        Validity_Ends_Before_Start,
        Company_Out_Of_Range,
        Records_Beyond_Count,
        Company_Balance_Differs, // Cache_Diff against the tickets
        Station_Total_Differs,   // Cache_Used against the tickets
        Unreadable               // the database can't be read: nothing else could be checked
    } kind;
    std::string subject;  // "ticket", "company", "station" or "database"
    long long number = 0; // record number in the file, company or station; 0 for the database
    std::string serial;   // tickets only
    std::string text;
};

struct Audit_Result {
    long long tickets = 0; // tickets read (the header's count)
    std::vector<Audit_Finding> findings;
};

// Reads everything once. `working_date` is the date the caches are kept for.
Audit_Result Audit_Installation(const Audit_Files& files, double working_date);

// One finding as a line: subject, number, serial (empty when none) and the text, tab-separated.
std::string Audit_Line(const Audit_Finding& finding);

} // namespace td
