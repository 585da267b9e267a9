#include "support/failing_allocation.inc"
