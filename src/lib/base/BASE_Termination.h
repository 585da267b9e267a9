#ifndef BASE_TERMINATION_H
#define BASE_TERMINATION_H

/// Raises the termination exception: the int 0. It carries no message, because whoever raises it has
/// printed the report already; it ends in the catch-all of a program's driver, which gives status 99.
[[noreturn]] void BASE_RaiseTermination();

#endif  // BASE_TERMINATION_H
