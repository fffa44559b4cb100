// What the sale and redemption screens fill alike when they open: the volume, fuel and station
// lists, and the rebuild of derived data that another screen marked stale.
#pragma once

#include "ui/check_list.h"
#include "ui/drop_list.h"

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;

// "010", "020", ... "100".
void Add_Standard_Volumes(Drop_List& volumes);
// The user volumes, from record 1 until the first whose Exists is not 1, with zeros in front up
// to three characters.
void Add_User_Volumes(Drop_List& volumes, const Program_State& state);
// The named grades of the fuel file, in record order: a grade's place in this list is its number
// on a coupon.
void Add_Fuels(Drop_List& fuels, const Program_State& state);
// One entry per named record of the first 16 of the stations file, keyed `key_prefix` and the
// record number: a blank record leaves no entry, so key and place can differ.
void Add_Stations(Check_List& stations, const Program_State& state, const std::string& key_prefix);

// Stale derived data rebuilt in full (no progress of its own), then, either way, the progress
// form hidden and reset and the main window enabled.
void Rebuild_If_Stale(Program_State& state, Ui& ui, Clock& clock);

} // namespace td
