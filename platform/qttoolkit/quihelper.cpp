#include "qttoolkit/quihelper.h"
QString QUIHelper::urlToIp(const QString&) { return {}; }
void QUIHelper::setSvgIcon(QWidget*, const QString&) {}
void QUIHelper::checkPath(const QString&) {}
