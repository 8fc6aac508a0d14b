#pragma once

#include "core_videobase/abstractsavethread.h"

#include <QByteArray>
#include <QList>

/// What SaveVideo writes; nothing for any other value.
enum SaveVideoType : int {
    SaveVideoType_Yuv = 1 ///< planar YUV 4:2:0, picture after picture, without padding
};

/// Stores pictures in a file without compression. See SaveAudio::setDirectWriting().
class VANTOR_EXPORT SaveVideo : public AbstractSaveThread
{
    Q_OBJECT

public:
    explicit SaveVideo(QObject* parent = nullptr);
    ~SaveVideo() override;

    /// Before open(); sizes in pixels.
    void setPara(SaveVideoType saveVideoType, int videoWidth, int videoHeight, int frameRate);

    /// Takes a picture while a recording is open and not paused: width x height bytes of Y and a quarter of that of U
    /// and of V, which are copied. Any one thread.
    void write(quint8* dataY, quint8* dataU, quint8* dataV);

    bool init() override;
    void save() override;
    void close() override;

private:
    void writeToFile(const QByteArray& y, const QByteArray& u, const QByteArray& v);

    SaveVideoType saveVideoType = SaveVideoType_Yuv;
    // One picture at the same place of the three lists; guarded by mutex.
    QList<QByteArray> planesY;
    QList<QByteArray> planesU;
    QList<QByteArray> planesV;
};
