#ifndef VANTOR_AACENCODER_EASYAACENCODER_H
#define VANTOR_AACENCODER_EASYAACENCODER_H

/**
 * @file
 * Telephone sound (G.711 A-law, G.711 mu-law, G.726) to AAC in ADTS frames. Plain C; needs no header of Qt.
 *
 * A complete program, G.711 A-law on standard input to a playable .aac on standard output:
 *
 * @code
 * #include <aacencoder/easyaacencoder.h>
 * #include <stdio.h>
 *
 * int main(void)
 * {
 *     Easy_AACEncoder_Record record = {0};
 *     record.audioCodec = EASY_AACENCODER_G711A;
 *     record.channels = 1;
 *     record.sampleRate = 8000;
 *     record.pcmBitSize = 16;
 *
 *     Easy_AACEncoder_Handle encoder = Easy_AACEncoder_Init(record);
 *     if (!encoder)
 *         return 1;
 *
 *     unsigned char input[160];
 *     unsigned char output[16384];
 *     size_t length;
 *     while ((length = fread(input, 1, sizeof input, stdin)) > 0) {
 *         unsigned int outputLength = 0;
 *         int bytes = Easy_AACEncoder_Encode(encoder, input, (unsigned int)length, output, &outputLength);
 *         if (bytes < 0)
 *             break;
 *         fwrite(output, 1, outputLength, stdout);
 *     }
 *     Easy_AACEncoder_Release(encoder);
 *     return 0;
 * }
 * @endcode
 *
 * Threads: the functions keep nothing outside the encoder they are given, so different encoders may be used in
 * different threads at the same time. One encoder belongs to one thread at a time; nothing in it is locked.
 *
 * Errors are return codes only. Nothing is logged, no C++ exception leaves a function.
 */

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(VANTOR_LIBRARY)
#define EASY_AACENCODER_API __declspec(dllexport)
#elif defined(_WIN32)
#define EASY_AACENCODER_API __declspec(dllimport)
#else
#define EASY_AACENCODER_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** What the input of an encoder is: values of Easy_AACEncoder_Record::audioCodec. */
enum Easy_AACEncoder_Codec {
    EASY_AACENCODER_G711U = 0, /**< G.711 mu-law, one byte a sample */
    EASY_AACENCODER_G711A = 1, /**< G.711 A-law, one byte a sample */
    EASY_AACENCODER_PCM16 = 2, /**< taken, but expanded as if it were A-law; hand in A-law */
    EASY_AACENCODER_G726 = 3 /**< G.726, 2 to 5 bits a sample by g726Rate */
};

/** Bit rate of G.726 input: values of Easy_AACEncoder_Record::g726Rate. Any other value means 16 kbit/s. */
enum Easy_AACEncoder_G726Rate {
    EASY_AACENCODER_G726_16K = 2, /**< 16 kbit/s, 2 bits a sample */
    EASY_AACENCODER_G726_24K = 3, /**< 24 kbit/s, 3 bits a sample */
    EASY_AACENCODER_G726_32K = 4, /**< 32 kbit/s, 4 bits a sample */
    EASY_AACENCODER_G726_40K = 5 /**< 40 kbit/s, 5 bits a sample */
};

/**
 * What an encoder is made for. 16 bytes in the byte order of the machine; this layout is the binary interface, so a
 * caller in another language can lay it out by hand.
 */
typedef struct Easy_AACEncoder_Record
{
    uint8_t audioCodec; /**< offset 0: Easy_AACEncoder_Codec; a value that is not listed there means A-law */
    uint8_t channels; /**< offset 1: 1 to 8; with 2 or more the input's samples are interleaved */
    uint8_t reserved[2]; /**< offset 2: not read */
    uint32_t sampleRate; /**< offset 4: samples per second and channel in Hz, 8000 for telephony; the header of a frame
                              names the nearest of AAC's rates, which are 7350 to 96000 */
    uint32_t pcmBitSize; /**< offset 8: bits of a decoded sample; 16 is the only value that is accepted */
    uint32_t g726Rate; /**< offset 12: Easy_AACEncoder_G726Rate; read for G.726 only */
} Easy_AACEncoder_Record;

