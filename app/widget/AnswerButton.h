#pragma once

#include "app/services/PendingRequest.h"
#include "app/widget/WidgetLook.h"

#include <QAbstractButton>

namespace ostrelvan {

// One of the round buttons that answer a session's permission request from its row: a filled
// green check allows, a green double check allows and adds Claude Code's rule, a quiet cross
// denies. The symbol alone would not tell a screen reader which is which: each is named.
class AnswerButton : public QAbstractButton {
    Q_OBJECT
public:
    static constexpr double side = 26;

    explicit AnswerButton(PermissionChoice choice, QWidget* parent = nullptr);

    PermissionChoice choice() const { return choice_; }
    // "Allow", "Always Allow" or "Deny".
    static QString title(PermissionChoice choice);
    void setLook(const WidgetLook& look);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    PermissionChoice choice_;
    WidgetLook look_;
};

} // namespace ostrelvan
