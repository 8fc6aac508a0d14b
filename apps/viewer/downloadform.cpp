#include "downloadform.h"

#include "downloadreport.h"
#include "shownproblem.h"
#include "walltime.h"

#include <QCheckBox>
#include <QDateTimeEdit>
#include <QDir>
#include <QFileDialog>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardPaths>

namespace {

QString& lastFolder()
{
    static QString folder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) + "/vantor";
    return folder;
}

QDateTime wholeSecond(const QDateTime& time) { return time.addMSecs(-time.time().msec()); }

} // namespace

DownloadForm::DownloadForm(QWidget* parent)
    : QWidget(parent)
    , hint(new QLabel(this))
    , soundBox(new QCheckBox(tr("with sound"), this))
{
    hint->setObjectName("hint");
    soundBox->setObjectName("sound");
    soundBox->setChecked(true);
    auto* form = new QFormLayout(this);
    form->setContentsMargins(0, 0, 0, 0);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->addRow(tr("Period"), makePeriod());
    form->addRow(QString(), hint);
    form->addRow(tr("Folder"), makeFolder());
    form->addRow(QString(), soundBox);
    check();
}

QWidget* DownloadForm::makePeriod()
{
    auto* row = new QWidget(this);
    const auto makeEdit = [&](const QString& name) {
        auto* edit = new QDateTimeEdit(row);
        edit->setObjectName(name);
        edit->setDisplayFormat("yyyy-MM-dd HH:mm:ss");
        edit->setCalendarPopup(true);
        connect(edit, &QDateTimeEdit::dateTimeChanged, this, &DownloadForm::check);
        return edit;
    };
    fromEdit = makeEdit("from");
    toEdit = makeEdit("to");
    auto* box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->addWidget(fromEdit, 1);
    box->addWidget(new QLabel("–", row));
    box->addWidget(toEdit, 1);
    return row;
}

QWidget* DownloadForm::makeFolder()
{
    auto* row = new QWidget(this);
    folderEdit = new QLineEdit(QDir::toNativeSeparators(lastFolder()), row);
    folderEdit->setObjectName("folder");
    connect(folderEdit, &QLineEdit::textChanged, this, &DownloadForm::check);
    browseButton = new QPushButton(tr("Browse…"), row);
    browseButton->setObjectName("browse");
    browseButton->setAutoDefault(false);
    connect(browseButton, &QPushButton::clicked, this, &DownloadForm::browse);
    auto* box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->addWidget(folderEdit, 1);
    box->addWidget(browseButton);
    return row;
}

void DownloadForm::setPeriod(const QDateTime& from, const QDateTime& to)
{
    fromEdit->setDateTime(wholeSecond(from));
    toEdit->setDateTime(wholeSecond(to));
}

QDateTime DownloadForm::from() const { return fromEdit->dateTime(); }

QDateTime DownloadForm::to() const { return toEdit->dateTime(); }

QString DownloadForm::folder() const { return QDir::fromNativeSeparators(folderEdit->text().trimmed()); }

bool DownloadForm::hasSound() const { return soundBox->isChecked(); }

void DownloadForm::rememberFolder() const { lastFolder() = folder(); }

// Not exec(): whoever owns this form may delete it while the user looks for a folder.
void DownloadForm::browse()
{
    auto* dialog = new QFileDialog(this, tr("Folder for downloads"), folder());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, this,
            [this](const QString& chosen) { folderEdit->setText(QDir::toNativeSeparators(chosen)); });
    dialog->open();
}

QString DownloadForm::problem() const
{
    const qint64 seconds = (WallTime::of(to()) - WallTime::of(from())) / 1000;
    if (seconds <= 0)
        return tr("The period must end after it begins.");
    if (seconds > longestPeriod)
        return tr("A download covers 24 hours at most.");
    if (folder().isEmpty())
        return tr("Choose the folder that the files go to.");
    return {};
}

void DownloadForm::check()
{
    if (!folderEdit) // while it is made
        return;
    const QString wrong = problem();
    const qint64 length = WallTime::of(to()) - WallTime::of(from());
    hint->setText(wrong.isEmpty() ? DownloadReport::lengthText(length) : wrong);
    markProblem(hint, !wrong.isEmpty());
    Q_EMIT changed();
}
