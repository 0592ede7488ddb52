#include "app/widget/SessionPanelView.h"

#include "app/widget/CanvasGeometry.h"
#include "app/widget/EmptyStateView.h"
#include "app/widget/GlassColor.h"
#include "app/widget/GlyphButton.h"
#include "app/widget/Glyphs.h"
#include "app/widget/SessionRow.h"
#include "app/widget/TextHalo.h"
#include "app/widget/WidgetFonts.h"
#include "app/widget/WidgetGlass.h"
#include "app/widget/WidgetMenu.h"
#include "app/widget/WindowHeader.h"

#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QPainter>

namespace ostrelvan {

namespace {
constexpr double headerPadding = 12;
constexpr double headerSpacing = 8;
constexpr double settingsSide = 26;
constexpr double badgeHorizontalPadding = 9;
constexpr double badgeVerticalPadding = 4;
constexpr double badgeOpacity = 0.077;
constexpr double emptyStateHeight = 96;
constexpr double hintSide = 14;
constexpr double hintWeight = 1.6;
// The hints sit in the margins around the rows: the up one in the bottom of the header band, the
// down one in the padding below the last row, so they cover no text.
constexpr double upHintCentreAboveBody = 6;
constexpr double downHintCentreBelowBody = 4;
} // namespace

SessionPanelView::SessionPanelView(const WidgetActions& actions, QWidget* parent)
    : QWidget(parent), actions_(actions), clock_(wallClockNow), body_(new QWidget(this)),
      emptyState_(new EmptyStateView(
          [this] {
              if (actions_.connect)
                  actions_.connect();
          },
          this)),
      settingsButton_(new GlyphButton(Glyph::gear, settingsSide, this)) {
    setMouseTracking(true);
    body_->setMouseTracking(true);
    setAccessibleName(QStringLiteral("AI Agents"));
    settingsButton_->setToolTip(QStringLiteral("Settings"));
    settingsButton_->setAccessibleName(QStringLiteral("Settings"));
    connect(settingsButton_, &QAbstractButton::clicked, this, [this] {
        if (actions_.openSettings)
            actions_.openSettings();
    });
    refreshTimer_.setInterval(refreshMilliseconds);
    connect(&refreshTimer_, &QTimer::timeout, this, &SessionPanelView::refreshTimes);
    placeChildren();
}

void SessionPanelView::setClock(std::function<TimePoint()> clock) {
    clock_ = std::move(clock);
    refreshTimes();
}

void SessionPanelView::setGroups(const std::vector<SessionGroup>& groups,
                                 const WidgetMetrics& metrics) {
    metrics_ = metrics;

    std::map<std::string, SessionRow*> previousRows;
    for (SessionRow* row : rows_)
        previousRows.emplace(row->session().id(), row);
    std::map<std::string, Header> previousHeaders = std::move(headers_);
    headers_.clear();
    rows_.clear();

    const TimePoint now = clock_();
    for (const SessionGroup& group : groups) {
        if (group.sessions.empty())
            continue;
        if (group.sessions.size() > 1) {
            Header header;
            if (auto found = previousHeaders.find(group.id); found != previousHeaders.end()) {
                header = found->second;
                previousHeaders.erase(found);
            } else {
                header.view = new WindowHeader(body_);
                header.view->setLook(look_);
                header.view->show();
            }
            header.firstRow = static_cast<int>(rows_.size());
            header.view->setGroup(QString::fromStdString(group.name),
                                  static_cast<int>(group.sessions.size()));
            // Children are read in their stacking order: keep it the display order.
            header.view->raise();
            headers_.emplace(group.id, header);
        }
        for (const DisplayedSession& session : group.sessions) {
            SessionRow* row = nullptr;
            if (auto found = previousRows.find(session.id()); found != previousRows.end()) {
                row = found->second;
                previousRows.erase(found);
            } else {
                row = new SessionRow(actions_, body_);
                row->setLook(look_);
                row->show();
            }
            row->setSession(session);
            applyRequest(*row);
            row->setNow(now);
            row->raise();
            rows_.push_back(row);
        }
    }
    // A row may be handling the click that led here; let it return first.
    for (auto& [id, row] : previousRows) {
        row->hide();
        row->deleteLater();
    }
    for (auto& [id, header] : previousHeaders) {
        header.view->hide();
        header.view->deleteLater();
    }

    const int count = static_cast<int>(rows_.size());
    for (int i = 0; i < count; ++i)
        rows_[i]->setHighlighted(hoveredIndex_ == i);
    placeChildren();
    update();
}

void SessionPanelView::setRequests(const std::map<std::string, PendingRequest>& requests) {
    requests_ = requests;
    for (SessionRow* row : rows_)
        applyRequest(*row);
}

void SessionPanelView::applyRequest(SessionRow& row) const {
    const auto found = requests_.find(row.session().id());
    row.setRequest(found != requests_.end() ? std::optional(found->second) : std::nullopt);
}

void SessionPanelView::setHoveredIndex(std::optional<int> index) {
    if (index == hoveredIndex_)
        return;
    hoveredIndex_ = index;
    for (int i = 0; i < static_cast<int>(rows_.size()); ++i)
        rows_[i]->setHighlighted(index == i);
}

void SessionPanelView::setScrollOffset(double offset) {
    if (offset == requestedOffset_)
        return;
    const double before = scrollOffset();
    requestedOffset_ = offset;
    if (scrollOffset() == before)
        return;
    placeChildren();
    update();
}

void SessionPanelView::setConnected(bool connected) {
    emptyState_->setConnected(connected);
}

void SessionPanelView::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    settingsButton_->setLook(look);
    emptyState_->setLook(look);
    for (SessionRow* row : rows_)
        row->setLook(look);
    for (auto& [id, header] : headers_)
        header.view->setLook(look);
    update();
}

