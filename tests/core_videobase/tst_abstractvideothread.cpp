#include "core_videobase/abstractvideothread.h"

#include "support/messageguard.h"

#include <QSignalSpy>
#include <QTest>

class TestAbstractVideoThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void getSaveInterval_isMinusOne_whenTypeIsOutOfRange()
    {
        const AbstractVideoThread thread;
        QCOMPARE(thread.getSaveInterval(AbstractVideoThread::RECORD_TYPE_MAX), -1);
    }
};

QTEST_GUILESS_MAIN(TestAbstractVideoThread)
#include "tst_abstractvideothread.moc"