#ifdef __cplusplus
#define EASY_AACENCODER_ASSERT static_assert
#else
#define EASY_AACENCODER_ASSERT _Static_assert
#endif
EASY_AACENCODER_ASSERT(sizeof(Easy_AACEncoder_Record) == 16, "the record is 16 bytes");
EASY_AACENCODER_ASSERT(offsetof(Easy_AACEncoder_Record, audioCodec) == 0, "audioCodec is at 0");
EASY_AACENCODER_ASSERT(offsetof(Easy_AACEncoder_Record, channels) == 1, "channels is at 1");
EASY_AACENCODER_ASSERT(offsetof(Easy_AACEncoder_Record, sampleRate) == 4, "sampleRate is at 4");
EASY_AACENCODER_ASSERT(offsetof(Easy_AACEncoder_Record, pcmBitSize) == 8, "pcmBitSize is at 8");
EASY_AACENCODER_ASSERT(offsetof(Easy_AACEncoder_Record, g726Rate) == 12, "g726Rate is at 12");
#undef EASY_AACENCODER_ASSERT

/** One encoder; made by Easy_AACEncoder_Init(), destroyed by Easy_AACEncoder_Release(). */
typedef struct Easy_AACEncoder* Easy_AACEncoder_Handle;

/**
 * Makes an encoder: MPEG-2 AAC, low complexity, ADTS.
 *
 * Every buffer the encoder needs is allocated here (some 150 KB); encoding allocates none.
 *
 * @param record is copied; the caller may forget it.
 * @return the encoder, owned by the caller, who hands it to Easy_AACEncoder_Release() once. Null when no encoder can be
 *     made: channels is not 1 to 8, sampleRate is 0, pcmBitSize is not 16, FAAC could not be opened, or memory ran
 *     out.
 */
EASY_AACENCODER_API Easy_AACEncoder_Handle Easy_AACEncoder_Init(Easy_AACEncoder_Record record);

/**
 * Takes compressed sound in and gives the AAC frames that it completed.
 *
 * Input is consumed in chunks of 160 bytes; a rest stays in the encoder for the next call, so any length may be handed
 * in. An AAC frame holds 1024 samples per channel (128 ms at 8000 Hz). The codec looks ahead: the first frames of a
 * stream come out some calls after the sound went in, and at the end the sound that is still inside is lost, since
 * there is no flush.
 *
 * At most 131072 bytes wait in the encoder. Input that is longer than the room left is dropped whole, without a sign;
 * the call then goes on with what was there before. After a call fewer than 160 bytes wait, so input of up to 130900
 * bytes always fits.
 *
 * @param encoder an encoder of Easy_AACEncoder_Init().
 * @param input the compressed bytes; read during the call only, stays the caller's. G.711: a byte a sample. G.726: the
 *     first sample in the least significant bits of the first byte; a sample may straddle bytes, chunks and calls.
 *     May be null when @p length is 0.
 * @param length the number of bytes at @p input.
 * @param output the caller's buffer for the frames. It must hold all frames that one call can complete: nothing here
 *     knows its size. A frame never has more than 8192 bytes, one of mono sound at 8000 Hz stays below 1024 even for
 *     noise at full scale. A call completes at most one frame per 1024 samples per channel handed in, and one more.
 *     16384 bytes do for calls of up to 15 frames of mono, which is 15360 bytes of G.711.
 * @param outputLength receives the number of bytes written to @p output, on every return but that for a null
 *     @p outputLength.
 * @return
 *     - above 0: the number of bytes written, the same as in @p outputLength; one or more whole ADTS frames.
 *     - 0: no frame was completed; the input was taken in (or dropped, see above). Usual, not an error.
 *     - -1: @p encoder, @p output or @p outputLength is null, @p input is null though @p length is not 0, or the sound
 *       could not be decoded or encoded. Frames completed before that are in @p output.
 */
EASY_AACENCODER_API int Easy_AACEncoder_Encode(Easy_AACEncoder_Handle encoder, const unsigned char* input,
                                               unsigned int length, unsigned char* output, unsigned int* outputLength);

/** Destroys an encoder with all it owns; what was not yet given out is lost. Null is ignored. */
EASY_AACENCODER_API void Easy_AACEncoder_Release(Easy_AACEncoder_Handle encoder);

#ifdef __cplusplus
}
#endif

#endif
