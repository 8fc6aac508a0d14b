#include "theme.h"

#include <QApplication>
#include <QFile>
#include <QFont>
#include <QPalette>
#include <QStyleFactory>

namespace {

QPalette darkPalette()
{
    const QColor text("#D9DEE4");
    const QColor faint("#5F6A76");
    QPalette palette(QColor("#23282F"), QColor("#181C21"));
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::Base, "#121519");
    palette.setColor(QPalette::AlternateBase, "#181C21");
    palette.setColor(QPalette::Highlight, "#22A3A9");
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, "#2B323A");
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, faint);
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint);
    return palette;
}

} // namespace

void applyTheme(QApplication& application)
{
    application.setStyle(QStyleFactory::create("Fusion"));
    application.setPalette(darkPalette());
    QFont font = application.font();
    font.setFamilies({"Noto Sans", "DejaVu Sans", "WenQuanYi Zen Hei", "Microsoft YaHei", font.family()});
    font.setPixelSize(13);
    application.setFont(font);
    QFile sheet(":/viewer/viewer.qss");
    if (sheet.open(QIODevice::ReadOnly))
        application.setStyleSheet(QString::fromUtf8(sheet.readAll()));
}
