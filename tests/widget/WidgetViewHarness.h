#pragma once

#include "app/widget/CanvasGeometry.h"
#include "app/widget/WidgetRootView.h"

#include <QImage>
#include <QTest>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace ostrelvan::test {

using namespace std::chrono_literals;

inline TimePoint fixedNow() {
    return std::chrono::sys_days{std::chrono::January / 10 / 2026} + 12h;
}

// A session that has been in `status` for `age` seconds.
inline DisplayedSession displayed(const std::string& id, SessionStatus status,
                                  const std::string& name, const std::string& folder,
                                  double age = 120, SessionHost host = SessionHost::terminal) {
    DisplayedSession shown;
    shown.state = SessionState::make(id, folder, host, std::nullopt, std::nullopt,
                                     addSeconds(fixedNow(), -3600));
    shown.state.status = status;
    shown.state.activity = SessionActivity::coding;
    shown.state.statusSince = addSeconds(fixedNow(), -age);
    shown.state.startedConversation = true;
    shown.status = status;
    shown.name = name;
    return shown;
}

// Groups of sizes 1, 2 and 1: one window header, above the second group.
inline std::vector<SessionGroup> oneTwoOne() {
    return {
        {"session-a", "api", {displayed("a", SessionStatus::working, "api", "/src/api")}},
        {"window-7",
         "xterm: ~/src/web",
         {displayed("b", SessionStatus::needsApproval, "Fix the login form", "/src/web"),
          displayed("c", SessionStatus::idle, "web", "/src/web", 7200)}},
        {"session-d",
         "docs",
         {displayed("d", SessionStatus::awaitingReview, "docs", "/src/docs", 30,
                    SessionHost::vscode)}},
    };
}

// `count` single-session groups.
inline std::vector<SessionGroup> singles(int count) {
    std::vector<SessionGroup> groups;
    const SessionStatus statuses[] = {SessionStatus::working, SessionStatus::idle,
                                      SessionStatus::needsApproval, SessionStatus::awaitingReview};
    for (int i = 0; i < count; ++i) {
        const std::string id = std::string("s").append(std::to_string(i));
        groups.push_back({"session-" + id,
                          id,
                          {displayed(id, statuses[i % 4], "session " + std::to_string(i + 1),
                                     "/src/project-" + std::to_string(i), 60.0 * i)}});
    }
    return groups;
}

// The widget canvas over a feed with a fixed clock, shown offscreen.
struct ViewHarness {
    WidgetFeed feed;
    WidgetModel model;
    std::unique_ptr<WidgetRootView> view;

    explicit ViewHarness(std::vector<SessionGroup> groups, double canvasHeight = 600,
                         bool dark = true, WidgetActions actions = {}) {
        feed.setClock(fixedNow);
        feed.setConnected(true);
        feed.setGroups(std::move(groups));
        model.setCanvasHeight(canvasHeight);
        view = std::make_unique<WidgetRootView>(feed, model, std::move(actions));
        WidgetLook look;
        look.dark = dark;
        look.tint = 0.5;
        view->setLook(look);
        view->show();
    }

    WidgetMetrics metrics() const { return view->metrics(); }
    QRect canvas(const LayoutRect& rect) const {
        return CanvasGeometry::toCanvas(rect, model.canvasHeight());
    }
    double canvasY(double y) const { return CanvasGeometry::toCanvasY(y, model.canvasHeight()); }
    QPoint lampCentre(int i) const {
        return {canvas(metrics().columnRect()).center().x(),
                qRound(canvasY(metrics().lampCentreY(i)))};
    }
    QImage render() {
        view->finishTransitions();
        return view->grab().toImage().convertToFormat(QImage::Format_ARGB32);
    }
};

inline double distance(const QColor& a, const QColor& b) {
    const double r = a.red() - b.red(), g = a.green() - b.green(), bl = a.blue() - b.blue();
    return std::sqrt(r * r + g * g + bl * bl);
}

// The average colour of the 3 × 3 pixels around `p`.
inline QColor patch(const QImage& image, QPoint p) {
    return image.copy(p.x() - 1, p.y() - 1, 3, 3)
        .scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .pixelColor(0, 0);
}

// The smallest distance to `color` of any pixel in `rect`.
inline double nearest(const QImage& image, const QRect& rect, const QColor& color) {
    double best = 1e9;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            best = std::min(best, distance(image.pixelColor(x, y), color));
    return best;
}

// How many pixels of `rect` differ from the pixel at `reference` by more than `tolerance`.
inline int differing(const QImage& image, const QRect& rect, QColor reference,
                     double tolerance = 24) {
    int count = 0;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            if (distance(image.pixelColor(x, y), reference) > tolerance)
                ++count;
    return count;
}

} // namespace ostrelvan::test
