#include "core_videobase/bannerwidget.h"

#include "qttoolkit/quihelper.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVariant>

namespace {

enum Position { Top = 0, Bottom = 1, Left = 2, Right = 3 };

constexpr int buttonExtent = 20; // along the bar; across it a button fills the bar

struct ButtonState
{
    const char* nameEnd;
    const char* from;
    const char* to;
    const char* icon; // of the new state
};

// The first rule that fits a clicked button counts.
constexpr ButtonState buttonStates[] = {
    {"btnTalk", "Talk", "TalkMuted", ":/primary/mic-close.svg"},
    {"TalkMuted", "TalkMuted", "Talk", ":/primary/mic.svg"},
    {"btnSound", "Sound", "Muted", ":/primary/close_volume.svg"},
    {"btnMuted", "Muted", "Sound", ":/primary/volume.svg"},
};

QString rgba(const QColor& color, int alpha)
{
    return QString("rgba(%1,%2,%3,%4)").arg(color.red()).arg(color.green()).arg(color.blue()).arg(alpha);
}

} // namespace

BannerWidget::BannerWidget(QWidget* parent)
    : QWidget(parent)
    , infoLabel(new QLabel(this))
{
    setObjectName("bannerWidget");
    setAttribute(Qt::WA_StyledBackground);
    infoLabel->setStyleSheet("background:transparent;"); // an owner's sheet may give all its children a background
    initButton();
    initStyle();
}

BannerWidget::~BannerWidget() = default;

BannerPara BannerWidget::getBannerPara() const { return para; }

void BannerWidget::setBannerPara(const BannerPara& bannerPara) { para = bannerPara; }

void BannerWidget::initButton()
{
    if (para.icons.size() != para.names.size())
        return;

    removeButtons();
    delete layout();
    makeLayout();
    for (int i = 0; i < para.names.size(); ++i)
        addButton(para.names.at(i), para.icons.at(i), para.tips.value(i));
}

void BannerWidget::initStyle()
{
    setProperty("form", "banner");

    QStringList sheet;
    sheet << QString("#bannerWidget{background:%1;border:none;}").arg(rgba(para.bannerBgColor, para.bannerBgAlpha));
    sheet << QString("QLabel{margin:0px;padding:0px;}");
    sheet << QString("QPushButton,QLabel{color:%1;}").arg(para.bannerTextColor.name());
    sheet << QString("QPushButton:pressed{color:%1;}").arg(para.bannerPressColor.name());
    sheet << QString("QPushButton{border:none;padding:0px;background:rgba(0,0,0,0);}");
    setStyleSheet(sheet.join(""));
}

void BannerWidget::showInfo(const QString& text)
{
    info = text;
    infoLabel->setText(recording ? info + " 录制中..." : info);
}

void BannerWidget::changeStatus(const QString& objNameSrc, const QString& objNameDst, const QString& icon)
{
    for (QPushButton* button : qAsConst(buttons)) {
        if (button->objectName().endsWith(objNameSrc)) {
            setStatus(button, objNameSrc, objNameDst, icon);
            return;
        }
    }
}

void BannerWidget::receiveMuted(bool muted)
{
    if (muted)
        changeStatus("Sound", "Muted", ":/primary/close_volume.svg");
    else
        changeStatus("Muted", "Sound", ":/primary/volume.svg");
}

void BannerWidget::receivePlayFinsh() { changeStatus("Muted", "Sound", ":/primary/volume.svg"); }

void BannerWidget::recorderStateChanged(const RecorderState& state, const QString&)
{
    recording = state == RecorderRecording;
    showInfo(info);
}

void BannerWidget::btnClicked()
{
    auto* button = qobject_cast<QPushButton*>(sender());
    if (!button)
        return;

    for (const ButtonState& state : buttonStates) {
        if (button->objectName().endsWith(state.nameEnd)) {
            setStatus(button, state.from, state.to, state.icon);
            break;
        }
    }
    // Receivers may rebuild the buttons or delete the bar, so this is the last step.
    Q_EMIT btnClicked(button->objectName());
}

bool BannerWidget::isVertical() const { return para.position == Left || para.position == Right; }

// One of the buttons may be emitting clicked() further up the stack. It leaves the bar now and is freed by the event
// loop once that is over.
void BannerWidget::removeButtons()
{
    for (QPushButton* button : qAsConst(buttons)) {
        button->disconnect(this);
        button->setParent(nullptr);
        button->deleteLater();
    }
    buttons.clear();
}

void BannerWidget::makeLayout()
{
    QBoxLayout* box = nullptr;
    if (isVertical()) {
        box = new QVBoxLayout;
        box->addStretch();
        infoLabel->hide();
    } else {
        box = new QHBoxLayout;
        box->addWidget(infoLabel);
        // Showing it before the bar has its own style sheet would fix its colours to those of the parent's.
        if (infoLabel->testAttribute(Qt::WA_WState_ExplicitShowHide))
            infoLabel->show();
    }
    box->setContentsMargins(para.margins);
    box->setSpacing(para.spacing);
    setLayout(box);
}

void BannerWidget::addButton(const QString& name, const QString& icon, const QString& tip)
{
    auto* button = new QPushButton(this);
    button->setObjectName(name);
    button->setToolTip(tip);
    if (isVertical()) {
        button->setFixedHeight(buttonExtent);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    } else {
        button->setFixedWidth(buttonExtent);
        button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    }
    button->setFocusPolicy(Qt::NoFocus);
    QUIHelper::setSvgIcon(button, icon);
    layout()->addWidget(button);
    buttons.append(button);
    connect(button, &QPushButton::clicked, this, QOverload<>::of(&BannerWidget::btnClicked));
}

void BannerWidget::setStatus(QPushButton* button, const QString& from, const QString& to, const QString& icon)
{
    button->setObjectName(button->objectName().replace(from, to));
    QUIHelper::setSvgIcon(button, icon);
}
