// How a long pass shows how far it is. The pass only computes values and asks for them to be
// shown; what the bar is, and what else appears with it, belongs to the caller's display.
#pragma once

#include "base/ports.h"

#include <algorithm>
#include <cmath>

namespace td {

// The splash bar (10..100) or the progress form (0..100).
enum class Progress_Target { Splash, Form };

class Progress_Display {
public:
    virtual ~Progress_Display() = default;
    // The bar appears at its start.
    virtual void Begin() = 0;
    virtual void Show(int value) = 0;
    // Lets pending user interface events through.
    virtual void Pump() = 0;
};

// Progress of a pass: the splash bar (10..100) or the progress form (0..100), at most once per
// interval of clock time. The clock wraps at midnight, hence the absolute difference.
class Pass_Progress {
public:
    Pass_Progress(Progress_Display& display, Clock& clock, Progress_Target target, double interval)
        : display_(display), clock_(clock), target_(target), interval_(interval) {}

    Progress_Target Target() const { return target_; }
    void Open() { display_.Begin(); }
    void Show(int value) { display_.Show(value); }

    // The clock is read at most about a thousand times per pass: at millions of tickets a reading
    // per ticket costs more than the rest of the pass. Up to 1024 tickets it is read per ticket.
    void Note_Time() { last_ = clock_.Seconds_Since_Midnight(); }
    void Expect_Tickets(long long tickets) {
        stride_ = std::max(1LL, tickets / 1024);
        countdown_ = stride_;
    }

    void Tick(long long i, long long denominator) {
        if (--countdown_ > 0)
            return;
        countdown_ = stride_;
        const double now = clock_.Seconds_Since_Midnight();
        if (std::fabs(now - last_) > interval_) {
            last_ = now;
            Report(i, denominator);
            display_.Pump();
        }
    }

    // `count` tickets at once, the last of them `last`: what `count` calls of Tick would show at
    // most.
    void Tick_Many(long long last, long long count, long long denominator) {
        if (count <= 0)
            return;
        countdown_ -= std::min(count - 1, countdown_);
        Tick(last, denominator);
    }

    // A zero denominator or a value off the bar is a failed statement: nothing is shown.
    void Report(long long i, long long denominator) {
        if (denominator == 0)
            return;
        const long long value =
            target_ == Progress_Target::Splash ? 10 + 90 * i / denominator : 100 * i / denominator;
        if (value < 0 || value > 100)
            return;
        display_.Show(static_cast<int>(value));
    }

private:
    Progress_Display& display_;
    Clock& clock_;
    Progress_Target target_;
    double interval_;
    double last_ = 0.0;
    long long stride_ = 1;
    long long countdown_ = 1;
};

} // namespace td
