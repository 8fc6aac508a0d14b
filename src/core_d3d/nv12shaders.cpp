#include "core_d3d/nv12shaders.h"

const char Nv12Shaders::text[] = R"(
cbuffer CBuf
{
    matrix transform;
};

struct VSOut
{
    float4 pos : SV_Position;
    float2 tex : TEXCOORD;
};

Texture2D<float> yChannel : register(t0);
Texture2D<float2> uvChannel : register(t1);
SamplerState splr;

static const float3x3 YUVtoRGBCoeffMatrix =
{
    1.164383, 1.164383, 1.164383,
    0.000000, -0.391762, 2.017232,
    1.596027, -0.812968, 0.000000
};

VSOut main_VS(float3 pos : POSITION, float2 tex : TEXCOORD)
{
    VSOut output;
    output.pos = mul(float4(pos, 1.0), transform);
    output.tex = tex;
    return output;
}

float4 main_PS(VSOut input) : SV_Target
{
    float y = yChannel.Sample(splr, input.tex);
    float2 uv = uvChannel.Sample(splr, input.tex);
    float3 yuv = float3(y, uv.x, uv.y) - float3(0.062745, 0.501960, 0.501960);
    float3 rgb = clamp(mul(yuv, YUVtoRGBCoeffMatrix), 0.0, 1.0);
    return float4(rgb, 1.0);
}
)";

const char Nv12Shaders::vertexEntry[] = "main_VS";
const char Nv12Shaders::pixelEntry[] = "main_PS";
const char Nv12Shaders::vertexTarget[] = "vs_5_0";
const char Nv12Shaders::pixelTarget[] = "ps_5_0";
