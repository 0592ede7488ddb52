#pragma once

#include "app/widget/WidgetFeed.h"
#include "app/widget/WidgetLook.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <string>
#include <string_view>
#include <vector>

namespace ostrelvan {

// The widget over canned demo sessions, for looking at it and taking screenshots: it reads no
// files, and every few seconds a scripted change moves one session on (a lamp turns green, one
// asks for approval, one finishes), so the transitions can be watched.
class DesignPreview : public QObject {
    Q_OBJECT
public:
    static constexpr int changeIntervalMs = 4000;

    // The targets, in the order the help lists them.
    static const std::vector<std::string>& targets();
    static bool isTarget(std::string_view target);

    // Fills `feed` with the target's sessions; the clock starts at a fixed moment, so elapsed
    // times read the same in every screenshot.
    DesignPreview(std::string target, WidgetFeed& feed, QObject* parent = nullptr);

    const std::string& target() const { return target_; }
    // The target's appearance over the given one.
    WidgetLook look(WidgetLook base) const;
    bool opensExpanded() const;
    // Starts the scripted changes (targets without sessions have none).
    void play();

private:
    void step();

    std::string target_;
    WidgetFeed& feed_;
    QElapsedTimer sinceStart_;
    QTimer script_;
    std::size_t nextChange_ = 0;
};

} // namespace ostrelvan
