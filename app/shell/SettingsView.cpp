#include "app/shell/SettingsView.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>
#include <array>
#include <cmath>

namespace ostrelvan {

namespace {

constexpr std::array reviewFadeChoices{
    std::pair{ReviewFade::fiveMinutes, "After 5 minutes"},
    std::pair{ReviewFade::tenMinutes, "After 10 minutes"},
    std::pair{ReviewFade::thirtyMinutes, "After 30 minutes"},
    std::pair{ReviewFade::never, "Never (until opened)"},
};

constexpr std::array appearanceChoices{
    std::pair{GlassAppearance::system, "System"},
    std::pair{GlassAppearance::light, "Light"},
    std::pair{GlassAppearance::dark, "Dark"},
};

// The blur slider moves in whole points over the setting's range, the tint slider in hundredths.
constexpr int blurMaximum = 20;
constexpr int tintMaximum = 60;

QLabel* helpText(const char* text, QWidget* parent) {
    auto* label = new QLabel(QString::fromUtf8(text), parent);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    return label;
}

// The label names its control, to the eye and to a screen reader: the control's accessible name
// is the label's text, and the label is its buddy.
QLabel* rowLabel(const char* text, QWidget* control, QWidget* parent) {
    auto* label = new QLabel(QString::fromUtf8(text), parent);
    label->setFixedWidth(SettingsView::labelColumnWidth);
    label->setBuddy(control);
    control->setAccessibleName(label->text());
    return label;
}

QLabel* valueLabel(const char* name, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setObjectName(QString::fromUtf8(name));
    label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QStringLiteral("00 pt")));
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return label;
}

} // namespace

SettingsView::SettingsView(AppSettings& settings, std::function<void()> reviewFadeChanged,
                           QWidget* parent)
    : QWidget(parent), settings_(settings), reviewFadeChanged_(std::move(reviewFadeChanged)),
      compositor_(new CompositorMonitor(this)),
      blurAvailable_(compositor_->compositing() && compositor_->blur()) {
    build();
    refresh();
    connect(&settings_, &AppSettings::changed, this, &SettingsView::refresh);
    connect(compositor_, &CompositorMonitor::changed, this,
            [this] { setBlurAvailable(compositor_->compositing() && compositor_->blur()); });
}

void SettingsView::setBlurAvailable(bool available) {
    blurAvailable_ = available;
    refresh();
}

// The whole part of the radius.
QString SettingsView::blurText(double blur) {
    return QString::number(static_cast<long long>(blur)) + QStringLiteral(" pt");
}

QString SettingsView::tintText(double tint) {
    return QString::number(std::lround(tint * 100)) + QStringLiteral(" %");
}

void SettingsView::build() {
    setFixedWidth(formWidth);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lampsGroup());
    layout->addWidget(requestsGroup());
    layout->addWidget(glassGroup());
    layout->addStretch(1);
}

QGroupBox* SettingsView::lampsGroup() {
    auto* lamps = new QGroupBox(QStringLiteral("Lamps"), this);
    auto* lampsLayout = new QGridLayout(lamps);
    reviewFade_ = new QComboBox(lamps);
    reviewFade_->setObjectName(QStringLiteral("reviewFade"));
    for (const auto& [fade, text] : reviewFadeChoices) {
        reviewFade_->addItem(QString::fromUtf8(text), int(fade));
    }
    auto* fadeLabel = new QLabel(QStringLiteral("Review lamp fades"), lamps);
    fadeLabel->setBuddy(reviewFade_);
    reviewFade_->setAccessibleName(fadeLabel->text());
    lampsLayout->addWidget(fadeLabel, 0, 0);
    lampsLayout->addWidget(reviewFade_, 0, 1);
    lampsLayout->setColumnStretch(1, 1);
    lampsLayout->addWidget(helpText("The orange lamp after Claude finishes. Opening the session "
                                    "from the widget or writing in it always ends it.",
                                    lamps),
                           1, 0, 1, 2);
    connect(reviewFade_, &QComboBox::activated, this, [this](int index) {
        settings_.setReviewFade(ReviewFade(reviewFade_->itemData(index).toInt()));
        if (reviewFadeChanged_) {
            reviewFadeChanged_();
        }
    });
    return lamps;
}

QGroupBox* SettingsView::requestsGroup() {
    auto* requests = new QGroupBox(QStringLiteral("Permission Requests"), this);
    auto* requestsLayout = new QVBoxLayout(requests);
    answersRequests_ =
        new QCheckBox(QStringLiteral("Answer permission requests from Ostrelvan"), requests);
    answersRequests_->setObjectName(QStringLiteral("answersRequests"));
    answersRequests_->setAccessibleName(answersRequests_->text());
    connect(answersRequests_, &QCheckBox::toggled, this,
            [this](bool on) { settings_.setAnswersRequests(on); });
    requestsLayout->addWidget(answersRequests_);
    requestsLayout->addWidget(helpText("Allow and Deny on the session's row, in the tray menu and "
                                       "in a notification. Off, Claude Code asks only in its "
                                       "terminal.",
                                       requests));
    return requests;
}

