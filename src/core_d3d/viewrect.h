#pragma once

/// The part of a frame that a Direct3D renderer shows, in pixels of the frame from its upper left corner.
struct ViewRect
{
    double left = 0;
    double top = 0;
    double width = 0; ///< not above 0: the whole frame
    double height = 0;
};

bool operator==(const ViewRect& one, const ViewRect& other);
bool operator!=(const ViewRect& one, const ViewRect& other);

/// What of @p view lies in a frame of @p frameWidth x @p frameHeight pixels; the whole frame where that is nothing.
ViewRect visiblePart(const ViewRect& view, int frameWidth, int frameHeight);

/// Edges in whole pixels; right and bottom lie outside.
struct PixelEdges
{
    int left;
    int top;
    int right;
    int bottom;
};

/// The visible part in whole pixels, widened to even ones, as two rows and columns of NV12 share a colour.
PixelEdges evenEdges(const ViewRect& view, int frameWidth, int frameHeight);
