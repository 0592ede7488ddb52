#pragma once

#include "app/widget/WidgetLook.h"

#include <QWidget>
#include <functional>

namespace ostrelvan {

class ConnectButton;

// What the panel shows when there is nothing to list: a hint to start Claude Code, or, while the
// hooks are not connected, the button that connects them.
class EmptyStateView : public QWidget {
    Q_OBJECT
public:
    explicit EmptyStateView(std::function<void()> connect, QWidget* parent = nullptr);

    bool isConnected() const { return isConnected_; }
    void setConnected(bool connected);
    void setLook(const WidgetLook& look);

    QString title() const;
    // Empty while not connected, where the button stands instead.
    QString hint() const;
    ConnectButton* connectButton() const { return button_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    // The title's rectangle and, below it, the hint's or the button's.
    QRectF titleRect() const;
    void placeButton();
    void refresh();

    ConnectButton* button_;
    WidgetLook look_;
    bool isConnected_ = false;
};

} // namespace ostrelvan
