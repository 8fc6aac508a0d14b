#pragma once

#include "core_videobase/vantorexport.h"

/// The library as a whole. GUI thread only.
class VANTOR_EXPORT Vantor
{
public:
    /// To be called once after the application object exists and before the first device stream is shown. True when the
    /// live threads of devices can be served.
    static bool init();

    /// To be called once before the application object is destroyed: ends all live threads of devices and waits for
    /// them, serving their calls meanwhile. Called in a slot of a display widget's signal it does not wait; the rest
    /// follows when the slot has returned.
    static void release();
};
