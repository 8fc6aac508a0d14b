#include "core_videosave/outputcontext.h"

bool OutputContext::allocate(const char* formatName, const char* fileName)
{
    reset();
    return avformat_alloc_output_context2(&context, nullptr, formatName, fileName) >= 0 && context;
}

int OutputContext::openFile(const char* fileName)
{
    return needsFile() ? avio_open(&context->pb, fileName, AVIO_FLAG_WRITE) : 0;
}

void OutputContext::reset()
{
    if (!context)
        return;
    if (needsFile())
        avio_closep(&context->pb);
    avformat_free_context(context);
    context = nullptr;
}
