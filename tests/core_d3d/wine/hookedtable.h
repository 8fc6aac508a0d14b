#pragma once

#include "calls.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

/// A copy of the table of functions of all objects of a kind. Objects may have more functions than their interface.
template <typename Interface, typename Table>
struct Hooked
{
    Table* original = nullptr;
    union {
        Table table;
        void* slots[256];
    };

    Hooked() { }

    /// True the first time, when the entries are to be replaced.
    bool adopt(Interface* object)
    {
        if (object->lpVtbl == &table)
            return false;
        const bool isFirst = !original;
        if (isFirst) {
            original = object->lpVtbl;
            std::memcpy(slots, original, sizeof(slots));
        }
        object->lpVtbl = &table;
        return isFirst;
    }

    /// As it was made, for calls in which it is looked at closely.
    class Plain
    {
    public:
        Plain(Hooked* hooked, Interface* hookedObject)
            : table(&hooked->table)
            , object(hookedObject)
        {
            object->lpVtbl = hooked->original;
        }
        ~Plain() { object->lpVtbl = table; }
        Plain(const Plain&) = delete;
        Plain& operator=(const Plain&) = delete;

    private:
        Table* const table;
        Interface* const object;
    };

    Plain plain(Interface* object) { return Plain(this, object); }
};

inline std::string format(const char* pattern, ...)
{
    char buffer[512];
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(buffer, sizeof(buffer), pattern, arguments);
    va_end(arguments);
    return buffer;
}

/// The call, unless it is to fail.
template <typename Call>
HRESULT recorded(const void* object, const char* name, const std::string& arguments, Call call)
{
    HRESULT result = S_OK;
    return Calls::enter(object, name, arguments, &result) ? result : call();
}

inline void record(const void* object, const char* name, const std::string& arguments = std::string())
{
    HRESULT result = S_OK;
    Calls::enter(object, name, arguments, &result);
}
