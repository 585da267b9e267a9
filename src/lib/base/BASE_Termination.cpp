#include "base/BASE_Termination.h"

void BASE_RaiseTermination() { throw 0; }
