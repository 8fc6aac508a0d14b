#pragma once

#include <windows.h>

#include <string>
#include <vector>

/// The calls of Direct3D that the presenters make, in order, and those of them that are to fail.
namespace Calls {

/// What was called since the last take().
std::vector<std::string> take();

/// How many lines since the last take() begin with @p start.
int count(const std::string& start);

/// Every call of that name fails with @p result from now on.
void refuse(const std::string& name, HRESULT result);
void refuseNothing();

/// Calls on that object are marked.
void mark(const void* object, const std::string& prefix);

/// For the hooks: writes the call down. True when it is to fail, with @p result then saying how.
bool enter(const void* object, const std::string& name, const std::string& arguments, HRESULT* result);

/// The tests' own calls, which nobody wants to see.
class Pause
{
public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
};

} // namespace Calls
