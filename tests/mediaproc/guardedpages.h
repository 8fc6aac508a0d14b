#pragma once

#include <QByteArray>

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

/// Memory whose last byte is the last one that may be touched: what reads on ends the test program.
class GuardedPages
{
public:
    explicit GuardedPages(const QByteArray& content)
        : length(static_cast<size_t>(content.size()))
        , mapped((length + pageBytes() - 1) / pageBytes() * pageBytes() + pageBytes())
        , pages(static_cast<char*>(mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        if (pages == MAP_FAILED)
            qFatal("GuardedPages: no memory");
        std::memcpy(begin(), content.constData(), length);
        mprotect(pages + mapped - pageBytes(), pageBytes(), PROT_NONE);
    }
    ~GuardedPages() { munmap(pages, mapped); }
    GuardedPages(const GuardedPages&) = delete;
    GuardedPages& operator=(const GuardedPages&) = delete;

    char* begin() const { return pages + mapped - pageBytes() - length; }

    /// Memory that must not be touched at all.
    char* untouchable() const { return pages + mapped - pageBytes(); }

private:
    static size_t pageBytes() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }

    const size_t length;
    const size_t mapped;
    char* const pages;
};
