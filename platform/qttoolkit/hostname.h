#pragma once

#include <QString>

/// The host of an address that a user typed, or an empty text. Unlike QUrl it bears credentials with unescaped
/// special characters and a missing scheme.
QString hostOfAddress(const QString& address);
