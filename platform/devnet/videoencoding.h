#pragma once

#include "devnet/videopackager.h"
#include "devnet/xencpara.h"

/// The record of what a stream's pictures are encoded in; @p picture is a key frame.
XVideoEncPara videoEncodingOf(const VideoPackager::Picture& picture, const AVStream* stream, bool isH265);
