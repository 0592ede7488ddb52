#pragma once

#include "app/services/PendingRequest.h"
#include "app/store/SessionGroup.h"
#include "app/widget/WidgetActions.h"
#include "app/widget/WidgetLook.h"
#include "app/widgetmodel/WidgetMetrics.h"
#include "core/Time.h"

#include <QTimer>
#include <QWidget>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ostrelvan {

class EmptyStateView;
class GlyphButton;
class SessionRow;
class WindowHeader;

// The list that opens beside the lamp column: a header band with the title, the number of
// sessions and the settings button, then either the empty state or the rows, each group of more
// than one session under its window header. The rows area is exactly the metrics' body, clipped,
// and scrolls by the model's offset; every row and header is a child widget where the metrics put
// it. Its glass is the root view's.
class SessionPanelView : public QWidget {
    Q_OBJECT
public:
    // How often the elapsed times are measured again while the panel is shown.
    static constexpr int refreshMilliseconds = 30'000;

    explicit SessionPanelView(const WidgetActions& actions, QWidget* parent = nullptr);

    void setClock(std::function<TimePoint()> clock);
    // `metrics` made from the same groups; rows are kept by session id, headers by group id.
    void setGroups(const std::vector<SessionGroup>& groups, const WidgetMetrics& metrics);
    // The permission requests the rows can answer, by session id.
    void setRequests(const std::map<std::string, PendingRequest>& requests);
    void setHoveredIndex(std::optional<int> index);
    // The model's offset; the list moves by it clamped to what the rows allow.
    void setScrollOffset(double offset);
    void setConnected(bool connected);
    void setLook(const WidgetLook& look);
    void finishTransitions();
    // Measures every row's elapsed time again.
    void refreshTimes();

    double scrollOffset() const { return metrics_.clampedScroll(requestedOffset_); }
    const std::vector<SessionRow*>& rows() const { return rows_; }
    // In display order.
    std::vector<WindowHeader*> headers() const;
    EmptyStateView* emptyState() const { return emptyState_; }
    GlyphButton* settingsButton() const { return settingsButton_; }
    QWidget* body() const { return body_; }
    bool showsScrollUpHint() const;
    bool showsScrollDownHint() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    struct Header {
        int firstRow = 0;
        WindowHeader* view = nullptr;
    };

    void placeChildren();
    void placeHeaderControls();
    void applyRequest(SessionRow& row) const;

    const WidgetActions& actions_;
    WidgetMetrics metrics_;
    std::function<TimePoint()> clock_;
    std::optional<int> hoveredIndex_;
    double requestedOffset_ = 0;
    WidgetLook look_;
    QWidget* body_;
    EmptyStateView* emptyState_;
    GlyphButton* settingsButton_;
    std::vector<SessionRow*> rows_;
    std::map<std::string, Header> headers_;
    std::map<std::string, PendingRequest> requests_;
    QTimer refreshTimer_;
};

} // namespace ostrelvan
