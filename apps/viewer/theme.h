#pragma once

class QApplication;

/// Gives the whole program its dark look.
void applyTheme(QApplication& application);
