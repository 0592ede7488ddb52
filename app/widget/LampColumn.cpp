#include "app/widget/LampColumn.h"

#include "app/widget/CanvasGeometry.h"
#include "app/widget/GlassColor.h"
#include "app/widget/Glyphs.h"
#include "app/widget/StatusLamp.h"
#include "app/widget/WidgetMenu.h"
#include "core/DisplayRules.h"

#include <QAccessibleWidget>
#include <QContextMenuEvent>
#include <QPainter>
#include <QVariantAnimation>
#include <algorithm>
#include <map>

namespace ostrelvan {

namespace {

constexpr int fadeMilliseconds = 250;
constexpr double fadeStartScale = 0.2;
constexpr double chevronFrameHeight = 16;
constexpr double chevronSide = 10;

// The column reads as one element: the lamps inside it are decoration to a screen reader.
class LampColumnAccessible : public QAccessibleWidget {
public:
    explicit LampColumnAccessible(QWidget* column)
        : QAccessibleWidget(column, QAccessible::StaticText) {}
    int childCount() const override { return 0; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
};

QAccessibleInterface* lampColumnAccessible(const QString&, QObject* object) {
    if (auto* column = qobject_cast<LampColumn*>(object))
        return new LampColumnAccessible(column);
    return nullptr;
}

} // namespace

LampColumn::LampColumn(const WidgetActions& actions, QWidget* parent)
    : QWidget(parent), actions_(actions) {
    static const bool factoryInstalled = [] {
        QAccessible::installFactory(lampColumnAccessible);
        return true;
    }();
    (void)factoryInstalled;
    setMouseTracking(true);
    setAccessibleName(accessibleText(0));
}

LampColumn::~LampColumn() = default;

QString LampColumn::accessibleText(int sessionCount) {
    return QString::fromStdString(DisplayRules::sessionCountCaption(sessionCount));
}

void LampColumn::setSessions(const std::vector<DisplayedSession>& sessions,
                             const WidgetMetrics& metrics) {
    metrics_ = metrics;
    sessionCount_ = static_cast<int>(sessions.size());
    const bool animate = populated_ && isVisible() && !look_.reduceMotion;

    std::vector<std::pair<std::string, std::optional<SessionStatus>>> wanted;
    if (sessions.empty())
        wanted.emplace_back(std::string(), std::nullopt);
    const int shown = std::min(metrics.maxLamps(), sessionCount_);
    for (int i = 0; i < shown; ++i)
        wanted.emplace_back(sessions[i].id(), sessions[i].status);

    std::map<std::string, StatusLamp*> previous;
    for (const Lamp& lamp : lamps_)
        previous.emplace(lamp.id, lamp.lamp);

    std::vector<Lamp> next;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const auto& [id, status] = wanted[i];
        StatusLamp* lamp = nullptr;
        bool isNew = false;
        if (auto found = previous.find(id); found != previous.end()) {
            lamp = found->second;
            previous.erase(found);
            lamp->setStatus(status);
        } else {
            lamp = makeLamp(status);
            isNew = true;
        }
        lamp->placeCentredAt(lampCentre(static_cast<int>(i)));
        next.push_back({id, lamp});
        if (isNew && animate)
            fadeIn(lamp);
        else if (isNew)
            lamp->show();
    }
    for (auto& [id, lamp] : previous) {
        // A lamp still fading in simply goes; one fully there fades out.
        std::vector<Fade*> arriving;
        for (auto& fade : fades_)
            if (fade->lamp == lamp)
                arriving.push_back(fade.get());
        for (Fade* fade : arriving) {
            fade->lamp = nullptr;
            endFade(fade);
        }
        if (animate && arriving.empty())
            fadeOut(lamp);
        delete lamp;
    }
    lamps_ = std::move(next);
    // A fade in whose lamp moved follows it.
    for (auto& fade : fades_)
        if (fade->lamp)
            fade->centre = QRectF(fade->lamp->geometry()).center();
    applyHighlight();
    setAccessibleName(accessibleText(sessionCount_));
    populated_ = true;
    update();
}

void LampColumn::setHoveredIndex(std::optional<int> index) {
    if (index == hoveredIndex_)
        return;
    hoveredIndex_ = index;
    applyHighlight();
}

void LampColumn::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    for (const Lamp& lamp : lamps_)
        lamp.lamp->setLook(look);
    update();
}

void LampColumn::finishTransitions() {
    while (!fades_.empty())
        endFade(fades_.front().get());
    for (const Lamp& lamp : lamps_)
        lamp.lamp->finishTransitions();
}

std::vector<StatusLamp*> LampColumn::lamps() const {
    std::vector<StatusLamp*> all;
    for (const Lamp& lamp : lamps_)
        all.push_back(lamp.lamp);
    return all;
}

