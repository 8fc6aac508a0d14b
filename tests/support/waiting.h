#pragma once

#include <functional>

/// Waiting for a condition while the event loop of the calling thread goes on.
namespace Waiting {

/// Returns as soon as @p condition holds, or after that many milliseconds; whether it held.
bool until(const std::function<bool()>& condition, int milliseconds);

} // namespace Waiting
