#include "backgroundlookup.h"
#include "recordingfolders.h"
#include "recordinglist.h"
#include "support/timezone.h"
#include "timelinescale.h"
#include "walltime.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>

namespace {

using namespace WallTime;

qint64 at(const QString& time) { return of(QDateTime::fromString(time, "yyyy-MM-dd HH:mm:ss")); }

RecordedSpan span(const QString& begin, const QString& end) { return {at(begin), at(end)}; }

} // namespace

/// The time line's arithmetic, the times and lists of recordings, and how they are looked for: all without windows.
class TestViewerTimeline : public QObject
{
    Q_OBJECT

private:
    static TimelineScale scale(int width = 960)
    {
        TimelineScale made;
        made.setDay(at("2024-03-05 00:00:00"));
        made.setWidth(width);
        return made;
    }

private Q_SLOTS:
    // --- The scale

    void position_isThatOfTheTime()
    {
        const TimelineScale whole = scale();
        QCOMPARE(whole.position(whole.dayBegin()), 0.0);
        QCOMPARE(whole.position(at("2024-03-05 06:00:00")), 240.0);
        QCOMPARE(whole.position(whole.dayEnd()), 960.0);
        QCOMPARE(whole.time(480.0), at("2024-03-05 12:00:00"));
    }

    void time_staysWithinTheDay()
    {
        const TimelineScale whole = scale();
        QCOMPARE(whole.time(-50.0), whole.dayBegin());
        QCOMPARE(whole.time(5000.0), whole.dayEnd());
    }

    void zoom_keepsWhatIsBelowThePointer()
    {
        TimelineScale part = scale();
        const qint64 time = at("2024-03-05 10:00:00");
        const double position = part.position(time);
        for (int step = 0; step < 20; ++step) {
            part.zoom(1.35, position);
            QVERIFY(qAbs(part.position(time) - position) < 0.5);
        }
        QVERIFY(part.end() - part.begin() < 5 * minute);
    }

    void zoom_endsAtAMinuteAndAtTheDay()
    {
        TimelineScale part = scale();
        part.zoom(1e9, 480.0);
        QCOMPARE(part.end() - part.begin(), TimelineScale::shortestLength);
        QVERIFY(!part.isWholeDay());
        part.zoom(1e-9, 10.0);
        QVERIFY(part.isWholeDay());
        QCOMPARE(part.begin(), part.dayBegin());
        part.zoom(0.0, 10.0); // no factor
        QVERIFY(part.isWholeDay());
    }

    void zoom_atTheEdgeStaysWithinTheDay()
    {
        TimelineScale part = scale();
        part.zoom(24.0, 960.0);
        QCOMPARE(part.end(), part.dayEnd());
        QCOMPARE(part.end() - part.begin(), hour);
        part.zoom(1.0 / 12.0, 0.0);
        QCOMPARE(part.end(), part.dayEnd());
        QCOMPARE(part.begin(), at("2024-03-05 12:00:00"));
    }

    void pan_goesAsFarAsTheDay()
    {
        TimelineScale part = scale();
        part.pan(100.0);
        QCOMPARE(part.begin(), part.dayBegin()); // all is seen
        part.zoom(24.0, 480.0);
        const qint64 begin = part.begin();
        part.pan(-96.0); // a tenth of an hour
        QCOMPARE(part.begin(), begin + 6 * minute);
        part.pan(1e7);
        QCOMPARE(part.begin(), part.dayBegin());
        part.pan(-1e7);
        QCOMPARE(part.end(), part.dayEnd());
    }

    void show_movesWhatIsSeen()
    {
        TimelineScale part = scale();
        part.zoom(24.0, 0.0);
        part.show(at("2024-03-05 00:30:00"));
        QCOMPARE(part.begin(), part.dayBegin()); // it was seen
        part.show(at("2024-03-05 15:00:00"));
        QVERIFY(part.begin() < at("2024-03-05 15:00:00") && part.end() > at("2024-03-05 15:00:00"));
        QCOMPARE(part.end() - part.begin(), hour);
        const qint64 begin = part.begin();
        part.show(at("2024-03-06 00:00:00")); // another day
        QCOMPARE(part.begin(), begin);
    }

    void marks_areFarEnoughApart_data()
    {
        QTest::addColumn<double>("factor");
        QTest::addColumn<qint64>("step");
        QTest::newRow("day") << 1.0 << 2 * hour;
        QTest::newRow("6 hours") << 4.0 << 30 * minute;
        QTest::newRow("an hour") << 24.0 << 5 * minute;
        QTest::newRow("a minute") << 1440.0 << 5 * second;
    }