QGroupBox* SettingsView::glassGroup() {
    auto* glass = new QGroupBox(QStringLiteral("Glass"), this);
    auto* glassLayout = new QGridLayout(glass);
    glassLayout->setColumnStretch(1, 1);
    auto* segments = appearanceSegments(glass);
    glassLayout->addWidget(rowLabel("Appearance", segments, glass), 0, 0);
    glassLayout->addWidget(segments, 0, 1, 1, 2);
    addSliders(*glassLayout, glass);

    textContrast_ = new QCheckBox(QStringLiteral("Text contrast"), glass);
    textContrast_->setObjectName(QStringLiteral("textContrast"));
    connect(textContrast_, &QCheckBox::toggled, this,
            [this](bool on) { settings_.setTextContrast(on); });
    glassLayout->addWidget(textContrast_, 4, 0, 1, 3);

    glassLayout->addWidget(helpText("Dark glass reads best over dark pages, light glass over "
                                    "light ones. Text contrast adds a soft halo under the "
                                    "widget's text.",
                                    glass),
                           5, 0, 1, 3);

    auto* reset = new QPushButton(QStringLiteral("Reset to Defaults"), glass);
    reset->setObjectName(QStringLiteral("resetGlass"));
    connect(reset, &QPushButton::clicked, this, [this] { settings_.resetGlass(); });
    glassLayout->addWidget(reset, 6, 0, 1, 3, Qt::AlignLeft);
    return glass;
}

// System, light and dark as one row of joined buttons.
QWidget* SettingsView::appearanceSegments(QWidget* glass) {
    auto* segments = new QWidget(glass);
    auto* segmentsLayout = new QHBoxLayout(segments);
    segmentsLayout->setContentsMargins(0, 0, 0, 0);
    segmentsLayout->setSpacing(0);
    appearance_ = new QButtonGroup(this);
    appearance_->setExclusive(true);
    for (const auto& [value, text] : appearanceChoices) {
        auto* button = new QPushButton(QString::fromUtf8(text), segments);
        button->setCheckable(true);
        button->setObjectName(QStringLiteral("appearance.") +
                              QString::fromUtf8(toString(value).data()));
        appearance_->addButton(button, int(value));
        segmentsLayout->addWidget(button);
    }
    connect(appearance_, &QButtonGroup::idClicked, this,
            [this](int id) { settings_.setGlassAppearance(GlassAppearance(id)); });
    return segments;
}

// The blur and tint rows: a slider and its value each.
void SettingsView::addSliders(QGridLayout& glassLayout, QWidget* glass) {
    blur_ = new QSlider(Qt::Horizontal, glass);
    blur_->setObjectName(QStringLiteral("blur"));
    blur_->setRange(0, blurMaximum);
    blurValue_ = valueLabel("blurValue", glass);
    connect(blur_, &QSlider::valueChanged, this,
            [this](int value) { settings_.setGlassBlur(value); });
    glassLayout.addWidget(rowLabel("Blur", blur_, glass), 1, 0);
    glassLayout.addWidget(blur_, 1, 1);
    glassLayout.addWidget(blurValue_, 1, 2);
    blurNote_ = helpText("This desktop does not blur what lies behind windows, so the glass is "
                         "drawn nearly solid to keep the list readable. Tint sets how solid.",
                         glass);
    blurNote_->setObjectName(QStringLiteral("blurNote"));
    glassLayout.addWidget(blurNote_, 2, 1, 1, 2);

    tint_ = new QSlider(Qt::Horizontal, glass);
    tint_->setObjectName(QStringLiteral("tint"));
    tint_->setRange(0, tintMaximum);
    tintValue_ = valueLabel("tintValue", glass);
    connect(tint_, &QSlider::valueChanged, this,
            [this](int value) { settings_.setGlassTint(value / 100.0); });
    glassLayout.addWidget(rowLabel("Tint", tint_, glass), 3, 0);
    glassLayout.addWidget(tint_, 3, 1);
    glassLayout.addWidget(tintValue_, 3, 2);
}

// Controls follow the settings without writing them back: only the user's own moves write.
void SettingsView::refresh() {
    const QSignalBlocker blockFade(reviewFade_);
    const QSignalBlocker blockAppearance(appearance_);
    const QSignalBlocker blockBlur(blur_);
    const QSignalBlocker blockTint(tint_);
    const QSignalBlocker blockContrast(textContrast_);
    const QSignalBlocker blockRequests(answersRequests_);
    reviewFade_->setCurrentIndex(reviewFade_->findData(int(settings_.reviewFade())));
    appearance_->button(int(settings_.glassAppearance()))->setChecked(true);
    blur_->setValue(int(std::lround(settings_.glassBlur())));
    blur_->setEnabled(blurAvailable_);
    blurValue_->setText(blurAvailable_ ? blurText(settings_.glassBlur()) : QStringLiteral("Off"));
    blurValue_->setEnabled(blurAvailable_);
    blurNote_->setVisible(!blurAvailable_);
    tint_->setValue(int(std::lround(settings_.glassTint() * 100)));
    tintValue_->setText(tintText(settings_.glassTint()));
    textContrast_->setChecked(settings_.textContrast());
    answersRequests_->setChecked(settings_.answersRequests());
}

} // namespace ostrelvan
