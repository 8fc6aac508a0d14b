#include "celllook.h"

#include "core_videobase/abstractvideowidget.h"

#include <QCoreApplication>

namespace {

const QColor borderColor("#2A3038");
const QColor selectedColor("#22A3A9");

struct Texts
{
    Q_DECLARE_TR_FUNCTIONS(CellLook)
};

BannerPara buttons(bool hasStreams)
{
    BannerPara para;
    para.margins = {8, 0, 6, 0};
    para.spacing = 6;
    para.names = QStringList{"btnMuted", "btnTalkMuted", "btnSnap", "btnRecord"};
    para.icons = QStringList{":/primary/close_volume.svg", ":/primary/mic-close.svg", ":/viewer/snapshot.svg",
                             ":/viewer/record.svg"};
    para.tips
        = QStringList{Texts::tr("Sound"), Texts::tr("Talk"), Texts::tr("Snapshot"), Texts::tr("Record H.264 or H.265")};
    if (hasStreams) {
        para.names.prepend("btnStream");
        para.icons.prepend(":/viewer/stream.svg");
        para.tips.prepend(Texts::tr("Main or sub stream"));
    }
    return para;
}

} // namespace

void CellLook::apply(AbstractVideoWidget* display, bool hasStreams)
{
    WidgetPara para = display->getWidgetPara();
    para.borderWidth = borderWidth;
    para.borderColor = borderColor;
    para.focusColor = selectedColor;
    para.bgText.clear(); // the state is an on-screen item, so that it is also seen over a last picture
    para.muted = true; // a wall of pictures is silent until somebody asks for sound
    para.showBanner = true;
    para.bannerSize = 28;
    para.bannerPosition = 1;
    para.bannerPara = buttons(hasStreams);
    display->setWidgetPara(para);
    display->setBannerBgColor("#1B2026");
    display->setBannerBgAlpha(255); // the text of the state lies below the bar
}

void CellLook::setSelected(AbstractVideoWidget* display, bool selected)
{
    display->setBorderColor(selected ? selectedColor : borderColor);
}
