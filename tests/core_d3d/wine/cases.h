#pragma once

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

/// A test case of a program without Qt: CASE(name) { ... } with CHECK and COMPARE inside.
struct Case
{
    Case(const char* caseName, void (*caseBody)());

    const char* const name;
    void (*const body)();

    static std::vector<const Case*>& all();
};

#define CASE(name)                                                                                                     \
    static void name();                                                                                                \
    static const Case case_##name(#name, &name);                                                                       \
    static void name()

/// Ends the case that is running.
struct Failure : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(int line, const std::string& text);

template <typename Value>
std::string printed(const Value& value)
{
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

inline std::string printed(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += "\n        " + line;
    return text;
}

template <typename Actual, typename Expected>
void compare(int line, const char* text, const Actual& actual, const Expected& expected)
{
    if (!(actual == expected))
        fail(line, std::string(text) + " is " + printed(actual) + "\n    and not " + printed(expected));
}

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            fail(__LINE__, #condition " is false");                                                                    \
    } while (false)

#define COMPARE(actual, expected) compare(__LINE__, #actual, actual, expected)
