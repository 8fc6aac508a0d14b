#pragma once

#include <QDateTime>
#include <QWidget>

class QCheckBox;
class QDateTimeEdit;
class QLabel;
class QLineEdit;
class QPushButton;

/// What is to be downloaded, and to where. It says in words what is wrong with what was chosen.
class DownloadForm : public QWidget
{
    Q_OBJECT

public:
    /// Files are named by the day on which the period begins; two days of one download could not be told apart.
    static constexpr qint64 longestPeriod = 24 * 60 * 60; // seconds

    explicit DownloadForm(QWidget* parent = nullptr);

    void setPeriod(const QDateTime& from, const QDateTime& to);
    QDateTime from() const;
    QDateTime to() const;

    /// The one of the download before, as long as the program runs.
    QString folder() const;

    bool hasSound() const;

    /// Keeps folder() for the next form.
    void rememberFolder() const;

    bool isValid() const { return problem().isEmpty(); }

Q_SIGNALS:
    void changed();

private:
    QWidget* makePeriod();
    QWidget* makeFolder();
    QString problem() const;
    void browse();
    void check();

    QDateTimeEdit* fromEdit = nullptr; // children
    QDateTimeEdit* toEdit = nullptr;
    QLabel* hint = nullptr;
    QLineEdit* folderEdit = nullptr;
    QPushButton* browseButton = nullptr;
    QCheckBox* soundBox = nullptr;
};
