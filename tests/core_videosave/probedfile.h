#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

/// What ffprobe and ffmpeg say about a recording.
class ProbedFile
{
public:
    explicit ProbedFile(const QString& name);

    struct Packet
    {
        double pts; ///< seconds
        double dts;
        bool isKey;
        int bytes;
    };

    /// The packets of the first stream of @p kind ("v", "a"), in the order of the file.
    QVector<Packet> packets(const char* kind) const;

    /// How many pictures decode; -1 when the file can't be read.
    int decodedPictures() const;

    /// What a decoder complains of in the whole file; empty when all is well, never empty for an unreadable file.
    QByteArray complaints() const;

    /// "mov,mp4,m4a,3gp,3g2,mj2", "mpeg" and so on.
    QString format() const;

    /// The codecs of the streams, in the order of the file.
    QStringList codecs() const;

    /// The sound as mono samples.
    QVector<qint16> samples(int sampleRate) const;

    /// How many fragments (moof with their mdat) are complete in the file.
    static int completeFragments(const QString& path);

private:
    const QString path;
};

/// Share of the power of @p samples that is in the tone of @p hertz, 0 to 1.
double toneShare(const QVector<qint16>& samples, int sampleRate, double hertz);
