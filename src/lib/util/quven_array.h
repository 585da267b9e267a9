#ifndef QUVEN_ARRAY_H
#define QUVEN_ARRAY_H

#include "util/quven_xaray.h"

/// The older name of the growing array, in the data model: the same fields and the same growth.
template <class T, int kind = quvenCellKind<T>>
using QUVENArray = QUVENXaRay<T, kind>;

#endif  // QUVEN_ARRAY_H
