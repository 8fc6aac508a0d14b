#pragma once

#include <QtGlobal>

#if defined(DEVNET_LIBRARY)
#define DEVNET_EXPORT Q_DECL_EXPORT
#else
#define DEVNET_EXPORT Q_DECL_IMPORT
#endif
