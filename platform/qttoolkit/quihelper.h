#pragma once

#include "qttoolkit/qttoolkitexport.h"

#include <QString>

class QWidget;

/// Small operations that the video library and its hosts share.
class QTTOOLKIT_EXPORT QUIHelper
{
public:
    /// The host part of @p url as it stands between the scheme, optional credentials, port and path: an IP address
    /// or a host name. An IPv6 address is returned without its brackets. Empty when there is no host.
    static QString urlToIp(const QString& url);

    /// Gives @p widget (a button or a label) the SVG icon @p resource drawn in the widget's current text colour.
    /// A widget of another kind, or a resource that does not exist, leaves the widget as it was.
    static void setSvgIcon(QWidget* widget, const QString& resource);

    /// Makes the directory part of @p fileName, with all missing parents. A directory that begins with "./" is taken
    /// under the application's directory.
    static void checkPath(const QString& fileName);
};