bool LampColumn::showsOverflow() const {
    return metrics_.maxLamps() < sessionCount_;
}

QPointF LampColumn::lampCentre(int index) const {
    const double height = metrics_.canvasHeight;
    const double top = CanvasGeometry::toCanvas(metrics_.columnRect(), height).top();
    return {WidgetMetrics::columnWidth / 2,
            CanvasGeometry::toCanvasY(metrics_.lampCentreY(index), height) - top};
}

QRectF LampColumn::chevronFrame() const {
    const int last = std::max(1, std::min(metrics_.maxLamps(), sessionCount_)) - 1;
    const double top = lampCentre(last).y() + WidgetMetrics::lampPitch / 2;
    return {0, top, WidgetMetrics::columnWidth, chevronFrameHeight};
}

StatusLamp* LampColumn::makeLamp(std::optional<SessionStatus> status) {
    auto* lamp = new StatusLamp(this);
    lamp->setLook(look_);
    lamp->setStatus(status);
    // A lamp that comes into being shows its status; it did not change to it.
    lamp->finishTransitions();
    return lamp;
}

void LampColumn::fadeIn(StatusLamp* lamp) {
    startFade(lamp, true);
}

void LampColumn::fadeOut(StatusLamp* lamp) {
    startFade(lamp, false);
}

// The lamp is drawn from a picture of itself while it fades and scales, so that only its own
// rectangle is repainted; a lamp that comes in is hidden until its fade ends.
void LampColumn::startFade(StatusLamp* lamp, bool appearing) {
    auto fade = std::make_unique<Fade>();
    fade->image = lamp->grab();
    fade->centre = QRectF(lamp->geometry()).center();
    fade->progress = appearing ? 0 : 1;
    if (appearing) {
        fade->lamp = lamp;
        lamp->hide();
    }
    auto* animation = new QVariantAnimation(this);
    animation->setStartValue(appearing ? 0.0 : 1.0);
    animation->setEndValue(appearing ? 1.0 : 0.0);
    animation->setDuration(fadeMilliseconds);
    animation->setEasingCurve(appearing ? QEasingCurve::OutCubic : QEasingCurve::InCubic);
    fade->animation = animation;
    Fade* raw = fade.get();
    fades_.push_back(std::move(fade));
    connect(animation, &QVariantAnimation::valueChanged, this, [this, raw](const QVariant& value) {
        raw->progress = value.toDouble();
        update(fadeBounds(*raw));
    });
    connect(animation, &QVariantAnimation::finished, this, [this, raw] { endFade(raw); });
    animation->start();
}

void LampColumn::endFade(Fade* fade) {
    auto found = std::find_if(fades_.begin(), fades_.end(),
                              [fade](const auto& owned) { return owned.get() == fade; });
    if (found == fades_.end())
        return;
    std::unique_ptr<Fade> owned = std::move(*found);
    fades_.erase(found);
    owned->animation->disconnect(this);
    owned->animation->stop();
    owned->animation->deleteLater();
    if (owned->lamp)
        owned->lamp->show();
    update(fadeBounds(*owned));
}

QRect LampColumn::fadeBounds(const Fade& fade) const {
    const QSizeF size = fade.image.deviceIndependentSize();
    return QRectF(fade.centre.x() - size.width() / 2, fade.centre.y() - size.height() / 2,
                  size.width(), size.height())
        .toAlignedRect();
}

void LampColumn::applyHighlight() {
    for (std::size_t i = 0; i < lamps_.size(); ++i) {
        const bool isSession = !lamps_[i].id.empty();
        lamps_[i].lamp->setHighlighted(isSession && hoveredIndex_ == static_cast<int>(i));
    }
}

void LampColumn::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (showsOverflow()) {
        const QRectF frame = chevronFrame();
        const QRectF glyph(frame.center().x() - chevronSide / 2,
                           frame.center().y() - chevronSide / 2, chevronSide, chevronSide);
        Glyphs::paint(painter, Glyph::chevronDown, glyph, GlassColor::textSecondary(look_), 1.3);
    }
    for (const auto& fade : fades_) {
        const double scale = fadeStartScale + (1 - fadeStartScale) * fade->progress;
        const QSizeF size = fade->image.deviceIndependentSize();
        painter.save();
        painter.setOpacity(std::clamp(fade->progress, 0.0, 1.0));
        painter.translate(fade->centre);
        painter.scale(scale, scale);
        painter.drawPixmap(QPointF(-size.width() / 2, -size.height() / 2), fade->image);
        painter.restore();
    }
}

void LampColumn::contextMenuEvent(QContextMenuEvent* event) {
    WidgetMenu(actions_).popup(this, event->globalPos());
    event->accept();
}

} // namespace ostrelvan
