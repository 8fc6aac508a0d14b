#pragma once

#include "devnet/archivereader.h"
#include "devnet/vodpara.h"
#include "devnet/xnettypes.h"

#include <mutex>

/// One download from an archive: hands out frames as fast as they are read. Thread-safe.
class ArchiveDownload
{
public:
    ArchiveDownload(const QVector<ArchiveFile>& recordings, qint64 begin, qint64 end);

    /// Every later read fails.
    void stop();

    XRetError read(XFrameHeader* target);

    /// Of the frame that was read last, and before the first one of that which comes first. False when nothing comes.
    bool describe(VodSdp& description);

private:
    bool fetch();

    StopSignal stopSignal;
    std::mutex mutex; ///< guards all of the following
    ArchiveReader reader;
    std::optional<EncodedFrame> pending;
    std::shared_ptr<const StreamFormat> format;
    VodSdp sdp;
};
