#include "sourcesdialog.h"

#include "sourceeditor.h"
#include "videogrid.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

SourcesDialog::SourcesDialog(const QList<Source>& sources, const QString& newTransport, QWidget* parent)
    : QDialog(parent)
    , list(sources)
    , transport(newTransport)
    , table(new QTableWidget(this))
{
    setWindowTitle(tr("Sources"));
    resize(760, 420);
    makeTable();

    auto* lists = new QHBoxLayout;
    lists->addWidget(table, 1);
    lists->addWidget(makeButtons());
    auto* closing = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(closing, &QDialogButtonBox::accepted, this, &SourcesDialog::accept);
    connect(closing, &QDialogButtonBox::rejected, this, &SourcesDialog::reject);
    auto* box = new QVBoxLayout(this);
    box->addLayout(lists, 1);
    box->addWidget(closing);
    fill(0);
}

void SourcesDialog::makeTable()
{
    table->setObjectName("sources");
    table->setColumnCount(4);
    table->setHorizontalHeaderLabels({tr("Name"), tr("Address"), tr("Transport"), tr("Capture format")});
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setTextElideMode(Qt::ElideMiddle);
    table->setShowGrid(false);
    connect(table, &QTableWidget::itemSelectionChanged, this, &SourcesDialog::enableButtons);
    connect(table, &QTableWidget::itemDoubleClicked, this, &SourcesDialog::edit);
}

QWidget* SourcesDialog::makeButtons()
{
    auto* column = new QWidget(this);
    auto* box = new QVBoxLayout(column);
    box->setContentsMargins(0, 0, 0, 0);
    const auto makeButton = [&](const QString& text, const QString& name) {
        auto* button = new QPushButton(text, column);
        button->setObjectName(name);
        box->addWidget(button);
        return button;
    };
    addButton = makeButton(tr("&Add…"), "add");
    editButton = makeButton(tr("&Edit…"), "edit");
    removeButton = makeButton(tr("&Remove"), "remove");
    upButton = makeButton(tr("&Up"), "up");
    downButton = makeButton(tr("&Down"), "down");
    box->addStretch();
    connect(addButton, &QPushButton::clicked, this, &SourcesDialog::add);
    connect(editButton, &QPushButton::clicked, this, &SourcesDialog::edit);
    connect(removeButton, &QPushButton::clicked, this, &SourcesDialog::remove);
    connect(upButton, &QPushButton::clicked, this, [this] { move(-1); });
    connect(downButton, &QPushButton::clicked, this, [this] { move(1); });
    return column;
}

void SourcesDialog::setCurrentRow(int row) { table->selectRow(row); }

void SourcesDialog::add()
{
    Source source;
    source.transport = transport;
    SourceEditor editor(source, this);
    if (editor.exec() != QDialog::Accepted)
        return;
    list.append(editor.source());
    fill(list.size() - 1);
}

void SourcesDialog::edit()
{
    const int row = table->currentRow();
    if (row < 0)
        return;
    SourceEditor editor(list.at(row), this);
    if (editor.exec() != QDialog::Accepted)
        return;
    list[row] = editor.source();
    fill(row);
}

void SourcesDialog::remove()
{
    const int row = table->currentRow();
    if (row < 0)
        return;
    list.removeAt(row);
    fill(qMin(row, list.size() - 1));
}

void SourcesDialog::move(int step)
{
    const int row = table->currentRow();
    list.move(row, row + step);
    fill(row + step);
}

void SourcesDialog::fill(int currentRow)
{
    table->setRowCount(list.size());
    for (int row = 0; row < list.size(); ++row)
        setRow(row, list.at(row));
    table->selectRow(currentRow);
    enableButtons();
}

void SourcesDialog::setRow(int row, const Source& source)
{
    const QStringList texts{source.isEmpty() ? tr("(empty)") : source.title(), source.shownUrl(), source.transport,
                            source.captureFormat};
    for (int column = 0; column < texts.size(); ++column)
        table->setItem(row, column, new QTableWidgetItem(texts.at(column)));
}

void SourcesDialog::enableButtons()
{
    const int row = table->currentRow();
    addButton->setEnabled(list.size() < VideoGrid::mostCells);
    editButton->setEnabled(row >= 0);
    removeButton->setEnabled(row >= 0);
    upButton->setEnabled(row > 0);
    downButton->setEnabled(row >= 0 && row + 1 < list.size());
}
