#include "parentconsole.h"

#include <QtGlobal>

#ifdef Q_OS_WIN

#include <cstdio>

#include <windows.h>

namespace {

void redirect(DWORD handle, FILE* stream)
{
    const HANDLE current = GetStdHandle(handle);
    if (current == nullptr || current == INVALID_HANDLE_VALUE || GetFileType(current) == FILE_TYPE_UNKNOWN)
        std::freopen("CONOUT$", "w", stream);
}

} // namespace

void ParentConsole::attach()
{
    if (!AttachConsole(ATTACH_PARENT_PROCESS))
        return;
    redirect(STD_OUTPUT_HANDLE, stdout);
    redirect(STD_ERROR_HANDLE, stderr);
}

#else

void ParentConsole::attach() {}

#endif
