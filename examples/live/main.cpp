// One channel of a device, live.
//
//     live                          the test picture that is built in
//     live ADDRESS [SUB-ADDRESS]    a camera: its main stream, and its sub stream
#include <core_live/livevideowidget.h>
#include <devnet/mediadevice.h>
#include <vantor.h>

#include <QApplication>

namespace {

QSharedPointer<XNetDevice> makeDevice(const QStringList& addresses)
{
    MediaDeviceConfig config = MediaDeviceConfig::builtIn();
    if (!addresses.isEmpty())
        config.channels = {{"Camera", addresses}};
    return QSharedPointer<XNetDevice>(new MediaDevice(config));
}

int show(const QSharedPointer<XNetDevice>& device)
{
    LiveVideoWidget video(device->getStreamProtocol());
    video.setVideoMode(VideoMode_Opengl);
    video.resize(960, 540);
    video.show();

    const int channel = 0;
    const int mainStream = 1; // a bit for each stream that is opened
    if (!video.init(device, channel, mainStream) || !video.start())
        return 1;
    video.playStart(0);
    return QApplication::exec();
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    Vantor::init();
    const int result = show(makeDevice(application.arguments().mid(1)));
    Vantor::release(); // ends the streams that widgets share
    return result;
}
