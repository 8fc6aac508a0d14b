#include "core_videobase/abstractvideothread.h"

#include "support/messageguard.h"

#include <QDir>
#include <QFile>
#include <QFontDatabase>
#include <QIcon>
#include <QPainter>
#include <QPainterPath>
#include <QRawFont>
#include <QSvgRenderer>
#include <QTest>

#include <memory>

namespace {

constexpr int extent = 240;

bool isCovered(const QImage& image, int x, int y) { return qAlpha(image.pixel(x, y)) > 127; }

QImage emptyImage()
{
    QImage image(extent, extent, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QImage drawnSvg(const QString& file)
{
    QImage image = emptyImage();
    QPainter painter(&image);
    QSvgRenderer(file).render(&painter);
    return image;
}

// The glyph drawn so that its em square fills the image.
QImage drawnGlyph(const QRawFont& font, quint32 glyph)
{
    QImage image = emptyImage();
    QPainter painter(&image);
    painter.translate(0, font.ascent());
    QPainterPath outline = font.pathForGlyph(glyph);
    outline.setFillRule(Qt::WindingFill);
    painter.fillPath(outline, Qt::black);
    return image;
}

int coveredPixels(const QImage& image)
{
    int count = 0;
    for (int y = 0; y < extent; ++y) {
        for (int x = 0; x < extent; ++x)
            count += isCovered(image, x, y);
    }
    return count;
}

int differingPixels(const QImage& one, const QImage& other)
{
    int count = 0;
    for (int y = 0; y < extent; ++y) {
        for (int x = 0; x < extent; ++x)
            count += isCovered(one, x, y) != isCovered(other, x, y);
    }
    return count;
}

} // namespace

class TestEmbeddedResources : public QObject
{
    Q_OBJECT

private:
    // The linker keeps the library only when the program uses something of it.
    const qint64 libraryInUse = AbstractVideoThread::staticMetaObject.methodCount();
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard = std::make_unique<MessageGuard>(); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void directories_holdExactlyTheLibrarysFiles()
    {
        QVERIFY(libraryInUse > 0);
        QCOMPARE(QDir(":/image").entryList(QDir::Files, QDir::Name),
                 QStringList({"close_volume.svg", "mic-close.svg", "mic.svg", "snap.svg", "volume.svg"}));
        QCOMPARE(QDir(":/font").entryList(QDir::Files), QStringList{"iconfont.ttf"});
    }

    void icon_isDrawn_whenLoadedFromTheLibrary_data() { addIcons(); }
    void icon_isDrawn_whenLoadedFromTheLibrary()
    {
        QFETCH(QString, file);

        QSvgRenderer renderer(file);
        QVERIFY(renderer.isValid());
        QCOMPARE(renderer.viewBox(), QRect(0, 0, 24, 24));
        const int covered = coveredPixels(drawnSvg(file));
        QVERIFY2(covered > extent * extent / 10 && covered < extent * extent / 2, qPrintable(QString::number(covered)));
        QVERIFY(!QIcon(file).pixmap(24, 24).isNull());
    }

    void icons_differFromEachOther()
    {
        const QStringList files = QDir(":/image").entryList(QDir::Files);
        for (int i = 0; i < files.size(); ++i) {
            for (int k = i + 1; k < files.size(); ++k)
                QVERIFY(differingPixels(drawnSvg(":/image/" + files[i]), drawnSvg(":/image/" + files[k])) > 1000);
        }
    }

    void font_hasTheFamilyIconfont_whenAddedToTheDatabase()
    {
        const int id = QFontDatabase::addApplicationFont(":/font/iconfont.ttf");
        QVERIFY(id >= 0);
        QCOMPARE(QFontDatabase::applicationFontFamilies(id), QStringList{"iconfont"});
        QVERIFY(QFontDatabase::removeApplicationFont(id));
    }

    void fontGlyph_hasTheShapeOfItsIcon_data() { addIcons(); }
    void fontGlyph_hasTheShapeOfItsIcon()
    {
        QFETCH(QString, file);
        QFETCH(QString, character);

        const QRawFont font(QString(":/font/iconfont.ttf"), extent, QFont::PreferNoHinting);
        QVERIFY(font.isValid());
        const QVector<quint32> glyphs = font.glyphIndexesForString(character);
        QCOMPARE(glyphs.size(), 1);
        QVERIFY(glyphs.first() != 0);
        QCOMPARE(qRound(font.advancesForGlyphIndexes(glyphs).first().x()), extent);

        const QImage icon = drawnSvg(file);
        const int differing = differingPixels(drawnGlyph(font, glyphs.first()), icon);
        QVERIFY2(differing < coveredPixels(icon) / 50, qPrintable(QString("%1 pixels differ").arg(differing)));
    }

private:
    static void addIcons()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("character");
        QTest::newRow("snap") << ":/image/snap.svg" << QString(QChar(0xE600));
        QTest::newRow("mic") << ":/image/mic.svg" << QString(QChar(0xE601));
        QTest::newRow("mic-close") << ":/image/mic-close.svg" << QString(QChar(0xE602));
        QTest::newRow("volume") << ":/image/volume.svg" << QString(QChar(0xE603));
        QTest::newRow("close_volume") << ":/image/close_volume.svg" << QString(QChar(0xE604));
    }
};

QTEST_MAIN(TestEmbeddedResources)
#include "tst_embeddedresources.moc"
