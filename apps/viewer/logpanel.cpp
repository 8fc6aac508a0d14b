#include "logpanel.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

// By how much a person should care.
int weight(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return 0;
    case QtInfoMsg:
        return 1;
    case QtWarningMsg:
        return 2;
    default:
        return 3;
    }
}

QColor colorOf(QtMsgType type)
{
    const QColor colors[] = {"#8792A0", "#D9DEE4", "#F2C261", "#FF8F86"};
    return colors[weight(type)];
}

} // namespace

LogPanel::LogPanel(const MessageLog& messages, QWidget* parent)
    : QDockWidget(tr("Log"), parent)
    , log(messages)
    , level(new QComboBox(this))
    , list(new QTreeWidget(this))
{
    setObjectName("logPanel");
    setAllowedAreas(Qt::BottomDockWidgetArea | Qt::RightDockWidgetArea);
    level->setObjectName("logLevel");
    level->addItem(tr("Everything"), 0);
    level->addItem(tr("Warnings and errors"), 2);
    level->addItem(tr("Errors"), 3);
    list->setObjectName("logLines");
    list->setColumnCount(3);
    list->setHeaderLabels({tr("Time"), tr("From"), tr("Message")});
    list->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    list->header()->setStretchLastSection(true);
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    list->setSelectionMode(QAbstractItemView::ExtendedSelection);

    auto* content = new QWidget(this);
    auto* box = new QVBoxLayout(content);
    box->setContentsMargins(6, 4, 6, 6);
    box->addWidget(makeHead());
    box->addWidget(list, 1);
    setWidget(content);

    connect(level, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &LogPanel::fill);
    connect(&log, &MessageLog::added, this, &LogPanel::add, Qt::QueuedConnection);
    fill();
}

QWidget* LogPanel::makeHead()
{
    auto* head = new QWidget(this);
    auto* box = new QHBoxLayout(head);
    box->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel(tr("&Show"), head);
    label->setBuddy(level);
    auto* copyButton = new QToolButton(head);
    copyButton->setObjectName("copyLog");
    copyButton->setText(tr("Copy"));
    copyButton->setToolTip(tr("Copies the selected lines, or all"));
    connect(copyButton, &QToolButton::clicked, this, &LogPanel::copy);
    box->addWidget(label);
    box->addWidget(level);
    box->addStretch();
    box->addWidget(copyButton);
    return head;
}

bool LogPanel::isWanted(const MessageLog::Line& line) const
{
    return weight(line.type) >= level->currentData().toInt();
}

void LogPanel::fill()
{
    list->clear();
    lastNumber = 0;
    for (const MessageLog::Line& line : log.lines())
        add(line);
    list->scrollToBottom();
}

// A line may have been seen before: it was kept already while its signal was under way. A reader who has scrolled up is
// left where he is.
void LogPanel::add(const MessageLog::Line& line)
{
    if (line.number <= lastNumber)
        return;
    lastNumber = line.number;
    if (!isWanted(line))
        return;
    const QScrollBar* bar = list->verticalScrollBar();
    const bool isAtEnd = bar->value() >= bar->maximum();
    auto* item = new QTreeWidgetItem({line.time.toString("HH:mm:ss.zzz"), line.category, line.text});
    item->setToolTip(2, line.text);
    for (int column = 0; column < 3; ++column)
        item->setForeground(column, colorOf(line.type));
    list->addTopLevelItem(item);
    while (list->topLevelItemCount() > MessageLog::mostLines)
        delete list->takeTopLevelItem(0);
    if (isAtEnd)
        list->scrollToBottom();
}

void LogPanel::copy() const
{
    QStringList lines;
    const bool isSelection = !list->selectedItems().isEmpty();
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* item = list->topLevelItem(i);
        if (!isSelection || item->isSelected())
            lines.append(QStringList{item->text(0), item->text(1), item->text(2)}.join('\t'));
    }
    QApplication::clipboard()->setText(lines.join('\n'));
}
