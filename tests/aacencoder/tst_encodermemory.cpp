#include "encoderptr.h"

#include <QTest>

#include <malloc.h>

/// Where an encoder's memory is, with glibc's allocator.
class TestEncoderMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// In an arena all of it would stay in the process.
    void init_mapsTheEncoder_alsoWhenOneWasReleased()
    {
        constexpr size_t encoderBytes = 11 * 1024 * 1024;
        Easy_AACEncoder_Record record{};
        record.audioCodec = EASY_AACENCODER_G711A;
        record.channels = 1;
        record.sampleRate = 8000;
        record.pcmBitSize = 16;
        for (int round = 0; round < 3; ++round) {
            const size_t before = mallinfo2().hblkhd;
            const EncoderPtr encoder(Easy_AACEncoder_Init(record));
            QVERIFY(encoder);
            QVERIFY(mallinfo2().hblkhd >= before + encoderBytes);
        }
    }
};

QTEST_GUILESS_MAIN(TestEncoderMemory)
#include "tst_encodermemory.moc"
