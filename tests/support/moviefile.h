#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// A media file as other programs see it: what ffprobe and ffmpeg say of it, and whether players play it to its end.
///
/// The calls start a program and wait for it; the file must not change any more. A failed one prints what the program
/// said.
class MovieFile
{
public:
    explicit MovieFile(const QString& path);

    const QString& path() const { return file; }

    /// Whether ffmpeg decodes everything without a word.
    bool decodes() const;

    /// Whether mpv and GStreamer play everything, as fast as they can, without an error. On Windows, where the tests bring
    /// ffmpeg alone, the same as decodes().
    bool plays() const;

    int videoStreams() const;
    int audioStreams() const;

    /// Name of the codec of the first picture or sound stream, empty for none.
    QString videoCodec() const;
    QString audioCodec() const;

    /// "WIDTHxHEIGHT" of the first picture stream.
    QString size() const;

    int pictureCount() const;

    /// Seconds from the first picture to the end of the last one, 0 for a file without pictures.
    double videoDuration() const;

    /// Seconds from the first sound to the end of the last one.
    double audioDuration() const;

    /// Whether the first picture is a key frame.
    bool startsWithKeyFrame() const;

    /// A hash of each picture's packet, in the order of the file.
    QStringList packetHashes() const;

    /// A hash of each decoded picture, in the order in which they are shown.
    QStringList pictureHashes() const;

    /// The numbers of the pictures, where they are those of testpicture.h, in the order in which they are shown.
    QVector<int> pictureNumbers() const;

private:
    QStringList probe(const QString& streams, const QString& entries) const;
    QStringList frameHashes(const QStringList& codec) const;
    const QStringList& videoPackets() const;

    QString file;
    mutable QStringList videoLines; // of ffprobe, read when they are first asked for
};
