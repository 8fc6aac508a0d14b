#include "devnet/mediasourceaddress.h"

#include "core_videobase/shownaddress.h"

#include <QRegularExpression>
#include <QStringList>
#include <QUrl>

namespace {

const QString testPrefix = QStringLiteral("test:");

constexpr int smallestSide = 64;
constexpr int largestWidth = 3840;
constexpr int largestHeight = 2160;
constexpr int highestRate = 60;
constexpr int lowestTone = 50;
constexpr int highestTone = 3400;

bool isWithin(int value, int lowest, int highest) { return value >= lowest && value <= highest; }

/// "640x360" or "640x360@25"; an empty text when @p option was understood and is right, a null one when it is something
/// else.
QString readSize(const QString& option, TestPictureOptions& test)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d{1,5})x(\\d{1,5})(?:@(\\d{1,5}))?$"));
    const auto match = pattern.match(option);
    if (!match.hasMatch())
        return {};
    test.width = match.captured(1).toInt();
    test.height = match.captured(2).toInt();
    if (match.lastCapturedIndex() == 3)
        test.rate = match.captured(3).toInt();
    if (!isWithin(test.width, smallestSide, largestWidth) || !isWithin(test.height, smallestSide, largestHeight)
        || test.width % 2 != 0 || test.height % 2 != 0)
        return QStringLiteral("the size must be even, and from 64x64 to 3840x2160");
    if (!isWithin(test.rate, 1, highestRate))
        return QStringLiteral("the rate must be from 1 to 60 pictures a second");
    return QStringLiteral("");
}

QString readTone(const QString& option, TestPictureOptions& test)
{
    static const QRegularExpression pattern(QStringLiteral("^tone=(\\d{1,5})$"));
    const auto match = pattern.match(option);
    if (!match.hasMatch())
        return {};
    test.toneHertz = match.captured(1).toInt();
    if (!isWithin(test.toneHertz, lowestTone, highestTone))
        return QStringLiteral("the tone must be from 50 to 3400 Hz");
    return QStringLiteral("");
}

QString readWord(const QString& option, TestPictureOptions& test)
{
    if (option == QLatin1String("h264"))
        test.h265 = false;
    else if (option == QLatin1String("h265"))
        test.h265 = true;
    else if (option == QLatin1String("ulaw"))
        test.aLaw = false;
    else if (option == QLatin1String("alaw"))
        test.aLaw = true;
    else if (option == QLatin1String("silent"))
        test.toneHertz = 0;
    else
        return {};
    return QStringLiteral("");
}

std::optional<TestPictureOptions> readTest(const QString& options, QString* error)
{
    TestPictureOptions test;
    const QStringList parts = options.split(',', Qt::SkipEmptyParts);
    for (const QString& part : parts) {
        const QString option = part.trimmed();
        QString problem = QStringLiteral("\"%1\" is no option of the test picture").arg(option);
        for (const auto read : {readSize, readTone, readWord}) {
            const QString result = read(option, test);
            if (!result.isNull())
                problem = result;
        }
        if (!problem.isEmpty()) {
            *error = problem;
            return {};
        }
    }
    return test;
}

} // namespace

std::optional<MediaSourceAddress> MediaSourceAddress::parse(const QString& entry, QString* error)
{
    MediaSourceAddress address;
    address.text = entry.trimmed();
    if (address.text.isEmpty())
        return address;
    if (address.text.startsWith(testPrefix)) {
        const auto test = readTest(address.text.mid(testPrefix.size()), error);
        if (!test)
            return {};
        address.kind = TestPicture;
        address.test = *test;
        return address;
    }
    if (address.text.startsWith(QLatin1String("file://"))) {
        address.kind = File;
        address.text = QUrl(address.text).toLocalFile();
        if (address.text.isEmpty()) {
            *error = QStringLiteral("\"%1\" names no file").arg(entry);
            return {};
        }
        return address;
    }
    address.kind = address.text.contains(QLatin1String("://")) ? Url : File;
    return address;
}

bool MediaSourceAddress::isLive() const
{
    static const QRegularExpression liveScheme(QStringLiteral("^(rtsps?|s?rtp|udp|srt|rtmps?)://"),
                                               QRegularExpression::CaseInsensitiveOption);
    return kind == Url && liveScheme.match(text).hasMatch();
}

QString MediaSourceAddress::display() const
{
    return kind == Url ? shownAddress(text) : text;
}
