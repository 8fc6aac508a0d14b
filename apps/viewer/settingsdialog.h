#pragma once

#include "vieweroptions.h"

#include <QDialog>

class QComboBox;
class QLineEdit;
class QSpinBox;

/// What the user may set.
class SettingsDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SettingsDialog(const ViewerOptions& options, QWidget* parent = nullptr);

    /// The options that were handed in, with what the user has set.
    ViewerOptions options() const;

private:
    QWidget* makeFolderRow(QLineEdit* edit, const QString& title);
    void makeForm();

    const ViewerOptions given;
    QLineEdit* snapshots; // children
    QLineEdit* recordings;
    QSpinBox* interval;
    QComboBox* transport;
    QComboBox* hardware;
    QComboBox* mode;
    QComboBox* scaleMode;
    QComboBox* language;
};
