#include "probedfile.h"

#include "ffmpegcommand.h"
#include "telephonesound.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <cmath>

namespace {
constexpr double pi = 3.14159265358979323846;

QJsonObject probe(const QStringList& arguments)
{
    const CommandResult result = runCommand("ffprobe", QStringList{"-v", "error", "-of", "json"} + arguments);
    return result.ok ? QJsonDocument::fromJson(result.output).object() : QJsonObject();
}
} // namespace

ProbedFile::ProbedFile(const QString& name)
    : path(name)
{
}

QVector<ProbedFile::Packet> ProbedFile::packets(const char* kind) const
{
    QVector<Packet> result;
    const QJsonArray array
        = probe({"-select_streams", kind, "-show_entries", "packet=pts_time,dts_time,flags,size", path})["packets"]
              .toArray();
    for (const QJsonValue& packet : array) {
        result.append({packet["pts_time"].toString().toDouble(), packet["dts_time"].toString().toDouble(),
                       packet["flags"].toString().startsWith('K'), packet["size"].toString().toInt()});
    }
    return result;
}

int ProbedFile::decodedPictures() const
{
    const QJsonArray streams
        = probe({"-count_frames", "-select_streams", "v", "-show_entries", "stream=nb_read_frames", path})["streams"]
              .toArray();
    return streams.isEmpty() ? -1 : streams.first()["nb_read_frames"].toString().toInt();
}

QByteArray ProbedFile::complaints() const
{
    const CommandResult result
        = runCommand("ffmpeg", {"-v", "error", "-nostdin", "-i", path, "-fps_mode", "passthrough", "-f", "null", "-"});
    return result.ok ? result.messages : "failed: " + result.messages;
}

QString ProbedFile::format() const
{
    return probe({"-show_entries", "format=format_name", path})["format"].toObject()["format_name"].toString();
}

QStringList ProbedFile::codecs() const
{
    QStringList names;
    const QJsonArray streams = probe({"-show_entries", "stream=codec_name", path})["streams"].toArray();
    for (const QJsonValue& stream : streams)
        names.append(stream["codec_name"].toString());
    return names;
}

QVector<qint16> ProbedFile::samples(int sampleRate) const
{
    const CommandResult result = runCommand("ffmpeg",
                                            {"-v", "error", "-nostdin", "-i", path, "-vn", "-ac", "1", "-ar",
                                             QString::number(sampleRate), "-f", "s16le", "pipe:1"});
    return TelephoneSound::samplesOf(result.output);
}

int ProbedFile::completeFragments(const QString& path)
{
    constexpr int headerBytes = 8;
    QFile file(path);
    if (!file.open(QFile::ReadOnly))
        return 0;
    int fragments = 0;
    bool isInFragment = false;
    qint64 position = 0;
    while (file.seek(position)) {
        const QByteArray header = file.read(headerBytes);
        if (header.size() < headerBytes)
            break;
        const qint64 length = qFromBigEndian<quint32>(header.constData());
        if (length < headerBytes || position + length > file.size())
            break;
        const QByteArray name = header.mid(4);
        fragments += name == "mdat" && isInFragment;
        isInFragment = name == "moof";
        position += length;
    }
    return fragments;
}

double toneShare(const QVector<qint16>& samples, int sampleRate, double hertz)
{
    double sine = 0;
    double cosine = 0;
    double power = 0;
    for (int n = 0; n < samples.size(); ++n) {
        const double angle = 2 * pi * hertz * n / sampleRate;
        sine += samples[n] * std::sin(angle);
        cosine += samples[n] * std::cos(angle);
        power += double(samples[n]) * samples[n];
    }
    return power > 0 ? 2 * (sine * sine + cosine * cosine) / samples.size() / power : 0;
}
