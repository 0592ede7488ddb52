#pragma once

#include "app/look/Compositor.h"
#include "app/services/AppSettings.h"

#include <QWidget>
#include <functional>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QGridLayout;
class QGroupBox;
class QLabel;
class QSlider;

namespace ostrelvan {

// The settings form: the review-lamp fade, answering permission requests and the look of the
// glass. Every control writes
// straight through AppSettings, and follows it when it changes elsewhere.
class SettingsView : public QWidget {
    Q_OBJECT
public:
    static constexpr int formWidth = 420;
    static constexpr int labelColumnWidth = 110;

    SettingsView(AppSettings& settings, std::function<void()> reviewFadeChanged,
                 QWidget* parent = nullptr);

    // Whether the desktop blurs behind the widget. Without blur the Blur slider cannot do
    // anything, so it is disabled and a note says why and what Tint does instead. The view
    // follows the window server by itself; this overrides it until the server next changes.
    void setBlurAvailable(bool available);
    bool blurAvailable() const { return blurAvailable_; }

    // The sliders' value labels.
    static QString blurText(double blur);
    static QString tintText(double tint);

private:
    void build();
    QGroupBox* lampsGroup();
    QGroupBox* requestsGroup();
    QGroupBox* glassGroup();
    QWidget* appearanceSegments(QWidget* glass);
    void addSliders(QGridLayout& glassLayout, QWidget* glass);
    void refresh();

    AppSettings& settings_;
    std::function<void()> reviewFadeChanged_;
    QComboBox* reviewFade_ = nullptr;
    QButtonGroup* appearance_ = nullptr;
    QSlider* blur_ = nullptr;
    QLabel* blurValue_ = nullptr;
    QSlider* tint_ = nullptr;
    QLabel* tintValue_ = nullptr;
    QCheckBox* textContrast_ = nullptr;
    QCheckBox* answersRequests_ = nullptr;
    QLabel* blurNote_ = nullptr;
    CompositorMonitor* compositor_ = nullptr;
    bool blurAvailable_ = true;
};

} // namespace ostrelvan