void SessionPanelView::finishTransitions() {
    for (SessionRow* row : rows_)
        row->finishTransitions();
}

void SessionPanelView::refreshTimes() {
    const TimePoint now = clock_();
    for (SessionRow* row : rows_)
        row->setNow(now);
}

std::vector<WindowHeader*> SessionPanelView::headers() const {
    std::vector<std::pair<int, WindowHeader*>> ordered;
    for (const auto& [id, header] : headers_)
        ordered.emplace_back(header.firstRow, header.view);
    std::sort(ordered.begin(), ordered.end());
    std::vector<WindowHeader*> views;
    views.reserve(ordered.size());
    for (const auto& entry : ordered)
        views.push_back(entry.second);
    return views;
}

bool SessionPanelView::showsScrollUpHint() const {
    return !rows_.empty() && scrollOffset() > 0;
}

bool SessionPanelView::showsScrollDownHint() const {
    return !rows_.empty() && scrollOffset() < metrics_.maxScrollOffset();
}

void SessionPanelView::placeChildren() {
    const double height = metrics_.canvasHeight;
    const QPoint panelOrigin = CanvasGeometry::toCanvas(metrics_.panelRect(), height).topLeft();
    const bool empty = rows_.empty();
    emptyState_->setVisible(empty);
    body_->setVisible(!empty);
    emptyState_->setGeometry(0, qRound(WidgetMetrics::panelHeader),
                             qRound(WidgetMetrics::panelWidth), qRound(emptyStateHeight));
    const QRect body =
        CanvasGeometry::toCanvas(metrics_.bodyRect(), height).translated(-panelOrigin);
    body_->setGeometry(body);

    const QPoint bodyOrigin = body.topLeft() + panelOrigin;
    const double offset = scrollOffset();
    for (int i = 0; i < static_cast<int>(rows_.size()); ++i)
        rows_[i]->setGeometry(
            CanvasGeometry::toCanvas(metrics_.rowRect(i, offset), height).translated(-bodyOrigin));
    for (auto& [id, header] : headers_)
        if (auto rect = metrics_.groupHeaderRect(header.firstRow, offset))
            header.view->setGeometry(
                CanvasGeometry::toCanvas(*rect, height).translated(-bodyOrigin));
    placeHeaderControls();
}

void SessionPanelView::placeHeaderControls() {
    const double left = WidgetMetrics::panelWidth - headerPadding - settingsSide;
    const double top = (WidgetMetrics::panelHeader - settingsSide) / 2;
    settingsButton_->move(qRound(left), qRound(top));
}

void SessionPanelView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor primary = GlassColor::textPrimary(look_);
    const double band = WidgetMetrics::panelHeader;

    const QFont badgeFont = WidgetFonts::countBadge();
    const QFontMetricsF badgeMetrics(badgeFont);
    const QString count = QString::number(rows_.size());
    const double badgeWidth = badgeMetrics.horizontalAdvance(count) + 2 * badgeHorizontalPadding;
    const double badgeHeight = badgeMetrics.height() + 2 * badgeVerticalPadding;
    const double badgeRight = settingsButton_->x() - headerSpacing;
    const QRectF badge(badgeRight - badgeWidth, (band - badgeHeight) / 2, badgeWidth, badgeHeight);
    painter.fillPath(WidgetGlass::capsule(badge), GlassColor::withOpacity(primary, badgeOpacity));
    painter.setFont(badgeFont);
    TextHalo::drawText(painter, badge, Qt::AlignCenter, count, primary, look_);

    const QFont titleFont = WidgetFonts::panelTitle();
    painter.setFont(titleFont);
    const QRectF title(headerPadding, 0, badge.left() - headerSpacing - headerPadding, band);
    TextHalo::drawText(painter, title, Qt::AlignLeft | Qt::AlignVCenter,
                       QStringLiteral("AI Agents"), primary, look_);

    const QColor hintColor = GlassColor::textTertiary(look_);
    const QRect body = body_->geometry();
    const double centreX = width() / 2.0;
    if (showsScrollUpHint()) {
        const double y = body.top() - upHintCentreAboveBody;
        Glyphs::paint(painter, Glyph::chevronCompactUp,
                      QRectF(centreX - hintSide / 2, y - hintSide / 2, hintSide, hintSide),
                      hintColor, hintWeight);
    }
    if (showsScrollDownHint()) {
        const double y = body.top() + body.height() + downHintCentreBelowBody;
        Glyphs::paint(painter, Glyph::chevronCompactDown,
                      QRectF(centreX - hintSide / 2, y - hintSide / 2, hintSide, hintSide),
                      hintColor, hintWeight);
    }
}

void SessionPanelView::contextMenuEvent(QContextMenuEvent* event) {
    WidgetMenu(actions_).popup(this, event->globalPos());
    event->accept();
}

void SessionPanelView::showEvent(QShowEvent*) {
    refreshTimes();
    refreshTimer_.start();
}

void SessionPanelView::hideEvent(QHideEvent*) {
    refreshTimer_.stop();
}

} // namespace ostrelvan
