#pragma once

/// The program that draws an NV12 frame, BT.601 in the limited range, in the language of Direct3D 11's shaders.
namespace Nv12Shaders {

extern const char text[];
extern const char vertexEntry[];
extern const char pixelEntry[];
extern const char vertexTarget[]; // shader models
extern const char pixelTarget[];

} // namespace Nv12Shaders
