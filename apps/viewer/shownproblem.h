#pragma once

#include <QStyle>
#include <QVariant>
#include <QWidget>

/// Whether the style sheet paints a label as one that tells of a problem.
inline void markProblem(QWidget* label, bool isProblem)
{
    label->setProperty("problem", isProblem);
    label->style()->unpolish(label);
    label->style()->polish(label);
}
