#include "app/services/AppSettings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace ostrelvan {

namespace {

const QString soundsEnabledKey = QStringLiteral("sounds.enabled");
const QString hooksConnectedKey = QStringLiteral("hooks.connected");
const QString glassBlurKey = QStringLiteral("glass.blurRadius");
const QString glassTintKey = QStringLiteral("glass.tintOpacity");
const QString glassAppearanceKey = QStringLiteral("glass.appearance");
const QString textContrastKey = QStringLiteral("glass.textContrast");
const QString reviewFadeKey = QStringLiteral("review.fade");
const QString answersRequestsKey = QStringLiteral("permissions.answer");

constexpr double defaultBlur = 8.0;
constexpr double maximumBlur = 20.0;
constexpr double defaultTint = 0.25;
constexpr double maximumTint = AppSettings::maximumTint;

constexpr std::array glassAppearances{
    std::pair{GlassAppearance::system, std::string_view("system")},
    std::pair{GlassAppearance::light, std::string_view("light")},
    std::pair{GlassAppearance::dark, std::string_view("dark")},
};

constexpr std::array reviewFades{
    std::pair{ReviewFade::fiveMinutes, std::string_view("fiveMinutes")},
    std::pair{ReviewFade::tenMinutes, std::string_view("tenMinutes")},
    std::pair{ReviewFade::thirtyMinutes, std::string_view("thirtyMinutes")},
    std::pair{ReviewFade::never, std::string_view("never")},
};

template <class Enum, std::size_t N>
std::string_view textOf(const std::array<std::pair<Enum, std::string_view>, N>& table, Enum value) {
    for (const auto& [candidate, text] : table) {
        if (candidate == value) {
            return text;
        }
    }
    return {};
}

template <class Enum, std::size_t N>
std::optional<Enum> valueOf(const std::array<std::pair<Enum, std::string_view>, N>& table,
                            std::string_view text) {
    for (const auto& [value, candidate] : table) {
        if (candidate == text) {
            return value;
        }
    }
    return std::nullopt;
}

// Stored values are read through their text, whatever the store gives back: QSettings' INI
// files keep no types.
bool readBool(const KeyValueStore& store, const QString& key, bool fallback) {
    const QString text = store.value(key).toString();
    if (text == QLatin1String("true")) {
        return true;
    }
    if (text == QLatin1String("false")) {
        return false;
    }
    return fallback;
}

double clamped(double value, double upper) {
    if (value <= 0) {
        return 0;
    }
    return std::min(value, upper);
}

double readDouble(const KeyValueStore& store, const QString& key, double fallback, double upper) {
    bool ok = false;
    const double value = store.value(key).toString().toDouble(&ok);
    return ok && std::isfinite(value) ? clamped(value, upper) : fallback;
}

template <class Enum> Enum readEnum(const KeyValueStore& store, const QString& key, Enum fallback) {
    return fromString<Enum>(store.value(key).toString().toStdString()).value_or(fallback);
}

QString rawText(auto value) {
    const auto text = toString(value);
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

std::string_view toString(GlassAppearance appearance) {
    return textOf(glassAppearances, appearance);
}

template <> std::optional<GlassAppearance> fromString<GlassAppearance>(std::string_view text) {
    return valueOf(glassAppearances, text);
}

std::string_view toString(ReviewFade fade) {
    return textOf(reviewFades, fade);
}

template <> std::optional<ReviewFade> fromString<ReviewFade>(std::string_view text) {
    return valueOf(reviewFades, text);
}

std::optional<double> seconds(ReviewFade fade) {
    switch (fade) {
    case ReviewFade::fiveMinutes:
        return 300;
    case ReviewFade::tenMinutes:
        return 600;
    case ReviewFade::thirtyMinutes:
        return 1800;
    case ReviewFade::never:
        return std::nullopt;
    }
    return 600;
}

AppSettings::AppSettings(KeyValueStore& defaults, QObject* parent)
    : QObject(parent), defaults_(defaults),
      soundsEnabled_(readBool(defaults, soundsEnabledKey, true)),
      hooksConnected_(readBool(defaults, hooksConnectedKey, false)),
      glassBlur_(readDouble(defaults, glassBlurKey, defaultBlur, maximumBlur)),
      glassTint_(readDouble(defaults, glassTintKey, defaultTint, maximumTint)),
      glassAppearance_(readEnum(defaults, glassAppearanceKey, GlassAppearance::system)),
      textContrast_(readBool(defaults, textContrastKey, true)),
      reviewFade_(readEnum(defaults, reviewFadeKey, ReviewFade::tenMinutes)),
      answersRequests_(readBool(defaults, answersRequestsKey, true)) {}

// Each setter stores the value, writes it through and tells observers only of a real change.
template <class T>
void AppSettings::update(T& field, const T& value, const QString& key, const QVariant& stored) {
    const bool differs = field != value;
    field = value;
    defaults_.setValue(key, stored);
    if (differs) {
        emit changed();
    }
}

void AppSettings::setSoundsEnabled(bool value) {
    update(soundsEnabled_, value, soundsEnabledKey, value);
}

void AppSettings::setHooksConnected(bool value) {
    update(hooksConnected_, value, hooksConnectedKey, value);
}

void AppSettings::setGlassBlur(double value) {
    const double stored = std::isfinite(value) ? clamped(value, maximumBlur) : defaultBlur;
    update(glassBlur_, stored, glassBlurKey, stored);
}

void AppSettings::setGlassTint(double value) {
    const double stored = std::isfinite(value) ? clamped(value, maximumTint) : defaultTint;
    update(glassTint_, stored, glassTintKey, stored);
}

void AppSettings::setGlassAppearance(GlassAppearance value) {
    update(glassAppearance_, value, glassAppearanceKey, rawText(value));
}

void AppSettings::setTextContrast(bool value) {
    update(textContrast_, value, textContrastKey, value);
}

void AppSettings::setReviewFade(ReviewFade value) {
    update(reviewFade_, value, reviewFadeKey, rawText(value));
}

void AppSettings::setAnswersRequests(bool value) {
    update(answersRequests_, value, answersRequestsKey, value);
}

void AppSettings::resetGlass() {
    setGlassBlur(defaultBlur);
    setGlassTint(defaultTint);
    setGlassAppearance(GlassAppearance::system);
    setTextContrast(true);
}

} // namespace ostrelvan
