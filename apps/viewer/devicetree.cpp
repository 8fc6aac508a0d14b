#include "devicetree.h"

#include "devicechannel.h"
#include "devices.h"

#include <QKeyEvent>

namespace {

constexpr QSize smallIcon{16, 16};

bool isTreeKey(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        return event.modifiers() == Qt::NoModifier || event.modifiers() == Qt::KeypadModifier;
    default:
        return false;
    }
}

} // namespace

DeviceTree::DeviceTree(const Devices& shown, QWidget* parent)
    : QTreeWidget(parent)
    , devices(shown)
    , top(new QTreeWidgetItem(this))
{
    setObjectName("deviceTree");
    setHeaderHidden(true);
    setIconSize(smallIcon);
    setUniformRowHeights(true);
    setDragDropMode(QAbstractItemView::DragOnly);
    setExpandsOnDoubleClick(false); // a double click opens
    setAccessibleName(tr("Devices"));
    setRootIndex(indexFromItem(top));
    connect(this, &QTreeWidget::itemActivated, this,
            [this](const QTreeWidgetItem* item) { Q_EMIT opened(item->data(0, Qt::UserRole).toString()); });
    connect(&devices, &Devices::added, this, &DeviceTree::addDevice);
    for (const QString& name : devices.names())
        addDevice(name);
}

void DeviceTree::addDevice(const QString& name)
{
    const auto device = devices.find(name);
    QTreeWidgetItem* item = addItem(top, name, DeviceChannel{name}.address(), "device");
    for (int channel = 0; channel < device->getChannelCount(); ++channel)
        addChannel(item, name, channel);
    item->setExpanded(true);
    setCurrentItem(item);
}

void DeviceTree::addChannel(QTreeWidgetItem* parent, const QString& device, int channel)
{
    const QStringList sources = devices.find(device)->config().channels.at(channel).sources;
    const QString address = DeviceChannel{device, channel}.address();
    QTreeWidgetItem* item = addItem(parent, devices.channel({device, channel}).title(), address, "channel");
    for (int stream = 0; stream < sources.size(); ++stream) {
        if (!sources.at(stream).isEmpty())
            addItem(item, tr("%1 stream").arg(DeviceChannel::streamName(stream)),
                    DeviceChannel{device, channel, stream}.address(), "streamitem");
    }
}

QTreeWidgetItem* DeviceTree::addItem(QTreeWidgetItem* parent, const QString& text, const QString& address,
                                     const QString& icon)
{
    auto* item = new QTreeWidgetItem(parent, {text});
    item->setData(0, Qt::UserRole, address);
    item->setIcon(0, QIcon(QString(":/viewer/%1.svg").arg(icon)));
    return item;
}

bool DeviceTree::event(QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride && isTreeKey(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QTreeWidget::event(event);
}
