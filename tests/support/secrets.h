#pragma once

#include <QString>

/// The users and passwords that tests put into addresses.
///
/// All hold one word that is nowhere else. No message, no name of a file, no title and no text on the screen may show
/// it: MessageGuard fails the test that logs it, and the test "secrets" looks for it in what all tests have written.
namespace Secrets {

constexpr char word[] = "Sesame4711";

inline QString user() { return "user-Sesame4711"; }
inline QString password() { return "pass-Sesame4711"; }

/// With what separates the parts of an address; escaped it is "p%40ss%3ASesame4711%2Fw".
inline QString passwordWithSeparators() { return "p@ss:Sesame4711/w"; }

/// One that no server takes.
inline QString wrongPassword() { return "wrong@Sesame4711:word"; }

} // namespace Secrets
