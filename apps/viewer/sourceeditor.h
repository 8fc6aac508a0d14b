#pragma once

#include "source.h"

#include <QDialog>

class QComboBox;
class QDialogButtonBox;
class QLineEdit;

/// Asks for one source.
class SourceEditor : public QDialog
{
    Q_OBJECT

public:
    explicit SourceEditor(const Source& source, QWidget* parent = nullptr);

    Source source() const;

private:
    void browse();
    void checkInput();

    QLineEdit* name; // children
    QLineEdit* address;
    QComboBox* transport;
    QComboBox* captureFormat;
    QDialogButtonBox* buttons;
};
