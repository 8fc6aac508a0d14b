#pragma once

#include "source.h"

#include <QDialog>

class QPushButton;
class QTableWidget;

/// The list of sources, one a cell: add, edit, remove and sort.
class SourcesDialog : public QDialog
{
    Q_OBJECT

public:
    SourcesDialog(const QList<Source>& sources, const QString& transport, QWidget* parent = nullptr);

    /// The list as it stands; sources without an address are cells that stay empty.
    QList<Source> sources() const { return list; }

    void setCurrentRow(int row);

public Q_SLOTS:
    void add();
    void edit();
    void remove();

private:
    void makeTable();
    QWidget* makeButtons();
    void move(int step);
    void fill(int currentRow);
    void setRow(int row, const Source& source);
    void enableButtons();

    QList<Source> list;
    const QString transport; // of new sources
    QTableWidget* table; // children
    QPushButton* addButton = nullptr;
    QPushButton* editButton = nullptr;
    QPushButton* removeButton = nullptr;
    QPushButton* upButton = nullptr;
    QPushButton* downButton = nullptr;
};
