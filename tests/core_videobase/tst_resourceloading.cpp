#include <QFile>
#include <QLibrary>
#include <QTest>

namespace {
const char* const resources[] = {
    ":/font/iconfont.ttf", ":/image/close_volume.svg", ":/image/mic-close.svg",
    ":/image/mic.svg",     ":/image/snap.svg",         ":/image/volume.svg",
};
} // namespace

/// A process that starts without the library, as a host does that loads it on demand.
class TestResourceLoading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resources_comeAndGo_withTheLibrary()
    {
        for (int round = 0; round < 2; ++round) {
            verifyResources(false);
            QLibrary library(VANTOR_LIBRARY_FILE);
            QVERIFY2(library.load(), qPrintable(library.errorString()));
            verifyResources(true);
            QVERIFY2(library.unload(), qPrintable(library.errorString()));
            verifyResources(false);
        }
    }

private:
    void verifyResources(bool expected)
    {
        for (const char* resource : resources)
            QVERIFY2(QFile::exists(resource) == expected, resource);
    }
};

QTEST_GUILESS_MAIN(TestResourceLoading)
#include "tst_resourceloading.moc"
