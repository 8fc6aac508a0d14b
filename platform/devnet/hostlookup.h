#pragma once

#include <QString>

#include <functional>
#include <string>

class StopSignal;

/// Asking for the address of a host can take many seconds and can't be interrupted, neither here nor inside FFmpeg. So
/// a thread of its own asks first, and is left behind when nobody waits for the answer any more; what it is told, the
/// system remembers or is told again quickly.
namespace HostLookup {

/// Returns once the host has been looked up, whether it was found or not.
using Resolver = std::function<void(const std::string& host)>;

/// The resolver of the system.
void resolve(const std::string& host);

/// The name in an address that has to be looked up; empty when there is none, as for "rtsp://10.0.0.4/".
QString nameIn(const QString& address);

/// Returns true when the resolver has answered, also when there was nothing to ask for; false when @p stop is requested
/// first.
bool waitForAnswer(const QString& address, const StopSignal& stop, const Resolver& resolver);

/// With the resolver of the system.
bool waitForAnswer(const QString& address, const StopSignal& stop);

} // namespace HostLookup
