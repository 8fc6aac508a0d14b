#include "syncclip.h"

#include "support/cputime.h"

bool SyncClip::make(const QString& file, int seconds)
{
    const QString isOn = QString("lt(mod(t\\,%1)\\,0.2)").arg(periodMs / 1000.0);
    const QString picture
        = QString("color=black:size=320x240:rate=25:duration=%1,drawbox=color=white:t=fill:enable='%2'");
    const QString sound = QString("aevalsrc='if(%2\\,0.8*sin(2*PI*1000*t)\\,0)':s=8000:d=%1");
    const QStringList inputs{"-f", "lavfi", "-i", picture.arg(seconds).arg(isOn),
                             "-f", "lavfi", "-i", sound.arg(seconds).arg(isOn)};
    const QString codecs = "-c:v libx264 -preset ultrafast -tune zerolatency -g 25 -c:a pcm_mulaw";
    return CpuTime::ofProgram("ffmpeg",
                              QStringList{"-v", "error", "-y"} + inputs + codecs.split(' ') + QStringList{file})
        >= 0;
}
