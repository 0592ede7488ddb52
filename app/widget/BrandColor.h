#pragma once

#include <QColor>

namespace ostrelvan::BrandColor {

inline QColor tide() {
    return QColor::fromRgbF(0.1843137254901961f, 0.5607843137254902f, 0.5333333333333333f);
}

} // namespace ostrelvan::BrandColor
