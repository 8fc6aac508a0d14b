#pragma once

#include "core_d3d/d3dconstants.h"
#include "core_d3d/viewrect.h"

/// The quad that fills the viewport with what @p view shows of a frame of @p frameWidth x @p frameHeight pixels.
D3DConstants::Quad viewQuad(const ViewRect& view, int frameWidth, int frameHeight);
