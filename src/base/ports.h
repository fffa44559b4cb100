// The three ways the logic reaches the platform. One Qt implementation lives in qt/, one
// scriptable fake in tests/support/.
#pragma once

#include <cstdlib>
#include <string>

namespace td {

// Message box flags and answers, as numbers the way the system speaks of them.
namespace box {
inline constexpr int Ok_Only = 0;
inline constexpr int Yes_No = 4;
inline constexpr int Stop = 16;
inline constexpr int Question = 32;
inline constexpr int Warning = 48;
inline constexpr int Information = 64;

inline constexpr int Answer_Ok = 1;
inline constexpr int Answer_Yes = 6;
inline constexpr int Answer_No = 7;
} // namespace box

class Ui {
public:
    virtual ~Ui() = default;

    // A modal box; returns the answer (box::Answer_*).
    virtual int Message_Box(const std::string& text, int flags, const std::string& title) = 0;

    // The fatal error screen, modal. Returns only when the user resumed; otherwise the screen
    // ends the process itself (through End_Process).
    virtual void Show_Fatal_Screen(const std::string& module_path, const std::string& code) = 0;
    // The cause of the fatal error that follows (a path and the system's reason), where the fixed
    // texts of the screen leave no room for it. The screen itself stays as it is.
    virtual void Fatal_Cause(const std::string& cause) { (void)cause; }

    // Splash screen during start-up.
    virtual void Splash_Caption(const std::string& caption) = 0;
    virtual void Splash_Progress(int value) = 0;

    // The modeless progress form of long passes.
    virtual void Search_Progress_Show(const std::string& label) = 0;
    virtual void Search_Progress_Set(int value) = 0;
    virtual void Search_Progress_Hide() = 0;

    virtual void Main_Window_Enabled(bool enabled) = 0;

    // Lets pending user interface events through during a long pass.
    virtual void Pump_Events() = 0;

    // Closes every child window of the main window (from the last to the first).
    virtual void Close_All_Children() = 0;

    // Ends the process at once, without shutdown: the work marker stays.
    [[noreturn]] virtual void End_Process(int exit_code) = 0;
};

// Ends the process through the port. Should an implementation come back, the process ends
// anyway: the callers stand where nothing may go on.
[[noreturn]] inline void End_Process_Now(Ui& ui, int exit_code) {
    ui.End_Process(exit_code);
    std::_Exit(exit_code);
}

class Clock {
public:
    virtual ~Clock() = default;
    // Seconds since midnight, with fractions; wraps at midnight.
    virtual double Seconds_Since_Midnight() = 0;
    // The machine's date as a day number (days since 30.12.1899), no time of day.
    virtual double Today() = 0;
};

// The per-user settings store: text values by application, section and key.
class User_Settings {
public:
    virtual ~User_Settings() = default;
    virtual std::string Get(const std::string& application, const std::string& section,
                            const std::string& key, const std::string& default_value) = 0;
    virtual void Save(const std::string& application, const std::string& section,
                      const std::string& key, const std::string& value) = 0;
};

// Tells whether another instance of the program uses the same installation. Held from a
// successful Acquire until the process ends.
class Instance_Guard {
public:
    enum class Outcome {
        Acquired,        // this process holds the installation now
        Already_Running, // another live process holds it
        Cannot_Lock,     // the lock itself can't be made: nothing is known of other processes
    };
    struct Result {
        Outcome outcome = Outcome::Acquired;
        std::string lock_path; // the lock file that was tried
        std::string reason;    // why it can't be made (Cannot_Lock only)
    };

    virtual ~Instance_Guard() = default;
    virtual Result Acquire() = 0;
};

// Application name of the per-user store.
inline constexpr const char* Settings_Application = "Tally Depot";

} // namespace td
