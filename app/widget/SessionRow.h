#pragma once

#include "app/services/PendingRequest.h"
#include "app/store/DisplayedSession.h"
#include "app/widget/WidgetActions.h"
#include "app/widget/WidgetLook.h"
#include "core/Time.h"

#include <QAbstractButton>
#include <cstdint>
#include <optional>
#include <vector>

class QMenu;

namespace ostrelvan {

class AnswerButton;
class StatusLamp;

// One session in the panel's list: its lamp, its name and project, its status line, how long it
// has been in that status and the kind of host it runs in. A click opens the session; the context
// menu reveals its folder and ends with the widget menu. It is a button so that a screen reader
// can press it, and it reads as its visible texts. While the app can answer the session's
// permission request, buttons that answer it take the place of the elapsed time and the host.
class SessionRow : public QAbstractButton {
    Q_OBJECT
public:
    explicit SessionRow(const WidgetActions& actions, QWidget* parent = nullptr);

    const DisplayedSession& session() const { return session_; }
    void setSession(const DisplayedSession& session);
    // The time the elapsed text is measured to.
    void setNow(TimePoint now);
    // The request its buttons answer, or none.
    void setRequest(const std::optional<PendingRequest>& request);
    const std::optional<PendingRequest>& request() const { return request_; }
    // The visible answer buttons, left to right.
    std::vector<AnswerButton*> answerButtons() const;
    void setHighlighted(bool highlighted);
    bool isHighlighted() const { return highlighted_; }
    void setLook(const WidgetLook& look);
    void finishTransitions();

    StatusLamp* lamp() const { return lamp_; }
    QString nameText() const;
    // Empty when the project reads the same as the name.
    QString projectText() const;
    QString statusText() const;
    QString elapsedText() const;
    static QColor statusColor(SessionStatus status, const WidgetLook& look);
    // "Show in Finder" (its platform's wording), a separator, then the widget menu.
    void fillContextMenu(QMenu& menu) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void refreshTexts();
    void placeButtons();

    const WidgetActions& actions_;
    DisplayedSession session_;
    bool hasSession_ = false;
    TimePoint now_;
    bool highlighted_ = false;
    WidgetLook look_;
    StatusLamp* lamp_;
    std::optional<PendingRequest> request_;
    // Allow, always allow, deny; the second only where a rule is offered.
    std::vector<AnswerButton*> buttons_;
    // The X server time of the click being handled, for the window manager's focus rules.
    std::optional<std::uint32_t> clickTime_;
};

} // namespace ostrelvan
