#include "app/widget/LampAnimator.h"

#include "app/widget/StatusLamp.h"

namespace ostrelvan {

LampAnimator& LampAnimator::shared() {
    static LampAnimator* animator = new LampAnimator;
    return *animator;
}

LampAnimator::LampAnimator() {
    elapsed_.start();
    timer_.setInterval(1000 / framesPerSecond);
    timer_.setTimerType(Qt::CoarseTimer);
    connect(&timer_, &QTimer::timeout, this, &LampAnimator::tick);
}

double LampAnimator::now() const {
    if (clock_)
        return clock_();
    return static_cast<double>(elapsed_.nsecsElapsed()) / 1e9;
}

void LampAnimator::setClock(std::function<double()> clock) {
    clock_ = std::move(clock);
}

void LampAnimator::add(StatusLamp* lamp) {
    lamps_.insert(lamp);
    if (!timer_.isActive())
        timer_.start();
}

void LampAnimator::remove(StatusLamp* lamp) {
    lamps_.remove(lamp);
    if (lamps_.isEmpty())
        timer_.stop();
}

void LampAnimator::tick() {
    const double t = now();
    const QSet<StatusLamp*> lamps = lamps_;
    for (StatusLamp* lamp : lamps) {
        // One more frame after coming to rest, so the final state is what stays on screen.
        lamp->update();
        if (!lamp->isVisible() || !lamp->isAnimating(t))
            lamps_.remove(lamp);
    }
    if (lamps_.isEmpty())
        timer_.stop();
}

} // namespace ostrelvan
