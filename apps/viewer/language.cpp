#include "language.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace {

void load(QCoreApplication& application, const QLocale& locale, const QString& file, const QString& folder)
{
    auto* translator = new QTranslator(&application);
    if (translator->load(locale, file, "_", folder))
        application.installTranslator(translator);
    else
        delete translator;
}

} // namespace

void Language::install(QCoreApplication& application, const QString& name)
{
    const QLocale locale = name.isEmpty() ? QLocale::system() : QLocale(name);
    QLocale::setDefault(locale); // of the calendar
    load(application, locale, "qtbase", QLibraryInfo::location(QLibraryInfo::TranslationsPath));
    // Numbers of things have their singular in English, too.
    load(application, QLocale("en"), "vantor-viewer", ":/translations");
    if (locale.language() != QLocale::English)
        load(application, locale, "vantor-viewer", ":/translations");
}
