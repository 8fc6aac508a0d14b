#pragma once

#include "core_videobase/vantorexport.h"
#include "core_videobase/widgetpara.h"

#include <QRect>

/// Where a picture of the size @p source goes in @p area, of which @p borderWidth is not available.
///
/// The origin is centred and then moved to odd coordinates, which can put it one pixel off the centre.
VANTOR_EXPORT QRect fittedRect(const QSize& source, const QRect& area, int borderWidth, ScaleMode mode);
