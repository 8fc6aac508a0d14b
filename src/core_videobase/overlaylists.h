#pragma once

#include "core_videobase/graphinfo.h"
#include "core_videobase/osdinfo.h"

#include <QString>

#include <algorithm>
#include <mutex>
#include <vector>

/// What is drawn over and into a display's picture, in drawing order. Any thread: drawing works on copies.
///
/// Not Qt's lists: those share their items with their copies, and change them again without seeing that a copy on
/// another thread was released.
class OverlayLists
{
public:
    void set(const OsdInfo& osd) { replace(osds, osd); }
    void append(const OsdInfo& osd) { add(osds, osd); }
    void removeOsd(const QString& name) { remove(osds, name); }
    void clearOsds() { empty(osds); }
    std::vector<OsdInfo> allOsds() const { return copy(osds); }

    void set(const GraphInfo& graph) { replace(graphs, graph); }
    void append(const GraphInfo& graph) { add(graphs, graph); }
    void removeGraph(const QString& name) { remove(graphs, name); }
    void clearGraphs() { empty(graphs); }
    std::vector<GraphInfo> allGraphs() const { return copy(graphs); }

private:
    template <typename Item>
    static auto find(std::vector<Item>& list, const QString& name)
    {
        return std::find_if(list.begin(), list.end(), [&](const Item& item) { return item.name == name; });
    }

    template <typename Item>
    void replace(std::vector<Item>& list, const Item& item)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = find(list, item.name);
        if (found == list.end())
            list.push_back(item);
        else
            *found = item;
    }

    template <typename Item>
    void add(std::vector<Item>& list, const Item& item)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        list.push_back(item);
    }

    template <typename Item>
    void remove(std::vector<Item>& list, const QString& name)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = find(list, name);
        if (found != list.end())
            list.erase(found);
    }

    template <typename Item>
    void empty(std::vector<Item>& list)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        list.clear();
    }

    template <typename Item>
    std::vector<Item> copy(const std::vector<Item>& list) const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return list;
    }

    mutable std::mutex mutex;
    std::vector<OsdInfo> osds; // guarded by mutex
    std::vector<GraphInfo> graphs; // guarded by mutex
};
