#include "app/widget/EmptyStateView.h"

#include "app/widget/ConnectButton.h"
#include "app/widget/GlassColor.h"
#include "app/widget/TextHalo.h"
#include "app/widget/WidgetFonts.h"

#include <QFontMetricsF>
#include <QPainter>

namespace ostrelvan {

namespace {
constexpr double hintSpacing = 6;
constexpr double buttonSpacing = 12;
constexpr double sidePadding = 16;
} // namespace

EmptyStateView::EmptyStateView(std::function<void()> connect, QWidget* parent)
    : QWidget(parent), button_(new ConnectButton(QStringLiteral("Connect to Claude Code"), this)) {
    setMouseTracking(true);
    button_->setAccessibleName(button_->text());
    QObject::connect(button_, &QAbstractButton::clicked, this, [connect = std::move(connect)] {
        if (connect)
            connect();
    });
    refresh();
}

void EmptyStateView::setConnected(bool connected) {
    if (connected == isConnected_)
        return;
    isConnected_ = connected;
    refresh();
}

void EmptyStateView::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    button_->setLook(look);
    update();
}

QString EmptyStateView::title() const {
    return isConnected_ ? QStringLiteral("No sessions yet")
                        : QStringLiteral("Not connected to Claude Code");
}

QString EmptyStateView::hint() const {
    return isConnected_ ? QStringLiteral("Start Claude Code and it shows up here.") : QString();
}

QRectF EmptyStateView::titleRect() const {
    const double titleHeight = QFontMetricsF(WidgetFonts::emptyTitle()).height();
    const double below = isConnected_
                             ? hintSpacing + QFontMetricsF(WidgetFonts::emptyHint()).height()
                             : buttonSpacing + button_->height();
    const double top = (height() - (titleHeight + below)) / 2;
    return {sidePadding, top, width() - 2 * sidePadding, titleHeight};
}

void EmptyStateView::placeButton() {
    const QRectF title = titleRect();
    button_->move(qRound((width() - button_->width()) / 2.0),
                  qRound(title.bottom() + buttonSpacing));
}

void EmptyStateView::refresh() {
    button_->setVisible(!isConnected_);
    setAccessibleName(title());
    setAccessibleDescription(hint());
    placeButton();
    update();
}

void EmptyStateView::resizeEvent(QResizeEvent*) {
    placeButton();
}

void EmptyStateView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF title = titleRect();
    painter.setFont(WidgetFonts::emptyTitle());
    TextHalo::drawText(painter, title, Qt::AlignHCenter | Qt::AlignTop, this->title(),
                       GlassColor::textSecondary(look_), look_);
    if (isConnected_) {
        const QFont font = WidgetFonts::emptyHint();
        const QRectF hintRect(title.left(), title.bottom() + hintSpacing, title.width(),
                              QFontMetricsF(font).height());
        painter.setFont(font);
        TextHalo::drawText(painter, hintRect, Qt::AlignHCenter | Qt::AlignTop, hint(),
                           GlassColor::textTertiary(look_), look_);
    }
}

} // namespace ostrelvan
