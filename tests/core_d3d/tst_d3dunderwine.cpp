#include <QGuiApplication>
#include <QMap>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int startLimit = 120000; // ms, for the first process in a new prefix
constexpr int runLimit = 240000; // ms
constexpr int endLimit = 30000; // ms

const char program[] = VANTOR_TEST_D3D_PROGRAM;

struct Result
{
    bool passed = false;
    QString why;
};

/// "PASS name" or "FAIL name why", with further lines of the reason below.
QMap<QString, Result> parsed(const QString& output)
{
    QMap<QString, Result> results;
    QString current;
    for (const QString& line : output.split('\n')) {
        const QString name = line.section(' ', 1, 1).trimmed();
        if (line.startsWith("PASS ")) {
            results[name].passed = true;
        } else if (line.startsWith("FAIL ")) {
            current = name;
            results[name].why = line.section(' ', 2);
        } else if (line.startsWith(' ') && !current.isEmpty()) {
            results[current].why += '\n' + line;
        }
    }
    return results;
}

/// Empty where the screen has nearly that color.
QString mismatch(const QPoint& position, const QColor& color)
{
    const QImage screen = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
    const QColor pixel = screen.pixelColor(position);
    const bool isNear = qAbs(pixel.red() - color.red()) < 8 && qAbs(pixel.green() - color.green()) < 8
        && qAbs(pixel.blue() - color.blue()) < 8;
    return isNear ? QString() : QString("%1 and not %2").arg(pixel.name(), color.name());
}

} // namespace

/// The Direct3D renderers' own program of tests (wine/), run by Wine in a prefix that is made for it.
class TestD3DUnderWine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(prefix.isValid());
        environment.insert("WINEPREFIX", prefix.path());
        environment.insert("WINEARCH", "win64");
        // No .NET and no HTML in the prefix, and no debugger that waits for somebody after a crash.
        environment.insert("WINEDLLOVERRIDES", "mscoree,mshtml,winedbg.exe=");
        environment.insert("WINEDEBUG", "-all");
        QCOMPARE(run(VANTOR_TEST_WINE, {"wineboot", "-i"}, environment, startLimit), QString());
    }

    void cleanupTestCase()
    {
        run(VANTOR_TEST_WINESERVER, {"-k"}, environment, endLimit);
        QCOMPARE(run(VANTOR_TEST_WINESERVER, {"-w"}, environment, endLimit), QString());
    }

    void presenter_data()
    {
        const QString failure = run(VANTOR_TEST_WINE, {program}, environment, runLimit);
        const QMap<QString, Result> results = parsed(output);
        QTest::addColumn<bool>("passed");
        QTest::addColumn<QString>("why");
        for (auto result = results.cbegin(); result != results.cend(); ++result)
            QTest::newRow(qPrintable(result.key())) << result->passed << result->why;
        const bool isComplete = output.contains(QString("DONE %1 cases").arg(results.size())) && !results.isEmpty();
        QTest::newRow("all cases") << (isComplete && failure.isEmpty()) << failure + "\n" + output;
    }

    void presenter()
    {
        QFETCH(bool, passed);
        QFETCH(QString, why);
        QVERIFY2(passed, qPrintable(why));
    }

    void window_showsTheFrame_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<QColor>("red");
        QTest::addColumn<QColor>("green");
        QTest::addColumn<QColor>("blue");
        QTest::addColumn<QColor>("white");
        QTest::newRow("Direct3D 11") << "show11" << QColor(254, 0, 0) << QColor(0, 255, 1) << QColor(0, 0, 255)
                                     << QColor(255, 255, 255);
        // Wine takes the picture for one of the full range.
        QTest::newRow("Direct3D 9") << "show9" << QColor(238, 14, 14) << QColor(13, 237, 14) << QColor(16, 15, 239)
                                    << QColor(235, 235, 235);
    }

    void window_showsTheFrame()
    {
        QFETCH(QString, what);
        QFETCH(QColor, red);
        QFETCH(QColor, green);
        QFETCH(QColor, blue);
        QFETCH(QColor, white);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(VANTOR_TEST_WINE, {program, what});
        QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning || process.canReadLine(), startLimit);
        QCOMPARE(process.readLine().trimmed(), QByteArray("SHOWN"));
        // The window lies at 100, 80 and is 320 x 240 pixels large; the picture has four quarters. At its edges the
        // sampler, which wraps around, mixes in the colours of the other side.
        QTRY_COMPARE(mismatch({115, 95}, red), QString());
        QCOMPARE(mismatch({235, 175}, red), QString());
        QCOMPARE(mismatch({405, 95}, green), QString());
        QCOMPARE(mismatch({405, 305}, blue), QString());
        QCOMPARE(mismatch({115, 305}, white), QString());
        process.write("\n");
        QVERIFY(process.waitForFinished(endLimit));
        QCOMPARE(process.exitCode(), 0);
    }

    void devices_areDoneWithout_whenThereIsNoDisplay()
    {
        QProcessEnvironment alone = environment;
        alone.remove("DISPLAY");
        QCOMPARE(run(VANTOR_TEST_WINE, {program, "alone"}, alone, startLimit), QString());
        QVERIFY2(output.contains("DONE"), qPrintable(output));
    }

private:
    /// Empty when the program ended well; what it wrote is in output.
    QString run(const QString& name, const QStringList& arguments, const QProcessEnvironment& variables, int limit)
    {
        QProcess process;
        process.setProcessEnvironment(variables);
        process.start(name, arguments);
        if (!process.waitForFinished(limit)) {
            process.kill();
            process.waitForFinished(endLimit);
            output = process.readAllStandardOutput();
            return name + " does not end";
        }
        output = QString::fromLocal8Bit(process.readAllStandardOutput()).remove('\r');
        return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
            ? QString()
            : QString("%1 ended with %2: %3")
                  .arg(name)
                  .arg(process.exitCode())
                  .arg(QString(process.readAllStandardError()));
    }

    const QTemporaryDir prefix;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QString output;
};

QTEST_MAIN(TestD3DUnderWine)
#include "tst_d3dunderwine.moc"
