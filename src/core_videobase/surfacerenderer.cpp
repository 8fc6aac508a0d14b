#include "core_videobase/surfacerenderer.h"

std::unique_ptr<SurfaceRenderer> SurfaceRenderer::makeD3d9(QWidget*) { return nullptr; }

std::unique_ptr<SurfaceRenderer> SurfaceRenderer::makeD3d11(QWidget*) { return nullptr; }
