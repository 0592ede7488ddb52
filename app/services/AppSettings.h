#pragma once

#include "app/store/KeyValueStore.h"
#include "core/EnumText.h"

#include <QObject>
#include <optional>
#include <string_view>

namespace ostrelvan {

enum class GlassAppearance { system, light, dark };
std::string_view toString(GlassAppearance appearance);
template <> std::optional<GlassAppearance> fromString<GlassAppearance>(std::string_view text);

enum class ReviewFade { fiveMinutes, tenMinutes, thirtyMinutes, never };
std::string_view toString(ReviewFade fade);
template <> std::optional<ReviewFade> fromString<ReviewFade>(std::string_view text);
// None for `never`.
std::optional<double> seconds(ReviewFade fade);

// The user's preferences, read once with their defaults and ranges, written through on change.
class AppSettings : public QObject {
    Q_OBJECT
public:
    // The strongest tint the setting takes.
    static constexpr double maximumTint = 0.6;

    explicit AppSettings(KeyValueStore& defaults, QObject* parent = nullptr);

    bool soundsEnabled() const { return soundsEnabled_; }
    bool hooksConnected() const { return hooksConnected_; }
    double glassBlur() const { return glassBlur_; }
    double glassTint() const { return glassTint_; }
    GlassAppearance glassAppearance() const { return glassAppearance_; }
    bool textContrast() const { return textContrast_; }
    ReviewFade reviewFade() const { return reviewFade_; }
    // Whether a waiting permission request may be answered from the widget, the tray and a
    // notification. Off, the app does not listen for requests and the helper never waits.
    bool answersRequests() const { return answersRequests_; }

    void setSoundsEnabled(bool value);
    void setHooksConnected(bool value);
    void setGlassBlur(double value);
    void setGlassTint(double value);
    void setGlassAppearance(GlassAppearance value);
    void setTextContrast(bool value);
    void setReviewFade(ReviewFade value);
    void setAnswersRequests(bool value);
    void resetGlass();

signals:
    void changed();

private:
    template <class T>
    void update(T& field, const T& value, const QString& key, const QVariant& stored);

    KeyValueStore& defaults_;
    bool soundsEnabled_ = true;
    bool hooksConnected_ = false;
    double glassBlur_ = 8.0;
    double glassTint_ = 0.25;
    GlassAppearance glassAppearance_ = GlassAppearance::system;
    bool textContrast_ = true;
    ReviewFade reviewFade_ = ReviewFade::tenMinutes;
    bool answersRequests_ = true;
};

} // namespace ostrelvan
