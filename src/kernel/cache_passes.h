// The passes that derive data from the database, as the running program calls them: on the
// program's own files, with the splash bar or the progress form, and the fatal path where a pass
// can't go on. `CreateCacheFile`, `CreateCacheFileForRequest` and `CreateCacheFileForRange` keep
// the texts of their mode and target for the callers that name them so; the program itself calls
// the typed entry points.
#pragma once

#include "storage/file_failure.h"
#include "storage/pass_progress.h"

#include <string>
#include <string_view>

namespace td {

struct Program_State;
class Ui;
class Clock;

// "splash" (trimmed, any case) is the splash; anything else the progress form.
Progress_Target Parse_Progress_Target(std::string_view target);

// The splash bar or the progress form as a pass's display. The form is set to 0 when it appears,
// unless `reset_form` is false (defragmentation leaves it as it was).
class Ui_Progress_Display : public Progress_Display {
public:
    Ui_Progress_Display(Ui& ui, Progress_Target target, bool reset_form = true)
        : ui_(ui), target_(target), reset_form_(reset_form) {}
    void Begin() override;
    void Show(int value) override;
    void Pump() override;

private:
    Ui& ui_;
    Progress_Target target_;
    bool reset_form_;
};

// The full rebuild ("new"): the ticket table, the entry counts, the number index and the three
// cache files. With the progress form, the form stays shown and the main window disabled at the
// end: the caller hides the one and enables the other. Returns the first read or write that
// failed.
File_Failure Rebuild_All(Program_State& state, Ui& ui, Clock& clock, Progress_Target target);

// The start-up pass ("proection"): the table, the counts and the index, then the index headers;
// the cache files stay as they are.
File_Failure Rebuild_Index(Program_State& state, Ui& ui, Clock& clock, Progress_Target target);

// The company totals (Cache_Diff) as of `date`, and the station totals (Cache_Used) of a period.
// The progress form is hidden and the main window enabled at the end.
File_Failure Rebuild_Company_Totals(Program_State& state, Ui& ui, Clock& clock, double date,
                                    Progress_Target target);
File_Failure Rebuild_Station_Totals(Program_State& state, Ui& ui, Clock& clock, double date_from,
                                    double date_to, Progress_Target target);

// Writes Z_Header (mark and count) at record 1 of the index file of fuels 1..8 and volumes
// 10, 20, ... 100, creating the files that are missing.
File_Failure Write_Z_Headers(Program_State& state);

// Every entry point above that meets a file it can't read or write whole goes on as the pass
// always did, then notes the first failure in Program_State::Derived_Failure (shutdown keeps the
// work marker, so the next start rebuilds) and, except Write_Z_Headers, tells the user in a box
// with this text: the file, the system's reason, and that the next start rebuilds.
std::string Pass_Failure_Text(const File_Failure& failure);

// The one pass over the database, by its texts. `mode` and `target` compare trimmed and in lower
// case: "add" adds `company` with `name` to the user cache and returns "1" (company 0) or "0";
// "new" and "proection" run the passes above on the given files and answer "Error!" as the system
// always did.
std::string CreateCacheFile(Program_State& state, Ui& ui, Clock& clock,
                            const std::string& user_cache_file, std::string_view mode, long company,
                            const std::string& name, const std::string& database_file,
                            std::string_view target);

// The dated totals by their texts. The totals file of the settings is the one rebuilt, whatever
// `cache_file` says, as the system always did. Both answer "Error!".
std::string CreateCacheFileForRequest(Program_State& state, Ui& ui, Clock& clock,
                                      const std::string& cache_file, double date,
                                      const std::string& database_file, std::string_view target);
std::string CreateCacheFileForRange(Program_State& state, Ui& ui, Clock& clock,
                                    const std::string& cache_file, double date_from, double date_to,
                                    const std::string& database_file, std::string_view target);

} // namespace td