    void marks_areFarEnoughApart()
    {
        QFETCH(double, factor);
        QFETCH(qint64, step);
        constexpr int pixels = 74;
        TimelineScale part = scale();
        part.zoom(factor, 333.0);
        QCOMPARE(part.markStep(pixels), step);
        const QVector<qint64> marks = part.marks(step);
        QVERIFY(marks.size() >= 5);
        for (int index = 0; index < marks.size(); ++index) {
            QCOMPARE((marks.at(index) - part.dayBegin()) % step, 0LL);
            QVERIFY(marks.at(index) >= part.begin() && marks.at(index) <= part.end());
            if (index > 0)
                QVERIFY(part.position(marks.at(index)) - part.position(marks.at(index - 1)) >= pixels);
        }
    }

    void scale_worksWithoutWidth()
    {
        TimelineScale none = scale(0);
        none.zoom(3.0, 0.0);
        none.pan(1.0);
        QVERIFY(none.begin() >= none.dayBegin() && none.end() <= none.dayEnd());
        QVERIFY(!none.marks(none.markStep(74)).isEmpty());
    }

    // --- The time

    void everyDayHas24Hours_data()
    {
        QTest::addColumn<QString>("day");
        QTest::newRow("an hour less") << "2024-03-31";
        QTest::newRow("an hour more") << "2024-10-27";
        QTest::newRow("as ever") << "2024-05-06";
    }

    void everyDayHas24Hours()
    {
        QFETCH(QString, day);
        const TimeZone zone("Europe/Berlin");
        const QDate date = QDate::fromString(day, Qt::ISODate);
        for (int seconds = 0; seconds < 24 * 3600; seconds += 600) {
            const QTime time = QTime(0, 0).addSecs(seconds);
            const qint64 counted = startOf(date) + seconds * second;
            QCOMPARE(of(QDateTime(date, time)), counted); // also in the hour that there is not
            QVERIFY(moment(counted).isValid());
            QCOMPARE(moment(counted).date(), date);
            QCOMPARE(moment(counted).time(), time);
            QCOMPARE(dateOf(counted), date);
        }
        QCOMPARE(startOf(date.addDays(1)) - startOf(date), 24 * hour);
    }

