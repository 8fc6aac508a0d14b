#include "downloadedfiles.h"

#include "downloadreport.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QHeaderView>
#include <QLocale>
#include <QUrl>

namespace {
enum Column { Name, Length, Size };
constexpr int pathRole = Qt::UserRole;
} // namespace

DownloadedFiles::DownloadedFiles(QWidget* parent)
    : QTreeWidget(parent)
{
    setObjectName("files");
    setHeaderLabels({tr("File"), tr("Length"), tr("Size")});
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setTextElideMode(Qt::ElideMiddle);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    header()->setSectionResizeMode(Name, QHeaderView::Stretch);
    connect(this, &QTreeWidget::itemActivated, this, &DownloadedFiles::open);
}

void DownloadedFiles::add(const QString& file, qint64 milliseconds)
{
    QTreeWidgetItem* item = itemOf(file);
    item->setText(Name, QFileInfo(file).fileName());
    item->setToolTip(Name, QDir::toNativeSeparators(file));
    item->setData(Name, pathRole, file);
    item->setText(Length, DownloadReport::lengthText(milliseconds));
    item->setText(Size, QLocale().formattedDataSize(QFileInfo(file).size()));
    for (const Column column : {Length, Size})
        item->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
    scrollToItem(item);
}

QTreeWidgetItem* DownloadedFiles::itemOf(const QString& file)
{
    for (int row = 0; row < topLevelItemCount(); ++row) {
        if (topLevelItem(row)->data(Name, pathRole) == file)
            return topLevelItem(row);
    }
    return new QTreeWidgetItem(this);
}

void DownloadedFiles::open(const QTreeWidgetItem* item) const
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(item->data(Name, pathRole).toString()));
}

void DownloadedFiles::showFolder() const
{
    const QTreeWidgetItem* item = currentItem() ? currentItem() : topLevelItem(topLevelItemCount() - 1);
    if (item)
        QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(item->data(Name, pathRole).toString()).path()));
}
