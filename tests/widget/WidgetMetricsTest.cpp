#include "app/widgetmodel/WidgetMetrics.h"

#include <gtest/gtest.h>

using namespace ostrelvan;

namespace {

using Hits = std::vector<std::optional<int>>;
constexpr auto none = std::nullopt;

// The offset of every session's lamp or row, through `offset` (lampOffset or rowOffset).
std::vector<double> offsets(const WidgetMetrics& m, double (WidgetMetrics::*offset)(int) const) {
    std::vector<double> all;
    for (int i = 0; i < m.sessionCount(); ++i)
        all.push_back((m.*offset)(i));
    return all;
}

// What the column hits at each height along its horizontal middle.
Hits lampHits(const WidgetMetrics& m, std::initializer_list<double> ys) {
    Hits hits;
    for (const double y : ys)
        hits.push_back(m.lampIndex(376, y));
    return hits;
}

// What the list hits at each height at x = 100, scrolled by `scroll`.
Hits rowHits(const WidgetMetrics& m, double scroll, std::initializer_list<double> ys) {
    Hits hits;
    for (const double y : ys)
        hits.push_back(m.rowIndex(100, y, scroll));
    return hits;
}

} // namespace

TEST(WidgetMetrics, NoSessionsShowOnePlaceholderCellAndHitNothing) {
    const WidgetMetrics m({}, 600);
    EXPECT_EQ(m.sessionCount(), 0);
    EXPECT_EQ(m.maxLamps(), 1);
    EXPECT_EQ(m.columnRect(), (LayoutRect{358, 278, 36, 44}));
    EXPECT_EQ(m.panelRect(), (LayoutRect{12, 222, 330, 156}));
    EXPECT_EQ(m.bodyRect(), (LayoutRect{12, 326, 330, 0}));
    EXPECT_EQ(m.maxScrollOffset(), 0);
    EXPECT_EQ(lampHits(m, {300}), (Hits{none}));
    EXPECT_EQ(rowHits(m, 0, {326, 300}), (Hits{none, none}));
    // Empty groups are dropped, so they change nothing at all.
    EXPECT_EQ(WidgetMetrics({0, 0}, 600), m);
}

TEST(WidgetMetrics, SingleSessionGroupsSitAtThePlainPitchWithoutHeaders) {
    const WidgetMetrics m({1, 1, 1}, 600);
    EXPECT_EQ(offsets(m, &WidgetMetrics::lampOffset), (std::vector<double>{0, 26, 52}));
    EXPECT_EQ(offsets(m, &WidgetMetrics::rowOffset), (std::vector<double>{0, 50, 100}));
    EXPECT_EQ(m.maxLamps(), 3);
    // 52 + 26 + 18 high, centred: (600 - 96) / 2.
    EXPECT_EQ(m.columnRect(), (LayoutRect{358, 252, 36, 96}));
    // 150 of rows + 52 + 8.
    EXPECT_EQ(m.panelRect(), (LayoutRect{12, 195, 330, 210}));
    EXPECT_EQ(m.bodyRect(), (LayoutRect{12, 203, 330, 150}));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(m.groupHeaderRect(i, 0), std::nullopt);
    EXPECT_EQ(m.maxScrollOffset(), 0);
}

TEST(WidgetMetrics, AGroupOfTwoBetweenSinglesGetsLampGapsAndOneHeader) {
    const WidgetMetrics m({1, 2, 1}, 600);
    EXPECT_EQ(m.groupSizes, (std::vector<int>{1, 2, 1}));
    EXPECT_EQ(m.grouped, (std::vector<bool>{false, true, true, false}));
    EXPECT_EQ(m.opensGroup, (std::vector<bool>{true, true, false, true}));
    EXPECT_EQ(offsets(m, &WidgetMetrics::lampOffset), (std::vector<double>{0, 36, 62, 98}));
    EXPECT_EQ(offsets(m, &WidgetMetrics::rowOffset), (std::vector<double>{0, 76, 126, 176}));
    EXPECT_EQ(WidgetMetrics({0, 1, 0, 2, -3, 1}, 600), m);

    // The header lies right above the group's first row, inside the list.
    const LayoutRect body = m.bodyRect();
    EXPECT_EQ(body, (LayoutRect{12, 165, 330, 226}));
    EXPECT_EQ(m.rowRect(0, 0), (LayoutRect{12, 341, 330, 50}));
    EXPECT_EQ(m.groupHeaderRect(1, 0), (LayoutRect{12, 315, 330, 26}));
    EXPECT_EQ(m.rowRect(1, 0), (LayoutRect{12, 265, 330, 50}));
    EXPECT_EQ(m.groupHeaderRect(2, 0), std::nullopt);
    EXPECT_EQ(m.rowRect(3, 0).minY(), body.minY());
}

