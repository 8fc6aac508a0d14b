#pragma once

#include "recordingplace.h"

#include <QTreeWidget>

/// The places that recordings can be played from, below their headings.
class PlaceTree : public QTreeWidget
{
    Q_OBJECT

public:
    explicit PlaceTree(QWidget* parent = nullptr);

    /// The one that is selected stays so if it is still there, and all stays as it is if nothing is new.
    void setPlaces(const QVector<RecordingPlace>& places);

    /// Selects a place without chosen().
    void select(const QString& key);

    /// Empty while none is selected.
    QString selectedKey() const;

Q_SIGNALS:
    void chosen(const QString& key);

private:
    QTreeWidgetItem* headingOf(const QString& group);

    QVector<RecordingPlace> shown;
};
