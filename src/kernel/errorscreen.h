// The fatal error screen's logic: its texts and colours, the two timers that end the process,
// the empty dump (Ctrl+D) and the request to resume (Ctrl+R). The Qt view drives the timers with
// real timers and shows the labels; tests drive the handlers directly.
#pragma once

#include <functional>
#include <string>

namespace td {

struct Program_State;
class Ui;

struct Screen_Colour {
    int red = 0;
    int green = 0;
    int blue = 0;
    bool operator==(const Screen_Colour&) const = default;
};

class Errorscreen {
public:
    // Key codes and the modifier mask of a key event, as the form receives them.
    static constexpr int Key_D = 68;
    static constexpr int Key_R = 82;
    static constexpr int Shift_Mask = 1;
    static constexpr int Ctrl_Mask = 2;
    static constexpr int Alt_Mask = 4;

    static constexpr const char* Title = "Program error!";
    static constexpr Screen_Colour Background{0, 55, 82};
    static constexpr Screen_Colour Label1_Colour{255, 0, 0};
    static constexpr Screen_Colour Label2_Colour{0, 255, 0};
    static constexpr Screen_Colour Label3_Colour{127, 127, 127};
    static constexpr int Label1_Size = 12;
    static constexpr int Label2_Size = 10;
    static constexpr int Timer2_Interval = 1000;
    // Exit code of a process ended by this screen.
    static constexpr int Exit_Code = 1;

    Errorscreen(Program_State& state, Ui& ui);

    // The first label, from Fatal_Error's two texts.
    void Set_Report(const std::string& module_path, const std::string& code);

    void Form_Load();
    void Start_Timers();
    void Stop_Timers();
    // The second timer: one second less.
    void Timer2_Timer();
    // The first timer: the end of the countdown.
    void Timer1_Timer();
    // Key release with the modifier mask (Shift_Mask | Ctrl_Mask | Alt_Mask).
    void Form_KeyUp(int key_code, int shift);
    // The form is closing, by the resume or by the user. Without a resume the process ends.
    void Form_Unload();

    const std::string& Label1() const { return label1_; }
    const std::string& Label2() const { return label2_; }
    const std::string& Label3() const { return label3_; }
    bool Timer1_Enabled() const { return timers_enabled_; }
    bool Timer2_Enabled() const { return timers_enabled_; }
    int Timer1_Interval() const { return timer1_interval_; }
    // True once the resume was confirmed: the view closes the form.
    bool Unload_Requested() const { return unload_requested_; }

    // Called when a label changed and wants repainting.
    std::function<void()> On_Repaint;
    // Called when the timers were started, stopped or given a new interval: the view restarts
    // its timers from Timer1_Enabled / Timer1_Interval.
    std::function<void()> On_Timers;
    // Called when the form is to close (the resume was confirmed).
    std::function<void()> On_Unload;

private:
    void Repaint() const;
    void Timers_Changed() const;
    void Dump_Vars() const;

    Program_State& state_;
    Ui& ui_;
    std::string label1_;
    std::string label2_;
    std::string label3_;
    bool timers_enabled_ = false;
    int timer1_interval_ = 0;
    bool unload_requested_ = false;
};

// "Program will terminate in: " and the seconds and " c..."; below 10 with a leading zero when
// `leading_zero` is set (the ticking label), as the load shows it otherwise.
std::string Countdown_Text(int seconds, bool leading_zero);

} // namespace td
