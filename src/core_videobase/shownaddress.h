#pragma once

#include <QString>

/// An address as it may appear in logs and titles: with asterisks in place of user and password, and of the values of
/// query items that are named like them. Names of existing files are shown as they are.
QString shownAddress(const QString& address);
