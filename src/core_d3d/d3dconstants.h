#pragma once

#include <array>
#include <cstdint>

/// What the Direct3D renderers hand to Direct3D, free of its headers, so that every platform compiles and tests it.
namespace D3DConstants {

/// A corner as it lies in the vertex buffer: a position that fills the viewport from -1 to 1, and where in the frame
/// (0 to 1 from the upper left corner) its colour is taken from.
struct Vertex
{
    float x, y, z;
    float u, v;
};

using Quad = std::array<Vertex, 4>;
using Indices = std::array<std::uint16_t, 6>;
using Matrix = std::array<float, 16>; // by rows

/// The whole frame.
constexpr Quad quad{{
    {-1, 1, 0, 0, 0},
    {1, 1, 0, 1, 0},
    {1, -1, 0, 1, 1},
    {-1, -1, 0, 0, 1},
}};

/// Two triangles.
constexpr Indices indices{0, 1, 2, 0, 2, 3};

constexpr Matrix transform{
    1, 0, 0, 0, //
    0, 1, 0, 0, //
    0, 0, 1, 0, //
    0, 0, 0, 1, //
};

constexpr unsigned vertexStride = 20; // bytes
constexpr unsigned positionOffset = 0; // bytes
constexpr unsigned coordinateOffset = 12; // bytes

// Values of DXGI_FORMAT.
constexpr int formatPosition = 6; // R32G32B32_FLOAT
constexpr int formatCoordinate = 16; // R32G32_FLOAT
constexpr int formatScreen = 24; // R10G10B10A2_UNORM
constexpr int formatChroma = 49; // R8G8_UNORM
constexpr int formatIndex = 57; // R16_UINT
constexpr int formatLuma = 61; // R8_UNORM
constexpr int formatFrame = 103; // NV12

constexpr unsigned screenBufferCount = 2;
constexpr unsigned samplesPerPixel = 1;
constexpr unsigned anisotropy = 16;
constexpr unsigned presentInterval = 0; // at once, so that the GUI thread does not wait for the screen
constexpr std::array<float, 4> background{0, 0, 0, 1};
constexpr float depthNear = 0;
constexpr float depthFar = 1;

constexpr unsigned lumaSlot = 0;
constexpr unsigned chromaSlot = 1;

/// The buffers of the screen are as large as the frame; the window's size is reached by stretching them.
constexpr bool needsResize(unsigned bufferWidth, unsigned bufferHeight, unsigned frameWidth, unsigned frameHeight)
{
    return bufferWidth != frameWidth || bufferHeight != frameHeight;
}

} // namespace D3DConstants
