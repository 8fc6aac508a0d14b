// What the library's road from telephone sound to AAC costs above the codec itself.
//
// In one run, alternating so that both see the same machine: the C interface fed with packets of 20 ms, FAAC called
// directly with the frames of the same samples, and the faac command on them. Prints the median CPU time of each and
// the ratios; the library's own part is the first ratio less 1. Exit status 1 when that part is above 5 %.
//
//     bench_aacencoder [minutes of sound] [rounds]

#include "aacencoder/easyaacencoder.h"
#include "aacencoder/g711atopcm.h"
#include "aacencoder/g726topcm.h"

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QVector>

#include <faac.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>

#include <sys/resource.h>

namespace {
constexpr int sampleRate = 8000;
constexpr int packetBytes = 160;
constexpr double mostOwnPart = 0.05;

double cpuSeconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double cpuOf(int who, const std::function<void()>& work)
{
    const double before = cpuSeconds(who);
    work();
    return cpuSeconds(who) - before;
}

/// Bytes that vary like a voice: codes near silence with louder stretches.
QByteArray makeInput(int bytes)
{
    QByteArray input(bytes, Qt::Uninitialized);
    unsigned random = 1;
    for (int n = 0; n < bytes; ++n) {
        random = random * 1664525 + 1013904223;
        const double wave = std::sin(n * 0.3) * std::sin(n * 0.0008) * 100 + int(random >> 28);
        input[n] = char((wave < 0 ? 0 : 0x80) | (int(std::abs(wave)) & 0x7F)) ^ '\x55';
    }
    return input;
}

Easy_AACEncoder_Record recordFor(unsigned codec)
{
    Easy_AACEncoder_Record record{};
    record.audioCodec = std::uint8_t(codec);
    record.channels = 1;
    record.sampleRate = sampleRate;
    record.pcmBitSize = 16;
    record.g726Rate = EASY_AACENCODER_G726_32K;
    return record;
}

QVector<qint16> decode(IDecodeToPcm& decoder, unsigned codec, const QByteArray& input)
{
    decoder.init(recordFor(codec));
    QVector<qint16> samples(input.size() * 2 + 1);
    auto bytes = unsigned(samples.size()) * 2;
    const auto* data = reinterpret_cast<const unsigned char*>(input.constData());
    samples.resize(decoder.decode(samples.data(), &bytes, data, unsigned(input.size())) / 2);
    return samples;
}

void encodeWithLibrary(unsigned codec, const QByteArray& input)
{
    Easy_AACEncoder_Handle encoder = Easy_AACEncoder_Init(recordFor(codec));
    unsigned char output[16384];
    const auto* data = reinterpret_cast<const unsigned char*>(input.constData());
    for (int at = 0; at + packetBytes <= input.size(); at += packetBytes) {
        unsigned length = 0;
        Easy_AACEncoder_Encode(encoder, data + at, packetBytes, output, &length);
    }
    Easy_AACEncoder_Release(encoder);
}

void encodeWithFaac(QVector<qint16>& samples)
{
    unsigned long frameSamples = 0;
    unsigned long outputBytes = 0;
    faacEncHandle faac = faacEncOpen(sampleRate, 1, &frameSamples, &outputBytes);
    faacEncConfiguration* configuration = faacEncGetCurrentConfiguration(faac);
    configuration->mpegVersion = MPEG2;
    configuration->aacObjectType = LOW;
    configuration->useTns = 0;
    configuration->outputFormat = ADTS_STREAM;
    configuration->inputFormat = FAAC_INPUT_16BIT;
    faacEncSetConfiguration(faac, configuration);
    QByteArray output(int(outputBytes), Qt::Uninitialized);
    for (int at = 0; at + int(frameSamples) <= samples.size(); at += int(frameSamples))
        faacEncEncode(faac, reinterpret_cast<int32_t*>(samples.data() + at), unsigned(frameSamples),
                      reinterpret_cast<unsigned char*>(output.data()), unsigned(output.size()));
    faacEncClose(faac);
}

bool encodeWithCommand(const QString& pcmFile, const QString& aacFile)
{
    QProcess faac;
    faac.setStandardErrorFile(QProcess::nullDevice());
    faac.start("faac",
               {"-v0", "-P", "-R", QString::number(sampleRate), "-C", "1", "--overwrite", "-o", aacFile, pcmFile});
    return faac.waitForFinished(-1) && faac.exitStatus() == QProcess::NormalExit && faac.exitCode() == 0;
}

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// The library's part above FAAC, as a fraction.
double compare(const char* name, unsigned codec, const QByteArray& input, QVector<qint16> samples, int rounds)
{
    QTemporaryDir directory;
    const QString pcmFile = directory.filePath("in.raw");
    QFile file(pcmFile);
    if (!file.open(QIODevice::WriteOnly))
        return 1;
    file.write(reinterpret_cast<const char*>(samples.constData()), samples.size() * qint64(sizeof(qint16)));
    file.close();

    QVector<double> library;
    QVector<double> faac;
    QVector<double> command;
    for (int round = 0; round < rounds; ++round) {
        library.append(cpuOf(RUSAGE_SELF, [&] { encodeWithLibrary(codec, input); }));
        faac.append(cpuOf(RUSAGE_SELF, [&] { encodeWithFaac(samples); }));
        bool ok = false;
        command.append(cpuOf(RUSAGE_CHILDREN, [&] { ok = encodeWithCommand(pcmFile, directory.filePath("o.aac")); }));
        if (!ok)
            return 1;
    }
    QVector<double> toFaac;
    for (int round = 0; round < rounds; ++round)
        toFaac.append(library[round] / faac[round]);
    const double ratio = median(toFaac);
    std::printf("%-16s %.0f s of sound: library %.3f s, FAAC %.3f s, faac command %.3f s of CPU; library / FAAC %.3f, "
                "library / command %.3f\n",
                name, double(samples.size()) / sampleRate, median(library), median(faac), median(command), ratio,
                median(library) / median(command));
    return ratio - 1;
}
} // namespace

int main(int argc, char** argv)
{
    const int minutes = argc > 1 ? std::atoi(argv[1]) : 20;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    const int samples = minutes * 60 * sampleRate;

    const QByteArray g711 = makeInput(samples);
    G711AToPcm aLaw;
    const double g711Part
        = compare("G.711 A-law", EASY_AACENCODER_G711A, g711, decode(aLaw, EASY_AACENCODER_G711A, g711), rounds);

    const QByteArray g726 = makeInput(samples / 2);
    G726ToPcm adpcm;
    const double g726Part
        = compare("G.726 32 kbit/s", EASY_AACENCODER_G726, g726, decode(adpcm, EASY_AACENCODER_G726, g726), rounds);

    std::printf("own part: G.711 %.1f %%, G.726 %.1f %% (with its decoding)\n", g711Part * 100, g726Part * 100);
    return g711Part <= mostOwnPart ? 0 : 1;
}
