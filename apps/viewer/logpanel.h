#pragma once

#include "messagelog.h"

#include <QDockWidget>

class QComboBox;
class QTreeWidget;

/// Shows what the library and the program have logged, newest last.
class LogPanel : public QDockWidget
{
    Q_OBJECT

public:
    /// @p log must outlive the panel.
    explicit LogPanel(const MessageLog& log, QWidget* parent = nullptr);

private:
    QWidget* makeHead();
    void add(const MessageLog::Line& line);
    void fill();
    bool isWanted(const MessageLog::Line& line) const;
    void copy() const;

    const MessageLog& log;
    quint64 lastNumber = 0; // of the lines that were looked at
    QComboBox* level; // children
    QTreeWidget* list;
};
