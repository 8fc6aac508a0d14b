#include "support/moviefile.h"

#include "support/testpicture.h"

#include <QProcess>
#include <QUrl>
#include <QtDebug>

#include <algorithm>

namespace {
constexpr int programMs = 60000;
const QString packetEntries = "packet=pts_time,duration_time,flags";

struct Result
{
    bool isGood = false;
    QByteArray output;
    QByteArray errors;
};

Result runProgram(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments, QIODevice::ReadOnly);
    Result result;
    const bool ended = process.waitForFinished(programMs);
    result.isGood = ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    result.output = process.readAllStandardOutput();
    result.errors = process.readAllStandardError();
    if (!result.isGood)
        qInfo().noquote() << program << arguments.join(' ') << "failed:" << result.errors << process.errorString();
    return result;
}

#ifndef Q_OS_WIN
bool hasErrorLine(const QByteArray& text)
{
    const QList<QByteArray> lines = text.toLower().split('\n');
    const bool found = std::any_of(lines.cbegin(), lines.cend(), [](const QByteArray& line) {
        return line.contains("error") || line.contains("fail") || line.contains("invalid");
    });
    if (found)
        qInfo().noquote() << text;
    return found;
}

bool playsWith(const QString& player, const QStringList& arguments)
{
    const Result result = runProgram(player, arguments);
    return result.isGood && !hasErrorLine(result.output) && !hasErrorLine(result.errors);
}
#endif

// The programs end their lines as the system does.
QStringList linesOf(const QByteArray& text)
{
    return QString::fromUtf8(text).remove('\r').split('\n', Qt::SkipEmptyParts);
}

QString firstOf(const QStringList& lines) { return lines.isEmpty() ? QString() : lines.first(); }

/// From lines of packetEntries.
double durationOf(const QStringList& packets)
{
    double first = -1;
    double last = 0;
    for (const QString& packet : packets) {
        const QStringList fields = packet.split(',');
        const double begin = fields.value(0).toDouble();
        first = first < 0 ? begin : std::min(first, begin);
        last = std::max(last, begin + fields.value(1).toDouble());
    }
    return first < 0 ? 0 : last - first;
}
} // namespace

MovieFile::MovieFile(const QString& path)
    : file(path)
{
}

bool MovieFile::decodes() const
{
    // Times as the file has them: where a stream was interrupted there are fewer pictures than its mean rate says, and
    // times rounded to that rate fall together.
    const Result result
        = runProgram("ffmpeg", {"-v", "error", "-nostdin", "-i", file, "-enc_time_base", "-1", "-f", "null", "-"});
    if (!result.errors.isEmpty())
        qInfo().noquote() << file << result.errors;
    return result.isGood && result.errors.isEmpty();
}

bool MovieFile::plays() const
{
#ifdef Q_OS_WIN
    return decodes();
#else
    const QString uri = QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded);
    return playsWith("mpv", {"--no-config", "--vo=null", "--ao=null", "--ao-null-untimed", "--untimed",
                             "--msg-level=all=warn", file})
        && playsWith("gst-launch-1.0", {"-q", "playbin", "uri=" + uri, "video-sink=fakesink sync=false",
                                        "audio-sink=fakesink sync=false"});
#endif
}

QStringList MovieFile::probe(const QString& streams, const QString& entries) const
{
    return linesOf(runProgram("ffprobe", {"-v", "error", "-select_streams", streams, "-show_entries", entries, "-of",
                                          "csv=p=0", file})
                       .output);
}

int MovieFile::videoStreams() const { return probe("v", "stream=index").size(); }

int MovieFile::audioStreams() const { return probe("a", "stream=index").size(); }

QString MovieFile::videoCodec() const { return firstOf(probe("v:0", "stream=codec_name")); }

QString MovieFile::audioCodec() const { return firstOf(probe("a:0", "stream=codec_name")); }

QString MovieFile::size() const { return firstOf(probe("v:0", "stream=width,height")).replace(',', 'x'); }

const QStringList& MovieFile::videoPackets() const
{
    if (videoLines.isEmpty())
        videoLines = probe("v:0", packetEntries);
    return videoLines;
}

int MovieFile::pictureCount() const { return videoPackets().size(); }

double MovieFile::videoDuration() const { return durationOf(videoPackets()); }

double MovieFile::audioDuration() const { return durationOf(probe("a:0", packetEntries)); }

bool MovieFile::startsWithKeyFrame() const { return firstOf(videoPackets()).section(',', 2).startsWith('K'); }

QStringList MovieFile::frameHashes(const QStringList& codec) const
{
    QStringList hashes;
    const Result result = runProgram("ffmpeg",
                                     QStringList{"-v", "error", "-nostdin", "-i", file, "-map", "0:v:0"} + codec
                                         + QStringList{"-f", "framemd5", "-"});
    for (const QString& line : linesOf(result.output)) {
        if (!line.startsWith('#'))
            hashes << line.section(',', -1).trimmed();
    }
    return hashes;
}

QStringList MovieFile::packetHashes() const { return frameHashes({"-c", "copy"}); }

QStringList MovieFile::pictureHashes() const { return frameHashes({"-fps_mode", "passthrough"}); }

QVector<int> MovieFile::pictureNumbers() const
{
    const QString dimensions = size();
    const int width = dimensions.section('x', 0, 0).toInt();
    const int height = dimensions.section('x', 1, 1).toInt();
    const Result result = runProgram("ffmpeg", {"-v", "error", "-nostdin", "-i", file, "-map", "0:v:0", "-fps_mode",
                                                "passthrough", "-pix_fmt", "yuv420p", "-f", "rawvideo", "-"});
    QVector<int> numbers;
    const int pictureBytes = width * height * 3 / 2;
    for (int offset = 0; pictureBytes > 0 && offset + pictureBytes <= result.output.size(); offset += pictureBytes)
        numbers << TestPicture::number(reinterpret_cast<const quint8*>(result.output.constData()) + offset, width,
                                       height, width);
    return numbers;
}
