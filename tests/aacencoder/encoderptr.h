#pragma once

#include "aacencoder/easyaacencoder.h"

#include <memory>

struct EncoderReleaser
{
    void operator()(Easy_AACEncoder_Handle handle) const { Easy_AACEncoder_Release(handle); }
};

/// An encoder of the C interface that is released with its owner.
using EncoderPtr = std::unique_ptr<Easy_AACEncoder, EncoderReleaser>;
