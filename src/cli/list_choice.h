// What the ticket verbs of tdctl share: choosing the fuel and the volume of a screen's lists as
// the operator does, by the name and by the litres.
#pragma once

#include "ui/drop_list.h"

#include <string>

namespace td::cli {

// The index of the fuel called `name`; -1 with `why` saying so when the catalogue has none.
int Fuel_Index(const Drop_List& fuels, const std::string& name, std::string& why);

// The index of the volume of `litres` ("20" and "020" alike, "12,5" or "12.5"); -1 with `why`
// saying so when the list has none.
int Volume_Index(const Drop_List& volumes, const std::string& litres, std::string& why);

} // namespace td::cli
