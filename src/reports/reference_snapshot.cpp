#include "reports/reference_snapshot.h"

#include "base/text.h"
#include "kernel/state.h"
#include "storage/record_file.h"
#include "storage/reference.h"

#include <algorithm>

namespace td {

Reference_Snapshot::Reference_Snapshot(const Program_State& state)
    : zero_company_(Company_Record_Size, 0) {
    Record_File file(state.Path_Of(state.settings.Company_File), Company_Record_Size,
                     Record_File::Mode::Read_Only);
    const std::uint64_t count = file.Record_Count();
    companies_.resize(count * Company_Record_Size);
    if (count > 0 && !file.Read_Block(1, count, companies_.data()))
        companies_.clear();
    fuels_ = Read_Fuel_Slots(state.Path_Of(state.settings.Fuel_File));
    for (const Name_Record& station :
         Read_Name_Records(state.Path_Of(state.settings.Establishments_File), Station_Slots))
        stations_.push_back(Trim_Text(station.Name));
}

const std::uint8_t* Reference_Snapshot::Company_Raw(long number) const {
    if (number < 1 || number > Company_Records())
        return zero_company_.data();
    return companies_.data() + static_cast<std::size_t>(number - 1) * Company_Record_Size;
}

std::string Reference_Snapshot::Company_Name(long number) const {
    return Trim_Text(Company_View(Company_Raw(number)).Name());
}

bool Reference_Snapshot::Company_Name_Unwritten(long number) const {
    const std::uint8_t* name = Company_Raw(number) + Company_Name_Offset;
    return std::all_of(name, name + 255, [](std::uint8_t b) { return b == 0; });
}

std::string Reference_Snapshot::Fuel_Name(int slot) const {
    if (slot < 1 || slot > static_cast<int>(fuels_.size()))
        return {};
    return Trim_Text(fuels_[static_cast<std::size_t>(slot - 1)].Name);
}

std::string Reference_Snapshot::Station_Name(long station) const {
    if (station < 1 || station > static_cast<long>(stations_.size()))
        return {};
    return stations_[static_cast<std::size_t>(station - 1)];
}

} // namespace td
