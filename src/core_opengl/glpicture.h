#pragma once

#include <QPalette>
#include <QStringList>

class QOpenGLFunctions;

/// What the OpenGL renderers do alike.
namespace GlPicture {

/// The lines of a vertex shader in one text.
QString vertexSource(const QStringList& lines);

/// The lines of a fragment shader in one text, with the default precisions that OpenGL ES asks for in front of them.
QString fragmentSource(const QStringList& lines);

/// Fills the viewport of the current context with the palette's window colour.
void clear(QOpenGLFunctions& gl, const QPalette& palette);

} // namespace GlPicture
