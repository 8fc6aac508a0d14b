#pragma once

#include <QTreeWidget>

/// The files that downloads have written. A double click opens one.
class DownloadedFiles : public QTreeWidget
{
    Q_OBJECT

public:
    explicit DownloadedFiles(QWidget* parent = nullptr);

    /// One that is listed already was written anew. @p milliseconds is how long it plays.
    void add(const QString& file, qint64 milliseconds);

    bool isEmpty() const { return topLevelItemCount() == 0; }

    /// Shows the folder of the selected file, else of the last one, in the desktop's file manager.
    void showFolder() const;

private:
    void open(const QTreeWidgetItem* item) const;
    QTreeWidgetItem* itemOf(const QString& file);
};
