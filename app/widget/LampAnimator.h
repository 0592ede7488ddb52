#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <functional>

namespace ostrelvan {

class StatusLamp;

// The one frame timer behind every lamp's animations, and the clock they read. A lamp that starts
// an animation joins; each frame repaints the lamps that still move (each only its own
// rectangle) and lets go of those that have come to rest. With no lamp moving the timer stops, so
// a quiet widget costs no processor time at all.
class LampAnimator : public QObject {
    Q_OBJECT
public:
    static constexpr int framesPerSecond = 30;

    static LampAnimator& shared();

    // Seconds on a monotonic clock.
    double now() const;
    // Replaces the clock, for tests; an empty function restores the real one.
    void setClock(std::function<double()> clock);

    void add(StatusLamp* lamp);
    void remove(StatusLamp* lamp);
    bool isTicking() const { return timer_.isActive(); }
    int animatingCount() const { return static_cast<int>(lamps_.size()); }

private:
    LampAnimator();
    void tick();

    QTimer timer_;
    QElapsedTimer elapsed_;
    std::function<double()> clock_;
    QSet<StatusLamp*> lamps_;
};

} // namespace ostrelvan
