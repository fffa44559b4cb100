#include "tickets/ticket_lists.h"

#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "storage/reference.h"

namespace td {
namespace {
constexpr const char* Standard_Volumes[] = {"010", "020", "030", "040", "050",
                                            "060", "070", "080", "090", "100"};
constexpr int Station_Entries = 16;
} // namespace

void Add_Standard_Volumes(Drop_List& volumes) {
    for (const char* volume : Standard_Volumes)
        volumes.Add_Item(volume);
}

void Add_User_Volumes(Drop_List& volumes, const Program_State& state) {
    for (const double litres : Read_User_Volumes(state.Path_Of(state.settings.User_Volume_File)))
        volumes.Add_Item(Zeros_In_Front(Format_Number(litres), 3));
}

void Add_Fuels(Drop_List& fuels, const Program_State& state) {
    for (const Fuel_Record& fuel : Read_Fuel_Slots(state.Path_Of(state.settings.Fuel_File))) {
        std::string name = Trim_Text(fuel.Name);
        if (!name.empty())
            fuels.Add_Item(name);
    }
}

void Add_Stations(Check_List& stations, const Program_State& state, const std::string& key_prefix) {
    const std::vector<Name_Record> records =
        Read_Name_Records(state.Path_Of(state.settings.Establishments_File), Station_Entries);
    for (std::size_t i = 0; i < records.size(); ++i) {
        std::string name = Trim_Text(records[i].Name);
        if (!name.empty())
            stations.Add(name, key_prefix + std::to_string(i + 1));
    }
}

void Rebuild_If_Stale(Program_State& state, Ui& ui, Clock& clock) {
    if (state.Cache_Stale) {
        CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, "new", 0, "",
                        state.settings.Database_File, "null");
        state.Cache_Stale = false;
    }
    ui.Search_Progress_Hide();
    ui.Search_Progress_Set(0);
    ui.Main_Window_Enabled(true);
}

} // namespace td
