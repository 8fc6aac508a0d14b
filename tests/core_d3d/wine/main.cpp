#include "calls.h"
#include "cases.h"
#include "hooks11.h"
#include "visible.h"

#include <windows.h>

#include <cstdio>
#include <cstring>

Case::Case(const char* caseName, void (*caseBody)())
    : name(caseName)
    , body(caseBody)
{
    all().push_back(this);
}

std::vector<const Case*>& Case::all()
{
    static std::vector<const Case*> cases;
    return cases;
}

void fail(int line, const std::string& text) { throw Failure("line " + std::to_string(line) + ": " + text); }

namespace {

/// One line "PASS <name>" or "FAIL <name> <why>", with the lines of the reason indented.
bool run(const Case& test)
{
    Calls::take();
    Calls::refuseNothing();
    std::string failure;
    try {
        test.body();
    } catch (const std::exception& exception) {
        failure = exception.what();
    }
    std::printf(failure.empty() ? "PASS %s\n" : "FAIL %s %s\n", test.name, failure.c_str());
    std::fflush(stdout);
    return failure.empty();
}

int runAll(const char* only)
{
    int failures = 0;
    int count = 0;
    for (const Case* test : Case::all()) {
        if (only && std::strcmp(only, test->name) != 0)
            continue;
        ++count;
        failures += !run(*test);
    }
    Hooks11::forgetDevices();
    std::printf("DONE %d cases, %d failed\n", count, failures);
    return failures;
}

} // namespace

/// Without arguments all cases run, with one that case; "show9" and "show11" show a picture until a line comes in, and
/// "alone" looks at what happens where there is no display.
int main(int argc, char** argv)
{
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "show9")
        return show9();
    if (what == "show11")
        return show11();
    if (what == "alone")
        return withoutDevices();
    return runAll(argc > 1 ? argv[1] : nullptr);
}
