// Bringing the system up and down: the start-up sequence and the two shutdown paths.
// Toolkit-free: the desktop program and tdctl both call these through the ports.
#pragma once

#include <string>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Instance_Guard;

struct Startup_Ports {
    Ui& ui;
    Clock& clock;
    User_Settings& user_settings;
    Instance_Guard& instance_guard;
};

inline constexpr const char* Work_Marker_File = "Work.$$$";

// Where the `Databases` value points, as a full path (a leading "\" is relative to the program's
// folder; a drive prefix starts an absolute path).
std::string Databases_Folder(const std::string& program_folder, const std::string& databases);

// The start-up sequence up to the hand-over to the main window: instance test, working date,
// settings, data folder, reference checks, header, work marker and rebuild. Reports splash
// captions and progress through the port. A second instance is told "Программа уже запущена"
// and the process ends; an unrecoverable failure goes to the fatal screen.
void Main_Startup(Program_State& state, Startup_Ports& ports, const std::string& program_folder);

// Shutdown steps 1 to 4: the work marker and the number index files go, the working date is
// saved. Shared by Shutdown and the main window's unload path. The marker stays when a pass of
// this run left derived data not whole (Program_State::Derived_Failure).
void Shutdown_Steps(Program_State& state, User_Settings& user_settings);

// The fast path out: Shutdown_Steps, then the process ends.
[[noreturn]] void Shutdown(Program_State& state, Ui& ui, User_Settings& user_settings);

// Asks "Вы уверены, что хотите выйти?"; on Yes shuts down (never returns), on No returns false.
bool Confirm_Exit(Program_State& state, Ui& ui, User_Settings& user_settings);

} // namespace td
