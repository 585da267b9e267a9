#ifndef QUVEN_BOOL_H
#define QUVEN_BOOL_H

/// The boolean constants of the library.
inline constexpr bool quvenTrue = true;
inline constexpr bool quvenFalse = false;

#endif  // QUVEN_BOOL_H
