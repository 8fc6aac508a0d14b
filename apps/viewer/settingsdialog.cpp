#include "settingsdialog.h"

#include "core_videobase/widgetpara.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

namespace {
constexpr int secondsPerMinute = 60;
constexpr int longestFile = 24 * 60; // minutes

template <typename Widget>
Widget* named(Widget* widget, const char* name)
{
    widget->setObjectName(name);
    return widget;
}

void select(QComboBox* box, const QVariant& data) { box->setCurrentIndex(qMax(0, box->findData(data))); }
} // namespace

SettingsDialog::SettingsDialog(const ViewerOptions& options, QWidget* parent)
    : QDialog(parent)
    , given(options)
    , snapshots(named(new QLineEdit(QDir::toNativeSeparators(options.snapshotFolder), this), "snapshots"))
    , recordings(named(new QLineEdit(QDir::toNativeSeparators(options.recordingFolder), this), "recordings"))
    , interval(named(new QSpinBox(this), "interval"))
    , transport(named(new QComboBox(this), "transport"))
    , hardware(named(new QComboBox(this), "hardware"))
    , mode(named(new QComboBox(this), "mode"))
    , scaleMode(named(new QComboBox(this), "scaleMode"))
    , language(named(new QComboBox(this), "language"))
{
    setObjectName("settingsDialog");
    setWindowTitle(tr("Settings"));
    setMinimumWidth(560);

    interval->setRange(0, longestFile);
    interval->setSpecialValueText(tr("no limit"));
    interval->setSuffix(tr(" min"));
    interval->setValue(options.recordInterval < 1 ? 0 : qMax(1, options.recordInterval / secondsPerMinute));
    transport->addItems({"tcp", "udp"});
    transport->setCurrentText(options.transport);
    hardware->setEditable(true); // FFmpeg knows more of them than are listed here
#ifdef Q_OS_WIN
    hardware->addItems({"none", "d3d11va", "dxva2", "cuda", "qsv"});
#else
    hardware->addItems({"none", "vaapi", "vdpau", "cuda", "qsv"});
#endif
    hardware->setCurrentText(options.hardware);
    mode->addItem(tr("OpenGL"), VideoMode_Opengl);
    mode->addItem(tr("Painter (without OpenGL)"), VideoMode_Image);
    select(mode, options.mode);
    scaleMode->addItem(tr("As large as fits"), ScaleMode_Aspect);
    scaleMode->addItem(tr("Own size, or smaller"), ScaleMode_Auto);
    scaleMode->addItem(tr("Stretched over the cell"), ScaleMode_Fill);
    select(scaleMode, options.scaleMode);
    language->addItem(tr("That of the system"), QString());
    language->addItem("English", "en");
    language->addItem("简体中文", "zh_CN");
    select(language, options.language);
    makeForm();
}

void SettingsDialog::makeForm()
{
    auto* form = new QFormLayout(this);
    form->setVerticalSpacing(10);
    form->addRow(tr("&Snapshots"), makeFolderRow(snapshots, tr("Folder of the snapshots")));
    form->addRow(tr("&Recordings"), makeFolderRow(recordings, tr("Folder of the recordings")));
    form->addRow(tr("&Length of a recording file"), interval);
    form->addRow(tr("&Transport of new addresses"), transport);
    form->addRow(tr("&Hardware decoding"), hardware);
    form->addRow(tr("&Drawing"), mode);
    form->addRow(tr("Size of &pictures"), scaleMode);
    form->addRow(tr("L&anguage (from the next start on)"), language);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &SettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &SettingsDialog::reject);
    form->addRow(buttons);

    // Without a folder there is nowhere to write to.
    const auto check = [this, buttons] {
        const bool isComplete = !snapshots->text().trimmed().isEmpty() && !recordings->text().trimmed().isEmpty();
        buttons->button(QDialogButtonBox::Ok)->setEnabled(isComplete);
    };
    connect(snapshots, &QLineEdit::textChanged, this, check);
    connect(recordings, &QLineEdit::textChanged, this, check);
    check();
}

QWidget* SettingsDialog::makeFolderRow(QLineEdit* edit, const QString& title)
{
    auto* row = new QWidget(this);
    auto* box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->addWidget(edit, 1);
    auto* browse = new QPushButton(tr("Choose…"), row);
    box->addWidget(browse);
    connect(browse, &QPushButton::clicked, this, [this, edit, title] {
        const QString folder = QFileDialog::getExistingDirectory(this, title, edit->text());
        if (!folder.isEmpty())
            edit->setText(QDir::toNativeSeparators(folder));
    });
    return row;
}

ViewerOptions SettingsDialog::options() const
{
    ViewerOptions options = given;
    options.snapshotFolder = QDir::fromNativeSeparators(snapshots->text().trimmed());
    options.recordingFolder = QDir::fromNativeSeparators(recordings->text().trimmed());
    options.recordInterval = interval->value() == 0 ? -1 : interval->value() * secondsPerMinute;
    options.transport = transport->currentText();
    options.hardware = hardware->currentText().trimmed().isEmpty() ? "none" : hardware->currentText().trimmed();
    options.mode = static_cast<VideoMode>(mode->currentData().toInt());
    options.scaleMode = static_cast<ScaleMode>(scaleMode->currentData().toInt());
    options.language = language->currentData().toString();
    return options;
}
