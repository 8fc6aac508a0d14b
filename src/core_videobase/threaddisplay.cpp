#include "core_videobase/threaddisplay.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/abstractvideowidget.h"

namespace {

constexpr auto automatic = Qt::ConnectionType(Qt::AutoConnection | Qt::UniqueConnection);
constexpr auto blocking = Qt::ConnectionType(Qt::BlockingQueuedConnection | Qt::UniqueConnection);
constexpr auto plain = Qt::AutoConnection;

/// A connection from the thread's signal to a slot or signal of the widget.
struct Wire
{
    const char* signal;
    const char* member;
    Qt::ConnectionType type;
};

const Wire playingWires[] = {
    {SIGNAL(started()), SLOT(started()), automatic},
    {SIGNAL(receivePlayStart(int)), SLOT(receivePlayStart(int)), blocking},
    {SIGNAL(receivePlayFinsh(QObject*)), SLOT(receivePlayFinsh(QObject*)), blocking},
    {SIGNAL(sig_decoderDestroyed()), SLOT(onDecoderDestroyed()), blocking},
};

const Wire reportWires[] = {
    {SIGNAL(finished()), SLOT(finished()), automatic},
    {SIGNAL(sig_connExceedMax()), SIGNAL(sig_connExceedMax()), automatic},
    {SIGNAL(sig_otherError()), SIGNAL(sig_otherError()), automatic},
};

const Wire soundWires[] = {
    {SIGNAL(receiveAudioFormat(int, int, int)), SLOT(openAudioOutput(int, int, int)), automatic},
    {SIGNAL(receiveAudio(QByteArray)), SLOT(playAudio(QByteArray)), automatic},
};

const Wire pictureWires[] = {
    {SIGNAL(receiveImage(QImage, int)), SLOT(receiveImage(QImage, int)), automatic},
    {SIGNAL(snapImage(QImage, QString)), SIGNAL(snapImage(QImage, QString)), automatic},
    {SIGNAL(receiveFrame(int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32)),
     SLOT(receiveFrame(int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32)), blocking},
    {SIGNAL(receiveFrame(int, int, quint8*, quint8*, quint32, quint32)),
     SLOT(receiveFrame(int, int, quint8*, quint8*, quint32, quint32)), blocking},
    {SIGNAL(receiveFrame(int, int, quint8*, bool)), SLOT(receiveFrame(int, int, quint8*, bool)), blocking},
    {SIGNAL(receiveFrame(int, int, quint8*, int, bool)), SLOT(receiveFrame(int, int, quint8*, int, bool)), blocking},
    {SIGNAL(receiveSizeChanged()), SLOT(receiveSizeChanged()), plain},
    {SIGNAL(receiveCodecChanged()), SLOT(receiveCodecChanged()), blocking},
};

template <size_t Count>
void connectAll(const Wire (&wires)[Count], QObject* from, QObject* to)
{
    for (const Wire& wire : wires)
        QObject::connect(from, wire.signal, to, wire.member, wire.type);
}

template <size_t Count>
void disconnectAll(const Wire (&wires)[Count], QObject* from, QObject* to)
{
    for (const Wire& wire : wires)
        QObject::disconnect(from, wire.signal, to, wire.member);
}

} // namespace

void ThreadDisplay::connectPlaying(AbstractVideoThread* thread, AbstractVideoWidget* widget)
{
    connectAll(playingWires, thread, widget);
}

void ThreadDisplay::disconnectPlaying(AbstractVideoThread* thread, AbstractVideoWidget* widget)
{
    disconnectAll(playingWires, thread, widget);
}

void ThreadDisplay::connectReports(AbstractVideoThread* thread, AbstractVideoWidget* widget)
{
    connectAll(reportWires, thread, widget);
}

void ThreadDisplay::disconnectReports(AbstractVideoThread* thread, AbstractVideoWidget* widget)
{
    disconnectAll(reportWires, thread, widget);
}

void ThreadDisplay::connectSound(AbstractVideoThread* thread, AbstractVideoWidget* widget)
{
    connectAll(soundWires, thread, widget);
}

void ThreadDisplay::disconnectSound(AbstractVideoThread* thread, AbstractVideoWidget* widget)
{
    disconnectAll(soundWires, thread, widget);
}

void ThreadDisplay::connectPictures(AbstractVideoThread* thread, AbstractVideoWidget* widget)
{
    connectAll(pictureWires, thread, widget);
}

void ThreadDisplay::disconnectPictures(AbstractVideoThread* thread, AbstractVideoWidget* widget)
{
    disconnectAll(pictureWires, thread, widget);
}

void ThreadDisplay::countOut(AbstractVideoThread* thread)
{
    int count = thread->previewRef();
    while (count > 0 && !thread->previewRef().compare_exchange_weak(count, count - 1)) { }
}
