// A data folder for the maintenance screens: a database written ticket by ticket through the
// storage encoders, companies, fuel grades, stations and user volumes, and recorders of what the
// screens ask of the window system.
#pragma once

#include "maintenance/maintenance_views.h"
#include "storage/cache_fixture.h"
#include "support/fakes.h"
#include "support/reference_writers.h"

#include <string>
#include <vector>

namespace td::test {

class Recording_Maintenance_Views : public Maintenance_Views {
public:
    std::vector<std::string> dialogs;
    std::string dialog_answer; // empty: cancelled
    std::vector<std::vector<std::string>> closed;
    int calendars = 0;
    double calendar_date = 0; // the date the picker leaves; 0 leaves the working date
    double* working_date = nullptr;

    bool Save_Dialog(const std::string& folder, const std::string& file_name,
                     std::string& chosen) override {
        dialogs.push_back(folder + "|" + file_name);
        chosen = dialog_answer;
        return !dialog_answer.empty();
    }
    void Close_Forms(const std::vector<std::string>& names) override { closed.push_back(names); }
    void Show_Calendar_Single() override {
        ++calendars;
        if (calendar_date != 0 && working_date != nullptr)
            *working_date = calendar_date;
    }
};

class Maintenance_Test : public Data_Folder_Test {
protected:
    Recording_Maintenance_Views views;
    Memory_Settings settings_store;

    Maintenance_Test() {
        state.Program_Folder = folder.Path();
        views.working_date = &state.Current_Date;
    }

    // The raw record of ticket i (from 1) as it is on disk now.
    Bytes Ticket_Bytes(long i) {
        Bytes all = File_Bytes(state.settings.Database_File);
        const std::size_t at =
            static_cast<std::size_t>(Header_Records_Offset + i - 1) * Ticket_Record_Size;
        if (all.size() < at + Ticket_Record_Size)
            return {};
        return Bytes(all.begin() + static_cast<long>(at),
                     all.begin() + static_cast<long>(at + Ticket_Record_Size));
    }

    double Total(const std::string& file, long n, int fuel) {
        return Read_Total(Path(file), n, fuel);
    }
};

} // namespace td::test
