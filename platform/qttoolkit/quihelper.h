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
    ///
    /// The scheme may be missing. Credentials are taken as users type them: the password may contain "@", ":" and,
    /// before a well-formed host, "/". Any thread.
    static QString urlToIp(const QString& url);

    /// Gives @p widget (a button or a label) the SVG icon @p resource drawn in the widget's current text colour.
    /// A widget of another kind, or a resource that does not exist, leaves the widget as it was.
    ///
    /// The colours of the file do not count, only what it covers. The icon follows the text colour when that changes,
    /// on a push button also while it is pressed, disabled or under the mouse. A label shows the icon in the style's
    /// small icon size. GUI thread only.
    static void setSvgIcon(QWidget* widget, const QString& resource);

    /// Makes the directory of @p path, with all missing parents: the whole path where it names a directory, that is
    /// where its last part has no "." in it, and the part before the file name otherwise.
    ///
    /// A path that begins with "./" is taken under the application's directory. Any thread.
    static void checkPath(const QString& path);
};
