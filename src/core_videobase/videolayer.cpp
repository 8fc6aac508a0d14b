#include "core_videobase/videolayer.h"

namespace {

// An empty mask would stand for no mask.
const QRect nothing(-1, -1, 1, 1);

} // namespace

VideoLayer::VideoLayer(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_NoSystemBackground);
    setObjectName("osdWidget");
}

void VideoLayer::cutTo(const QRegion& region) { setMask(region.isEmpty() ? QRegion(nothing) : region); }

void VideoLayer::uncut() { clearMask(); }
