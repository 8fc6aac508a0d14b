#include "downloaddialog.h"

#include <QFormLayout>
#include <QLabel>

DownloadDialog::DownloadDialog(const QSharedPointer<XNetDevice>& source, int number, const QString& channelName,
                               const QDateTime& start, const QDateTime& end, QWidget* parent)
    : QDialog(parent)
    , device(source)
    , channel(number)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Download"));
    auto* box = new QFormLayout(this);
    box->addRow(tr("Channel"), new QLabel(channelName, this));
    box->addRow(tr("From"), new QLabel(start.toString("yyyy-MM-dd HH:mm:ss"), this));
    box->addRow(tr("To"), new QLabel(end.toString("yyyy-MM-dd HH:mm:ss"), this));
}
