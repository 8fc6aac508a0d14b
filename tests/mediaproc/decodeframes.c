/* A stream of a device to pictures or sound, as a C program does it. The argument is the codec; on standard input stand
 * frames, each behind its length (four bytes, lowest first). What comes out of them goes to standard output: I420
 * planes without padding, or PCM. */
#include <mediaproc/mediaproc.h>

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

#define FRAME_BYTES (1 << 20)

static uint8_t frame[FRAME_BYTES];

static uint32_t readFrame(void)
{
    uint8_t head[4];
    uint32_t length;
    if (fread(head, 1, sizeof head, stdin) != sizeof head)
        return 0;
    length = head[0] | (uint32_t)head[1] << 8 | (uint32_t)head[2] << 16 | (uint32_t)head[3] << 24;
    if (length > FRAME_BYTES || fread(frame, 1, length, stdin) != length)
        exit(2);
    return length;
}

static void writePlane(const uint8_t* plane, int stride, int width, int height)
{
    for (int row = 0; row < height; ++row) {
        if (fwrite(plane + (ptrdiff_t)row * stride, 1, (size_t)width, stdout) != (size_t)width)
            exit(2);
    }
}

static int decodeVideo(int codec)
{
    const _tag_vdec_param_s param = {codec, 320, 240, "none"};
    _tag_yuv_frame_s picture;
    uint32_t length;
    uint64_t milliseconds = 0;
    void* decoder = mediaproc_create_video_decoder(&param);
    if (!decoder)
        return 1;
    while ((length = readFrame()) > 0) {
        if (mediaproc_decoder_video_frame(decoder, frame, length, 0, milliseconds, &picture, NULL) == -1)
            return 3;
        milliseconds += 40;
        if (!picture.plane[0])
            continue;
        writePlane(picture.plane[0], picture.y_stride, picture.width, picture.height);
        writePlane(picture.plane[1], picture.uv_stride, (picture.width + 1) / 2, (picture.height + 1) / 2);
        writePlane(picture.plane[2], picture.uv_stride, (picture.width + 1) / 2, (picture.height + 1) / 2);
    }
    return mediaproc_destroy_video_decoder(decoder);
}

static int decodeAudio(int codec)
{
    const _tag_adec_param_s param = {codec, 8000, 16, 1};
    _tag_audio_frame_s sound;
    uint32_t length;
    void* decoder = mediaproc_create_audio_decoder(&param);
    if (!decoder)
        return 1;
    while ((length = readFrame()) > 0) {
        if (mediaproc_decoder_audio_frame(decoder, frame, length, 0, &sound) == -1)
            return 3;
        if (fwrite(sound.data, 1, (size_t)sound.length, stdout) != sound.length)
            return 2;
    }
    return mediaproc_destroy_audio_decoder(decoder);
}

int main(int argc, char** argv)
{
    const int codec = argc == 2 ? atoi(argv[1]) : 0;
    mediaproc_init();
    return codec < 33 ? decodeVideo(codec) : decodeAudio(codec);
}
