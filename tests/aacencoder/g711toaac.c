/* G.711 on standard input to AAC on standard output, as a C program does it. Arguments: the codec of the record and the
 * bytes of one call; or "churn" and how many encoders to make and release. The line on standard error is "grown N": by
 * how many KiB the memory of the process grew meanwhile, from the 100th call or encoder on. */
#include <aacencoder/easyaacencoder.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define OUTPUT_BYTES 16384
#define WARM_UP 100

static long residentKib(void)
{
    long total = 0;
    long resident = 0;
    FILE* file = fopen("/proc/self/statm", "r");
    if (!file || fscanf(file, "%ld %ld", &total, &resident) != 2)
        exit(3);
    fclose(file);
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

static int encodeAll(Easy_AACEncoder_Handle encoder, size_t callBytes)
{
    static unsigned char input[65536];
    static unsigned char output[OUTPUT_BYTES];
    size_t length;
    long calls = 0;
    long before = 0;
    while ((length = fread(input, 1, callBytes, stdin)) > 0) {
        unsigned int outputLength = 0;
        int bytes = Easy_AACEncoder_Encode(encoder, input, (unsigned int)length, output, &outputLength);
        if (bytes < 0 || (unsigned int)bytes != outputLength)
            return 2;
        if (fwrite(output, 1, outputLength, stdout) != outputLength)
            return 2;
        if (++calls == WARM_UP)
            before = residentKib();
    }
    fprintf(stderr, "grown %ld\n", residentKib() - before);
    return 0;
}

static Easy_AACEncoder_Handle makeEncoder(int codec)
{
    Easy_AACEncoder_Record record = {0};
    record.audioCodec = (uint8_t)codec;
    record.channels = 1;
    record.sampleRate = 8000;
    record.pcmBitSize = 16;
    return Easy_AACEncoder_Init(record);
}

static int churn(long count)
{
    long before = 0;
    for (long n = 1; n <= count; ++n) {
        Easy_AACEncoder_Handle encoder = makeEncoder(EASY_AACENCODER_G711A);
        if (!encoder)
            return 2;
        Easy_AACEncoder_Release(encoder);
        if (n == WARM_UP)
            before = residentKib();
    }
    fprintf(stderr, "grown %ld\n", residentKib() - before);
    return 0;
}

int main(int argc, char** argv)
{
    if (argc != 3)
        return 1;
    if (strcmp(argv[1], "churn") == 0)
        return churn(atol(argv[2]));
    Easy_AACEncoder_Handle encoder = makeEncoder(atoi(argv[1]));
    if (!encoder)
        return 1;
    const int result = encodeAll(encoder, (size_t)atol(argv[2]));
    Easy_AACEncoder_Release(encoder);
    return result;
}
