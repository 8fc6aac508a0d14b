#pragma once

#include <QTreeWidget>

class Devices;

/// Devices, their channels, and the streams of those; to be dragged onto cells and opened by double click or Enter.
///
/// An item's user data is its address, see DeviceChannel. What displays take from a dragged item are items that have a
/// parent, so the devices have one, too, which is not shown.
class DeviceTree : public QTreeWidget
{
    Q_OBJECT

public:
    explicit DeviceTree(const Devices& devices, QWidget* parent = nullptr);

    /// Shows that a device is there, and goes to it.
    void addDevice(const QString& name);

Q_SIGNALS:
    /// An item was double-clicked, or Enter was pressed on it.
    void opened(const QString& address);

protected:
    /// The window has keys of its own; those that a tree needs stay here while it has the focus.
    bool event(QEvent* event) override;

private:
    QTreeWidgetItem* addItem(QTreeWidgetItem* parent, const QString& text, const QString& address, const QString& icon);
    void addChannel(QTreeWidgetItem* parent, const QString& device, int channel);

    const Devices& devices;
    QTreeWidgetItem* const top; ///< parent of all devices
};
