#ifndef XRT_THREAD_H
#define XRT_THREAD_H

/// The number of the calling thread: 1 for the first thread that asks, 2 for the next, and so on.
/// A number is never given twice in one process, so that what is filed under it cannot be taken over by a later thread.
int xrtThreadNumber() noexcept;

#endif  // XRT_THREAD_H
