#include "core_d3d/viewquad.h"

D3DConstants::Quad viewQuad(const ViewRect& view, int frameWidth, int frameHeight)
{
    const ViewRect part = visiblePart(view, frameWidth, frameHeight);
    D3DConstants::Quad quad = D3DConstants::quad;
    for (D3DConstants::Vertex& vertex : quad) {
        vertex.u = float((part.left + part.width * double(vertex.u)) / frameWidth);
        vertex.v = float((part.top + part.height * double(vertex.v)) / frameHeight);
    }
    return quad;
}
