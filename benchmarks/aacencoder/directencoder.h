#pragma once

#include <QByteArray>

/// FAAC itself with the library's settings, fed with whole frames of samples: the codec and nothing else.
class DirectEncoder
{
public:
    DirectEncoder();
    ~DirectEncoder();
    DirectEncoder(const DirectEncoder&) = delete;
    DirectEncoder& operator=(const DirectEncoder&) = delete;

    /// Encodes @p count samples, whole frames of them, and appends what was completed to @p aac.
    void encode(qint16* samples, int count, QByteArray& aac);

private:
    unsigned long frameSamples = 0;
    QByteArray output; ///< of one frame
    void* const faac;
};
