#pragma once

#include "app/widget/WidgetLook.h"

#include <QAbstractButton>

namespace ostrelvan {

// The empty state's call to action: a white label on a capsule of the brand's tide colour with a
// bright rim.
class ConnectButton : public QAbstractButton {
    Q_OBJECT
public:
    explicit ConnectButton(const QString& text, QWidget* parent = nullptr);

    void setLook(const WidgetLook& look);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    WidgetLook look_;
};

} // namespace ostrelvan
