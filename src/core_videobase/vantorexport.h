#pragma once

#include <QtGlobal>

/// Marks what the library exports; every other symbol is hidden.
#if defined(VANTOR_LIBRARY)
#define VANTOR_EXPORT Q_DECL_EXPORT
#else
#define VANTOR_EXPORT Q_DECL_IMPORT
#endif
