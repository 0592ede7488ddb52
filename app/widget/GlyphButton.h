#pragma once

#include "app/widget/Glyphs.h"
#include "app/widget/WidgetLook.h"

#include <QAbstractButton>

namespace ostrelvan {

// A borderless button that is only a symbol, such as the panel's gear. It dims while pressed.
class GlyphButton : public QAbstractButton {
    Q_OBJECT
public:
    GlyphButton(Glyph glyph, double side, QWidget* parent = nullptr);

    void setLook(const WidgetLook& look);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Glyph glyph_;
    double side_;
    WidgetLook look_;
};

} // namespace ostrelvan
