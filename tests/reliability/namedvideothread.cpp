#include "namedvideothread.h"

void NamedVideoThread::setMP4FileName(RecordType type)
{
    setFileName(type, QString("%1/%2.mp4").arg(getSavePath(type)).arg(++files, 4, 10, QChar('0')));
}
