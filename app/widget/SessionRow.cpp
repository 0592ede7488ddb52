#include "app/widget/SessionRow.h"

#include "app/platform/Workspace.h"
#include "app/widget/AnswerButton.h"
#include "app/widget/GlassColor.h"
#include "app/widget/Glyphs.h"
#include "app/widget/StatusLamp.h"
#include "app/widget/TextHalo.h"
#include "app/widget/WidgetFonts.h"
#include "app/widget/WidgetGlass.h"
#include "app/widget/WidgetMenu.h"
#include "core/DisplayRules.h"

#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QMenu>
#include <QPainter>

namespace ostrelvan {

namespace {
constexpr double horizontalPadding = 10;
constexpr double spacing = 12;
constexpr double textTrailingPadding = 8;
constexpr double lineSpacing = 2;
constexpr double nameProjectSpacing = 5;
// A project squeezed below this is left out rather than shown as an ellipsis alone.
constexpr double minimumProjectWidth = 24;
constexpr double hostFrameWidth = 18;
constexpr double hostGlyphSide = 14;
constexpr double hostGlyphWeight = 1.4;
constexpr double highlightRadius = 12;
constexpr double highlightOpacity = 0.044;
constexpr double answerSpacing = 6;
// The highlight stands clear of the panel's own rounded edge, so its corners read as its own.
constexpr double highlightInset = 6;

QString fromUtf8(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

// Where each part of the row goes, for a row of the given size and texts.
struct RowLayout {
    QPointF lampCentre;
    QRectF text;
    QRectF elapsed;
    QRectF host;
    QRectF answers;
};

// With `answers` buttons the trailing part holds them instead of the elapsed time and the host.
RowLayout layOut(QSizeF size, const QString& elapsed, int answers = 0) {
    RowLayout layout;
    layout.lampCentre = {horizontalPadding + StatusLamp::size / 2, size.height() / 2};
    const double textLeft = horizontalPadding + StatusLamp::size + spacing;
    if (answers > 0) {
        const double width = answers * AnswerButton::side + (answers - 1) * answerSpacing;
        layout.answers = {size.width() - horizontalPadding - width,
                          (size.height() - AnswerButton::side) / 2, width, AnswerButton::side};
        const double textRight = layout.answers.left() - spacing;
        layout.text = {textLeft, 0, std::max(0.0, textRight - textLeft), size.height()};
        return layout;
    }
    layout.host = {size.width() - horizontalPadding - hostFrameWidth, 0, hostFrameWidth,
                   size.height()};
    const double elapsedWidth = QFontMetricsF(WidgetFonts::elapsed()).horizontalAdvance(elapsed);
    const double elapsedRight = layout.host.left() - spacing;
    layout.elapsed = {elapsedRight - elapsedWidth, 0, elapsedWidth, size.height()};
    const double textRight = layout.elapsed.left() - spacing - textTrailingPadding;
    layout.text = {textLeft, 0, std::max(0.0, textRight - textLeft), size.height()};
    return layout;
}

} // namespace

SessionRow::SessionRow(const WidgetActions& actions, QWidget* parent)
    : QAbstractButton(parent), actions_(actions), lamp_(new StatusLamp(this)) {
    setFocusPolicy(Qt::NoFocus);
    setMouseTracking(true);
    for (const PermissionChoice choice :
         {PermissionChoice::allow, PermissionChoice::allowAndAddRule, PermissionChoice::deny}) {
        auto* button = new AnswerButton(choice, this);
        button->hide();
        connect(button, &QAbstractButton::clicked, this, [this, choice] {
            // The answer may end the request and so take these buttons away: copy the id first.
            if (!request_)
                return;
            const std::string id = request_->requestId;
            if (actions_.answer)
                actions_.answer(id, choice);
        });
        buttons_.push_back(button);
    }
    lamp_->placeCentredAt(layOut(size(), elapsedText()).lampCentre);
    connect(this, &QAbstractButton::clicked, this, [this] {
        const std::optional<std::uint32_t> time = clickTime_;
        clickTime_.reset();
        if (actions_.open)
            actions_.open(session_, time);
    });
}

void SessionRow::setSession(const DisplayedSession& session) {
    if (hasSession_ && session == session_)
        return;
    session_ = session;
    lamp_->setStatus(session.status);
    if (!hasSession_)
        lamp_->finishTransitions();
    hasSession_ = true;
    refreshTexts();
}

void SessionRow::setNow(TimePoint now) {
    if (now == now_)
        return;
    const QString before = elapsedText();
    now_ = now;
    if (elapsedText() != before)
        refreshTexts();
}

void SessionRow::setRequest(const std::optional<PendingRequest>& request) {
    if (request == request_)
        return;
    request_ = request;
    for (AnswerButton* button : buttons_) {
        const bool shown = request_ && (button->choice() != PermissionChoice::allowAndAddRule ||
                                        request_->canAddRule);
        button->setVisible(shown);
    }
    placeButtons();
    refreshTexts();
}

std::vector<AnswerButton*> SessionRow::answerButtons() const {
    std::vector<AnswerButton*> visible;
    for (AnswerButton* button : buttons_)
        if (!button->isHidden())
            visible.push_back(button);
    return visible;
}

void SessionRow::placeButtons() {
    const auto visible = answerButtons();
    const RowLayout layout = layOut(size(), elapsedText(), int(visible.size()));
    double left = layout.answers.left();
    for (AnswerButton* button : visible) {
        button->move(qRound(left), qRound(layout.answers.top()));
        left += AnswerButton::side + answerSpacing;
    }
}

void SessionRow::setHighlighted(bool highlighted) {
    if (highlighted == highlighted_)
        return;
    highlighted_ = highlighted;
    update();
}

void SessionRow::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    lamp_->setLook(look);
    for (AnswerButton* button : buttons_)
        button->setLook(look);
    update();
}

void SessionRow::finishTransitions() {
    lamp_->finishTransitions();
}

QString SessionRow::nameText() const {
    return fromUtf8(session_.name);
}

QString SessionRow::projectText() const {
    const std::string project = session_.state.project();
    return project == session_.name ? QString() : fromUtf8(project);
}

QString SessionRow::statusText() const {
    return fromUtf8(DisplayRules::statusLine(session_.state, session_.status));
}

QString SessionRow::elapsedText() const {
    return fromUtf8(DisplayRules::elapsed(session_.state.statusSince, now_));
}

QColor SessionRow::statusColor(SessionStatus status, const WidgetLook& look) {
    switch (status) {
    case SessionStatus::needsApproval:
        return GlassColor::attentionText(look.dark);
    case SessionStatus::working:
    case SessionStatus::awaitingReview:
        return GlassColor::textSecondary(look);
    case SessionStatus::idle:
        break;
    }
    return GlassColor::textTertiary(look);
}

void SessionRow::fillContextMenu(QMenu& menu) const {
    const DisplayedSession session = session_;
    const auto reveal = actions_.showInFinder;
    connect(menu.addAction(QString::fromUtf8(Workspace::showInFileManagerTitle())),
            &QAction::triggered, &menu, [session, reveal] {
                if (reveal)
                    reveal(session);
            });
    menu.addSeparator();
    WidgetMenu(actions_).addTo(menu);
}

void SessionRow::refreshTexts() {
    QStringList visible{nameText()};
    if (!projectText().isEmpty())
        visible << projectText();
    visible << statusText();
    // While the answer buttons are shown they stand where the elapsed time was.
    if (!request_)
        visible << elapsedText();
    setAccessibleName(visible.join(QStringLiteral(", ")));
    setToolTip(nameText() + QLatin1Char('\n') + statusText());
    update();
}

void SessionRow::resizeEvent(QResizeEvent*) {
    lamp_->placeCentredAt(layOut(size(), elapsedText()).lampCentre);
    placeButtons();
}

void SessionRow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        clickTime_ = static_cast<std::uint32_t>(event->timestamp());
    QAbstractButton::mouseReleaseEvent(event);
    clickTime_.reset();
}

