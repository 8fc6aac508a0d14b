// What the library's road from telephone sound to AAC costs above the codec itself, and beside the faac command.
// README.md in benchmarks/ says what is compared with what.
//
//     bench_aacencoder [minutes of sound] [rounds]
//
// Exit status 1 when the own part of G.711 is above 5 %, 2 when outputs that should be the same are not.

#include "aacencoder/g711atopcm.h"
#include "aacencoder/g711utopcm.h"
#include "aacencoder/g726topcm.h"
#include "pairedround.h"
#include "support/cputime.h"
#include "support/spread.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace {
constexpr double mostOwnPart = 0.05;

/// A program as a whole is disturbed more than the slices of a round are.
constexpr int commandRoundsPerRound = 3;

enum Result {
    Good,
    TooSlow,
    Failed
};

/// Adds the library's CPU time above the codec's to @p ownPart, as a fraction of the codec's; false when the outputs
/// differ. With @p decoder the codec's side decodes too.
bool measureOwnPart(Sound& sound, IDecodeToPcm* decoder, int rounds, Spread& ownPart)
{
    for (int round = -1; round < rounds; ++round) {
        PairedRound pair(sound, decoder);
        pair.run();
        if (!pair.isSame())
            return false;
        if (round >= 0) // the one before only touches the memory
            ownPart.add(pair.ownPart());
    }
    return true;
}

void printPercent(const char* what, const Spread& part)
{
    std::printf("%-60s %6.2f %%  (%.2f to %.2f)\n", what, part.median() * 100, part.lowest() * 100,
                part.highest() * 100);
}

bool writeFile(const QString& name, const void* data, qint64 bytes)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write(static_cast<const char*>(data), bytes) == bytes;
}

QByteArray readFile(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void encodeFile(const Easy_AACEncoder_Record& record, const QString& codesFile, const QString& aacFile)
{
    const QByteArray codes = readFile(codesFile);
    QByteArray aac;
    LibraryEncoder(record).encode(codes, 0, codes.size(), aac);
    writeFile(aacFile, aac.constData(), aac.size());
}

/// File to file on both sides. The command is given the settings that the library has.
bool measureBesideCommand(const Sound& sound, int rounds, Spread& ratio, Spread& library, Spread& command)
{
    const QTemporaryDir folder;
    const QString codesFile = folder.filePath("in.g711");
    const QString pcmFile = folder.filePath("in.raw");
    const QString ours = folder.filePath("ours.aac");
    const QString theirs = folder.filePath("theirs.aac");
    const QStringList arguments{"-v0", "-P", "-X", "-R", QString::number(Sound::sampleRate), "-C", "1", "--mpeg-vers",
                                "2", "--no-tns", "-c", QString::number(Sound::sampleRate * 42 / 100), "--overwrite",
                                "-o", theirs, pcmFile};
    if (!writeFile(codesFile, sound.codes.constData(), sound.codes.size())
        || !writeFile(pcmFile, sound.samples.constData(), sound.samples.size() * qint64(sizeof(qint16))))
        return false;

    for (int round = -1; round < rounds * commandRoundsPerRound; ++round) {
        double libraryTime = 0;
        const auto runLibrary = [&] { libraryTime = CpuTime::of([&] { encodeFile(sound.record, codesFile, ours); }); };
        if (round % 2 == 0)
            runLibrary();
        const double commandTime = CpuTime::ofProgram("faac", arguments);
        if (round % 2 != 0)
            runLibrary();
        const QByteArray aac = readFile(ours);
        if (commandTime < 0 || aac.isEmpty() || !readFile(theirs).startsWith(aac))
            return false;
        if (round < 0)
            continue;
        ratio.add(libraryTime / commandTime);
        library.add(libraryTime);
        command.add(commandTime);
    }
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    const int minutes = argc > 1 ? std::atoi(argv[1]) : 10;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 9;
    if (minutes < 1 || rounds < 1)
        return Failed;
    G711AToPcm aLawDecoder;
    G711UToPcm muLawDecoder;
    G726ToPcm adpcmDecoder;
    Sound aLaw(EASY_AACENCODER_G711A, aLawDecoder, minutes * 60);
    Sound muLaw(EASY_AACENCODER_G711U, muLawDecoder, minutes * 60);
    Sound adpcm(EASY_AACENCODER_G726, adpcmDecoder, minutes * 60);

    Spread aLawPart;
    Spread muLawPart;
    Spread adpcmPart;
    Spread adpcmPartOfBoth;
    if (!measureOwnPart(aLaw, nullptr, rounds, aLawPart) || !measureOwnPart(muLaw, nullptr, rounds, muLawPart)
        || !measureOwnPart(adpcm, nullptr, rounds, adpcmPart)
        || !measureOwnPart(adpcm, &adpcmDecoder, rounds, adpcmPartOfBoth))
        return Failed;
    std::printf("%d minutes of sound, median of %d paired rounds (lowest to highest)\n", minutes, rounds);
    printPercent("own part above FAAC, G.711 A-law", aLawPart);
    printPercent("own part above FAAC, G.711 u-law", muLawPart);
    printPercent("own part above FAAC and the G.726 decoder, 32 kbit/s", adpcmPartOfBoth);
    printPercent("  with its decoding, above FAAC alone", adpcmPart);

    Spread ratio;
    Spread library;
    Spread command;
    if (!measureBesideCommand(aLaw, rounds, ratio, library, command))
        return Failed;
    std::printf("G.711 A-law file to AAC file: library %.3f s, faac command %.3f s of CPU, ratio %.3f (%.3f to %.3f)\n",
                library.median(), command.median(), ratio.median(), ratio.lowest(), ratio.highest());
    return aLawPart.median() <= mostOwnPart && muLawPart.median() <= mostOwnPart ? Good : TooSlow;
}
