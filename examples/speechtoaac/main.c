/* G.711 A-law, 8000 Hz mono, on standard input to AAC in ADTS frames on standard output:
 *
 *     speechtoaac < speech.al > speech.aac
 */
#include <aacencoder/easyaacencoder.h>

#include <stdio.h>

static int convert(Easy_AACEncoder_Handle encoder, FILE* from, FILE* to)
{
    unsigned char input[4000];
    unsigned char output[16384]; /* room for all frames of 4000 samples */
    size_t length;
    while ((length = fread(input, 1, sizeof input, from)) > 0) {
        unsigned int outputLength = 0;
        if (Easy_AACEncoder_Encode(encoder, input, (unsigned int)length, output, &outputLength) < 0)
            return 0;
        if (fwrite(output, 1, outputLength, to) != outputLength)
            return 0;
    }
    return !ferror(from) && fflush(to) == 0;
}

int main(void)
{
    Easy_AACEncoder_Record record = {0};
    record.audioCodec = EASY_AACENCODER_G711A;
    record.channels = 1;
    record.sampleRate = 8000;
    record.pcmBitSize = 16;

    Easy_AACEncoder_Handle encoder = Easy_AACEncoder_Init(record);
    if (!encoder) {
        fputs("speechtoaac: there is no encoder\n", stderr);
        return 1;
    }
    const int converted = convert(encoder, stdin, stdout);
    Easy_AACEncoder_Release(encoder);
    return converted ? 0 : 1;
}
