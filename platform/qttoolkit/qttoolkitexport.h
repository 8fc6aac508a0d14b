#pragma once

#include <QtGlobal>

#if defined(QTTOOLKIT_LIBRARY)
#define QTTOOLKIT_EXPORT Q_DECL_EXPORT
#else
#define QTTOOLKIT_EXPORT Q_DECL_IMPORT
#endif
