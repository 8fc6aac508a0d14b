#include "devicepanel.h"

#include "devicetree.h"
#include "qttoolkit/quihelper.h"

#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

DevicePanel::DevicePanel(const Devices& devices, QWidget* parent)
    : QWidget(parent)
    , deviceTree(new DeviceTree(devices, this))
{
    setObjectName("devicePanel");
    setAttribute(Qt::WA_StyledBackground);
    setFocusProxy(deviceTree);
    auto* box = new QVBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(0);
    box->addWidget(makeHeading());
    box->addWidget(deviceTree, 1);
    connect(deviceTree, &DeviceTree::opened, this, &DevicePanel::opened);
}

QWidget* DevicePanel::makeHeading()
{
    auto* heading = new QWidget(this);
    auto* row = new QHBoxLayout(heading);
    row->setContentsMargins(10, 4, 4, 4);
    row->addWidget(new QLabel(tr("Devices"), heading), 1);
    auto* button = new QToolButton(heading);
    button->setObjectName("openDevice");
    button->setToolTip(tr("Open device file…"));
    button->setFocusPolicy(Qt::NoFocus);
    QUIHelper::setSvgIcon(button, ":/viewer/open.svg");
    connect(button, &QToolButton::clicked, this, &DevicePanel::fileWanted);
    row->addWidget(button);
    return heading;
}