TEST(WidgetMetrics, ThirtySessionsInSixHundredPointsOverflowAfterTwenty) {
    const WidgetMetrics m(std::vector<int>(30, 1), 600);
    EXPECT_EQ(m.maxLamps(), 20);
    EXPECT_EQ(m.columnRect(), (LayoutRect{358, 23, 36, 554}));
    // The panel takes all the height it may: 600 - 84 of rows + 52 + 8.
    EXPECT_EQ(m.panelRect(), (LayoutRect{12, 12, 330, 576}));
    EXPECT_EQ(m.bodyRect(), (LayoutRect{12, 20, 330, 516}));
    EXPECT_EQ(m.maxScrollOffset(), 1500 - 516);

    // The last lamp shown, and the overflow mark's band below it, which is no lamp.
    EXPECT_EQ(m.lampCentreY(19), 61);
    EXPECT_EQ(lampHits(m, {61, 40}), (Hits{19, none}));

    // With group gaps fewer lamps fit.
    EXPECT_EQ(WidgetMetrics(std::vector<int>(11, 2), 600).maxLamps(), 17);
}

TEST(WidgetMetrics, OriginsRoundHalvesAwayFromZero) {
    // (49 - 44) / 2 = 2.5: banker's rounding would give 2.
    EXPECT_EQ(WidgetMetrics({1}, 49).columnRect().y, 3);
    // (161 - 156) / 2 = 2.5 for the empty panel.
    EXPECT_EQ(WidgetMetrics({}, 161).panelRect().y, 3);
    // (55 - 60) / 2 = -2.5: one lamp and the overflow mark in a canvas too short for them.
    const WidgetMetrics cramped({2}, 55);
    EXPECT_EQ(cramped.maxLamps(), 1);
    EXPECT_EQ(cramped.columnRect(), (LayoutRect{358, -3, 36, 60}));
}

TEST(WidgetMetrics, LampHitBandsAreOpenAtThirteenPoints) {
    // Column 278..322; the lamp's centre 322 - 9 - 13.
    const WidgetMetrics one({1}, 600);
    EXPECT_EQ(one.lampCentreY(0), 300);
    EXPECT_EQ(lampHits(one, {300, 312.9, 287.1, 313, 287}), (Hits{0, 0, 0, none, none}));
    // Only the column's x range is checked, its edges included.
    EXPECT_EQ(one.lampIndex(358, 300), 0);
    EXPECT_EQ(one.lampIndex(394, 300), 0);
    EXPECT_EQ(one.lampIndex(357.9, 300), std::nullopt);
    EXPECT_EQ(one.lampIndex(394.1, 300), std::nullopt);

    // Half way between two neighbours is on neither.
    const WidgetMetrics three({1, 1, 1}, 600);
    const double first = three.lampCentreY(0);
    EXPECT_EQ(first - three.lampCentreY(1), 26);
    EXPECT_EQ(lampHits(three, {first - 13, first - 12.5, first - 13.5}), (Hits{none, 0, 1}));

    // Across a group gap the band between two lamps is 10 points wider.
    const WidgetMetrics gapped({1, 2, 1}, 600);
    const double single = gapped.lampCentreY(0);
    EXPECT_EQ(single - gapped.lampCentreY(1), 36);
    EXPECT_EQ(lampHits(gapped, {single - 18, single - 24}), (Hits{none, 1}));
}

TEST(WidgetMetrics, RowHitsFollowTheScrollAndMissHeaders) {
    // Panel 182..418; body top 366; row 0 316..366, header 290..316, row 1 240..290; a shared
    // edge belongs to the first row; above the body is the header band.
    const WidgetMetrics m({1, 2}, 600);
    EXPECT_EQ(rowHits(m, 0, {340, 316, 303, 290, 200, 380}), (Hits{0, 0, none, 1, 2, none}));
    EXPECT_EQ(m.rowIndex(11, 340, 0), std::nullopt);
    EXPECT_EQ(m.rowIndex(343, 340, 0), std::nullopt);

    // Body 20..536; rows scrolled up under the header band are not hit there.
    const WidgetMetrics many(std::vector<int>(30, 1), 600);
    EXPECT_EQ(rowHits(many, 0, {526, 19}), (Hits{0, none}));
    EXPECT_EQ(rowHits(many, 100, {526, 20, 540}), (Hits{2, 12, none}));
    EXPECT_EQ(rowHits(many, 984, {20}), (Hits{29}));
}
