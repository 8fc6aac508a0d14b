#include "placetree.h"

#include <QSignalBlocker>

namespace {

constexpr QSize smallIcon{16, 16};
constexpr int keyRole = Qt::UserRole;

QString keyOf(const QTreeWidgetItem* item) { return item ? item->data(0, keyRole).toString() : QString(); }

} // namespace

PlaceTree::PlaceTree(QWidget* parent)
    : QTreeWidget(parent)
{
    setObjectName("placeTree");
    setHeaderHidden(true);
    setIconSize(smallIcon);
    setUniformRowHeights(true);
    setAccessibleName(tr("Channels with recordings"));
    connect(this, &QTreeWidget::currentItemChanged, this, [this](const QTreeWidgetItem* item) {
        if (item && !keyOf(item).isEmpty())
            Q_EMIT chosen(keyOf(item));
    });
}

void PlaceTree::setPlaces(const QVector<RecordingPlace>& places)
{
    if (places == shown)
        return;
    shown = places;
    const QString selected = selectedKey();
    const QSignalBlocker blocker(this);
    clear();
    for (const RecordingPlace& place : places) {
        auto* item = new QTreeWidgetItem(headingOf(place.group), {place.name});
        item->setData(0, keyRole, place.key);
        item->setIcon(0, QIcon(":/viewer/channel.svg"));
        item->setToolTip(0, place.title());
    }
    expandAll();
    select(selected);
}

QTreeWidgetItem* PlaceTree::headingOf(const QString& group)
{
    for (int index = 0; index < topLevelItemCount(); ++index) {
        if (topLevelItem(index)->text(0) == group)
            return topLevelItem(index);
    }
    auto* heading = new QTreeWidgetItem(this, {group});
    heading->setIcon(0, QIcon(":/viewer/device.svg"));
    heading->setFlags(Qt::ItemIsEnabled);
    return heading;
}

void PlaceTree::select(const QString& key)
{
    const QSignalBlocker blocker(this);
    setCurrentItem(nullptr);
    for (int index = 0; index < topLevelItemCount(); ++index) {
        QTreeWidgetItem* heading = topLevelItem(index);
        for (int child = 0; child < heading->childCount(); ++child) {
            if (keyOf(heading->child(child)) == key)
                setCurrentItem(heading->child(child));
        }
    }
}

QString PlaceTree::selectedKey() const { return keyOf(currentItem()); }