    void moment_isLocalTime()
    {
        const TimeZone zone("Europe/Berlin");
        QCOMPARE(moment(at("2024-05-06 07:08:09")), QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9)));
        QCOMPARE(moment(at("2024-05-06 07:08:09")).timeSpec(), Qt::LocalTime);
        QCOMPARE(text(at("2024-05-06 07:08:09"), "yyyy-MM-dd HH:mm:ss"), QString("2024-05-06 07:08:09"));
    }

    // --- The list

    void list_isInOrder()
    {
        const RecordingList list({span("2024-03-05 12:00:00", "2024-03-05 12:10:00"),
                                  span("2024-03-05 08:00:00", "2024-03-05 09:00:00")});
        QCOMPARE(list.count(), 2);
        QCOMPARE(list.last()->begin, at("2024-03-05 12:00:00"));
        QVERIFY(list.at(at("2024-03-05 08:30:00")));
        QVERIFY(!list.at(at("2024-03-05 09:00:00")));
        QVERIFY(!list.at(at("2024-03-05 07:59:59")));
        QCOMPARE(list.next(at("2024-03-05 08:00:00"))->begin, at("2024-03-05 12:00:00"));
        QCOMPARE(list.next(at("2024-03-05 07:00:00"))->begin, at("2024-03-05 08:00:00"));
        QVERIFY(!list.next(at("2024-03-05 12:00:00")));
        QCOMPARE(list.previous(at("2024-03-05 12:00:00"))->begin, at("2024-03-05 08:00:00"));
        QVERIFY(!list.previous(at("2024-03-05 08:00:00")));
    }

    void list_ofNothing()
    {
        const RecordingList list;
        QVERIFY(list.isEmpty());
        QVERIFY(!list.at(0) && !list.next(0) && !list.previous(0) && !list.last());
        QVERIFY(list.within(0, 1000).isEmpty());
        QVERIFY(list.days(QDate(2024, 1, 1), QDate(2024, 12, 31)).isEmpty());
    }

    void days_ofARecordingAcrossMidnight()
    {
        const RecordingList list({span("2024-03-05 23:50:00", "2024-03-06 00:10:00"),
                                  span("2024-03-08 22:00:00", "2024-03-09 00:00:00")});
        const QSet<QDate> wanted{QDate(2024, 3, 5), QDate(2024, 3, 6), QDate(2024, 3, 8)};
        QCOMPARE(list.days(QDate(2024, 2, 1), QDate(2024, 3, 31)), wanted);
        QCOMPARE(list.days(QDate(2024, 3, 6), QDate(2024, 3, 7)), QSet<QDate>{QDate(2024, 3, 6)});
        QCOMPARE(list.within(startOf(QDate(2024, 3, 6)), startOf(QDate(2024, 3, 7))).size(), 1);
        QCOMPARE(list.within(startOf(QDate(2024, 3, 9)), startOf(QDate(2024, 3, 10))).size(), 0);
    }

    /// The clock was put back while it was recorded, or it was over within a second.
    void recordingThatEndsBeforeItBegins_canBeFound()
    {
        const RecordingList list({span("2024-10-27 02:59:50", "2024-10-27 02:00:10"),
                                  span("2024-10-28 10:00:00", "2024-10-28 10:00:00")});
        QVERIFY(list.at(at("2024-10-27 02:59:50")));
        QVERIFY(list.at(at("2024-10-28 10:00:00")));
        QCOMPARE(list.days(QDate(2024, 10, 1), QDate(2024, 10, 31)),
                 (QSet<QDate>{QDate(2024, 10, 27), QDate(2024, 10, 28)}));
    }

    void at_knowsRecordingsThatOverlap()
    {
        const RecordingList list({span("2024-03-05 08:00:00", "2024-03-05 12:00:00"),
                                  span("2024-03-05 09:00:00", "2024-03-05 09:10:00")});
        QCOMPARE(list.at(at("2024-03-05 09:05:00"))->begin, at("2024-03-05 09:00:00"));
        QCOMPARE(list.at(at("2024-03-05 11:00:00"))->begin, at("2024-03-05 08:00:00"));
    }

    /// A recording without an end, as far as anybody knows.
    void days_areThoseThatWereAskedFor()
    {
        const RecordingList list({span("2024-03-05 08:00:00", "9999-01-01 00:00:00")});
        QCOMPARE(list.days(QDate(2024, 3, 1), QDate(2024, 3, 10)).size(), 6);
    }

    // --- Looking for folders

    void folders_areThoseWithFinishedRecordings()
    {
        const QTemporaryDir root;
        const auto touch = [&root](const QString& name) {
            QDir(root.path()).mkpath(QFileInfo(root.filePath(name)).path());
            QFile file(root.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
        };
        touch("01/2024-03-05/live/20240305T100000_20240305T100005_1.mp4");
        touch("Gate-1-main/2024-03-05/live/20240305T100000_20240305T100005_0.mp4");
        touch("Gate-1-main/2024-03-06/live/20240306T100000_20240306T100005_0.mp4");
        touch("02/2024-03-05/live/20240305T100000.mp4"); // still being written
        touch("two/20240305T100000_20240305T100005_7.mp4");
        touch("two/20240305T100000_20240305T100005_3.mp4");
        touch("20240305T100000_20240305T100005_9.mp4"); // of no folder
        touch("other/holiday.mp4");
        QDir(root.path()).mkpath("empty");

        QStringList found;
        for (const RecordingFolder& folder : findRecordingFolders({root.filePath("nothing"), root.path()}))
            found.append(QString("%1 %2").arg(QDir(root.path()).relativeFilePath(folder.path)).arg(folder.number));
        QCOMPARE(found, (QStringList{"01 1", "Gate-1-main 0", "two 3", "two 7"}));
    }

    // --- Looking things up

    void lookup_answersHere_andWorksElsewhere()
    {
        BackgroundLookup lookup;
        std::atomic<QThread*> workedIn{nullptr};
        QThread* answeredIn = nullptr;
        lookup.ask([&]() -> BackgroundLookup::Answer {
            workedIn = QThread::currentThread();
            return [&] { answeredIn = QThread::currentThread(); };
        });
        QVERIFY(lookup.isAsking());
        QTRY_COMPARE(answeredIn, QThread::currentThread());
        QVERIFY(workedIn.load() && workedIn.load() != QThread::currentThread());
        QVERIFY(!lookup.isAsking());
    }

    void lookup_answersTheLatestQuestionAlone()
    {
        BackgroundLookup lookup;
        std::atomic<bool> isSlow{true};
        QStringList answers;
        lookup.ask([&]() -> BackgroundLookup::Answer {
            while (isSlow)
                QThread::msleep(1);
            return [&] { answers.append("first"); };
        });
        lookup.ask([&]() -> BackgroundLookup::Answer { return [&] { answers.append("second"); }; });
        QTRY_COMPARE(answers, QStringList{"second"}); // the slow one does not hold it up
        isSlow = false;
        QTest::qWait(50);
        QCOMPARE(answers, QStringList{"second"});
        lookup.ask([&]() -> BackgroundLookup::Answer { return [&] { answers.append("third"); }; });
        lookup.drop();
        QTest::qWait(50);
        QCOMPARE(answers, QStringList{"second"});
    }

    void lookup_mayEndWhileItAsks()
    {
        std::atomic<int> worked{0};
        bool isAnswered = false;
        {
            BackgroundLookup lookup;
            lookup.ask([&]() -> BackgroundLookup::Answer {
                QThread::msleep(20);
                ++worked;
                return [&] { isAnswered = true; };
            });
            QTest::qWait(5);
        }
        QTest::qWait(20);
        QVERIFY(worked <= 1);
        QVERIFY(!isAnswered);
    }
};

QTEST_GUILESS_MAIN(TestViewerTimeline)

#include "tst_viewertimeline.moc"
