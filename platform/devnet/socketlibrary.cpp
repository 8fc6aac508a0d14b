#include "devnet/socketlibrary.h"

#ifdef _WIN32

#include <winsock2.h>

// Not ended again: a look-up that nobody waits for any more may still be running when the process ends.
void SocketLibrary::start()
{
    static const int result = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    static_cast<void>(result);
}

#else

void SocketLibrary::start() {}

#endif
