#pragma once

#include "core_videobase/graphinfo.h"
#include "core_videobase/osdinfo.h"

#include <QList>
#include <QMutex>

#include <algorithm>

/// What is drawn over and into a display's picture, in drawing order. Any thread: drawing works on copies.
class OverlayLists
{
public:
    void set(const OsdInfo& osd) { replace(osds, osd); }
    void append(const OsdInfo& osd) { add(osds, osd); }
    void removeOsd(const QString& name) { remove(osds, name); }
    void clearOsds() { empty(osds); }
    QList<OsdInfo> allOsds() const { return copy(osds); }

    void set(const GraphInfo& graph) { replace(graphs, graph); }
    void append(const GraphInfo& graph) { add(graphs, graph); }
    void removeGraph(const QString& name) { remove(graphs, name); }
    void clearGraphs() { empty(graphs); }
    QList<GraphInfo> allGraphs() const { return copy(graphs); }

private:
    template <typename Item>
    static auto find(QList<Item>& list, const QString& name)
    {
        return std::find_if(list.begin(), list.end(), [&](const Item& item) { return item.name == name; });
    }

    template <typename Item>
    void replace(QList<Item>& list, const Item& item)
    {
        const QMutexLocker lock(&mutex);
        const auto found = find(list, item.name);
        if (found == list.end())
            list.append(item);
        else
            *found = item;
    }

    template <typename Item>
    void add(QList<Item>& list, const Item& item)
    {
        const QMutexLocker lock(&mutex);
        list.append(item);
    }

    template <typename Item>
    void remove(QList<Item>& list, const QString& name)
    {
        const QMutexLocker lock(&mutex);
        const auto found = find(list, name);
        if (found != list.end())
            list.erase(found);
    }

    template <typename Item>
    void empty(QList<Item>& list)
    {
        const QMutexLocker lock(&mutex);
        list.clear();
    }

    template <typename Item>
    QList<Item> copy(const QList<Item>& list) const
    {
        const QMutexLocker lock(&mutex);
        return list;
    }

    mutable QMutex mutex;
    QList<OsdInfo> osds; // guarded by mutex
    QList<GraphInfo> graphs; // guarded by mutex
};
