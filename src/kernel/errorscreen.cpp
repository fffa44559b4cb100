#include "kernel/errorscreen.h"

#include "base/ports.h"
#include "kernel/state.h"

namespace td {

std::string Countdown_Text(int seconds, bool leading_zero) {
    std::string number = std::to_string(seconds);
    if (leading_zero && seconds < 10)
        number = "0" + number;
    return "Program will terminate in: " + number + " c...";
}

Errorscreen::Errorscreen(Program_State& state, Ui& ui)
    : state_(state), ui_(ui), label3_("Press Ctrl + D if you want dump program vars...") {}

void Errorscreen::Set_Report(const std::string& module_path, const std::string& code) {
    label1_ = "FATAL ERROR " + code + "\n" + "in module: " + module_path + "\n";
    Repaint();
}

void Errorscreen::Form_Load() {
    Start_Timers();
    if (state_.Fatal_Countdown == 0)
        state_.Fatal_Countdown = 30;
    label2_ = Countdown_Text(state_.Fatal_Countdown, false);
    timer1_interval_ = 1000 * state_.Fatal_Countdown;
    Timers_Changed();
    Repaint();
}

void Errorscreen::Start_Timers() {
    timers_enabled_ = true;
    Timers_Changed();
}

void Errorscreen::Stop_Timers() {
    timers_enabled_ = false;
    Timers_Changed();
}

void Errorscreen::Timer2_Timer() {
    --state_.Fatal_Countdown;
    label2_ = Countdown_Text(state_.Fatal_Countdown, true);
    Repaint();
    if (state_.Fatal_Countdown <= 0)
        Timer1_Timer();
}

void Errorscreen::Timer1_Timer() {
    if (!state_.Resume_Requested) {
        Stop_Timers();
        End_Process_Now(ui_, Exit_Code);
    }
    Stop_Timers();
    state_.Resume_Requested = false;
}

void Errorscreen::Form_KeyUp(int key_code, int shift) {
    if (shift != Ctrl_Mask)
        return;
    if (key_code == Key_D) {
        Stop_Timers();
        label2_ = "Dumping all vars...";
        Repaint();
        Dump_Vars();
        label2_ = "Dump complete";
        Repaint();
        // The first timer is re-timed from what is left, so the two stay in step.
        timer1_interval_ = 1000 * state_.Fatal_Countdown;
        Start_Timers();
    } else if (key_code == Key_R) {
        // The countdown goes on behind the box; if it ends there the program ends regardless.
        int answer = ui_.Message_Box("Now system try to resume this error. You OS may crash!!!"
                                     "\r"
                                     "Are you sure???",
                                     box::Yes_No | box::Stop, "Confirm RESUME ERROR");
        if (answer == box::Answer_Yes) {
            state_.Resume_Requested = true;
            unload_requested_ = true;
            if (On_Unload)
                On_Unload();
        }
    }
}

void Errorscreen::Form_Unload() {
    if (!state_.Resume_Requested)
        End_Process_Now(ui_, Exit_Code);
    Stop_Timers();
    state_.Resume_Requested = false;
}

// The dump promises more than it does: it writes nothing, and that stays.
void Errorscreen::Dump_Vars() const {}

void Errorscreen::Repaint() const {
    if (On_Repaint)
        On_Repaint();
}

void Errorscreen::Timers_Changed() const {
    if (On_Timers)
        On_Timers();
}

} // namespace td