void SessionRow::contextMenuEvent(QContextMenuEvent* event) {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    fillContextMenu(*menu);
    menu->popup(event->globalPos());
    event->accept();
}

void SessionRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QString elapsed = elapsedText();
    const int answers = static_cast<int>(answerButtons().size());
    const RowLayout layout = layOut(size(), elapsed, answers);

    if (highlighted_) {
        const QColor fill =
            GlassColor::withOpacity(GlassColor::textPrimary(look_), highlightOpacity);
        painter.fillPath(
            WidgetGlass::roundedRect(QRectF(rect()).adjusted(highlightInset, 0, -highlightInset, 0),
                                     highlightRadius),
            fill);
    }

    const QFont nameFont = WidgetFonts::sessionName();
    const QFont projectFont = WidgetFonts::project();
    const QFont statusFont = WidgetFonts::statusLine();
    const QFontMetricsF nameMetrics(nameFont);
    const QFontMetricsF projectMetrics(projectFont);
    const QFontMetricsF statusMetrics(statusFont);
    const double block = nameMetrics.height() + lineSpacing + statusMetrics.height();
    const double top = (height() - block) / 2;
    const double baseline = top + nameMetrics.ascent();

    const QString name = nameMetrics.elidedText(nameText(), Qt::ElideRight, layout.text.width());
    const double nameWidth = nameMetrics.horizontalAdvance(name);
    painter.setFont(nameFont);
    TextHalo::drawText(painter,
                       QRectF(layout.text.left(), top, nameWidth + 2, nameMetrics.height()),
                       Qt::AlignLeft | Qt::AlignTop, name, GlassColor::textPrimary(look_), look_);

    const double projectLeft = layout.text.left() + nameWidth + nameProjectSpacing;
    const double projectRoom = layout.text.right() - projectLeft;
    if (!projectText().isEmpty() && projectRoom >= minimumProjectWidth) {
        const QString project =
            projectMetrics.elidedText(projectText(), Qt::ElideRight, projectRoom);
        painter.setFont(projectFont);
        TextHalo::drawText(painter,
                           QRectF(projectLeft, baseline - projectMetrics.ascent(), projectRoom + 2,
                                  projectMetrics.height()),
                           Qt::AlignLeft | Qt::AlignTop, project, GlassColor::textSecondary(look_),
                           look_);
    }

    const QRectF statusRect(layout.text.left(), top + nameMetrics.height() + lineSpacing,
                            layout.text.width() + 2, statusMetrics.height());
    painter.setFont(statusFont);
    TextHalo::drawText(painter, statusRect, Qt::AlignLeft | Qt::AlignTop,
                       statusMetrics.elidedText(statusText(), Qt::ElideRight, layout.text.width()),
                       statusColor(session_.status, look_), look_);

    if (answers > 0)
        return;
    painter.setFont(WidgetFonts::elapsed());
    TextHalo::drawText(painter, layout.elapsed.adjusted(-2, 0, 2, 0),
                       Qt::AlignRight | Qt::AlignVCenter, elapsed, GlassColor::textTertiary(look_),
                       look_);

    const bool vscode = session_.state.host == SessionHost::vscode;
    const QRectF glyph(layout.host.center().x() - hostGlyphSide / 2,
                       layout.host.center().y() - hostGlyphSide / 2, hostGlyphSide, hostGlyphSide);
    Glyphs::paint(painter, vscode ? Glyph::code : Glyph::terminal, glyph,
                  vscode ? GlassColor::vscode() : GlassColor::textSecondary(look_),
                  hostGlyphWeight);
}

} // namespace ostrelvan
