#pragma once

#include <QColor>

class QWidget;

/// The colour in which the widget's style would draw a text on @p widget in its present state (pressed, disabled,
/// under the mouse). On a push button this is what a style sheet says for that state, which no palette tells.
QColor currentTextColor(const QWidget* widget);
