#include "app/widget/TextHalo.h"

#include "app/widget/WidgetFonts.h"

#include <QCache>
#include <QImage>
#include <QPaintDevice>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

namespace ostrelvan::TextHalo {

QColor color(bool dark) {
    return dark ? QColor::fromRgbF(0, 0, 0, 0.75f) : QColor::fromRgbF(1, 1, 1, 0.75f);
}

namespace {

// A sampled Gaussian, normalised, with `reach` taps either side of the middle one.
std::vector<float> gaussian(double sigma, int reach) {
    std::vector<float> kernel;
    float total = 0;
    for (int i = -reach; i <= reach; ++i) {
        kernel.push_back(float(std::exp(-i * i / (2 * sigma * sigma))));
        total += kernel.back();
    }
    for (float& k : kernel)
        k /= total;
    return kernel;
}

// One blur pass along lines of `count` values `stride` apart, from `in` to `out`.
void blurLine(const float* in, float* out, int count, std::ptrdiff_t stride,
              const std::vector<float>& kernel) {
    const int reach = int(kernel.size() / 2);
    const float* middle = kernel.data() + reach;
    for (int i = 0; i < count; ++i) {
        float sum = 0;
        const int first = std::max(0, i - reach);
        const int last = std::min(count - 1, i + reach);
        for (int j = first; j <= last; ++j)
            sum += middle[j - i] * in[j * stride];
        out[i * stride] = sum;
    }
}

// Replaces the image by its alpha blurred with a Gaussian of deviation `sigma` pixels, in
// `color` (premultiplied, the colour's own alpha included).
void blurInto(QImage& image, double sigma, const QColor& color) {
    const int w = image.width();
    const int h = image.height();
    const std::vector<float> kernel = gaussian(sigma, int(std::ceil(3 * sigma)));
    std::vector<float> alpha(std::size_t(w) * std::size_t(h));
    std::vector<float> pass(alpha.size());
    for (int y = 0; y < h; ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < w; ++x)
            alpha[std::size_t(y) * std::size_t(w) + std::size_t(x)] = float(qAlpha(line[x]));
    }
    for (int y = 0; y < h; ++y)
        blurLine(alpha.data() + std::ptrdiff_t(y) * w, pass.data() + std::ptrdiff_t(y) * w, w, 1,
                 kernel);
    for (int x = 0; x < w; ++x)
        blurLine(pass.data() + x, alpha.data() + x, h, w, kernel);

    const double opacity = color.alphaF() / 255.0;
    for (int y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < w; ++x) {
            const double a = std::clamp(
                alpha[std::size_t(y) * std::size_t(w) + std::size_t(x)] * opacity, 0.0, 1.0);
            line[x] = qRgba(int(std::lround(color.red() * a)), int(std::lround(color.green() * a)),
                            int(std::lround(color.blue() * a)), int(std::lround(255 * a)));
        }
    }
}

// Rows repaint on every hover change; their halos are made once and kept.
QCache<QString, QImage>& haloCache() {
    static QCache<QString, QImage> cache(qsizetype(4) * 1024 * 1024);
    return cache;
}

template <class Draw>
void paintHalo(QPainter& painter, const QRectF& rect, int flags, const QString& text,
               const QColor& halo, bool tabular, Draw draw) {
    const double dpr = painter.device() ? painter.device()->devicePixelRatioF() : 1.0;
    const double margin = std::ceil(3 * radius);
    const QSizeF logical(rect.width() + 2 * margin, rect.height() + 2 * margin);
    const QString key = QStringLiteral("%1|%2|%3|%4x%5|%6|%7|%8")
                            .arg(text, painter.font().key())
                            .arg(flags)
                            .arg(rect.width())
                            .arg(rect.height())
                            .arg(dpr)
                            .arg(halo.rgba())
                            .arg(tabular);
    QCache<QString, QImage>& cache = haloCache();
    const QImage* image = cache.object(key);
    if (!image) {
        const QSize pixels(int(std::ceil(logical.width() * dpr)),
                           int(std::ceil(logical.height() * dpr)));
        if (pixels.isEmpty())
            return;
        auto made = std::make_unique<QImage>(pixels, QImage::Format_ARGB32_Premultiplied);
        made->setDevicePixelRatio(dpr);
        made->fill(Qt::transparent);
        {
            QPainter p(made.get());
            p.setRenderHints(painter.renderHints());
            p.setFont(painter.font());
            p.setPen(Qt::black);
            draw(p, QRectF(QPointF(margin, margin), rect.size()));
        }
        blurInto(*made, radius * dpr, halo);
        const qsizetype cost = made->sizeInBytes();
        image = made.get();
        if (!cache.insert(key, made.release(), cost))
            return; // larger than the whole cache: nothing to draw it from
    }
    painter.drawImage(rect.topLeft() - QPointF(margin, margin), *image);
}

} // namespace

void drawText(QPainter& painter, const QRectF& rect, int flags, const QString& text,
              const QColor& textColor, const WidgetLook& look) {
    const auto draw = [&](QPainter& p, const QRectF& r) { p.drawText(r, flags, text); };
    painter.save();
    if (look.textContrast)
        paintHalo(painter, rect, flags, text, color(look.dark), false, draw);
    painter.setPen(textColor);
    draw(painter, rect);
    painter.restore();
}

void drawTabularText(QPainter& painter, const QRectF& rect, int flags, const QString& text,
                     const QColor& textColor, const WidgetLook& look) {
    const auto draw = [&](QPainter& p, const QRectF& r) {
        WidgetFonts::drawTabular(p, r, flags, text);
    };
    painter.save();
    if (look.textContrast)
        paintHalo(painter, rect, flags, text, color(look.dark), true, draw);
    painter.setPen(textColor);
    draw(painter, rect);
    painter.restore();
}

} // namespace ostrelvan::TextHalo
