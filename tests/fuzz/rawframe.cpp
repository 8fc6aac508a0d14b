// Files of raw pictures as the OpenGL renderers read and paint them, while size and line sizes change.

#include "core_opengl/rawframe.h"
#include "fuzz/fuzzing.h"

namespace {
std::uint8_t sum; // of what a paint would have read

/// What an upload of that plane reads.
void paint(const quint8* plane, int rowBytes, int rows, int linesize)
{
    const qint64 step = linesize == 0 ? rowBytes : linesize;
    for (qint64 row = 0; row < rows; ++row) {
        for (int x = 0; x < rowBytes; ++x)
            sum = std::uint8_t(sum + plane[row * step + x]);
    }
}

int takeSide(FuzzInput& input) { return input.byte() % 16 ? input.word() % 512 : int(input.number()); }
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int largestSide = 2048; // beyond it a buffer alone takes most of the time
    FuzzInput input(data, size);
    const QString name = fuzzFolder() + "/pictures.yuv";
    QFile file(name);
    require(file.open(QIODevice::ReadWrite | QIODevice::Truncate), "the file is open");
    const QByteArray content = input.bytes(input.word());
    file.write(content.repeated(1 + input.byte()));
    file.seek(0);

    RawFrame frame;
    while (!input.isEmpty()) {
        const int width = takeSide(input);
        const int height = takeSide(input);
        if (input.byte() % 2 && width <= largestSide && height <= largestSide)
            frame.allocate(width, height);
        frame.read(file, width, height);
        const quint8* plane = frame.at(input.number() % (largestSide * largestSide));
        const int linesize = takeSide(input);
        if (plane && width > 0 && width <= largestSide && height <= largestSide
            && frame.covers(plane, width, height, linesize))
            paint(plane, width, height, linesize);
    }
    return 0;
}
