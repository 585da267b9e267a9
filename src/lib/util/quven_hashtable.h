#ifndef QUVEN_HASHTABLE_H
#define QUVEN_HASHTABLE_H

#include "util/quven_keyvalue_xashtable.h"

// The older names of the open addressing tables, whose growth still reports them by "oldHTable".

template <class K>
using QUVENObjectIndexHashTable = QUVENObjectIndexXAshTable<K>;

template <class K, class V>
using QUVENKeyValueHashTable = QUVENKeyValueXAshTable<K, V>;

#endif  // QUVEN_HASHTABLE_H
