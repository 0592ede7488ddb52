// What one frame of the widget's look costs: a rippling lamp repaints 30 times a second, rows
// draw their texts with the halo on every hover change, and the glass lies under both.
#include "app/widget/LampAnimator.h"
#include "app/widget/StatusLamp.h"
#include "app/widget/TextHalo.h"
#include "app/widget/WidgetFonts.h"
#include "app/widget/WidgetGlass.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <benchmark/benchmark.h>

using namespace ostrelvan;

namespace {

QImage canvas(int w, int h) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

// One frame of a working lamp: glow, ripple and gem.
void lampFrame(benchmark::State& state) {
    double now = 0;
    LampAnimator::shared().setClock([&now] { return now; });
    StatusLamp lamp;
    lamp.setStatus(SessionStatus::working);
    lamp.setHighlighted(state.range(0) != 0);
    QImage image = canvas(StatusLamp::extent, StatusLamp::extent);
    for (auto _ : state) {
        now += 1.0 / LampAnimator::framesPerSecond;
        image.fill(Qt::transparent);
        lamp.render(&image);
    }
    LampAnimator::shared().setClock({});
}
BENCHMARK(lampFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// A row's status line with the halo: the first drawing blurs, later ones come from the cache.
void haloText(benchmark::State& state) {
    const bool cached = state.range(0) != 0;
    WidgetLook look;
    QImage image = canvas(300, 24);
    QPainter painter(&image);
    painter.setFont(WidgetFonts::statusLine());
    int serial = 0;
    for (auto _ : state) {
        const QString text = cached ? QStringLiteral("Running tests: ctest --preset dev")
                                    : QStringLiteral("Running tests %1").arg(++serial);
        TextHalo::drawText(painter, QRectF(0, 2, 280, 20), Qt::AlignLeft | Qt::AlignVCenter, text,
                           Qt::white, look);
    }
}
BENCHMARK(haloText)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// The panel's glass at its largest common size.
void panelGlass(benchmark::State& state) {
    WidgetLook look;
    QImage image = canvas(330, 600);
    QPainter painter(&image);
    const QPainterPath shape =
        WidgetGlass::roundedRect(QRectF(0, 0, 330, 600), WidgetGlass::panelRadius);
    for (auto _ : state)
        WidgetGlass::paint(painter, shape, look);
}
BENCHMARK(panelGlass)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
