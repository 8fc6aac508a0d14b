#include "devnet/talksink.h"

#include <QDataStream>
#include <QDateTime>
#include <QDir>

namespace {

constexpr quint16 muLaw = 7; // format tag
constexpr quint32 sampleRate = 8000;
constexpr quint32 headerBytes = 58;

/// The header of a WAV file with that many bytes of sound behind it.
QByteArray header(quint32 soundBytes)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream.writeRawData("RIFF", 4);
    stream << headerBytes - 8 + soundBytes;
    stream.writeRawData("WAVEfmt ", 8);
    stream << quint32(18) << muLaw << quint16(1) << sampleRate << sampleRate << quint16(1) << quint16(8) << quint16(0);
    stream.writeRawData("fact", 4);
    stream << quint32(4) << soundBytes;
    stream.writeRawData("data", 4);
    stream << soundBytes;
    return bytes;
}

} // namespace

TalkSink::TalkSink(const QString& path)
    : folder(path)
{
}

TalkSink::~TalkSink() { stop(); }

XRetError TalkSink::start()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (folder.isEmpty())
        return XRet::NotSupported;
    if (file.isOpen())
        return XRet::Busy;
    return makeFile() ? XRet::Ok : CannotWrite;
}

bool TalkSink::makeFile()
{
    if (!QDir().mkpath(folder))
        return false;
    const QString begin = folder + '/' + QDateTime::currentDateTime().toString("yyyyMMddTHHmmss");
    QString name = begin + ".wav";
    for (int number = 2; QFile::exists(name); ++number)
        name = QString("%1_%2.wav").arg(begin).arg(number);
    file.setFileName(name);
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(header(0)) == qint64(headerBytes);
}

XRetError TalkSink::stop()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (!file.isOpen())
        return XRet::Ok;
    const bool isWhole = writeHeader();
    file.close();
    return isWhole ? XRet::Ok : CannotWrite;
}

bool TalkSink::writeHeader()
{
    const qint64 soundBytes = file.size() - headerBytes;
    return file.seek(0) && file.write(header(quint32(qMax(qint64(0), soundBytes)))) == qint64(headerBytes);
}

XRetError TalkSink::write(const char* data, int length)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (!file.isOpen())
        return XRet::NotSupported;
    return file.write(data, length) == length ? XRet::Ok : CannotWrite;
}
