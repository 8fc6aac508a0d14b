#pragma once

#include "core_d3d/viewrect.h"

#include <QStringList>

#include <utility>

using HWND = struct HWND__*;

/// What the presenters behind the widgets were told, in order.
class PresenterLog
{
public:
    /// The lines since the last call of take().
    static QStringList& lines()
    {
        static QStringList list;
        return list;
    }

    static QStringList take() { return std::exchange(lines(), QStringList()); }

    static void add(const QString& line) { lines() << line; }

    static QString text(const ViewRect& rect)
    {
        return QString("%1 %2 %3 %4").arg(rect.left).arg(rect.top).arg(rect.width).arg(rect.height);
    }

    static QString text(const void* pointer) { return QString::number(quintptr(pointer), 16); }
};
