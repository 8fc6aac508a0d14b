#pragma once

#include <QString>

class QCoreApplication;

namespace Language {

/// Gives the whole program, Qt's own dialogs included, the language "en" or "zh_CN", that of the system for an empty
/// text. Before any text is made; what was made before stays as it is.
void install(QCoreApplication& application, const QString& name);

} // namespace Language
