#pragma once

#include <QWidget>

/// The layer of a display widget that lies over the picture area.
///
/// Child windows of the window system don't blend with each other, so a layer above a renderer's window is cut to the
/// pixels that are to be seen: the picture, and the pointer, are seen by the windows below everywhere else.
class VideoLayer : public QWidget
{
    Q_OBJECT // a class of its own, so that a style sheet's background for its parent is not painted on it

        public : explicit VideoLayer(QWidget* parent);

    /// Cuts the layer to @p region, which may be empty.
    void cutTo(const QRegion& region);

    /// Makes the whole layer be there again.
    void uncut();
};
