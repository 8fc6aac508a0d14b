#include "core_d3d/viewrect.h"

#include <algorithm>
#include <cmath>

namespace {

int evenBelow(double edge) { return static_cast<int>(std::floor(edge / 2)) * 2; }

int evenAbove(double edge, int limit) { return std::min(static_cast<int>(std::ceil(edge / 2)) * 2, limit); }

} // namespace

bool operator==(const ViewRect& one, const ViewRect& other)
{
    return one.left == other.left && one.top == other.top && one.width == other.width && one.height == other.height;
}

bool operator!=(const ViewRect& one, const ViewRect& other) { return !(one == other); }

ViewRect visiblePart(const ViewRect& view, int frameWidth, int frameHeight)
{
    const double left = std::max(view.left, 0.0);
    const double top = std::max(view.top, 0.0);
    const double right = std::min(view.left + view.width, double(frameWidth));
    const double bottom = std::min(view.top + view.height, double(frameHeight));
    if (right > left && bottom > top)
        return {left, top, right - left, bottom - top};
    return {0, 0, double(frameWidth), double(frameHeight)};
}

PixelEdges evenEdges(const ViewRect& view, int frameWidth, int frameHeight)
{
    const ViewRect part = visiblePart(view, frameWidth, frameHeight);
    return {evenBelow(part.left), evenBelow(part.top), evenAbove(part.left + part.width, frameWidth),
            evenAbove(part.top + part.height, frameHeight)};
}
