#pragma once

// Whether glass can be read, judged on pixels as a person's eye would: the contrast ratio of text
// against what lies around it (relative luminance of sRGB, as accessibility guidelines define
// it), and how much of the backdrop the glass lets through, from the same glass over white and
// over black.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>

namespace ostrelvan::test {

using Pixel = std::array<int, 3>;

inline double relativeLuminance(const Pixel& p) {
    auto linear = [](int channel) {
        const double c = channel / 255.0;
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(p[0]) + 0.7152 * linear(p[1]) + 0.0722 * linear(p[2]);
}

inline double contrastRatio(const Pixel& a, const Pixel& b) {
    const double la = relativeLuminance(a), lb = relativeLuminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// The share of light that one pixel keeps of the glass alone, given the pixel with a white
// backdrop behind and with a black one: 1 where the backdrop does not show at all.
inline double opacity(const Pixel& overWhite, const Pixel& overBlack) {
    int difference = 0;
    for (std::size_t c = 0; c < 3; ++c)
        difference = std::max(difference, std::abs(overWhite[c] - overBlack[c]));
    return 1.0 - difference / 255.0;
}

// The contrast of the text in the rectangle of pixels `at(x, y)` against its glass: that of its
// most distinct pixel, a glyph's core, against the rectangle's commonest colour (the glass, where
// text covers less than half of it).
template <class At> double textContrast(At at, int left, int top, int right, int bottom) {
    std::map<Pixel, int> counts;
    for (int y = top; y <= bottom; ++y)
        for (int x = left; x <= right; ++x)
            ++counts[at(x, y)];
    const Pixel glass =
        std::max_element(counts.begin(), counts.end(), [](const auto& a, const auto& b) {
            return a.second < b.second;
        })->first;
    double best = 1;
    for (int y = top; y <= bottom; ++y)
        for (int x = left; x <= right; ++x)
            best = std::max(best, contrastRatio(at(x, y), glass));
    return best;
}

} // namespace ostrelvan::test
