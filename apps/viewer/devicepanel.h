#pragma once

#include <QWidget>

class Devices;
class DeviceTree;

/// The tree of devices below a heading with a button that opens another one.
class DevicePanel : public QWidget
{
    Q_OBJECT

public:
    explicit DevicePanel(const Devices& devices, QWidget* parent = nullptr);

    DeviceTree* tree() const { return deviceTree; }

Q_SIGNALS:
    /// The address of a device, a channel or a stream that is to be shown.
    void opened(const QString& address);

    /// A device file is to be chosen.
    void fileWanted();

private:
    QWidget* makeHeading();

    DeviceTree* const deviceTree; ///< child
};
